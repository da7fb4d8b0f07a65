// The trace component: environment parsing, the "NEW RUN" block, the setters
// with their notes and warnings, and the hook through which assertions enter
// the trace. Trace lines are rare and off the per-record paths; the filter
// (wants) is inline so that a disabled line costs a few tests.
#include "util/kvora_trace.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "util/kvora_debug.h"

namespace {

struct ComponentName {
    const char *shortName;
    const char *longName;
};

const ComponentName kComponents[KVOTRC_COMPONENT_COUNT] = {
    {"UTIL    ", "Utilities"},
    {"DACC    ", "Data Access API"},
    {"PPL     ", "Processing Library"},
    {"KERNEL  ", "Kernel"},
    {"STAT    ", "Statistics"},
    {"EVL     ", "Environment Layer API"},
    {"CSAPI   ", "Client/Server API"},
    {"ORXLIB  ", "ORX Class Library"},
    {"ZQLCLI  ", "ZQL Call Level Interface"},
    {"RESULT  ", "Result API"},
    {"GUI     ", "Graphical User Interface"},
    {"SCORING ", "Scoring SQL API"},
    {"MODELING", "Modeling SQL API"},
};

struct LevelText {
    const char *text;
    int32_t level;
};

// The numeric texts stand one below the levels' numbers.
const LevelText kLevelTexts[] = {
    {"NONE", KVOTRC_NONE}, {"MINIMUM", KVOTRC_MINIMUM}, {"0", KVOTRC_MINIMUM}, {"BASIC", KVOTRC_BASIC},
    {"1", KVOTRC_BASIC},   {"MOST", KVOTRC_MOST},       {"2", KVOTRC_MOST},    {"ALL", KVOTRC_ALL},
    {"3", KVOTRC_ALL},     {"4", KVOTRC_ALL},           {"5", KVOTRC_ALL},     {"6", KVOTRC_ALL},
    {"7", KVOTRC_ALL},     {"8", KVOTRC_ALL},           {"9", KVOTRC_ALL},
};

const char *enabledText(bool flag) { return flag ? "ENABLED" : "DISABLED"; }

const char *orEmpty(const char *text) { return text != nullptr ? text : ""; }

// The process's trace lives on the heap and is deleted by this guard at exit;
// after that instance() answers null.
KVOTrace *gInstance = nullptr;
bool gTornDown = false;

struct TeardownGuard {
    ~TeardownGuard() {
        gTornDown = true;
        delete gInstance;
        gInstance = nullptr;
    }
};

}  // namespace

KVOTrace::KVOTrace()
    : ivFileName("kvoTrace.log"),
      ivFileFromEnv(false),
      ivFileEnvName("KVO_TRACEFILE"),
      ivLevel(KVOTRC_MINIMUM),
      ivLevelFromEnv(false),
      ivLevelEnvName("KVO_TRACELEVEL"),
      ivOverall(true),
      ivComponentsEnvName("KVO_TRACECOMP"),
      ivComponentsFromEnv(false),
      ivFlush{false, false, ""},
      ivAppend{false, false, ""},
      ivSourceLines{false, false, ""},
      ivTimestamps{false, false, ""} {
    for (bool &flag : ivEnabled) flag = true;
    readEnvironment();
    if (openFile(ivFileName, ivOut)) writeRunBlock();
    note("Tracing component initialized");
}

KVOTrace::~KVOTrace() {
    if (ivOut.is_open()) ivOut.flush();
}

KVOTrace *KVOTrace::instance() {
    if (gTornDown) return nullptr;
    if (gInstance == nullptr) {
        static TeardownGuard guard;
        gInstance = new KVOTrace();
    }
    return gInstance;
}

KVOTrace *KVOTrace::existing() { return gTornDown ? nullptr : gInstance; }

void KVOTrace::readEnvironment() {
    const char *level = std::getenv(ivLevelEnvName);
    if (level != nullptr && level[0] != '\0') {
        int32_t parsed = parseLevel(level);
        if (parsed >= 0) ivLevel = parsed;
        ivLevelFromEnv = true;  // even a text that names no level
    }
    const char *components = std::getenv(ivComponentsEnvName);
    if (components != nullptr && components[0] != '\0') {
        applyComponentList(components);
        ivComponentsFromEnv = true;
    }
    const char *file = std::getenv(ivFileEnvName);
    if (file != nullptr && file[0] != '\0') {
        ivFileName = file;
        ivFileFromEnv = true;
    }
}

void KVOTrace::applyComponentList(const char *list) {
    bool matched = false;
    const char *start = list;
    for (;;) {
        const char *end = std::strchr(start, ',');
        std::string token = end != nullptr ? std::string(start, end) : std::string(start);
        if (token == "NONE") {
            for (bool &flag : ivEnabled) flag = false;
            ivOverall = false;
            return;
        }
        if (token == "ALL") {
            for (bool &flag : ivEnabled) flag = true;
            ivOverall = true;
            return;
        }
        int32_t ix = componentIndex(token.c_str());
        if (ix >= 0) {
            if (!matched) {
                for (bool &flag : ivEnabled) flag = false;
                ivOverall = false;
                matched = true;
            }
            ivEnabled[ix] = true;
            ivOverall = true;
        }
        if (end == nullptr) return;
        start = end + 1;
    }
}

