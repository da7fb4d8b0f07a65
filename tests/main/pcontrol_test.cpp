// The parallel job object and the run values: rank and size after the start,
// the master's banner, the private copy of the validation file name,
// and the time accounting's figure (milliseconds divided by one million).
#include <gtest/gtest.h>
#include <mpi.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"

namespace {

// Starts the job and tells on standard error what it saw, then ends.
void startAndTell() {
    KVORAPControl control;
    int argc = 1;
    char name[] = "pcontrol_test";
    char *args[] = {name, nullptr};
    char **argv = args;
    testing::internal::CaptureStdout();
    control.initialise(argc, argv);
    const std::string out = testing::internal::GetCapturedStdout();
    std::fprintf(stderr, "rank=%d size=%d master=%d out=[%s]\n", control.ivRank, control.ivSize,
                 control.isMaster(), out.c_str());
    MPI_Finalize();  // lets the transport library free its memory before the child ends
    std::exit(0);
}

// MPI may start once per process: the start runs in a child of its own.
TEST(PControl, InitialiseAsASingleProcessJob) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(startAndTell(), testing::ExitedWithCode(0),
                "rank=0 size=1 master=1 out=\\[There are 1 processors for this job\n\\]");
}

TEST(RunValues, ValidationFileNameIsAPrivateCopy) {
    EXPECT_EQ(kvoraValidationFileName, nullptr);
    std::string name = "valid.dat";
    kvoraSetValidationFileName(name.c_str());
    name[0] = 'X';
    ASSERT_NE(kvoraValidationFileName, nullptr);
    EXPECT_STREQ(kvoraValidationFileName, "valid.dat");
    EXPECT_NE(static_cast<const void *>(kvoraValidationFileName), static_cast<const void *>(name.c_str()));
    kvoraSetValidationFileName(nullptr);
    EXPECT_EQ(kvoraValidationFileName, nullptr);
}

// Reads the figure out of "Log;|2;|Time spent [F s] doing P ;|LogEnd".
double elapsedFigure(const std::string &line, const std::string &phase) {
    const std::string head = "Log;|2;|Time spent [";
    const std::string tail = "s] doing " + phase + " ;|LogEnd\n";
    EXPECT_EQ(line.rfind(head, 0), 0u) << line;
    EXPECT_GE(line.size(), head.size() + tail.size()) << line;
    if (line.size() < head.size() + tail.size()) return -1.0;
    EXPECT_EQ(line.substr(line.size() - tail.size()), tail) << line;
    const std::string figure = line.substr(head.size(), line.size() - head.size() - tail.size());
    // "%lf": six decimals.
    EXPECT_EQ(figure.size() - figure.find('.'), 7u) << figure;
    return std::atof(figure.c_str());
}

TEST(RunValues, ElapsedTimeDividesMillisecondsByOneMillion) {
    reportElapsed(0, "baseline");  // sets the baseline, says nothing
    testing::internal::CaptureStdout();
    reportElapsed(0, "quiet");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    testing::internal::CaptureStdout();
    reportElapsed(1, "distribute");
    const double figure = elapsedFigure(testing::internal::GetCapturedStdout(), "distribute");
    // 1.5 s is one or two whole seconds apart on the clock, and the
    // millisecond difference (below 1000 either way) adds under 0.001.
    const double whole = std::round(figure);
    EXPECT_TRUE(whole == 1.0 || whole == 2.0) << figure;
    EXPECT_LT(std::fabs(figure - whole), 0.001) << figure;
    // The report also moved the baseline: right away, the figure is nearly 0.
    testing::internal::CaptureStdout();
    reportElapsed(1, "collect");
    EXPECT_LT(std::fabs(elapsedFigure(testing::internal::GetCapturedStdout(), "collect")), 0.001);
}

}  // namespace
