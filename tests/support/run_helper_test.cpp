// The runner itself: status, both streams, the working directory and the
// time limit must be right, or every end-to-end test would be misread.
#include "qrv_run.h"

#include <gtest/gtest.h>

using namespace qrvtest;

TEST(RunHelper, CapturesStreamsStatusAndDirectory) {
    RunResult r = run({"sh", "-c", "echo out; echo err 1>&2; pwd; exit 3"});
    EXPECT_EQ(r.status, 3);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.err, "err\n");
    auto lines = splitLines(r.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "out");
    // The run directory may be reached through a symbolic link.
    EXPECT_NE(lines[1].find(r.dir.substr(r.dir.rfind('/'))), std::string::npos);
}

TEST(RunHelper, KillsARunThatOutlivesItsLimit) {
    RunOptions o;
    o.timeoutSeconds = 1;
    RunResult r = run({"sh", "-c", "sleep 30"}, o);
    EXPECT_TRUE(r.timedOut);
    EXPECT_NE(r.status, 0);
}

TEST(RunHelper, RunsUnderTheLauncherWithTheGivenProcessCount) {
    RunOptions o;
    o.processes = 3;
    RunResult r = run({"sh", "-c", "echo x"}, o);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(splitLines(r.out).size(), 3u);
}
