// The trace reads its environment variables once, at construction, so each
// case builds its trace in a forked child with its own variables and folder;
// the child reports through its exit status and the trace file.
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

using Lines = std::vector<std::string>;

// `body` run in a child inside a fresh folder with exactly the given trace
// variables; rc is its exit status (200 + signal, 199 if it hung).
struct ChildRun {
    std::string dir = qrvtest::makeTempDir("trace");
    int rc = 197;
    ChildRun(const std::map<std::string, std::string> &vars, const std::function<int()> &body) {
        std::fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0) {
            alarm(30);
            for (const char *name : {"KVO_TRACEFILE", "KVO_TRACELEVEL", "KVO_TRACECOMP"}) unsetenv(name);
            for (const auto &var : vars) setenv(var.first.c_str(), var.second.c_str(), 1);
            if (chdir(dir.c_str()) != 0) _exit(198);
            int code = body();
            std::fflush(nullptr);
            _exit(code);
        }
        int status = 0;
        if (pid > 0 && waitpid(pid, &status, 0) == pid)
            rc = WIFSIGNALED(status) ? (WTERMSIG(status) == SIGALRM ? 199 : 200 + WTERMSIG(status))
                                     : WEXITSTATUS(status);
    }
    ~ChildRun() {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    Lines lines(const std::string &file = "kvoTrace.log") const {
        return qrvtest::splitLines(qrvtest::readFile(dir + "/" + file));
    }
    bool exists(const std::string &file) const { return qrvtest::fileExists(dir + "/" + file); }
};

bool hasLine(const Lines &lines, const std::string &line) {
    for (const std::string &l : lines)
        if (l == line) return true;
    return false;
}

// The component lines of the run block; `enabled` holds component indices.
Lines componentLines(const std::vector<int> &enabled) {
    static const char *const names[] = {
        "Utilities", "Data Access API", "Processing Library", "Kernel", "Statistics", "Environment Layer API",
        "Client/Server API", "ORX Class Library", "ZQL Call Level Interface", "Result API",
        "Graphical User Interface", "Scoring SQL API", "Modeling SQL API"};
    Lines lines;
    for (int i = 0; i < 13; ++i) {
        bool on = false;
        for (int e : enabled) on = on || e == i;
        lines.push_back(std::string(names[i]) + " is " + (on ? "ENABLED" : "DISABLED"));
    }
    return lines;
}

const std::vector<int> kAll = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

}  // namespace

TEST(Trace, DefaultRunBlockInTheDefaultFile) {
    ChildRun run({}, [] { return KVOTrace().traceLevel(); });
    EXPECT_EQ(run.rc, 1);
    Lines lines = run.lines();
    ASSERT_EQ(lines.size(), 24u);
    EXPECT_EQ(lines[0], "/--------------------------- NEW RUN ---------------------------\\");
    EXPECT_EQ(lines[1].rfind("Tracing started on ", 0), 0u);
    Lines expected = {"Current Settings", "----------------", "Trace level:                         MINIMUM",
                      "Status of tracing for components:    "};
    for (const std::string &l : componentLines(kAll)) expected.push_back(l);
    expected.insert(expected.end(), {"Append to file if exists:            DISABLED",
                                     "Flush after each call to KVOTRACE(): DISABLED",
                                     "Print sourceline references:         DISABLED",
                                     "Print timestamps:                    DISABLED", "Tracing component initialized"});
    EXPECT_EQ(Lines(lines.begin() + 2, lines.end()), expected);
}

