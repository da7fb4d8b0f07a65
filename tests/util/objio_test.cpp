// The object stream model apart from its byte format: keyword matching by
// each mode, clamping of numbers to the variable's type, arrays read in
// place (the largest announced size included), and back pointers resolved
// through an object attached to the reader.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <string>
#include <vector>

#include "util/kvora_objio.h"
#include "util_test_support.h"

using utiltest::binaryRead;
using utiltest::binaryWritten;
using utiltest::Caught;

namespace {

// A reader fed with prepared keywords, to test matching without a format.
class ScriptedReader : public KVORAObjReader {
public:
    std::vector<KVORAKeyword> ivScript;
    std::vector<int32_t> ivModes;
    size_t ivNext = 0;
    void readKeyword(KVORA_ENV env) override {
        if (ivNext >= ivScript.size()) {
            ivKeywordState = KeywordEnd;
            return;
        }
        ivKeyword = ivScript[ivNext];
        ivMatchMode = ivModes[ivNext];
        ++ivNext;
        ivKeywordState = KeywordPending;
    }
    void readBool(bool &, KVORA_ENV) override {}
    void readChar(char &, KVORA_ENV) override {}
    void readString(KV2AscString &, KVORA_ENV) override {}
    void readUnsigned(uint64_t &, KVORA_ENV) override {}
    void readSigned(int64_t &, KVORA_ENV) override {}
    void readReal(double &, KVORA_ENV) override {}
    void readObjectType(KV2AscString &, KVORA_ENV) override {}
    void beginObject(KVORA_ENV) override {}
    int32_t beginArray(KVORA_ENV) override { return 0; }
};

}  // namespace

// ---- classes for back pointers and arrays ----

class KVORAOiItem : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAOiItem)
public:
    int32_t ivA = 0;
    int32_t ivB = 0;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};
KVORA_OBJECT_IMPL(KVORAOiItem, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAOiItem, ivA, 1)
KVORA_MEMBER_KEYWORD(KVORAOiItem, ivB, 2)

void KVORAOiItem::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    kvoraRead(r, KVORA_KWD(ivA), ivA, env);
    kvoraRead(r, KVORA_KWD(ivB), ivB, env);
}

void KVORAOiItem::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    kvoraWrite(w, KVORA_KWD(ivA), ivA, env);
}

// Stands for the field name map: names to objects owned elsewhere.
class KVORAOiDirectory : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAOiDirectory)
public:
    static const KV2AscString cvBackPtrName;
    std::vector<std::pair<std::string, KVORAObject *>> ivEntries;
    KVORAObject *find(const KV2AscString &name) const {
        for (const auto &e : ivEntries)
            if (e.first == name.c_str()) return e.second;
        return nullptr;
    }
};
KVORA_OBJECT_IMPL(KVORAOiDirectory, KVORAObject, 0)
const KV2AscString KVORAOiDirectory::cvBackPtrName("KVORAOiDirectory::cvBackPtrName");

// Refers to an object it does not own, by name.
class KVORAOiRef : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAOiRef)
public:
    KVORAObject *ivTarget = nullptr;
    KV2AscString ivTargetName;  // what the writer knows the target by
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};
KVORA_OBJECT_IMPL(KVORAOiRef, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORAOiRef, ivTarget, 1)

void KVORAOiRef::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    if (r.keywordMatches(KVORA_KWD(ivTarget), env)) {
        KV2AscString name;
        r.readString(name, env);
        r.clearKeyword();
        auto *dir = static_cast<KVORAOiDirectory *>(r.findBackPointer(KVORAOiDirectory::cvBackPtrName));
        ivTarget = (dir != nullptr && name.size() > 0) ? dir->find(name) : nullptr;
    }
}

void KVORAOiRef::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    w.writeKeyword(KVORA_KWD(ivTarget), env);
    w.writeString(ivTarget != nullptr ? ivTargetName : KV2AscString(), env);
}

// ---- tests ----

