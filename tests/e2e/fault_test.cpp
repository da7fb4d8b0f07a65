// A worker that dies in the middle of a diffusion run. Nothing in the program
// tells its peers, which stay blocked on their next message: the launcher has
// to notice the death and end the job with a failing status, and since the
// run never reached its end, no results file may appear.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "e2e_run.h"

TEST(Fault, AKilledWorkerEndsTheJobWithinTenSecondsAndNoResultsAppear) {
    std::mt19937_64 random(4242);
    std::ostringstream csv;
    csv << "caller,callee,weight\n";
    for (int i = 0; i < 50000; ++i) csv << 1 + random() % 5000 << ',' << 1 + random() % 5000 << ',' << 1 + random() % 9 << '\n';
    const std::string dir = e2e::prepareDIF(csv.str(), "1\n2\n3\n");
    // Energy that is nearly all passed on, and an end condition no run
    // reaches soon: hundreds of passes, well past the fault.
    const std::string params = "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + e2e::kDIFKeys +
                               "<SpreadCoefficient>0.999</SpreadCoefficient>\n<EndConditionValue>1e-300</EndConditionValue>\n"
                               "<MaxNumIterations>1000000</MaxNumIterations>\n</QRVInput>\n";
    const std::string wrapper = e2e::pidWrapper(dir);
    qrvtest::RunResult result;
    std::thread job([&] { result = e2e::runQrvexec(dir, params, "calls", 3, "model.xml", 60, wrapper); });

    pid_t worker = 0;
    const auto start = std::chrono::steady_clock::now();
    while (worker == 0 && std::chrono::steady_clock::now() - start < std::chrono::seconds(30)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        worker = e2e::recordedPid(dir, 1);
    }
    // Let the passes begin before the fault.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    const auto killedAt = std::chrono::steady_clock::now();
    const int killed = worker != 0 ? ::kill(worker, SIGKILL) : -1;
    job.join();
    const auto ended = std::chrono::steady_clock::now();

    ASSERT_NE(worker, 0) << "worker 1 never started\n" << result.out << result.err;
    ASSERT_EQ(killed, 0) << "worker 1 had already ended\n" << result.out << result.err;
    EXPECT_NE(result.status, 0) << result.out << result.err;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(ended - killedAt).count(), 10000);
    // The run was under way, and never got to its results.
    EXPECT_NE(result.out.find("Finished computing normalizer"), std::string::npos) << result.out;
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/model.xml"));
}
