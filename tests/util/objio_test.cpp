// The object stream model apart from its byte format (keyword matching is
// checked with each format's reader): numbers clamped to the variable's type,
// arrays read in place, and back pointer registrations.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <string>

#include "util/kvora_objio.h"
#include "util_test_support.h"

using utiltest::binaryRead;
using utiltest::binaryWritten;
using utiltest::Caught;

class KVORAOiItem : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAOiItem)
public:
    int32_t ivA = 0;
    int32_t ivB = 0;  // never written: a read in place keeps it
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};
KVORA_OBJECT_IMPL(KVORAOiItem, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAOiItem, ivA, 1)
KVORA_MEMBER_KEYWORD(KVORAOiItem, ivB, 2)

void KVORAOiItem::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    kvoraRead(r, KVORA_KWD(ivA), ivA, env);
    kvoraRead(r, KVORA_KWD(ivB), ivB, env);
}

void KVORAOiItem::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const { kvoraWrite(w, KVORA_KWD(ivA), ivA, env); }

namespace {

// A number written by `writeValue`, read into a T.
template <class T, class W>
T readAs(W writeValue) {
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

TEST(ObjectStreamModel, NumbersAreClampedToTheVariable) {
    EXPECT_EQ(fromSigned<int32_t>(5000000000LL), 2147483647);
    EXPECT_EQ(fromSigned<int32_t>(-5000000000LL), -2147483647 - 1);
    EXPECT_EQ(fromSigned<int8_t>(300), 127);
    EXPECT_EQ(fromSigned<int8_t>(-300), -128);
    EXPECT_EQ(fromUnsigned<uint8_t>(300), 255);
    EXPECT_EQ(fromUnsigned<uint32_t>(1ULL << 40), 4294967295u);
    EXPECT_EQ(fromReal<double>(-DBL_MAX * 2), -1.7976931348623157e308);
    EXPECT_EQ(fromReal<float>(1e39), FLT_MAX);
    EXPECT_EQ(fromReal<float>(-1e39), -FLT_MAX);
    EXPECT_EQ(fromReal<float>(0.5), 0.5f);
}

TEST(ObjectStreamModel, ArraysAreReadInPlace) {
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    KVORAArray<KVORAOiItem> src;
    src.setSize(2, env);
    src[1].ivA = 10;
    src[2].ivA = 20;
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, src, e); });
    src.reset(env);
    // A longer live array: the two kept elements keep their ivB; the third goes.
    KVORAArray<KVORAOiItem> live;
    live.setSize(3, env);
    for (int32_t i = 1; i <= 3; ++i) live[i].ivB = i;
    ASSERT_FALSE(binaryRead(s, [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, live, e); }).threw);
    ASSERT_EQ(live.getSize(), 2);
    EXPECT_EQ(live[1].ivA, 10);
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

// Resolving through the attached object is checked with the field name map;
// here: a second registration replaces the first, and the table is small.
TEST(ObjectStreamModel, BackPointerRegistrations) {
    KVORAOiItem first, second;
    const KV2AscString name("KVORAFieldNameMap::cvBackPtrName");
    Caught o = binaryRead("", [&](KVORAObjReader &r, KVORA_ENV e) {
        EXPECT_EQ(r.findBackPointer(name), nullptr);
        r.registerBackPointer(name, &first, e);
        r.registerBackPointer(KV2AscString("KVORAFieldNameMap::cvBackPtrName"), &second, e);
        EXPECT_EQ(r.findBackPointer(name), &second);
        for (int i = 0; i < 8; ++i) r.registerBackPointer(KV2AscString(int32_t(i)), &first, e);
    });
    EXPECT_TRUE(utiltest::failedWith(o, "ivBackPointerCount < cvMaxBackPointers")) << o.err;
}

// The element loop's bound once overflowed 32 bits for the size 2^31-1, so
// that no element was read. The elements are read until the stream ends,
// which fails as a broken stream.
TEST(ObjectStreamModel, TheLargestAnnouncedSizeReadsUntilTheStreamEnds) {
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
    ASSERT_GE(values.getSize(), 2);
    EXPECT_EQ(values[1], 2.5);
    EXPECT_EQ(values[2], -1.0);
    values.reset(env);
}