TEST(Trace, LevelsAndComponentsFromTheEnvironmentOverrideTheCalls) {
    // The numeric levels stand one below the names; a text naming no level
    // keeps the default but counts as set. Component names are blank-padded
    // to eight; NONE clears everything and ends the list.
    const struct {
        const char *levelText;
        int level;
        const char *name;
        const char *list;
        std::vector<int> enabled;
    } cases[] = {
        {"NONE", 0, "NONE", "KERNEL", kAll},  // no blanks: matches nothing, all stay on
        {"0", 1, "MINIMUM", "BOGUS,KERNEL  ,GUI     ,UTIL", {3, 10}},
        {"1", 2, "BASIC", "MODELING,SCORING ", {11, 12}},
        {"MOST", 3, "MOST", "KERNEL  ,NONE,GUI     ", {}},
        {"3", 4, "ALL", "DACC    ,ALL", kAll},
        {"9", 4, "ALL", "kernel  ", kAll},
        {"basic", 1, "MINIMUM", "KERNEL  ", {3}},
        {"10", 1, "MINIMUM", "NONE", {}},
    };
    for (const auto &c : cases) {
        ChildRun run({{"KVO_TRACELEVEL", c.levelText}, {"KVO_TRACECOMP", c.list}}, [] {
            KVOTrace trace;
            trace.setTraceLevel(KVOTRC_MOST);
            trace.enableComponent("ALL");
            trace.trace(KVOTRC_MINIMUM, KVOTRC_KERNEL, "kernel line");
            return trace.traceLevel() * 2 + (trace.isComponentEnabled("KERNEL  ") ? 1 : 0);
        });
        bool kernelOn = false;
        for (int e : c.enabled) kernelOn = kernelOn || e == 3;
        EXPECT_EQ(run.rc, c.level * 2 + (kernelOn ? 1 : 0)) << c.levelText << " " << c.list;
        Lines lines = run.lines();
        ASSERT_GE(lines.size(), 19u);
        EXPECT_EQ(lines[4], std::string("Trace level:                         ") + c.name +
                                " (from environment variable KVO_TRACELEVEL)");
        EXPECT_EQ(lines[5], "Status of tracing for components:     (from environment variable KVO_TRACECOMP)");
        EXPECT_EQ(Lines(lines.begin() + 6, lines.begin() + 19), componentLines(c.enabled)) << c.list;
        EXPECT_TRUE(hasLine(lines, "WARNING: Attempted to change tracelevel, environment variable overrides"));
        EXPECT_TRUE(
            hasLine(lines, "WARNING: Attempted to change enabled components, environment variable overrides"));
        EXPECT_EQ(hasLine(lines, "kernel line"), kernelOn && c.level > 0) << c.list;
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
        return kernel || bogus || afterAll ? 10 : trace.traceLevel();
    });
    EXPECT_EQ(run.rc, 3);
    Lines lines = run.lines();
    const Lines expected = {
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
    Lines tail(lines.end() - expected.size(), lines.end());
    for (size_t i = 0; i < expected.size(); ++i) {
        if (i == 13) {  // written while timestamps are on: a stamp in front
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
    Lines lines = run.lines();
    for (const char *present : {"minimum passes", "basic passes", "kvora_thing.cpp:42: with its place"})
        EXPECT_TRUE(hasLine(lines, present)) << present;
    for (const char *absent :
         {"most is filtered", "none is never written", "unknown component", "disabled component", "level none"})
        EXPECT_FALSE(hasLine(lines, absent)) << absent;
    EXPECT_STREQ(KVOTrace::componentLongName(13), "Unknown Component");
}

TEST(Trace, ChangingTheFileUnlessTheEnvironmentNamedIt) {
    ChildRun run({}, [] {
        KVOTrace trace;
        trace.setTraceFile("/nonexistent-dir/t.log");
        trace.setTraceFile("second.log");
        trace.trace(KVOTRC_MINIMUM, KVOTRC_UTIL, "in the second file");
        return trace.traceFileName() == "second.log" ? 0 : 1;
    });
    EXPECT_EQ(run.rc, 0);
    Lines first = run.lines();
    ASSERT_GE(first.size(), 4u);
    EXPECT_EQ(Lines(first.end() - 4, first.end()),
              (Lines{"Tracing component initialized", "NOTE: Attempting to change name of tracefile /nonexistent-dir/t.log",
                     "WARNING: Failed to open new tracefile, continue trace here",
                     "NOTE: Attempting to change name of tracefile second.log"}));
    Lines second = run.lines("second.log");
    ASSERT_EQ(second.size(), 26u);  // the run block's 23 lines first
    EXPECT_EQ(second[22], "Print timestamps:                    DISABLED");
    EXPECT_EQ(Lines(second.begin() + 23, second.end()),
              (Lines{"NOTE: Previous tracefile was", "kvoTrace.log", "in the second file"}));

    ChildRun named({{"KVO_TRACEFILE", "mine.log"}}, [] {
        KVOTrace trace;
        trace.setTraceFile("other.log");
        return trace.traceFileName() == "mine.log" ? 0 : 1;
    });
    EXPECT_EQ(named.rc, 0);
    EXPECT_FALSE(named.exists("kvoTrace.log"));
    EXPECT_FALSE(named.exists("other.log"));
    Lines lines = named.lines("mine.log");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "WARNING: Attempted to change name of tracefile other.log, environment variable overrides");
}

// The levels set by the environment are checked end to end; here the level
// raised by a call lets assertions in too, with the trace call's place.
TEST(Trace, AssertionsEnterATraceRaisedToBasicByACall) {
    ChildRun run({}, [] {
        KVOTrace *trace = KVOTrace::instance();
        trace->setTraceLevel(KVOTRC_BASIC);
        trace->setSourceLines(true);
        kvoraTraceInstallHook();
        kvoraSilentFlag = 1;
        try {
            kvoraAssertFail("x > 0", "/a/b/c_file.cpp", 12, "compute");
        } catch (int) {
        }
        trace->setFlush(true);
        return 0;
    });
    EXPECT_EQ(run.rc, 0);
    const std::string suffix = ": c_file.cpp:12:compute:x > 0";
    bool found = false;
    for (const std::string &l : run.lines())
        found = found || (l.rfind("kvora_trace.cpp:", 0) == 0 && l.size() > suffix.size() &&
                          l.compare(l.size() - suffix.size(), suffix.size(), suffix) == 0);
    EXPECT_TRUE(found);
}
