// The trace component. It reads its environment variables once, at
// construction, so every case builds its trace in a forked child that sets the
// variables and works in a directory of its own; nothing leaks into the other
// tests. The child reports through its exit status and the trace file, which
// the parent then reads.
#include "util/kvora_trace.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "qrv_run.h"
#include "util/kvora_debug.h"

namespace {

// A fresh directory, removed with everything in it when the case is done.
struct TempDir {
    std::string path = qrvtest::makeTempDir("trace");
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

const char *const kVariables[] = {"KVO_TRACEFILE", "KVO_TRACELEVEL", "KVO_TRACECOMP"};

// Runs `body` in a child process inside `dir` with exactly the given trace
// variables; answers its exit status (or 200 + signal, or 199 if it hung).
int inChild(const std::string &dir, const std::map<std::string, std::string> &vars,
            const std::function<int()> &body) {
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(30);
        for (const char *name : kVariables) unsetenv(name);
        for (const auto &var : vars) setenv(var.first.c_str(), var.second.c_str(), 1);
        if (chdir(dir.c_str()) != 0) _exit(198);
        int rc = body();
        std::fflush(nullptr);
        _exit(rc);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return 197;
    if (WIFSIGNALED(status)) return WTERMSIG(status) == SIGALRM ? 199 : 200 + WTERMSIG(status);
    return WEXITSTATUS(status);
}

// `body` run in a child inside a fresh directory; its status and trace files.
struct ChildRun {
    TempDir dir;
    int rc;
    ChildRun(const std::map<std::string, std::string> &vars, const std::function<int()> &body)
        : rc(inChild(dir.path, vars, body)) {}
    std::vector<std::string> lines(const std::string &file = "kvoTrace.log") const {
        return qrvtest::splitLines(qrvtest::readFile(dir.path + "/" + file));
    }
    bool exists(const std::string &file) const { return qrvtest::fileExists(dir.path + "/" + file); }
};

bool hasLine(const std::vector<std::string> &lines, const std::string &line) {
    for (const std::string &l : lines)
        if (l == line) return true;
    return false;
}

const char *const kLongNames[] = {
    "Utilities", "Data Access API", "Processing Library", "Kernel", "Statistics", "Environment Layer API",
    "Client/Server API", "ORX Class Library", "ZQL Call Level Interface", "Result API", "Graphical User Interface",
    "Scoring SQL API", "Modeling SQL API"};

// The component lines of the run block, for a set of enabled indices.
std::vector<std::string> componentLines(const std::vector<int> &enabled) {
    std::vector<std::string> lines;
    for (int i = 0; i < 13; ++i) {
        bool on = false;
        for (int e : enabled) on = on || e == i;
        lines.push_back(std::string(kLongNames[i]) + " is " + (on ? "ENABLED" : "DISABLED"));
    }
    return lines;
}

std::vector<int> all13() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}; }

}  // namespace

TEST(Trace, DefaultRunBlockInTheDefaultFile) {
    ChildRun run({}, [] {
        KVOTrace trace;
        return trace.traceLevel();
    });
    EXPECT_EQ(run.rc, 1);
    std::vector<std::string> lines = run.lines();
    ASSERT_EQ(lines.size(), 24u);
    EXPECT_EQ(lines[0], "/--------------------------- NEW RUN ---------------------------\\");
    EXPECT_EQ(lines[1].rfind("Tracing started on ", 0), 0u);
    EXPECT_GT(lines[1].size(), std::string("Tracing started on ").size());
    std::vector<std::string> expected = {"Current Settings", "----------------",
                                         "Trace level:                         MINIMUM",
                                         "Status of tracing for components:    "};
    for (const std::string &l : componentLines(all13())) expected.push_back(l);
    expected.insert(expected.end(), {"Append to file if exists:            DISABLED",
                                     "Flush after each call to KVOTRACE(): DISABLED",
                                     "Print sourceline references:         DISABLED",
                                     "Print timestamps:                    DISABLED", "Tracing component initialized"});
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 2, lines.end()), expected);
}

