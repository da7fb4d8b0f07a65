// The type registry and the object base: classes made from their names,
// kinds, unknown and duplicate names, and destruction (size off the account,
// release, delete). Keyword numbering is checked with the binary format.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_typename.h"
#include "util/kvora_xtype.h"
#include "util_test_support.h"

class KVORATnAnimal : public KVORAObject {
    KVORA_ABSTRACT_OBJECT_DECL(KVORATnAnimal)
public:
    virtual int32_t legs() const = 0;
};
KVORA_ABSTRACT_OBJECT_IMPL(KVORATnAnimal, KVORAObject, 1)

class KVORATnDog : public KVORATnAnimal {
    KVORA_OBJECT_DECL(KVORATnDog)
public:
    int32_t legs() const override { return 4; }
    int64_t ivPad[3] = {0, 0, 0};
};
KVORA_OBJECT_IMPL(KVORATnDog, KVORATnAnimal, 2)

class KVORATnPuppy : public KVORATnDog {
    KVORA_OBJECT_DECL(KVORATnPuppy)
};
KVORA_OBJECT_IMPL(KVORATnPuppy, KVORATnDog, 1)

class KVORATnBird : public KVORATnAnimal {
    KVORA_OBJECT_DECL(KVORATnBird)
public:
    int32_t legs() const override { return 2; }
};
KVORA_OBJECT_IMPL(KVORATnBird, KVORATnAnimal, 0)

namespace {
void otherFactory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) {
    kvoraNewObject<KVORATnBird>(result, env);
}
}  // namespace

TEST(TypeRegistry, NamesIndexesAndKinds) {
    int32_t dog = KVORATypeName::getIndex("KVORATnDog");
    EXPECT_NE(dog, KVORATypeName::getIndex("KVORATnPuppy"));
    EXPECT_EQ(dog, KVORATnDog::classType().getIndex());
    EXPECT_EQ(KVORATypeName::getTypeAt(dog), &KVORATnDog::classType());
    for (const char *unknown : {"KVORATnCow", "KVORATnDo", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(KVORATypeName::getIndex(unknown), 0);
    EXPECT_EQ(KVORATypeName::getIndex("KVORATnDogX", 10), dog);
    EXPECT_EQ(KVORATypeName::getTypeAt(0), nullptr);
    EXPECT_EQ(KVORATypeName::getTypeAt(KVORATypeName::getRegisteredCount() + 1), nullptr);
    EXPECT_EQ(KVORATnAnimal::classType().ivRegistered, 0);

    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAObject> a, bird, clone, none;
    ASSERT_EQ(kvoraNewObjectByName("KVORATnPuppy", 12, a, env), 1);
    EXPECT_EQ(&a->getObjectType(), &KVORATnPuppy::classType());
    EXPECT_EQ(a->getObjectSize(), static_cast<int64_t>(sizeof(KVORATnPuppy)));
    for (const KVORATypeName *t : {&KVORATnPuppy::classType(), &KVORATnDog::classType(),
                                   &KVORATnAnimal::classType(), &KVORAObject::classType()})
        EXPECT_EQ(a->isKindOf(*t), 1) << t->getName();
    EXPECT_EQ(a->isKindOf(KVORATnBird::classType()), 0);
    kvoraNewObjectByName("KVORATnBird", 11, bird, env);
    EXPECT_EQ(bird->isKindOf(KVORATnDog::classType()), 0);
    // A clone is a new default object of the same class.
    a->cloneObject(clone, env);
    EXPECT_NE(clone.get(), a.get());
    EXPECT_EQ(&clone->getObjectType(), &KVORATnPuppy::classType());
    EXPECT_EQ(kvoraNewObjectByName("KVORATnCow", 10, none, env), 0);
    EXPECT_EQ(none.get(), nullptr);
    a.reset(env);
    bird.reset(env);
    clone.reset(env);
}

TEST(TypeRegistry, NoFactoryAndDuplicates) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAObject> result;
    utiltest::Caught o = utiltest::caught([&] { KVORATnAnimal::classType().newInstance(result, env); });
    EXPECT_TRUE(utiltest::failedWith(o, "ASSERTION FAILED (ivFactoryFunc != 0)")) << o.err;
    utiltest::clearErrorFlags();

    // A second registration of a name shares the index and keeps the first factory.
    int32_t before = KVORATypeName::getRegisteredCount();
    static KVORATypeName duplicate("KVORATnDog", &otherFactory);
    EXPECT_EQ(duplicate.getIndex(), KVORATnDog::classType().getIndex());
    EXPECT_EQ(KVORATypeName::getRegisteredCount(), before);
    kvoraNewObjectByName("KVORATnDog", 10, result, env);
    EXPECT_EQ(&result->getObjectType(), &KVORATnDog::classType());
    result.reset(env);
}

namespace {
std::vector<int> gEvents;  // 1 released, 2 destroyed
}

class KVORATnTracked : public KVORAObject {
    KVORA_OBJECT_DECL(KVORATnTracked)
public:
    ~KVORATnTracked() override { gEvents.push_back(2); }
    void releasePrimitive(KVORA_ENV env) override {
        gEvents.push_back(1);
        KVORAObject::releasePrimitive(env);
    }
    char ivBytes[100] = {};
};
KVORA_OBJECT_IMPL(KVORATnTracked, KVORAObject, 0)

TEST(ObjectBase, FactoryCountsAndDestroyRuleReleasesFirst) {
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    int64_t start = env->getBytesInUse();
    KVORAOwnPtr<KVORAObject> owner;
    KVORATnTracked::classType().newInstance(owner, env);
    EXPECT_EQ(env->getBytesInUse() - start, static_cast<int64_t>(sizeof(KVORATnTracked)));
    gEvents.clear();
    kvoraDestroyObject(owner.transfer(), env);
    EXPECT_EQ(gEvents, (std::vector<int>{1, 2}));
    EXPECT_EQ(env->getBytesInUse(), start);
    kvoraDestroyObject(nullptr, env);  // nothing
}