// Arrays of reals and of unsigned keys go in one call: the bytes are those
// of the elements written one by one, reading back clamps as a single real
// does, and a stream cut inside a later block fails at the element that does
// not come whole, with the elements before it read.
TEST(ObjectStreamModel, LongArraysMatchTheirElementsWrittenOneByOne) {
    KVORAEnv *env = nullptr;
    kvoraGetEnv(env);
    const int32_t n = 1300;  // more than two blocks of reads
    KVORAXaRay<double, 1> reals;
    KVORAXaRay<uint64_t, 1> keys;
    reals.setSize(n, env);
    keys.setSize(n, env);
    for (int32_t i = 1; i <= n; ++i) {
        reals[i] = i == 7 ? -HUGE_VAL : 0.25 * i - 100.0;
        keys[i] = (uint64_t(1) << (i % 64)) + uint64_t(i);
    }
    const std::string bulk = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) {
        kvoraWrite(w, reals, e);
        kvoraWrite(w, keys, e);
    });
    const std::string single = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) {
        w.beginArray(n, e);
        for (int32_t i = 1; i <= n; ++i) w.writeReal(reals[i], e);
        w.writeKeyword(kvoraKwd_EndArray(), e);
        w.beginArray(n, e);
        for (int32_t i = 1; i <= n; ++i) w.writeUnsigned(keys[i], e);
        w.writeKeyword(kvoraKwd_EndArray(), e);
    });
    EXPECT_EQ(bulk, single);

    KVORAXaRay<double, 1> realsBack;
    KVORAXaRay<uint64_t, 1> keysBack;
    Caught o = binaryRead(bulk, [&](KVORAObjReader &r, KVORA_ENV e) {
        kvoraRead(r, realsBack, e);
        kvoraRead(r, keysBack, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_EQ(realsBack.getSize(), n);
    ASSERT_EQ(keysBack.getSize(), n);
    for (int32_t i = 1; i <= n; ++i) {
        EXPECT_EQ(realsBack[i], i == 7 ? -DBL_MAX : reals[i]) << i;
        EXPECT_EQ(keysBack[i], keys[i]) << i;
    }
    // The memory is what growing by one element at a time gives.
    KVORAXaRay<double, 1> stepwise;
    for (int32_t i = 1; i <= n; ++i) stepwise.autoExtend(i, env);
    EXPECT_EQ(realsBack.getCapacity(), stepwise.getCapacity());
    EXPECT_EQ(keysBack.getCapacity(), stepwise.getCapacity());
    stepwise.reset(env);
    realsBack.reset(env);

    // Cut 3 bytes into element 600: 599 come whole, the 600th fails.
    const std::string reals1 = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { w.beginArray(n, e); });
    const std::string cut = bulk.substr(0, reals1.size() + 8 * 599 + 3);
    o = binaryRead(cut, [&](KVORAObjReader &r, KVORA_ENV e) { kvoraRead(r, realsBack, e); });
    EXPECT_TRUE(utiltest::failedWith(o, "BLOB Binary I/O Read Error")) << o.err;
    EXPECT_EQ(realsBack.getSize(), 600);
    EXPECT_EQ(realsBack[599], reals[599]);
    realsBack.reset(env);
    keysBack.reset(env);

    // The keys cut inside element 900's number, in their second block.
    size_t at = bulk.size() - 1;  // EndArray
    for (int32_t i = n; i >= 900; --i) {
        at -= 1;
        for (uint64_t rest = keys[i] >> 7; rest != 0; rest >>= 7) at -= 1;
    }
    o = binaryRead(bulk.substr(0, at + 1), [&](KVORAObjReader &r, KVORA_ENV e) {
        kvoraRead(r, realsBack, e);
        kvoraRead(r, keysBack, e);
    });
    EXPECT_TRUE(utiltest::failedWith(o, "BLOB Binary I/O Read Error")) << o.err;
    ASSERT_EQ(keysBack.getSize(), 900);
    EXPECT_EQ(keysBack[899], keys[899]);
    realsBack.reset(env);
    keysBack.reset(env);
    reals.reset(env);
    keys.reset(env);

    // Signed numbers, read into narrower arrays, clamp as one read does.
    KVORAXaRay<int64_t, 1> wide;
    wide.setSize(n, env);
    for (int32_t i = 1; i <= n; ++i) wide[i] = (i % 2 == 0 ? -1 : 1) * (int64_t(1) << (i % 63)) + i;
    const std::string signedBytes = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, wide, e); });
    KVORAXaRay<int64_t, 1> wideBack;
    KVORAXaRay<int32_t, 1> narrowBack;
    o = binaryRead(signedBytes + signedBytes, [&](KVORAObjReader &r, KVORA_ENV e) {
        kvoraRead(r, wideBack, e);
        kvoraRead(r, narrowBack, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_EQ(narrowBack.getSize(), n);
    for (int32_t i = 1; i <= n; ++i) {
        EXPECT_EQ(wideBack[i], wide[i]) << i;
        EXPECT_EQ(narrowBack[i], std::max<int64_t>(INT32_MIN, std::min<int64_t>(INT32_MAX, wide[i]))) << i;
    }
    wide.reset(env);
    wideBack.reset(env);
    narrowBack.reset(env);
}