TEST(Trace, LevelTextsFromTheEnvironment) {
    // The numeric texts stand one below the levels; a text naming no level
    // keeps the default but still counts as set.
    struct Case {
        const char *text;
        int level;
        const char *name;
    } cases[] = {{"NONE", 0, "NONE"}, {"0", 1, "MINIMUM"}, {"MINIMUM", 1, "MINIMUM"}, {"1", 2, "BASIC"},
                 {"BASIC", 2, "BASIC"}, {"2", 3, "MOST"}, {"MOST", 3, "MOST"},     {"3", 4, "ALL"},
                 {"9", 4, "ALL"},     {"ALL", 4, "ALL"},  {"basic", 1, "MINIMUM"}, {"10", 1, "MINIMUM"}};
    for (const Case &c : cases) {
        ChildRun run({{"KVO_TRACELEVEL", c.text}}, [] {
            KVOTrace trace;
            trace.setTraceLevel(KVOTRC_MOST);  // overridden by the environment
            return trace.traceLevel();
        });
        EXPECT_EQ(run.rc, c.level) << c.text;
        std::vector<std::string> lines = run.lines();
        EXPECT_TRUE(hasLine(lines, std::string("Trace level:                         ") + c.name +
                                       " (from environment variable KVO_TRACELEVEL)"))
            << c.text;
        EXPECT_TRUE(hasLine(lines, "WARNING: Attempted to change tracelevel, environment variable overrides"));
        EXPECT_FALSE(hasLine(lines, "NOTE: Changed tracelevel to MOST"));
    }
}

TEST(Trace, ComponentListsFromTheEnvironment) {
    struct Case {
        const char *list;
        std::vector<int> enabled;
    } cases[] = {
        {"KERNEL", all13()},                   // no blanks: matches nothing, all stay on
        {"KERNEL  ", {3}},
        {"BOGUS,KERNEL  ,GUI     ,UTIL", {3, 10}},
        {"MODELING,SCORING ", {11, 12}},
        {"KERNEL  ,NONE,GUI     ", {}},        // NONE clears everything and ends the list
        {"NONE", {}},
        {"DACC    ,ALL", all13()},
        {"kernel  ", all13()},
    };
    for (const Case &c : cases) {
        ChildRun run({{"KVO_TRACECOMP", c.list}}, [] {
            KVOTrace trace;
            trace.enableComponent("ALL");  // overridden by the environment
            trace.trace(KVOTRC_MINIMUM, KVOTRC_KERNEL, "kernel line");
            trace.trace(KVOTRC_MINIMUM, KVOTRC_GUI, "gui line");
            return trace.isComponentEnabled("KERNEL  ") ? 1 : 0;
        });
        bool kernelOn = false, guiOn = false;
        for (int e : c.enabled) {
            kernelOn = kernelOn || e == 3;
            guiOn = guiOn || e == 10;
        }
        EXPECT_EQ(run.rc, kernelOn ? 1 : 0) << c.list;
        std::vector<std::string> lines = run.lines();
        ASSERT_GE(lines.size(), 19u);
        EXPECT_EQ(lines[5], "Status of tracing for components:     (from environment variable KVO_TRACECOMP)");
        EXPECT_EQ(std::vector<std::string>(lines.begin() + 6, lines.begin() + 19), componentLines(c.enabled))
            << c.list;
        EXPECT_TRUE(
            hasLine(lines, "WARNING: Attempted to change enabled components, environment variable overrides"));
        EXPECT_EQ(hasLine(lines, "kernel line"), kernelOn) << c.list;
        EXPECT_EQ(hasLine(lines, "gui line"), guiOn) << c.list;
    }
}

