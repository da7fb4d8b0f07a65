// Status records: their letters, states, texts and the rule by which a worse
// condition displaces the stored one.
#include "util/kvora_status.h"

#include <cstring>
#include <new>
#include <sstream>

#include "util/kvora_message.h"

namespace {

// Number ranges whose conditions have the "in list" state of their kind.
bool inStateLists(int32_t number) {
    return (number >= 3000 && number <= 3299) || (number >= 4000 && number <= 4499) ||
           (number >= 8000 && number <= 8199) || (number >= 8400 && number <= 8699);
}

const char *const kOutOfMemoryText = "*** KVO_SEVERE_OUT_OF_MEMORY ***";
const char *const kExceptionText = "An exception occurred.";

}  // namespace

KVORAStatus::KVORAStatus()
    : ivSeverity(0), ivNumber(0), ivKind(0), ivEmpty(true), ivFromOldTrace(false), ivState{0} {}

void KVORAStatus::clear() {
    ivSeverity = 0;
    ivNumber = 0;
    ivKind = 0;
    ivEmpty = true;
    ivFromOldTrace = false;
    ivState[0] = '\0';
    ivText.clear();
    ivParamsText.clear();
    for (std::string &param : ivParams) param.clear();
}

char KVORAStatus::letterOf(int16_t severity) {
    if (severity == 0) return 'I';
    if (severity == 1) return 'W';
    if (static_cast<uint16_t>(severity) == 0xFFFDu) return 'S';
    return 'E';
}

int32_t KVORAStatus::rankOf(int16_t severity) {
    switch (letterOf(severity)) {
    case 'I': return 0;
    case 'W': return 1;
    case 'S': return 3;
    default: return 2;
    }
}

int32_t KVORAStatus::stateOf(int32_t kind, int16_t severity, int32_t number, char *state) {
    state[0] = '\0';
    if (number < 0) return -2;
    if (number == 0) return 0;
    const char *text = "";
    if (kind == KVORA_STATUS_KIND_LIBRARY)
        text = severity == 1 ? "01HM0" : inStateLists(number) ? "38M00" : "38M01";
    else if (kind == KVORA_STATUS_KIND_CLIENT)
        text = severity == 1 ? "20102" : inStateLists(number) ? "20100" : "20101";
    std::strcpy(state, text);
    return 0;
}

void KVORAStatus::set(int16_t severity, int32_t number, int32_t kind, const char *text, const char *const *params,
                      int32_t paramCount) {
    clear();
    ivSeverity = severity;
    ivNumber = number;
    ivKind = kind;
    ivEmpty = false;
    stateOf(kind, severity, number, ivState);
    try {
        for (int32_t i = 0; i < KVORA_STATUS_MAX_PARAMS && i < paramCount; ++i)
            if (params != nullptr && params[i] != nullptr) ivParams[i] = params[i];
        buildTexts(text);
    } catch (const std::bad_alloc &) {
        ivText = kOutOfMemoryText;
        ivParamsText.clear();
    } catch (...) {
        ivText = kExceptionText;
        ivParamsText.clear();
    }
}

void KVORAStatus::buildTexts(const char *text) {
    std::ostringstream out;
    out << letterOf(ivSeverity) << ivNumber << ": ";
    if (text != nullptr && text[0] != '\0') {
        out << text;
    } else {
        // No text of its own: the condition is a numbered message.
        const char *args[5] = {ivParams[0].c_str(), ivParams[1].c_str(), ivParams[2].c_str(), ivParams[3].c_str(),
                               ivParams[4].c_str()};
        kvoraWriteMessage(ivNumber, out, args);
    }
    ivText = out.str();
    ivParamsText = "Message Params =";
    for (const std::string &param : ivParams)
        if (!param.empty()) ivParamsText += " (" + param + ")";
}

bool KVORAStatus::takeIfWorse(const KVORAStatus &fresh) {
    if (fresh.ivEmpty) return false;
    if (!ivEmpty && rankOf(fresh.ivSeverity) <= rankOf(ivSeverity)) return false;
    *this = fresh;
    return true;
}

void KVORAStatus::print(std::ostream &out, int32_t threadId) const {
    if (ivFromOldTrace) out << "OLD TRACE: " << "Trace information." << '\n';
    out << " TID: " << threadId << ivText << '\n';
}
