// The process-wide trace: diagnostic lines in a file, filtered by a level and
// by a set of components. Environment variables (KVO_TRACEFILE, KVO_TRACELEVEL,
// KVO_TRACECOMP) are read once at construction and then override what the
// program asks for: a setter whose setting came from the environment warns in
// the trace and changes nothing. The component's own notes and warnings are
// always written; trace lines pass the filters first.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

enum KVOTraceLevel : int32_t {
    KVOTRC_NONE = 0,
    KVOTRC_MINIMUM = 1,
    KVOTRC_BASIC = 2,
    KVOTRC_MOST = 3,
    KVOTRC_ALL = 4
};

// Component indices, in the order of the component table.
enum KVOTraceComponent : int32_t {
    KVOTRC_UTIL = 0,
    KVOTRC_DACC = 1,
    KVOTRC_PPL = 2,
    KVOTRC_KERNEL = 3,
    KVOTRC_STAT = 4,
    KVOTRC_EVL = 5,
    KVOTRC_CSAPI = 6,
    KVOTRC_ORXLIB = 7,
    KVOTRC_ZQLCLI = 8,
    KVOTRC_RESULT = 9,
    KVOTRC_GUI = 10,
    KVOTRC_SCORING = 11,
    KVOTRC_MODELING = 12
};

#define KVOTRC_COMPONENT_COUNT 13

// One setting of the trace with the variable that may fix it.
struct KVOTraceOption {
    bool value;
    bool fromEnv;
    const char *envName;  // empty: only calls can set it
};

class KVOTrace {
public:
    // Reads the environment, opens the file (writing the "NEW RUN" block) and
    // notes "Tracing component initialized".
    KVOTrace();
    ~KVOTrace();
    KVOTrace(const KVOTrace &) = delete;
    KVOTrace &operator=(const KVOTrace &) = delete;

    // The process's trace, built on first use; null once torn down at exit,
    // so that late calls do nothing.
    static KVOTrace *instance();
    // The process's trace if it was built and is still alive, else null.
    static KVOTrace *existing();

    void setTraceFile(const char *name);
    void setTraceLevel(int32_t level);
    void enableComponent(const char *name);
    void disableComponent(const char *name);
    bool isComponentEnabled(const char *name);
    void setFlush(bool flag);
    void setAppend(bool flag);
    void setTimestamps(bool flag);
    void setSourceLines(bool flag);

    int32_t traceLevel() const { return ivLevel; }
    const std::string &traceFileName() const { return ivFileName; }
    bool isFileOpen() const { return ivOut.is_open(); }
    bool levelFromEnv() const { return ivLevelFromEnv; }
    bool componentsFromEnv() const { return ivComponentsFromEnv; }
    bool fileFromEnv() const { return ivFileFromEnv; }
    // The flag of one component by index (false outside the table).
    bool componentFlag(int32_t component) const;
    bool overallFlag() const { return ivOverall; }

    // True if a line of this level and component would be written.
    bool wants(int32_t level, int32_t component) const {
        return ivOverall && level > KVOTRC_NONE && level <= ivLevel && component >= 0 &&
               component < KVOTRC_COMPONENT_COUNT && ivEnabled[component];
    }
    // Writes the line if the level and the component let it pass; with source
    // lines on, `file` and `line` (when given) go in front.
    void trace(int32_t level, int32_t component, const char *text, const char *file = nullptr, int32_t line = 0);
    void flush();

    static const char *levelName(int32_t level);
    // Level of a KVO_TRACELEVEL text, or -1 if the text names none.
    static int32_t parseLevel(const char *text);
    static const char *componentShortName(int32_t component);
    static const char *componentLongName(int32_t component);  // "Unknown Component" outside the table
    // Index of a component by its eight-character short name, or -1.
    static int32_t componentIndex(const char *name);

private:
    void readEnvironment();
    void applyComponentList(const char *list);
    bool openFile(const std::string &name, std::ofstream &out) const;
    void writeRunBlock();
    void writeLine(const char *text, const char *file, int32_t line);
    void note(const std::string &text);
    void settingLine(const char *label, const char *value, bool fromEnv, const char *envName);
    void setOption(KVOTraceOption &option, bool flag, const char *warning, const char *notePrefix);

    std::string ivFileName;
    bool ivFileFromEnv;
    const char *ivFileEnvName;
    int32_t ivLevel;
    bool ivLevelFromEnv;
    const char *ivLevelEnvName;
    bool ivEnabled[KVOTRC_COMPONENT_COUNT];
    bool ivOverall;
    const char *ivComponentsEnvName;
    bool ivComponentsFromEnv;
    KVOTraceOption ivFlush;
    KVOTraceOption ivAppend;
    KVOTraceOption ivSourceLines;
    KVOTraceOption ivTimestamps;
    std::ofstream ivOut;
};

// Lets failed assertions and throws enter the trace at level 2 (KVOTRC_BASIC)
// and above. Done at start-up when this module is linked; callable again.
void kvoraTraceInstallHook();

#define KVOTRACE(level, component, text)                                                            \
    do {                                                                                            \
        KVOTrace *kvoTrace_ = KVOTrace::instance();                                                 \
        if (kvoTrace_ != nullptr && kvoTrace_->wants((level), (component)))                         \
            kvoTrace_->trace((level), (component), (text), __FILE__, __LINE__);                     \
    } while (0)