bool KVOTrace::openFile(const std::string &name, std::ofstream &out) const {
    out.open(name.c_str(), ivAppend.value ? std::ios::out | std::ios::app : std::ios::out | std::ios::trunc);
    return out.is_open();
}

void KVOTrace::settingLine(const char *label, const char *value, bool fromEnv, const char *envName) {
    ivOut << label << value;
    if (fromEnv) ivOut << " (from environment variable " << envName << ")";
    ivOut << '\n';
}

void KVOTrace::writeRunBlock() {
    char when[64] = "";
    std::time_t now = std::time(nullptr);
    struct tm parts;
    if (localtime_r(&now, &parts) != nullptr) std::strftime(when, sizeof when, "%a %b %d %H:%M:%S %Y", &parts);
    ivOut << "/--------------------------- NEW RUN ---------------------------\\\n";
    ivOut << "Tracing started on " << when << '\n';
    ivOut << "Current Settings\n";
    ivOut << "----------------\n";
    settingLine("Trace level:                         ", levelName(ivLevel), ivLevelFromEnv, ivLevelEnvName);
    settingLine("Status of tracing for components:    ", "", ivComponentsFromEnv, ivComponentsEnvName);
    for (int32_t i = 0; i < KVOTRC_COMPONENT_COUNT; ++i)
        ivOut << kComponents[i].longName << " is " << enabledText(ivOverall && ivEnabled[i]) << '\n';
    settingLine("Append to file if exists:            ", enabledText(ivAppend.value), ivAppend.fromEnv,
                ivAppend.envName);
    settingLine("Flush after each call to KVOTRACE(): ", enabledText(ivFlush.value), ivFlush.fromEnv,
                ivFlush.envName);
    settingLine("Print sourceline references:         ", enabledText(ivSourceLines.value), ivSourceLines.fromEnv,
                ivSourceLines.envName);
    settingLine("Print timestamps:                    ", enabledText(ivTimestamps.value), ivTimestamps.fromEnv,
                ivTimestamps.envName);
    ivOut.flush();
}

void KVOTrace::writeLine(const char *text, const char *file, int32_t line) {
    if (!ivOut.is_open()) return;
    if (ivTimestamps.value) {
        char when[32] = "";
        std::time_t now = std::time(nullptr);
        struct tm parts;
        if (localtime_r(&now, &parts) != nullptr) std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &parts);
        ivOut << when << ' ';
    }
    if (ivSourceLines.value && file != nullptr) ivOut << kvoraBaseName(file) << ':' << line << ": ";
    ivOut << orEmpty(text) << '\n';
    if (ivFlush.value) ivOut.flush();
}

void KVOTrace::note(const std::string &text) {
    writeLine(text.c_str(), nullptr, 0);
    if (ivOut.is_open()) ivOut.flush();
}

void KVOTrace::flush() {
    if (ivOut.is_open()) ivOut.flush();
}

void KVOTrace::trace(int32_t level, int32_t component, const char *text, const char *file, int32_t line) {
    if (!wants(level, component)) return;
    writeLine(text, file, line);
}

void KVOTrace::setTraceFile(const char *name) {
    std::string newName = orEmpty(name);
    if (ivFileFromEnv) {
        note("WARNING: Attempted to change name of tracefile " + newName + ", environment variable overrides");
        return;
    }
    note("NOTE: Attempting to change name of tracefile " + newName);
    std::ofstream next;
    if (newName.empty() || !openFile(newName, next)) {
        note("WARNING: Failed to open new tracefile, continue trace here");
        return;
    }
    std::string previous = ivFileName;
    if (ivOut.is_open()) ivOut.close();
    ivOut.swap(next);
    ivFileName = newName;
    writeRunBlock();
    note("NOTE: Previous tracefile was");
    note(previous);
}

void KVOTrace::setTraceLevel(int32_t level) {
    if (ivLevelFromEnv) {
        note("WARNING: Attempted to change tracelevel, environment variable overrides");
        return;
    }
    if (level < KVOTRC_NONE || level > KVOTRC_ALL) {
        note("WARNING: Attempted to set invalid tracelevel " + std::to_string(level) + ", ignored.");
        return;
    }
    ivLevel = level;
    note(std::string("NOTE: Changed tracelevel to ") + levelName(level));
}

void KVOTrace::enableComponent(const char *name) {
    std::string text = orEmpty(name);
    if (ivComponentsFromEnv) {
        note("WARNING: Attempted to change enabled components, environment variable overrides");
        return;
    }
    if (text == "ALL") {
        for (bool &flag : ivEnabled) flag = true;
        ivOverall = true;
        note("NOTE: All Components are now ENABLED");
        return;
    }
    int32_t ix = componentIndex(text.c_str());
    if (ix < 0) {
        note("WARNING: Attempted to enable invalid component " + text);
        return;
    }
    ivEnabled[ix] = true;
    ivOverall = true;
    note("NOTE: Component " + text + " is now ENABLED");
}

