// What every fuzz target shares: a guard that runs one reader call and turns
// the system's ways of ending a run into a plain return.
//
// The system ends a run in three ways: the assertion throw (an int), its
// exception classes, and exit() from the reports that stop at once. The first
// two are caught here, with the arrays' allocation failure. exit() cannot be
// caught, and throwing out of it is not
// safe (it is declared not to throw, so frames above it may have no unwind
// entry for the call); so the targets are linked with -Wl,--wrap=exit, and the
// wrapper jumps back to the guard while a reader runs. The jump skips
// destructors, so what the reader held would leak, and fuzz/run's leak check
// would report it: the readers fuzzed here stop by a throw, which unwinds, and
// leave exit() to whole-run failures (graph and matrix faults, a scan's row
// errors) that they do not reach. Descriptors that a reader opened are closed
// by the guard, so that a long run does not run out of them. Anything else
// thrown escapes and is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qrvfuzz {

// Runs `body` under the guard; answers 0 if it returned, 1 if it ended by the
// assertion throw or a system exception, 2 if it called exit().
int guarded(void (*body)(void *), void *context);

template <class F>
int run(F &&f) {
    return guarded([](void *c) { (*static_cast<F *>(c))(); }, &f);
}

// A directory of this process for the files a reader must open by name.
const std::string &scratchDir();

// Writes bytes to a file of the scratch directory; answers its path.
std::string writeScratch(const char *name, const uint8_t *data, size_t size);

// Silences the system's failure output; called once by each target.
void quiet();

}  // namespace qrvfuzz
