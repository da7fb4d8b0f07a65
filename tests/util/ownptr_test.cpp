// Owner pointers and scoped objects: reset releases and accounts, a holder
// destroyed with its object complains and leaks it, access after deletion
// tells the deletion place.
#include <gtest/gtest.h>

#include <string>

#include "util/kvora_ownptr.h"
#include "util/kvora_xray.h"
#include "util_test_support.h"

namespace {

// Stands for an object of the object base; counts releases and destructions.
struct Tracked {
    static int released;
    static int destroyed;
    ~Tracked() { ++destroyed; }
    int64_t getObjectSize() const { return 1000; }
    void releasePrimitive(KVORAEnv *&env) { ++released; }
    int32_t value = 7;
};
int Tracked::released = 0;
int Tracked::destroyed = 0;

class OwnPtrTest : public testing::Test {
protected:
    void SetUp() override {
        Tracked::released = 0;
        Tracked::destroyed = 0;
    }
    void TearDown() override { utiltest::clearErrorFlags(); }
    KVORAEnv *env = nullptr;
};

TEST_F(OwnPtrTest, ResetReleasesDeletesAndTakesTheSizeOffTheAccount) {
    const int64_t before = kvoraGetEnv(env)->getBytesInUse();
    KVORAOwnPtr<Tracked> owner;
    owner.create(env);
    EXPECT_EQ(kvoraGetEnv(env)->getBytesInUse() - before, 1000);
    EXPECT_EQ(owner->value, 7);
    owner.reset(env);
    EXPECT_EQ(Tracked::released, 1);
    EXPECT_EQ(Tracked::destroyed, 1);
    EXPECT_EQ(kvoraGetEnv(env)->getBytesInUse(), before);
    owner.reset(env);  // nothing held: nothing happens
    EXPECT_EQ(Tracked::destroyed, 1);
    // Assignment resets the old object first; transfers leave the giver empty.
    owner.reset(new Tracked(), env);
    owner = new Tracked();
    EXPECT_EQ(Tracked::destroyed, 2);
    Tracked *taken = owner.transfer();
    EXPECT_TRUE(owner.isNull());
    KVORAOwnPtr<Tracked> other;
    other.reset(taken, env);
    KVORAOwnPtr<Tracked> third;
    third.transferFrom(other, env);
    EXPECT_EQ(third.get(), taken);
    EXPECT_TRUE(other.isNull());
    third.reset(env);
    EXPECT_EQ(Tracked::destroyed, 3);
}

// The complaint names where the owner (or the original it was copied from)
// was made; the object is left alive.
TEST_F(OwnPtrTest, DestroyedWhileHoldingComplainsAndLeavesTheObjectAlive) {
    Tracked *object = new Tracked();
    int32_t line = 0;
    testing::internal::CaptureStderr();
    {
        line = __LINE__ + 1;
        KVORAOwnPtr<Tracked> owner;
        owner.reset(object, env);
    }
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(Tracked::destroyed, 0);
    EXPECT_EQ(kvoraErrorFlag, 1);
    EXPECT_EQ(out.rfind("\n*** ERROR in function ~KVORAOwnPtr at line ", 0), 0u) << out;
    EXPECT_NE(out.find(" KVORAOwnPtr destructor called while holding an object\n"
                       "KVORAOwnPtr was constructed in function TestBody at line " +
                       std::to_string(line) + " in file ownptr_test.cpp\n"),
              std::string::npos)
        << out;

    KVORAOwnPtr<Tracked> original("here.cpp", 12, "maker");
    original.reset(object, env);
    testing::internal::CaptureStderr();
    { KVORAOwnPtr<Tracked> copy(original); }
    out = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(original.isNull());
    EXPECT_NE(out.find(" KVORAOwnPtr destructor called while holding an object\n"
                       "KVORAOwnPtr was copy-constructed from another KVORAOwnPtr\n"
                       "that was originally constructed in function maker at line 12 in file here.cpp\n"),
              std::string::npos)
        << out;
    EXPECT_EQ(object->value, 7);
    delete object;
}

TEST_F(OwnPtrTest, AccessAfterDeletionTellsTheDeletionPlace) {
    KVORAOwnPtr<Tracked> owner;
    owner.create(env);
    const int32_t line = __LINE__ + 1;
    owner.reset(env);
    utiltest::Caught c = utiltest::caught([&] { (void)owner->value; });
    EXPECT_EQ(c.value, 0);
    const std::string text = " Attempt to access a deleted object\nObject was deleted in function TestBody at line " +
                             std::to_string(line) + " in file ownptr_test.cpp\n";
    EXPECT_TRUE(utiltest::failedWith(c, text.c_str())) << c.err;
    // An owner that never held anything fails the plain assertion.
    KVORAOwnPtr<Tracked> empty;
    EXPECT_TRUE(utiltest::failedWith(utiltest::caught([&] { (void)empty->value; }), "ASSERTION FAILED (ivObject != 0)"));
}

TEST_F(OwnPtrTest, OwnersInsideAGrowingArrayMoveWithoutComplaint) {
    KVORAXaRay<KVORAOwnPtr<Tracked>, 1> owners;
    testing::internal::CaptureStderr();
    for (int32_t i = 1; i <= 20; ++i) {
        owners.autoExtend(i, env);
        owners[i].create(env);
    }
    for (int32_t i = 1; i <= 20; ++i) owners[i].reset(env);
    owners.reset(env);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Tracked::destroyed, 20);
}

}  // namespace
