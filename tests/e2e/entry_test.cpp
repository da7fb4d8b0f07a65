// The entry point seen from outside: the version line comes first in every
// process, a wrong argument count ends with the usage text, error 2201 and
// status 1 before MPI starts, the master alone announces the job size, and a
// fatal error of the driver ends the process with status 99.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qrv_run.h"

namespace {

const std::string kVersionLine = "Log;|0;|qrvexec version is 2.0.6;|LogEnd";
const std::string kUsageLine =
    "Main: usage: qrvexec <param-file> <input-file (loader output) <model-output-file-name>";
const std::string kArgumentErrorLine = "Error;|2201;|main: wrong number of parameters;|ErrorEnd";

int countLines(const std::string &text, const std::string &line) {
    int n = 0;
    for (const std::string &l : qrvtest::splitLines(text))
        if (l == line) ++n;
    return n;
}

TEST(Entry, WrongArgumentCountPrintsUsageAndEndsWithStatusOne) {
    const std::vector<std::vector<std::string>> calls = {
        {qrvtest::qrvexecPath()},
        {qrvtest::qrvexecPath(), "p.xml", "in.dat"},
        {qrvtest::qrvexecPath(), "p.xml", "in.dat", "model.xml", "extra"},
    };
    for (const auto &argv : calls) {
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

TEST(Entry, TheMasterAloneAnnouncesTheJobSize) {
    // A run that succeeds: a failing master would have the launcher end the
    // others, perhaps before they have said their first line.
    const std::string dir = qrvtest::makeTempDir("qrventry");
    qrvtest::writeFile(dir, "calls.csv", "caller,callee,weight\n1,2,5\n");
    qrvtest::writeFile(dir, "seeds.txt", "1\n");
    qrvtest::writeFile(dir, "dif.xml",
                       "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n<Seed>seeds.txt</Seed>\n"
                       "<OutputFileName>result.csv</OutputFileName>\n<MaxNumIterations>1</MaxNumIterations>\n"
                       "</QRVInput>\n");
    qrvtest::RunOptions load;
    load.dir = dir;
    ASSERT_EQ(qrvtest::run({qrvtest::qrvloadPath(), "graph", "calls.csv", "calls"}, load).status, 0);
    for (int k = 1; k <= 3; k += 2) {
        qrvtest::RunOptions options;
        options.processes = k;
        options.timeoutSeconds = 60;
        options.dir = dir;
        qrvtest::RunResult r = qrvtest::run({qrvtest::qrvexecPath(), "dif.xml", "calls", "model.xml"}, options);
        EXPECT_FALSE(r.timedOut);
        EXPECT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(countLines(r.out, kVersionLine), k) << r.out;
        EXPECT_EQ(countLines(r.out, "There are " + std::to_string(k) + " processors for this job"), 1) << r.out;
        EXPECT_EQ(r.out.find("Main: usage"), std::string::npos) << r.out;
        // The version line comes before the banner.
        EXPECT_LT(r.out.find(kVersionLine), r.out.find("There are ")) << r.out;
    }
    // Without the launcher the single process is the master of a job of one.
    qrvtest::RunResult r = qrvtest::run({qrvtest::qrvexecPath(), "a", "b", "c"});
    EXPECT_EQ(countLines(r.out, "There are 1 processors for this job"), 1) << r.out;
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
    EXPECT_EQ(lines.back(), "Log;|0;|Ill termination of qrvexec;|LogEnd");
    EXPECT_EQ(countLines(r.out, "Error;|2303;|Could not open parameters file;|ErrorEnd"), 1) << r.out;
    EXPECT_EQ(countLines(r.out, "Terminating NELO"), 1) << r.out;
    EXPECT_EQ(r.out.find("qrvexec Terminated Successfully"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("\n    KVORA Terminating\n"), std::string::npos) << r.err;
}

}  // namespace
