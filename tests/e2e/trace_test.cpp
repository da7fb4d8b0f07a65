// The trace file through the real program: from level BASIC on, a failed
// assertion of the run is written to kvoTrace.log after the NEW RUN block; at
// MINIMUM it is not, and without the variables no trace file is left behind.
// The numeric texts of KVO_TRACELEVEL are one below the levels: "1" is BASIC.
#include "qrv_run.h"

#include <gtest/gtest.h>

using namespace qrvtest;

namespace {
RunResult runFailing(const std::map<std::string, std::string> &env) {
    std::string dir = makeTempDir("qrvtrace");
    writeFile(dir, "p.xml", "<QRVInput>\n</QRVInput>\n");  // no AlgorithmName: an assertion
    RunOptions o;
    o.dir = dir;
    o.env = env;
    return run({qrvexecPath(), "p.xml", "data", "model.xml"}, o);
}
}  // namespace

TEST(TraceFile, AssertionsOfTheRunAreTracedFromLevelBasic) {
    RunResult r = runFailing({{"KVO_TRACELEVEL", "1"}});
    EXPECT_EQ(r.status, 99);
    std::string trace = readFile(r.dir + "/kvoTrace.log");
    size_t newRun = trace.find("NEW RUN");
    size_t assertion = trace.find(":readRunParameters:Parameters file must include an <AlgorithmName>");
    ASSERT_NE(newRun, std::string::npos) << trace;
    ASSERT_NE(assertion, std::string::npos) << trace;
    EXPECT_LT(newRun, assertion);
    EXPECT_NE(trace.find(":readRunParameters:C++ Exception thrown."), std::string::npos) << trace;

    RunResult minimum = runFailing({{"KVO_TRACELEVEL", "0"}});
    EXPECT_EQ(minimum.status, 99);
    std::string minimumTrace = readFile(minimum.dir + "/kvoTrace.log");
    EXPECT_NE(minimumTrace.find("NEW RUN"), std::string::npos);
    EXPECT_EQ(minimumTrace.find(":readRunParameters:"), std::string::npos) << minimumTrace;

    RunResult quiet = runFailing({});
    EXPECT_EQ(quiet.status, 99);
    EXPECT_FALSE(fileExists(quiet.dir + "/kvoTrace.log"));
}
