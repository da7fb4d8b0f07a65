// A worker that dies in the middle of a diffusion run. Nothing in the program
// tells its peers, which stay blocked on their next message: the launcher has
// to notice the death and end the job with a failing status, and since the
// run never reached its end, no results file may appear.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "qrv_run.h"

namespace {

std::string graph(int edges) {
    std::mt19937_64 random(4242);
    std::ostringstream csv;
    csv << "caller,callee,weight\n";
    for (int i = 0; i < edges; ++i)
        csv << 1 + random() % 5000 << ',' << 1 + random() % 5000 << ',' << 1 + random() % 9 << '\n';
    return csv.str();
}

// The process id a rank's wrapper recorded, or 0 while there is none yet.
pid_t recordedPid(const std::string &dir, int rank) {
    std::ifstream in(dir + "/pid." + std::to_string(rank));
    long long pid = 0;
    if (!(in >> pid)) return 0;
    return static_cast<pid_t>(pid);
}

TEST(Fault, AKilledWorkerEndsTheJobWithinTenSecondsAndNoResultsAppear) {
    const std::string dir = qrvtest::makeTempDir("qrvfault");
    qrvtest::writeFile(dir, "calls.csv", graph(50000));
    qrvtest::writeFile(dir, "seeds.txt", "1\n2\n3\n");
    qrvtest::RunOptions loadOptions;
    loadOptions.dir = dir;
    loadOptions.timeoutSeconds = 60;
    const qrvtest::RunResult load = qrvtest::run({qrvtest::qrvloadPath(), "graph", "calls.csv", "calls"}, loadOptions);
    ASSERT_EQ(load.status, 0) << load.out << load.err;
    // Energy that is nearly all passed on, and an end condition no run
    // reaches soon: the run goes on for hundreds of passes, well past the
    // fault.
    qrvtest::writeFile(dir, "dif.xml",
                       "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n<Seed>seeds.txt</Seed>\n"
                       "<OutputFileName>result.csv</OutputFileName>\n"
                       "<SpreadCoefficient>0.999</SpreadCoefficient>\n"
                       "<EndConditionValue>1e-300</EndConditionValue>\n"
                       "<MaxNumIterations>1000000</MaxNumIterations>\n</QRVInput>\n");
    // Each process records its id under its rank, then becomes qrvexec.
    const std::string wrapper = qrvtest::writeFile(
        dir, "wrap.sh", "#!/bin/sh\necho $$ > pid.$PMI_RANK.tmp && mv pid.$PMI_RANK.tmp pid.$PMI_RANK\nexec \"" +
                            qrvtest::qrvexecPath() + "\" \"$@\"\n");
    ASSERT_EQ(::chmod(wrapper.c_str(), 0755), 0);

    qrvtest::RunOptions options;
    options.dir = dir;
    options.processes = 3;
    options.timeoutSeconds = 60;
    qrvtest::RunResult result;
    std::thread job([&] { result = qrvtest::run({wrapper, "dif.xml", "calls", "model.xml"}, options); });

    pid_t worker = 0;
    const auto start = std::chrono::steady_clock::now();
    while (worker == 0 && std::chrono::steady_clock::now() - start < std::chrono::seconds(30)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        worker = recordedPid(dir, 1);
    }
    // Let the passes begin before the fault.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    const auto killedAt = std::chrono::steady_clock::now();
    const int killed = worker != 0 ? ::kill(worker, SIGKILL) : -1;
    job.join();
    const auto ended = std::chrono::steady_clock::now();

    ASSERT_NE(worker, 0) << "worker 1 never started\n" << result.out << result.err;
    ASSERT_EQ(killed, 0) << "worker 1 had already ended\n" << result.out << result.err;
    EXPECT_FALSE(result.timedOut);
    EXPECT_NE(result.status, 0) << result.out << result.err;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(ended - killedAt).count(), 10000);
    // The run was under way, and never got to its results.
    EXPECT_NE(result.out.find("Finished computing normalizer"), std::string::npos) << result.out;
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/model.xml"));
}

}  // namespace