TEST(ObjectStreamModel, KeywordMatchingModes)
{
    KVORAEnv *env = nullptr;
    ScriptedReader r;
    r.ivScript = {KVORAKeyword("", 0, 0, 8), KVORAKeyword("", 5, 2, 0), KVORAKeyword("ivA")};
    r.ivModes = {KVORAObjReader::MatchByGlobalId, KVORAObjReader::MatchByClassLocal, KVORAObjReader::MatchByName};
    KVORAKeyword byGlobal("ivB", 5, 2, 8);
    KVORAKeyword other("ivA", 5, 1, 7);

    // A miss leaves the keyword pending: no new read, same count.
    EXPECT_FALSE(r.keywordMatches(other, env));
    EXPECT_EQ(r.ivKeywordCount, 1);
    EXPECT_EQ(r.ivKeywordState, KVORAObjReader::KeywordPending);
    EXPECT_TRUE(r.keywordMatches(byGlobal, env));
    EXPECT_EQ(r.ivKeywordCount, 1);
    EXPECT_EQ(r.ivKeywordState, KVORAObjReader::KeywordMatched);
    EXPECT_EQ(r.ivMatchMode, KVORAObjReader::MatchDone);
    EXPECT_EQ(r.ivKeyword.ivName, "ivB");  // the matched keyword is copied over
    r.clearKeyword();

    EXPECT_FALSE(r.keywordMatches(other, env));      // class 5, local 1 differs
    EXPECT_TRUE(r.keywordMatches(byGlobal, env));    // class 5, local 2
    r.clearKeyword();
    EXPECT_FALSE(r.keywordMatches(byGlobal, env));   // by name: "ivB" is not "ivA"
    EXPECT_TRUE(r.keywordMatches(other, env));
    r.clearKeyword();
    EXPECT_FALSE(r.keywordMatches(other, env));      // the end
    EXPECT_TRUE(r.atEnd());
    EXPECT_EQ(r.ivKeywordCount, 4);
}

namespace {

// A number written in one of the stream's three forms, read into a T.
template <class T, class W>
T readAs(W writeValue)
{
    T x{};
    Caught o = binaryRead(binaryWritten(writeValue), [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, x, e); });
    EXPECT_FALSE(o.threw) << o.err;
    return x;
}
template <class T>
T fromSigned(int64_t v) { return readAs<T>([v](KVORAObjWriter &w, KVORA_ENV e) { w.writeSigned(v, e); }); }
template <class T>
T fromUnsigned(uint64_t v) { return readAs<T>([v](KVORAObjWriter &w, KVORA_ENV e) { w.writeUnsigned(v, e); }); }
template <class T>
T fromReal(double v) { return readAs<T>([v](KVORAObjWriter &w, KVORA_ENV e) { w.writeReal(v, e); }); }

}  // namespace

TEST(ObjectStreamModel, NumbersAreClampedToTheVariable)
{
    EXPECT_EQ(fromSigned<int32_t>(5000000000LL), 2147483647);
    EXPECT_EQ(fromSigned<int32_t>(-5000000000LL), -2147483647 - 1);
    EXPECT_EQ(fromSigned<int8_t>(300), 127);
    EXPECT_EQ(fromSigned<int8_t>(-300), -128);
    EXPECT_EQ(fromSigned<int16_t>(40000), 32767);
    EXPECT_EQ(fromSigned<int16_t>(-40000), -32768);
    EXPECT_EQ(fromUnsigned<uint8_t>(300), 255);
    EXPECT_EQ(fromUnsigned<uint16_t>(70000), 65535);
    EXPECT_EQ(fromUnsigned<uint32_t>(1ULL << 40), 4294967295u);
    EXPECT_EQ(fromReal<double>(DBL_MAX * 2), 1.7976931348623157e308);
    EXPECT_EQ(fromReal<double>(-DBL_MAX * 2), -1.7976931348623157e308);
    EXPECT_EQ(fromReal<float>(1e39), FLT_MAX);
    EXPECT_EQ(fromReal<float>(-1e39), -FLT_MAX);
    EXPECT_EQ(fromReal<float>(0.5), 0.5f);
}

