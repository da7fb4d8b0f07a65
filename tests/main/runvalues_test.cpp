// The run values: the private copy of the validation file name, and the time
// accounting's figure (milliseconds divided by one million).
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>

#include "qrvexec/kvora_runvalues.h"

namespace {

TEST(RunValues, ValidationFileNameIsAPrivateCopy) {
    EXPECT_EQ(kvoraValidationFileName, nullptr);
    std::string name = "valid.dat";
    kvoraSetValidationFileName(name.c_str());
    name[0] = 'X';
    ASSERT_NE(kvoraValidationFileName, nullptr);
    EXPECT_STREQ(kvoraValidationFileName, "valid.dat");
    kvoraSetValidationFileName(nullptr);
    EXPECT_EQ(kvoraValidationFileName, nullptr);
}

// The figure of "Log;|2;|Time spent [F s] doing P ;|LogEnd", printed by "%lf".
double elapsedFigure(int32_t flag, const std::string &phase) {
    testing::internal::CaptureStdout();
    reportElapsed(flag, phase.c_str());
    const std::string line = testing::internal::GetCapturedStdout();
    const std::string head = "Log;|2;|Time spent [", tail = "s] doing " + phase + " ;|LogEnd\n";
    if (line.size() < head.size() + tail.size() || line.rfind(head, 0) != 0 ||
        line.substr(line.size() - tail.size()) != tail) {
        ADD_FAILURE() << line;
        return -1.0;
    }
    const std::string figure = line.substr(head.size(), line.size() - head.size() - tail.size());
    EXPECT_EQ(figure.size() - figure.find('.'), 7u) << figure;
    return std::atof(figure.c_str());
}

TEST(RunValues, ElapsedTimeDividesMillisecondsByOneMillion) {
    reportElapsed(0, "baseline");  // sets the baseline, says nothing
    testing::internal::CaptureStdout();
    reportElapsed(0, "quiet");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    // 1.5 s is one or two whole seconds apart on the clock, and the
    // millisecond difference (below 1000 either way) adds under 0.001.
    const double figure = elapsedFigure(1, "distribute");
    const double whole = std::round(figure);
    EXPECT_TRUE(whole == 1.0 || whole == 2.0) << figure;
    EXPECT_LT(std::fabs(figure - whole), 0.001) << figure;
    // The report also moved the baseline: right away, the figure is nearly 0.
    EXPECT_LT(std::fabs(elapsedFigure(1, "collect")), 0.001);
}

}  // namespace
