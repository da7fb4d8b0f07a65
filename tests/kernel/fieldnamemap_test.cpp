// The field name map: unique names, lookups that must succeed, and field
// references on the object stream resolved through the map a reader carries.
#include <gtest/gtest.h>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_numfield.h"
#include "kernel_streams.h"

namespace {

struct Fields {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    KVORAOwnPtr<KVORAFieldNameMap> map;
    explicit Fields(std::initializer_list<const char *> names) {
        dp.create(env);
        map.create(env);
        for (const char *name : names) {
            KVORAOwnPtr<KVORANumField> f;
            f.create(env);
            f->setName(KV2AscString(name));
            dp->addField(f, env);
        }
        map->fillFromDataPoint(*dp, env);
    }
    ~Fields() {
        map.reset(env);
        dp.reset(env);
    }
    std::string unique(const char *name, int32_t start) {
        return map->makeUniqueName(KV2AscString(name), start, env).c_str();
    }
};

}  // namespace

TEST(FieldNameMapTest, UniqueNames) {
    Fields some({"a", "a_1", "a_2", "a_6"});
    EXPECT_EQ(some.unique("b", 0), "b");
    EXPECT_EQ(some.unique("b", -3), "b");
    EXPECT_EQ(some.unique("b", 5), "b_5");  // a start above 0 always takes a suffix
    EXPECT_EQ(some.unique("a_1", 0), "a_1_1");
    EXPECT_EQ(some.unique("a", 0), "a_3");
    EXPECT_EQ(some.unique("a", 6), "a_7");
    // A name whose field is null is not taken.
    some.map->setField(KV2AscString("a_3"), nullptr, some.env);
    EXPECT_EQ(some.unique("a", 3), "a_3");
    EXPECT_EQ(some.map->getFieldByName(KV2AscString("a_6")), some.dp->getFieldAt(4));
}

TEST(FieldNameMapDeathTest, LimitsAndUnknownNames) {
    EXPECT_RUN_ENDS(
        {
            Fields f({"a"});
            f.unique("a", 1000000);
        },
        "PROBABLE CAUSE: Internal suffix limit exceeded in makeUniqueName");
    EXPECT_RUN_ENDS(
        {
            Fields f({"a"});
            f.map->getFieldByName(KV2AscString("b"));
        },
        "ASSERTION FAILED \\(ptr != 0\\)\n    PROBABLE CAUSE: No field with specified name");
}

namespace {

std::string referenceStream(const KVORAField *field) {
    return kerneltest::written(0, [&](KVORAObjWriter &w, KVORA_ENV e) {
        KVORAFieldNameMap::writeFieldReference(w, KVORAKeyword("ivTargetField"), field, e);
    });
}

// Reads one reference with `map` attached (or none).
KVORAField *readReference(const std::string &bytes, KVORAFieldNameMap *map, KVORAEnv *&env) {
    kerneltest::Reader r(bytes);
    if (map != nullptr) r.reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, map, env);
    KVORAField *field = reinterpret_cast<KVORAField *>(1);
    EXPECT_TRUE(KVORAFieldNameMap::readFieldReference(r.reader, KVORAKeyword("ivTargetField"), field, env));
    return field;
}

}  // namespace

TEST(FieldNameMapTest, ReferencesResolveToTheReadersFields) {
    Fields sender({"x", "y"});
    // The receiving side has its own fields of the same names.
    Fields receiver({"y", "x"});
    const std::string bytes = referenceStream(sender.dp->getFieldAt(2));
    EXPECT_EQ(readReference(bytes, receiver.map.get(), receiver.env), receiver.dp->getFieldAt(1));
    EXPECT_EQ(readReference(referenceStream(nullptr), receiver.map.get(), receiver.env), nullptr);
}

TEST(FieldNameMapDeathTest, ReferencesNeedAMapThatKnowsTheName) {
    EXPECT_RUN_ENDS(
        {
            Fields sender({"x"});
            readReference(referenceStream(sender.dp->getFieldAt(1)), nullptr, sender.env);
        },
        "A field reference can only be read with a field name map attached");
    EXPECT_RUN_ENDS(
        {
            Fields sender({"x"});
            Fields receiver({"z"});
            readReference(referenceStream(sender.dp->getFieldAt(1)), receiver.map.get(), receiver.env);
        },
        "No field with specified name");
}