void KVOTrace::disableComponent(const char *name) {
    std::string text = orEmpty(name);
    if (ivComponentsFromEnv) {
        note("WARNING: Attempted to change enabled components, environment variable overrides");
        return;
    }
    if (text == "ALL") {
        for (bool &flag : ivEnabled) flag = false;
        ivOverall = false;
        note("NOTE: All Components are now DISABLED");
        return;
    }
    int32_t ix = componentIndex(text.c_str());
    if (ix < 0) {
        note("WARNING: Attempted to disable invalid component " + text);
        return;
    }
    ivEnabled[ix] = false;
    note("NOTE: Component " + text + " is now DISABLED");
}

bool KVOTrace::isComponentEnabled(const char *name) {
    std::string text = orEmpty(name);
    if (text == "ALL") {
        for (bool flag : ivEnabled)
            if (!flag) return false;
        return ivOverall;
    }
    int32_t ix = componentIndex(text.c_str());
    if (ix < 0) {
        note("WARNING: Attempted to get status of invalid component " + text);
        return false;
    }
    return ivOverall && ivEnabled[ix];
}

bool KVOTrace::componentFlag(int32_t component) const {
    return component >= 0 && component < KVOTRC_COMPONENT_COUNT && ivEnabled[component];
}

void KVOTrace::setOption(KVOTraceOption &option, bool flag, const char *warning, const char *notePrefix) {
    if (option.fromEnv) {
        note(warning);
        return;
    }
    option.value = flag;
    note(std::string(notePrefix) + enabledText(flag));
}

void KVOTrace::setFlush(bool flag) {
    setOption(ivFlush, flag, "WARNING: Attempted to change flushing mode, environment variable overrides",
              "NOTE: Status of flushing changed to ");
}

void KVOTrace::setAppend(bool flag) {
    setOption(ivAppend, flag, "WARNING: Attempted to change append mode, environment variable overrides",
              "NOTE: Append mode was set to ");
}

void KVOTrace::setTimestamps(bool flag) {
    setOption(ivTimestamps, flag,
              "WARNING: Attempted to change mode of timestamp printing, environment variable overrides",
              "NOTE: Timestamp printing mode was ");
}

void KVOTrace::setSourceLines(bool flag) {
    setOption(ivSourceLines, flag,
              "WARNING: Attempted to change mode of sourceline printing, environment variable overrides",
              "NOTE: Source line printing mode was ");
}

const char *KVOTrace::levelName(int32_t level) {
    switch (level) {
    case KVOTRC_NONE: return "NONE";
    case KVOTRC_MINIMUM: return "MINIMUM";
    case KVOTRC_BASIC: return "BASIC";
    case KVOTRC_MOST: return "MOST";
    case KVOTRC_ALL: return "ALL";
    default: return "UNKNOWN";
    }
}

int32_t KVOTrace::parseLevel(const char *text) {
    for (const LevelText &entry : kLevelTexts)
        if (std::strcmp(entry.text, text) == 0) return entry.level;
    return -1;
}

const char *KVOTrace::componentShortName(int32_t component) {
    return component >= 0 && component < KVOTRC_COMPONENT_COUNT ? kComponents[component].shortName : "";
}

const char *KVOTrace::componentLongName(int32_t component) {
    return component >= 0 && component < KVOTRC_COMPONENT_COUNT ? kComponents[component].longName
                                                                  : "Unknown Component";
}

int32_t KVOTrace::componentIndex(const char *name) {
    for (int32_t i = 0; i < KVOTRC_COMPONENT_COUNT; ++i)
        if (std::strcmp(kComponents[i].shortName, name) == 0) return i;
    return -1;
}

namespace {

// Assertions and throws enter the trace as file:line:function:text at level 2
// and above. Without a trace built yet, the level can only differ from the
// default (1) through the environment, so the file isn't made for nothing.
void traceAssertion(const char *file, int32_t line, const char *function, const char *text) {
    try {
        KVOTrace *trace = KVOTrace::existing();
        if (trace == nullptr) {
            const char *level = std::getenv("KVO_TRACELEVEL");
            if (level == nullptr || level[0] == '\0') return;
            trace = KVOTrace::instance();
            if (trace == nullptr) return;
        }
        if (trace->traceLevel() < KVOTRC_BASIC) return;
        std::string entry = std::string(kvoraBaseName(orEmpty(file))) + ":" + std::to_string(line) + ":" + orEmpty(function) +
                            ":" + orEmpty(text);
        trace->trace(KVOTRC_BASIC, KVOTRC_UTIL, entry.c_str(), __FILE__, __LINE__);
        // The process may be ended by its launcher before it exits normally.
        trace->flush();
    } catch (...) {
        // The failure being reported matters more than its trace line.
    }
}

struct HookInstaller {
    HookInstaller() { kvoraTraceInstallHook(); }
};

HookInstaller gHookInstaller;

}  // namespace

void kvoraTraceInstallHook() { kvoraAssertTraceHook = &traceAssertion; }
