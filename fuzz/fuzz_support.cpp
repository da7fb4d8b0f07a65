// The guard of fuzz_support.h and the exit() wrapper behind it.
#include "fuzz_support.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/BASE_MlException.h"
#include "base/KVOMemoryException.h"
#include "util/kvora_debug.h"

extern "C" void __real_exit(int status);

namespace {

// Non-null only while a guarded call runs: exit() outside it (libFuzzer's own
// end) must really end the process.
jmp_buf *gExitJump = nullptr;

std::vector<int> openDescriptors() {
    std::vector<int> fds;
    if (DIR *d = ::opendir("/proc/self/fd")) {
        const int own = ::dirfd(d);
        while (dirent *e = ::readdir(d)) {
            if (e->d_name[0] == '.') continue;
            const int fd = std::atoi(e->d_name);
            if (fd != own) fds.push_back(fd);
        }
        ::closedir(d);
    }
    return fds;
}

// Closes what a reader left open when exit() cut it short.
void closeNewDescriptors(const std::vector<int> &before) {
    for (int fd : openDescriptors()) {
        bool old = false;
        for (int b : before) old = old || b == fd;
        if (!old) ::close(fd);
    }
}

}  // namespace

extern "C" void __wrap_exit(int status) {
    if (gExitJump != nullptr) std::longjmp(*gExitJump, 1);
    __real_exit(status);
}

namespace qrvfuzz {

int guarded(void (*body)(void *), void *context) {
    // Taking the list costs a directory read per input; it is needed only if
    // the reader exits, but must be taken before.
    static std::vector<int> before = openDescriptors();
    jmp_buf jump;
    int outcome = 0;
    if (setjmp(jump) == 0) {
        gExitJump = &jump;
        try {
            body(context);
        } catch (int) {
            outcome = 1;
        } catch (const BASE_MlException &) {
            outcome = 1;
        } catch (const KVOMemoryException &) {
            // The arrays' own refusal of a size they cannot hold.
            outcome = 1;
        }
        gExitJump = nullptr;
    } else {
        gExitJump = nullptr;
        // A FILE whose descriptor is closed under it stays allocated: the
        // streams that exit() skipped are lost, which costs only memory.
        closeNewDescriptors(before);
        outcome = 2;
    }
    kvoraExceptionInFlightFlag = 0;
    return outcome;
}

const std::string &scratchDir() {
    static const std::string dir = [] {
        const char *tmp = std::getenv("TMPDIR");
        std::string d = std::string(tmp != nullptr ? tmp : "/tmp") + "/qrvfuzz-" + std::to_string(::getpid());
        ::mkdir(d.c_str(), 0700);
        return d;
    }();
    return dir;
}

std::string writeScratch(const char *name, const uint8_t *data, size_t size) {
    const std::string path = scratchDir() + "/" + name;
    FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
    return path;
}

void quiet() { kvoraSilentFlag = 1; }

}  // namespace qrvfuzz
