// Row functions of the message catalogue, generated from its table, and the
// per-environment status record that issued messages land in. The writers put
// each piece straight on the caller's stream: no intermediate text, no table
// of function pointers.
#include "util/kvora_message.h"

#include <sstream>
#include <vector>

#include "util/kvora_debug.h"
#include "util/kvora_status.h"

namespace {

struct MessageArgTag {};

// Writes a row's pieces in order; each argument place takes the next argument.
struct MessageSink {
    std::ostream &out;
    const char *const *args;
    int32_t next;
};

inline void putPiece(MessageSink &sink, const char *piece) { sink.out << piece; }
inline void putPiece(MessageSink &sink, MessageArgTag) {
    const char *arg = sink.next < 5 ? sink.args[sink.next] : nullptr;
    ++sink.next;
    if (arg != nullptr) sink.out << arg;
}

template <class... Pieces>
inline void putPieces(MessageSink &sink, Pieces... pieces) {
    (putPiece(sink, pieces), ...);
}

}  // namespace

#define KVORA_MSG_ARG MessageArgTag{}
#define KVORA_MSG_ROW(number, ...)                                                                        \
    int32_t kvoraMsg##number##Number() { return number; }                                                 \
    void kvoraMsg##number##Write(std::ostream &out, const char *a1, const char *a2, const char *a3,       \
                                 const char *a4, const char *a5) {                                        \
        const char *args[5] = {a1, a2, a3, a4, a5};                                                       \
        MessageSink sink{out, args, 0};                                                                   \
        putPieces(sink, __VA_ARGS__);                                                                     \
    }
#include "util/kvora_message_table.inc"
#undef KVORA_MSG_ROW
#undef KVORA_MSG_ARG

bool kvoraWriteMessage(int32_t number, std::ostream &out, const char *const *args) {
    static const char *const noArgs[5] = {nullptr, nullptr, nullptr, nullptr, nullptr};
    if (args == nullptr) args = noArgs;
    switch (number) {
#define KVORA_MSG_ROW(number, ...) \
    case number: kvoraMsg##number##Write(out, args[0], args[1], args[2], args[3], args[4]); return true;
#include "util/kvora_message_table.inc"
#undef KVORA_MSG_ROW
    default: return false;
    }
}

std::string kvoraMessageText(int32_t number, const char *a1, const char *a2, const char *a3, const char *a4,
                             const char *a5) {
    const char *args[5] = {a1, a2, a3, a4, a5};
    std::ostringstream out;
    kvoraWriteMessage(number, out, args);
    return out.str();
}

int16_t kvoraMessageStatusSeverity(int32_t severity) {
    switch (severity) {
    case KVORA_MSG_INFORMATION: return KVORA_STATUS_INFO;
    case KVORA_MSG_WARNING: return KVORA_STATUS_WARNING;
    case KVORA_MSG_SEVERE: return KVORA_STATUS_SEVERE;
    default: return KVORA_STATUS_ERROR;
    }
}

namespace {

// The status record of each environment that has issued a message. A process
// has one or a few environments, so a short list searched in order will do.
struct EnvStatus {
    const KVORAEnv *env;
    KVORAStatus status;
};

std::vector<EnvStatus> &statusTable() {
    static std::vector<EnvStatus> table;
    return table;
}

KVORAStatus *findStatus(const KVORAEnv *env) {
    for (EnvStatus &entry : statusTable())
        if (entry.env == env) return &entry.status;
    return nullptr;
}

}  // namespace

int32_t kvoraIssueMessageArgs(int32_t severity, int32_t number, const char *const *args, int32_t argCount,
                              KVORA_ENV env) {
    int16_t statusSeverity = kvoraMessageStatusSeverity(severity);
    if (kvoraSilentFlag) return statusSeverity;
    KVORAEnv *current = kvoraGetEnv(env);
    KVORAStatus *stored = findStatus(current);
    if (stored == nullptr) {
        statusTable().push_back(EnvStatus{current, KVORAStatus()});
        stored = &statusTable().back().status;
    }
    KVORAStatus fresh;
    fresh.set(statusSeverity, number, KVORA_STATUS_KIND_LIBRARY, nullptr, args, argCount);
    stored->takeIfWorse(fresh);
    return statusSeverity;
}

std::string kvoraMessageInfo(int32_t mode, KVORA_ENV env) {
    if (mode < 0 || mode > 2) kvoraAssertFail("0", KVORA_PLACE);
    const KVORAStatus *stored = findStatus(kvoraGetEnv(env));
    if (stored == nullptr) return mode == 0 ? std::string("Messaging not initialized !") : std::string();
    switch (mode) {
    case 0: return stored->getText();
    case 1: return stored->getParamsText();
    default: return std::string(stored->getState());
    }
}

std::string kvoraLastMessage(KVORA_ENV env) { return kvoraMessageInfo(0, env); }

std::string kvoraLastMessageParams(KVORA_ENV env) { return kvoraMessageInfo(1, env); }

void kvoraClearLastMessage(KVORA_ENV env) {
    KVORAStatus *stored = findStatus(kvoraGetEnv(env));
    if (stored != nullptr) stored->clear();
}
