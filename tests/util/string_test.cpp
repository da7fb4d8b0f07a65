// The registry's string over a growing array: terminator kept past the size,
// appends, copies, moves and word input, all on the environment's account.
#include <gtest/gtest.h>

#include <sstream>

#include "util/kvora_env.h"
#include "util/kvora_xash.h"
#include "util/kvora_xstr.h"

TEST(TypeNameString, AppendCopyTransfer)
{
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    int64_t start = env->getBytesInUse();
    KVORATypeNameString a;
    EXPECT_STREQ(a.c_str(), "");
    EXPECT_EQ(a.size(), 0);
    a.append("KVORA", env);
    a.append("Model", 5, env);
    EXPECT_EQ(a.size(), 10);
    EXPECT_STREQ(a.c_str(), "KVORAModel");
    EXPECT_GT(env->getBytesInUse(), start);
    EXPECT_EQ(a.hash(), kvoraHashBytes("KVORAModel", 10, 0));

    a.setSize(5, env);
    EXPECT_STREQ(a.c_str(), "KVORA");
    a.setSize(7, env);  // grown cells are zero
    EXPECT_EQ(a.size(), 7);
    EXPECT_EQ(a.c_str()[5], 0);
    EXPECT_EQ(a.c_str()[7], 0);

    KVORATypeNameString b;
    b.copyFrom(a, env);
    EXPECT_TRUE(b == a);
    EXPECT_TRUE(b.equals("KVORA\0\0", 7));
    KVORATypeNameString c;
    c.append("old", env);
    c.transferFrom(b, env);
    EXPECT_EQ(c.size(), 7);
    EXPECT_EQ(b.size(), 0);
    EXPECT_STREQ(b.c_str(), "");

    a.reset(env);
    b.reset(env);
    c.reset(env);
    EXPECT_EQ(env->getBytesInUse(), start);
}

TEST(TypeNameString, ReadsOneWord)
{
    KVORAEnv *env = nullptr;
    std::istringstream in("  \tKVORADataScan next");
    KVORATypeNameString s;
    s.read(in, env);
    EXPECT_STREQ(s.c_str(), "KVORADataScan");
    s.read(in, env);
    EXPECT_STREQ(s.c_str(), "next");
    EXPECT_TRUE(in.eof());
    s.read(in, env);
    EXPECT_EQ(s.size(), 0);
    s.reset(env);
}
