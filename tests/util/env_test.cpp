// Environments: the default one, a thread's own, the handle filled on first
// use, and run-wide objects by class name. (Class variables have no user.)
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "util/kvora_env.h"
#include "util/kvora_xenvaux.h"

namespace {

// Runs `body` on a thread of its own, which starts with no environment entry.
template <class F>
void onFreshThread(F body) {
    std::thread worker(body);
    worker.join();
}

TEST(Env, AThreadGetsItsFirstValidEnvironmentElseTheDefault) {
    onFreshThread([] {
        KVORAEnv *env = nullptr;
        KVORAEnv *fallback = KVORAEnv::defaultEnvironment();
        EXPECT_EQ(kvoraGetEnv(env), fallback);
        EXPECT_EQ(env, fallback);  // the handle is filled in
        EXPECT_EQ(fallback->getLimit(), 268435455);
        EXPECT_EQ(kvoraEnvIsCurrent(env), 1);
        KVORAEnv *own = new KVORAEnv();
        EXPECT_EQ(own->getThreadId(), kvoraCurrentThreadId());
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), fallback);  // not valid yet
        own->setValid(1);
        KVORAEnv *second = new KVORAEnv();
        second->setValid(1);
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), own);
        EXPECT_EQ(kvoraEnvIsCurrent(env), 1);
        EXPECT_EQ(kvoraEnvIsCurrent(fallback), 0);
        EXPECT_EQ(kvoraGetEnv(fallback), fallback);  // a valid handle is answered as it is
        delete second;
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), own);
        delete own;
        env = nullptr;
        EXPECT_EQ(kvoraGetEnv(env), fallback);
    });
}

KVORAObject *const gMade = reinterpret_cast<KVORAObject *>(0x1000);
int gCreatorCalls = 0;
KVORAObject *makeGlobal(KVORAEnv *&env) {
    ++gCreatorCalls;
    return gMade;
}

TEST(Env, RunWideObjectsAreMadeOncePerText) {
    onFreshThread([] {
        KVORAEnv *own = new KVORAEnv();
        own->setValid(1);
        KVORAEnv *env = own;
        // Keyed by the text, not the pointer.
        gCreatorCalls = 0;
        const char key[] = "KVORAFieldGlobalVars";
        EXPECT_EQ(kvoraGetGlobalObject(key, &makeGlobal, env), gMade);
        const std::string sameText = "KVORAFieldGlobalVars";
        EXPECT_EQ(kvoraGetGlobalObject(sameText.c_str(), &makeGlobal, env), gMade);
        EXPECT_EQ(gCreatorCalls, 1);
        EXPECT_EQ(own->getAux()->getCount(), 1u);
        delete own;
    });
}

}  // namespace
