// Failure exits and temporary-file bookkeeping; see qrvload_fail.h.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "qrvload_fail.h"

#include <unistd.h>

namespace {
std::vector<std::string> &temps() {
    static std::vector<std::string> list;
    return list;
}
}  // namespace

namespace {
// An interrupted load removes its temporary files too; unlink is safe in a
// signal handler, and the list is only read here.
extern "C" void onSignal(int sig) {
    for (const std::string &p : temps()) ::unlink(p.c_str());
    ::_exit(128 + sig);
}
}  // namespace

void qrvloadRegisterTemp(const std::string &path) {
    static bool handlersSet = false;
    if (!handlersSet) {
        handlersSet = true;
        temps().reserve(64);
        std::signal(SIGINT, onSignal);
        std::signal(SIGTERM, onSignal);
        std::signal(SIGHUP, onSignal);
    }
    temps().push_back(path);
}

void qrvloadForgetTemp(const std::string &path) {
    auto &list = temps();
    for (size_t i = 0; i < list.size(); ++i) {
        if (list[i] == path) {
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
            return;
        }
    }
}

void qrvloadRemoveTemps() {
    for (const std::string &p : temps()) std::remove(p.c_str());
    temps().clear();
}

void qrvloadFail(int status, const std::string &message) {
    std::fflush(stdout);
    std::fprintf(stderr, "qrvload: %s\n", message.c_str());
    qrvloadRemoveTemps();
    std::exit(status);
}

void qrvloadBadLine(const std::string &file, uint64_t line, const std::string &reason, const char *text,
                    size_t textLength) {
    // Long adjacency lines are cut so that the message stays readable.
    const size_t shown = textLength > 200 ? 200 : textLength;
    std::string msg = file + ", line " + std::to_string(line) + ": " + reason + ": \"" +
                      std::string(text, shown) + (shown < textLength ? "...\"" : "\"");
    qrvloadFail(kExitBadInput, msg);
}
