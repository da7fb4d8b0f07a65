// The loader's CSV input. First byte: 0 an edge list through the whole graph
// load, 1 a table through the table load (header names the columns "id",
// "t" and "k"), 2 the line reader alone with the node and real parsers on
// every field. They write their dataset into the scratch directory.
//
// The loader stops on bad input through qrvloadFail and qrvloadBadLine, which
// exit(). Jumping out of exit() would skip the destructors of the reader and
// the sorter, and their buffers (a megabyte and more per stop) would pile up
// until the fuzzer ran out of memory; so this target is linked with both
// wrapped (-Wl,--wrap) into a throw of its own, which unwinds normally. Their
// callers are in other files, which is what --wrap reaches.
// The graph load sorts in the smallest memory allowed: the default reserves
// far more than a fuzz input needs, at a cost on every run.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "qrvload_commands.h"
#include "qrvload_csv.h"

namespace {
struct QrvloadStop {};
}  // namespace

extern "C" [[noreturn]] void __wrap__Z11qrvloadFailiRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    int, const std::string &) {
    throw QrvloadStop();
}

extern "C" [[noreturn]] void
__wrap__Z14qrvloadBadLineRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEmS6_PKcm(const std::string &,
                                                                                          uint64_t,
                                                                                          const std::string &,
                                                                                          const char *, size_t) {
    throw QrvloadStop();
}

// Runs one load; a stop on bad input is a normal end.
template <class F>
void load(F f) {
    qrvfuzz::run([&] {
        try {
            f();
        } catch (const QrvloadStop &) {
        }
    });
}

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string in = qrvfuzz::writeScratch("in.csv", data + 1, size - 1);
    const std::string out = qrvfuzz::scratchDir() + "/out";
    switch (data[0] % 3) {
    case 0:
        load([&] { qrvCommandGraph({in, out, "--memory", "64K"}); });
        break;
    case 1:
        load([&] {
            qrvCommandTable({in, out, "--line-number", "id", "--target", "t", "--categorical", "k"});
        });
        break;
    default:
        load([&] {
            QrvCsvReader r(in);
            uint64_t node = 0;
            double value = 0.0;
            size_t seen = 0;
            while (r.next()) {
                for (size_t i = 0; i < r.fieldCount(); ++i) {
                    qrvParseNode(r.field(i), node);
                    qrvParseReal(r.field(i), value);
                    seen += r.fieldText(i).size();
                }
            }
            if (seen == static_cast<size_t>(-1)) qrvParseNode("", node);  // keeps the loop's results alive
        });
        break;
    }
    return 0;
}
