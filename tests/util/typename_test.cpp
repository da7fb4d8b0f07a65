// The type registry: classes made from their names, kinds along the class
// tree, unknown names, types without a factory, duplicate names, and the
// keyword numbering that counts on from the base class.
#include <gtest/gtest.h>

#include <string>

#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_typename.h"
#include "util/kvora_xtype.h"

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
void otherFactory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env)
{
    kvoraNewObject<KVORATnBird>(result, env);
}
}  // namespace

TEST(TypeRegistry, NamesAndIndexes)
{
    int32_t dog = KVORATypeName::getIndex("KVORATnDog");
    int32_t puppy = KVORATypeName::getIndex("KVORATnPuppy");
    EXPECT_GT(dog, 0);
    EXPECT_GT(puppy, 0);
    EXPECT_NE(dog, puppy);
    EXPECT_EQ(dog, KVORATnDog::classType().getIndex());
    EXPECT_EQ(KVORATypeName::getTypeAt(dog), &KVORATnDog::classType());
    EXPECT_GT(KVORATypeName::getIndex("KVORAObject"), 0);

    EXPECT_EQ(KVORATypeName::getIndex("KVORATnCow"), 0);
    EXPECT_EQ(KVORATypeName::getIndex("KVORATnDo"), 0);
    EXPECT_EQ(KVORATypeName::getIndex(""), 0);
    EXPECT_EQ(KVORATypeName::getIndex(nullptr), 0);
    EXPECT_EQ(KVORATypeName::getIndex("KVORATnDogX", 10), dog);
    EXPECT_EQ(KVORATypeName::getTypeAt(0), nullptr);
    EXPECT_EQ(KVORATypeName::getTypeAt(KVORATypeName::getRegisteredCount() + 1), nullptr);

    EXPECT_EQ(KVORATnDog::classType().ivRegistered, 1);
    EXPECT_EQ(KVORATnAnimal::classType().ivRegistered, 0);
    EXPECT_STREQ(KVORATnPuppy::classType().getName(), "KVORATnPuppy");
}

TEST(TypeRegistry, MadeFromNameWithKinds)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAObject> a, b;
    ASSERT_EQ(kvoraNewObjectByName("KVORATnPuppy", 12, a, env), 1);
    ASSERT_EQ(kvoraNewObjectByName("KVORATnPuppy", 12, b, env), 1);
    EXPECT_EQ(&a->getObjectType(), &KVORATnPuppy::classType());
    EXPECT_EQ(&a->getObjectType(), &b->getObjectType());
    EXPECT_TRUE(a->getObjectType() == b->getObjectType());
    EXPECT_EQ(a->getObjectSize(), static_cast<int64_t>(sizeof(KVORATnPuppy)));

    for (const KVORATypeName *t : {&KVORATnPuppy::classType(), &KVORATnDog::classType(),
                                   &KVORATnAnimal::classType(), &KVORAObject::classType()}) {
        EXPECT_EQ(a->isKindOf(*t), 1) << t->getName();
    }
    EXPECT_EQ(a->isKindOf(KVORATnBird::classType()), 0);

    KVORAOwnPtr<KVORAObject> bird;
    kvoraNewObjectByName("KVORATnBird", 11, bird, env);
    EXPECT_EQ(bird->isKindOf(KVORATnDog::classType()), 0);
    EXPECT_EQ(bird->isKindOf(KVORATnAnimal::classType()), 1);
    EXPECT_EQ(static_cast<KVORATnAnimal *>(bird.get())->legs(), 2);

    // The root object: a kind of itself only.
    KVORAOwnPtr<KVORAObject> root;
    kvoraNewObjectByName("KVORAObject", 11, root, env);
    EXPECT_EQ(root->isKindOf(KVORAObject::classType()), 1);
    EXPECT_EQ(root->isKindOf(KVORATnDog::classType()), 0);

    // A clone is a new default object of the same class.
    KVORAOwnPtr<KVORAObject> clone;
    a->cloneObject(clone, env);
    EXPECT_NE(clone.get(), a.get());
    EXPECT_EQ(&clone->getObjectType(), &KVORATnPuppy::classType());

    KVORAOwnPtr<KVORAObject> none;
    EXPECT_EQ(kvoraNewObjectByName("KVORATnCow", 10, none, env), 0);
    EXPECT_EQ(none.get(), nullptr);
    a.reset(env);
    b.reset(env);
    bird.reset(env);
    root.reset(env);
    clone.reset(env);
}

TEST(TypeRegistry, NoFactoryAndDuplicates)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAObject> result;
    testing::internal::CaptureStderr();
    bool threw = false;
    try {
        KVORATnAnimal::classType().newInstance(result, env);
    } catch (int) {
        threw = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_NE(err.find("ASSERTION FAILED (ivFactoryFunc != 0)"), std::string::npos) << err;

    // A second registration of a name shares the index and keeps the first factory.
    int32_t before = KVORATypeName::getRegisteredCount();
    static KVORATypeName duplicate("KVORATnDog", &otherFactory);
    EXPECT_EQ(duplicate.getIndex(), KVORATnDog::classType().getIndex());
    EXPECT_EQ(KVORATypeName::getRegisteredCount(), before);
    EXPECT_EQ(KVORATypeName::getTypeAt(duplicate.getIndex()), &KVORATnDog::classType());
    kvoraNewObjectByName("KVORATnDog", 10, result, env);
    EXPECT_EQ(&result->getObjectType(), &KVORATnDog::classType());
    result.reset(env);
}

TEST(TypeRegistry, KeywordNumbersCountOnFromTheBase)
{
    EXPECT_EQ(KVORAObject::lastKeywordId(), 6);
    EXPECT_EQ(KVORATnAnimal::keywordBase(), 6);
    EXPECT_EQ(KVORATnAnimal::lastKeywordId(), 7);
    EXPECT_EQ(KVORATnDog::keywordBase(), 7);
    EXPECT_EQ(KVORATnDog::lastKeywordId(), 9);
    EXPECT_EQ(KVORATnPuppy::keywordBase(), 9);
    EXPECT_EQ(KVORATnBird::lastKeywordId(), 7);
}
