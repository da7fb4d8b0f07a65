// The object base: destruction by the one rule (size off the account, then
// releasePrimitive, then delete), and objects made by factory counted on the
// environment's account.
#include <gtest/gtest.h>

#include <vector>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"

namespace {
std::vector<int> gEvents;  // 1 released, 2 destroyed
}

class KVORAObTracked : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAObTracked)
public:
    ~KVORAObTracked() override { gEvents.push_back(2); }
    void releasePrimitive(KVORA_ENV env) override {
        gEvents.push_back(1);
        KVORAObject::releasePrimitive(env);
    }
    char ivBytes[100] = {};
};
KVORA_OBJECT_IMPL(KVORAObTracked, KVORAObject, 0)

TEST(ObjectBase, FactoryCountsAndDestroyRuleReleasesFirst)
{
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    int64_t start = env->getBytesInUse();
    KVORAOwnPtr<KVORAObject> owner;
    KVORAObTracked::classType().newInstance(owner, env);
    EXPECT_EQ(env->getBytesInUse() - start, static_cast<int64_t>(sizeof(KVORAObTracked)));
    EXPECT_GE(owner->getObjectSize(), 100);

    gEvents.clear();
    kvoraDestroyObject(owner.transfer(), env);
    EXPECT_EQ(gEvents, (std::vector<int>{1, 2}));
    EXPECT_EQ(env->getBytesInUse(), start);
    kvoraDestroyObject(nullptr, env);  // nothing
}

TEST(ObjectBase, RootOperationsDoNothing)
{
    KVORAEnv *env = nullptr;
    KVORAObject a, b;
    a.copyFromPrimitive(nullptr, env);
    a.copyFromPrimitive(&b, env);
    a.transferFromPrimitive(nullptr, env);
    EXPECT_EQ(a.getObjectSize(), static_cast<int64_t>(sizeof(KVORAObject)));
    EXPECT_EQ(&a.getObjectType(), &KVORAObject::classType());
    EXPECT_STREQ(a.getObjectType().getName(), "KVORAObject");
}