TEST(Trace, SettersWriteTheirNotesAndWarnings) {
    ChildRun run({}, [] {
        KVOTrace trace;
        trace.setTraceLevel(KVOTRC_MOST);
        trace.setTraceLevel(7);
        trace.setTraceLevel(-1);
        trace.enableComponent("KERNEL");
        trace.disableComponent("NOPE");
        trace.disableComponent("KERNEL  ");
        bool kernel = trace.isComponentEnabled("KERNEL  ");
        bool stat = trace.isComponentEnabled("STAT    ");
        bool bogus = trace.isComponentEnabled("XYZ");
        trace.enableComponent("KERNEL  ");
        trace.disableComponent("ALL");
        bool afterAll = trace.isComponentEnabled("UTIL    ");
        trace.enableComponent("ALL");
        trace.setFlush(true);
        trace.setAppend(false);
        trace.setTimestamps(true);
        trace.setTimestamps(false);
        trace.setSourceLines(true);
        if (kernel || !stat || bogus || afterAll) return 10;
        return trace.traceLevel();
    });
    EXPECT_EQ(run.rc, 3);
    std::vector<std::string> lines = run.lines();
    std::vector<std::string> expected = {
        "Tracing component initialized",
        "NOTE: Changed tracelevel to MOST",
        "WARNING: Attempted to set invalid tracelevel 7, ignored.",
        "WARNING: Attempted to set invalid tracelevel -1, ignored.",
        "WARNING: Attempted to enable invalid component KERNEL",
        "WARNING: Attempted to disable invalid component NOPE",
        "NOTE: Component KERNEL   is now DISABLED",
        "WARNING: Attempted to get status of invalid component XYZ",
        "NOTE: Component KERNEL   is now ENABLED",
        "NOTE: All Components are now DISABLED",
        "NOTE: All Components are now ENABLED",
        "NOTE: Status of flushing changed to ENABLED",
        "NOTE: Append mode was set to DISABLED",
        "NOTE: Timestamp printing mode was ENABLED",
        "NOTE: Timestamp printing mode was DISABLED",
        "NOTE: Source line printing mode was ENABLED",
    };
    ASSERT_GE(lines.size(), expected.size());
    // Notes carry a timestamp in front while that option is on.
    std::vector<std::string> tail(lines.end() - expected.size(), lines.end());
    ASSERT_EQ(tail.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        if (i == 13) {
            EXPECT_NE(tail[i].find(expected[i]), std::string::npos);
            EXPECT_NE(tail[i], expected[i]);
        } else {
            EXPECT_EQ(tail[i], expected[i]);
        }
    }
}

TEST(Trace, LinesPassTheLevelAndComponentFilters) {
    ChildRun run({}, [] {
        KVOTrace trace;
        trace.setTraceLevel(KVOTRC_BASIC);
        trace.trace(KVOTRC_MINIMUM, KVOTRC_UTIL, "minimum passes");
        trace.trace(KVOTRC_BASIC, KVOTRC_DACC, "basic passes");
        trace.trace(KVOTRC_MOST, KVOTRC_UTIL, "most is filtered");
        trace.trace(KVOTRC_NONE, KVOTRC_UTIL, "none is never written");
        trace.trace(KVOTRC_MINIMUM, 13, "unknown component");
        trace.disableComponent("DACC    ");
        trace.trace(KVOTRC_MINIMUM, KVOTRC_DACC, "disabled component");
        trace.setSourceLines(true);
        trace.trace(KVOTRC_MINIMUM, KVOTRC_UTIL, "with its place", "/src/lib/x/kvora_thing.cpp", 42);
        trace.setTraceLevel(KVOTRC_NONE);
        trace.trace(KVOTRC_MINIMUM, KVOTRC_UTIL, "level none");
        return 0;
    });
    EXPECT_EQ(run.rc, 0);
    std::vector<std::string> lines = run.lines();
    EXPECT_TRUE(hasLine(lines, "minimum passes"));
    EXPECT_TRUE(hasLine(lines, "basic passes"));
    EXPECT_TRUE(hasLine(lines, "kvora_thing.cpp:42: with its place"));
    for (const char *absent : {"most is filtered", "none is never written", "unknown component",
                               "disabled component", "level none"})
        EXPECT_FALSE(hasLine(lines, absent)) << absent;
    EXPECT_STREQ(KVOTrace::componentLongName(13), "Unknown Component");
    EXPECT_STREQ(KVOTrace::componentLongName(3), "Kernel");
}