TEST(ObjectStreamModel, ArraysAreReadInPlace)
{
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    // Written: two items with ivA only.
    KVORAArray<KVORAOiItem> src;
    src.setSize(2, env);
    src[1].ivA = 10;
    src[2].ivA = 20;
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, src, e); });
    src.reset(env);

    // A longer live array: the two kept elements keep their ivB; the third goes.
    KVORAArray<KVORAOiItem> live;
    live.setSize(3, env);
    live[1].ivB = 1;
    live[2].ivB = 2;
    live[3].ivB = 3;
    ASSERT_FALSE(binaryRead(s, [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, live, e); }).threw);
    ASSERT_EQ(live.getSize(), 2);
    EXPECT_EQ(live[1].ivA, 10);
    EXPECT_EQ(live[1].ivB, 1);
    EXPECT_EQ(live[2].ivA, 20);
    EXPECT_EQ(live[2].ivB, 2);
    live.reset(env);

    // Owners beyond the new size give their objects back to the account.
    KVORAXaRay<KVORAOwnPtr<KVORAOiItem>, 1> owners;
    owners.setSize(3, env);
    for (int32_t i = 1; i <= 3; ++i) owners[i].create(env);
    int64_t withThree = env->getBytesInUse();
    std::string one = binaryWritten([](KVORAObjWriter &w, KVORA_ENV e) {
        KVORAXaRay<KVORAOwnPtr<KVORAOiItem>, 1> a;
        a.setSize(1, e);
        a[1].create(e);
        a[1]->ivA = 5;
        kvoraWrite(w, a, e);
        a[1].reset(e);
        a.reset(e);
    });
    KVORAOiItem *first = owners[1].get();
    ASSERT_FALSE(binaryRead(one, [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, owners, e); }).threw);
    ASSERT_EQ(owners.getSize(), 1);
    EXPECT_EQ(owners[1].get(), first);
    EXPECT_EQ(owners[1]->ivA, 5);
    EXPECT_LT(env->getBytesInUse(), withThree);
    owners[1].reset(env);
    owners.reset(env);
}

TEST(ObjectStreamModel, BackPointersResolveThroughTheReader)
{
    KVORAOiItem age, income;
    KVORAOiDirectory dir;
    dir.ivEntries = {{"age", &age}, {"income", &income}};

    KVORAOiRef ref;
    ref.ivTarget = &income;
    ref.ivTargetName = "income";
    KVORAOiRef nullRef;
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) {
        kvoraWrite(w, ref, e);
        kvoraWrite(w, nullRef, e);
    });

    KVORAOiRef back, backNull;
    backNull.ivTarget = &age;
    ASSERT_FALSE(binaryRead(s, [&](KVORAObjReader &r, KVORA_ENV e) {
        EXPECT_EQ(r.findBackPointer(KVORAOiDirectory::cvBackPtrName), nullptr);
        r.registerBackPointer(KVORAOiDirectory::cvBackPtrName, nullptr, e);
        r.registerBackPointer(KVORAOiDirectory::cvBackPtrName, &dir, e);  // replaces
        EXPECT_EQ(r.findBackPointer(KV2AscString("KVORAOiDirectory::cvBackPtrName")), &dir);
        kvoraRead(r, back, e);
        kvoraRead(r, backNull, e);
    }).threw);
    EXPECT_EQ(back.ivTarget, &income);
    EXPECT_EQ(backNull.ivTarget, nullptr);

    // The table is small and says so when full.
    Caught full = binaryRead("", [&](KVORAObjReader &r, KVORA_ENV e) {
        for (int i = 0; i < 9; ++i) r.registerBackPointer(KV2AscString(int32_t(i)), &dir, e);
    });
    EXPECT_TRUE(utiltest::failedWith(full, "ivBackPointerCount < cvMaxBackPointers")) << full.err;
}

// The bound of the element loop once overflowed 32 bits for the largest
// size, 2^31-1 (undefined; with wrapping no element was read and the stream
// failed for want of EndArray). The elements are read one by one until the
// stream ends, which fails as a broken stream.
TEST(ObjectStreamModel, TheLargestAnnouncedSizeReadsUntilTheStreamEnds)
{
    KVORAEnv *env = nullptr;
    std::string s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV e) {
        w.beginArray(INT32_MAX, e);
        w.writeReal(2.5, e);
        w.writeReal(-1.0, e);
    });
    KVORAXaRay<double, 1> values;
    Caught o = binaryRead(s, [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, values, e); });
    EXPECT_TRUE(o.threw);
    EXPECT_EQ(o.err.find("EndArray keyword expected"), std::string::npos) << o.err;
    EXPECT_TRUE(o.err.find("BLOB Binary I/O Read Error") != std::string::npos ||
                o.err.find("read == size") != std::string::npos)
        << o.err;
    // The two elements that came were read before the stream broke off.
    ASSERT_GE(values.getSize(), 2);
    EXPECT_EQ(values[1], 2.5);
    EXPECT_EQ(values[2], -1.0);
    values.reset(env);
}
