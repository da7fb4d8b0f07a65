// The entry point seen from outside: the version line comes first in every
// process, a wrong argument count ends with the usage text, error 2201 and
// status 1 before MPI starts, and a fatal error of the driver ends with 99.
// The job-size banner under the launcher is checked on a diffusion run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::countLines;

const std::string kVersionLine = "Log;|0;|qrvexec version is 2.0.6;|LogEnd";
const std::string kUsageLine =
    "Main: usage: qrvexec <param-file> <input-file (loader output) <model-output-file-name>";
const std::string kArgumentErrorLine = "Error;|2201;|main: wrong number of parameters;|ErrorEnd";

TEST(Entry, WrongArgumentCountPrintsUsageAndEndsWithStatusOne) {
    // None, one short of three and one over.
    for (const auto &argv : std::vector<std::vector<std::string>>{
             {qrvtest::qrvexecPath()},
             {qrvtest::qrvexecPath(), "p.xml", "in.dat"},
             {qrvtest::qrvexecPath(), "p.xml", "in.dat", "model.xml", "extra"}}) {
        qrvtest::RunResult r = qrvtest::run(argv);
        EXPECT_FALSE(r.timedOut);
        EXPECT_EQ(r.status, 1) << argv.size();
        EXPECT_EQ(r.out, kVersionLine + "\n" + kUsageLine + "\n" + kArgumentErrorLine + "\n");
    }
}

TEST(Entry, WrongArgumentCountUnderTheLauncherFailsInEveryProcess) {
    qrvtest::RunOptions options;
    options.processes = 2;
    options.timeoutSeconds = 60;
    qrvtest::RunResult r = qrvtest::run({qrvtest::qrvexecPath(), "only-one"}, options);
    EXPECT_FALSE(r.timedOut);
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(countLines(r.out, kVersionLine), 2) << r.out;
    EXPECT_EQ(countLines(r.out, kUsageLine), 2) << r.out;
    EXPECT_EQ(countLines(r.out, kArgumentErrorLine), 2) << r.out;
    // No MPI was started, so nobody announces the job.
    EXPECT_EQ(r.out.find("processors for this job"), std::string::npos) << r.out;
}

TEST(Entry, FatalErrorOfTheDriverEndsWithStatus99) {
    // The parameter file does not exist: the driver's error 2303 is fatal,
    // unwinds to the entry point, and ends the process without finalising.
    qrvtest::RunResult r = qrvtest::run({qrvtest::qrvexecPath(), "missing.xml", "in.dat", "model.xml"});
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.status, 99) << r.out << r.err;
    const std::vector<std::string> lines = qrvtest::splitLines(r.out);
    ASSERT_GE(lines.size(), 3u) << r.out;
    EXPECT_EQ(lines.front(), kVersionLine);
    EXPECT_EQ(lines.back(), e2e::kIll);
    // Without the launcher the single process is the master of a job of one.
    EXPECT_EQ(countLines(r.out, "There are 1 processors for this job"), 1) << r.out;
    EXPECT_EQ(countLines(r.out, "Error;|2303;|Could not open parameters file;|ErrorEnd"), 1) << r.out;
    EXPECT_EQ(countLines(r.out, "Terminating NELO"), 1) << r.out;
    EXPECT_EQ(r.out.find("qrvexec Terminated Successfully"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("\n    KVORA Terminating\n"), std::string::npos) << r.err;
}

}  // namespace