TEST(Trace, ChangingTheFile) {
    ChildRun run({}, [] {
        KVOTrace trace;
        trace.setTraceFile("/nonexistent-dir/t.log");
        trace.setTraceFile("second.log");
        trace.trace(KVOTRC_MINIMUM, KVOTRC_UTIL, "in the second file");
        return trace.traceFileName() == "second.log" ? 0 : 1;
    });
    EXPECT_EQ(run.rc, 0);
    std::vector<std::string> first = run.lines();
    ASSERT_GE(first.size(), 4u);
    std::vector<std::string> firstTail(first.end() - 4, first.end());
    EXPECT_EQ(firstTail, (std::vector<std::string>{"Tracing component initialized",
                                                   "NOTE: Attempting to change name of tracefile /nonexistent-dir/t.log",
                                                   "WARNING: Failed to open new tracefile, continue trace here",
                                                   "NOTE: Attempting to change name of tracefile second.log"}));
    std::vector<std::string> second = run.lines("second.log");
    ASSERT_EQ(second.size(), 26u);  // the 23 lines of the run block first
    EXPECT_EQ(second[0], "/--------------------------- NEW RUN ---------------------------\\");
    EXPECT_EQ(second[22], "Print timestamps:                    DISABLED");
    EXPECT_EQ(second[23], "NOTE: Previous tracefile was");
    EXPECT_EQ(second[24], "kvoTrace.log");
    EXPECT_EQ(second[25], "in the second file");
}

TEST(Trace, AFileNamedByTheEnvironmentCannotBeChanged) {
    ChildRun run({{"KVO_TRACEFILE", "mine.log"}}, [] {
        KVOTrace trace;
        trace.setTraceFile("other.log");
        return trace.traceFileName() == "mine.log" ? 0 : 1;
    });
    EXPECT_EQ(run.rc, 0);
    EXPECT_FALSE(run.exists("kvoTrace.log"));
    EXPECT_FALSE(run.exists("other.log"));
    std::vector<std::string> lines = run.lines("mine.log");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "WARNING: Attempted to change name of tracefile other.log, environment variable overrides");
}

TEST(Trace, AssertionsEnterTheTraceFromLevelTwo) {
    auto failOnce = [] {
        kvoraTraceInstallHook();
        kvoraSilentFlag = 1;
        try {
            kvoraAssertFail("x > 0", "/a/b/c_file.cpp", 12, "compute");
        } catch (int) {
        }
        return 0;
    };
    ChildRun basic({{"KVO_TRACELEVEL", "1"}}, failOnce);
    EXPECT_EQ(basic.rc, 0);
    EXPECT_TRUE(hasLine(basic.lines(), "c_file.cpp:12:compute:x > 0"));
    EXPECT_TRUE(hasLine(basic.lines(), "c_file.cpp:12:compute:C++ Exception thrown."));

    // Level MINIMUM ("0") keeps them out.
    ChildRun minimum({{"KVO_TRACELEVEL", "0"}}, failOnce);
    EXPECT_EQ(minimum.rc, 0);
    EXPECT_FALSE(hasLine(minimum.lines(), "c_file.cpp:12:compute:x > 0"));
    EXPECT_TRUE(hasLine(minimum.lines(), "Tracing component initialized"));

    // At the default level an assertion doesn't even make the trace file.
    ChildRun none({}, failOnce);
    EXPECT_EQ(none.rc, 0);
    EXPECT_FALSE(none.exists("kvoTrace.log"));

    // A trace raised to BASIC by a call lets them in too, with the place of
    // the trace call in front when source lines are on.
    ChildRun called({}, [&] {
        KVOTrace *trace = KVOTrace::instance();
        trace->setTraceLevel(KVOTRC_BASIC);
        trace->setSourceLines(true);
        failOnce();
        trace->setFlush(true);
        return 0;
    });
    EXPECT_EQ(called.rc, 0);
    std::vector<std::string> lines = called.lines();
    const std::string suffix = ": c_file.cpp:12:compute:x > 0";
    bool found = false;
    for (const std::string &l : lines)
        found = found || (l.rfind("kvora_trace.cpp:", 0) == 0 && l.size() > suffix.size() &&
                          l.compare(l.size() - suffix.size(), suffix.size(), suffix) == 0);
    EXPECT_TRUE(found);
}
