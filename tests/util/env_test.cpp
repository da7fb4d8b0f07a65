// Environments: the default one, a thread's own, the handle filled on first
// use, class variables and run-wide objects by class.
#include <gtest/gtest.h>

#include <thread>

#include "util/kvora_env.h"
#include "util/kvora_xenvaux.h"
#include "util_test_support.h"

namespace {

// Runs `body` on a thread of its own, which starts with no environment entry.
template <class F>
void onFreshThread(F body) {
    std::thread worker(body);
    worker.join();
}

TEST(Env, NullHandleOnAThreadWithoutEntryGetsTheDefaultEnvironment) {
    onFreshThread([] {
        KVORAEnv *env = nullptr;
        KVORAEnv *got = kvoraGetEnv(env);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(env, got);  // the handle is filled in
        EXPECT_EQ(got, KVORAEnv::defaultEnvironment());
        EXPECT_EQ(got->isValid(), 1);
        EXPECT_EQ(got->getLimit(), 268435455);
        EXPECT_EQ(kvoraEnvIsCurrent(env), 1);
    });
}

TEST(Env, AThreadsOwnEnvironmentOnceValid) {
    onFreshThread([] {
        KVORAEnv *own = new KVORAEnv();
        EXPECT_EQ(own->getThreadId(), kvoraCurrentThreadId());
        KVORAEnv *env = nullptr;
        // Not valid yet: the default answers.
        EXPECT_EQ(kvoraGetEnv(env), KVORAEnv::defaultEnvironment());
        own->setValid(1);
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), own);
        EXPECT_EQ(kvoraEnvIsCurrent(env), 1);
        KVORAEnv *other = KVORAEnv::defaultEnvironment();
        EXPECT_EQ(kvoraEnvIsCurrent(other), 0);
        // A handle that holds a valid environment is answered as it is.
        EXPECT_EQ(kvoraGetEnv(other), KVORAEnv::defaultEnvironment());
        delete own;
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), KVORAEnv::defaultEnvironment());
    });
}

TEST(Env, SecondEnvironmentOfAThreadDoesNotReplaceTheFirst) {
    onFreshThread([] {
        KVORAEnv *first = new KVORAEnv();
        first->setValid(1);
        KVORAEnv *second = new KVORAEnv();
        second->setValid(1);
        KVORAEnv *env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), first);
        delete second;
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), first);
        delete first;
    });
}

void *makeClassVars(KVORAEnv *&env) {
    static int32_t vars = 17;
    return &vars;
}

void *makeNothing(KVORAEnv *&env) { return nullptr; }

KVORAObject *gMade = reinterpret_cast<KVORAObject *>(0x1000);
int gCreatorCalls = 0;
KVORAObject *makeGlobal(KVORAEnv *&env) {
    ++gCreatorCalls;
    return gMade;
}

TEST(Env, ClassVariablesAndRunWideObjects) {
    onFreshThread([] {
        KVORAEnv *own = new KVORAEnv();
        own->setValid(1);
        KVORAEnv *env = own;
        // An empty slot with a creator that makes nothing is the assertion.
        utiltest::Caught c = utiltest::caught([&] { kvoraGetClassVars(&makeNothing, env); });
        EXPECT_TRUE(utiltest::failedWith(c, "ASSERTION FAILED (cvPtr != 0)")) << c.err;
        EXPECT_EQ(c.value, 0);
        void *vars = kvoraGetClassVars(&makeClassVars, env);
        EXPECT_EQ(*static_cast<int32_t *>(vars), 17);
        EXPECT_EQ(kvoraGetClassVars(&makeNothing, env), vars);  // made once

        gCreatorCalls = 0;
        const char key[] = "KVORAFieldGlobalVars";
        EXPECT_EQ(kvoraGetGlobalObject(key, &makeGlobal, env), gMade);
        const std::string sameText = "KVORAFieldGlobalVars";
        EXPECT_EQ(kvoraGetGlobalObject(sameText.c_str(), &makeGlobal, env), gMade);
        EXPECT_EQ(gCreatorCalls, 1);
        EXPECT_EQ(own->getAux()->getCount(), 1u);
        delete own;
        utiltest::clearErrorFlags();
    });
}

}  // namespace
