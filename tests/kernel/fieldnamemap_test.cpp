// The field name map: unique names, lookups that must succeed, and field
// references on the object stream resolved through the map a reader carries.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_numfield.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

#define EXPECT_RUN_ENDS(statement, pattern)                   \
    EXPECT_EXIT(                                               \
        {                                                      \
            try {                                              \
                statement;                                     \
            } catch (...) {                                    \
                std::exit(99);                                 \
            }                                                  \
            std::exit(0);                                      \
        },                                                     \
        ::testing::ExitedWithCode(99), pattern)

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
    Fields none({"b"});
    EXPECT_EQ(none.unique("a", 0), "a");
    EXPECT_EQ(none.unique("a", -3), "a");
    EXPECT_EQ(none.unique("a", 5), "a_5");
    Fields some({"a", "a_1", "a_2", "a_6"});
    EXPECT_EQ(some.unique("a", 0), "a_3");
    EXPECT_EQ(some.unique("a", 5), "a_5");
    EXPECT_EQ(some.unique("a", 6), "a_7");
    EXPECT_EQ(some.unique("a_1", 0), "a_1_1");
    // A name whose field is null is not taken.
    some.map->setField(KV2AscString("a_3"), nullptr, some.env);
    EXPECT_EQ(some.unique("a", 3), "a_3");
    EXPECT_EQ(some.map->findField(KV2AscString("a_3")), nullptr);
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

std::string referenceStream(const KVORAField *field, KVORAEnv *&env) {
    std::stringstream ss;
    KVOStreamBlobWriter out(&ss);
    KVORABinObjWriter writer(&out, 0);
    KVORAFieldNameMap::writeFieldReference(writer, KVORAKeyword("ivTargetField"), field, env);
    return ss.str();
}

// Reads one reference with `map` attached (or none).
KVORAField *readReference(const std::string &bytes, KVORAFieldNameMap *map, KVORAEnv *&env) {
    std::stringstream ss(bytes);
    KVOStreamBlobReader in(&ss);
    KVORABinObjReader reader(&in);
    if (map != nullptr) reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, map, env);
    KVORAField *field = reinterpret_cast<KVORAField *>(1);
    EXPECT_TRUE(KVORAFieldNameMap::readFieldReference(reader, KVORAKeyword("ivTargetField"), field, env));
    return field;
}

}  // namespace

TEST(FieldNameMapTest, ReferencesResolveToTheReadersFields) {
    Fields sender({"x", "y"});
    // The receiving side has its own fields of the same names.
    Fields receiver({"y", "x"});
    const std::string bytes = referenceStream(sender.dp->getFieldAt(2), sender.env);
    EXPECT_EQ(readReference(bytes, receiver.map.get(), receiver.env), receiver.dp->getFieldAt(1));
    EXPECT_EQ(readReference(referenceStream(nullptr, sender.env), receiver.map.get(), receiver.env), nullptr);
}

TEST(FieldNameMapDeathTest, ReferencesNeedAMapThatKnowsTheName) {
    EXPECT_RUN_ENDS(
        {
            Fields sender({"x"});
            readReference(referenceStream(sender.dp->getFieldAt(1), sender.env), nullptr, sender.env);
        },
        "A field reference can only be read with a field name map attached");
    EXPECT_RUN_ENDS(
        {
            Fields sender({"x"});
            Fields receiver({"z"});
            readReference(referenceStream(sender.dp->getFieldAt(1), sender.env), receiver.map.get(), receiver.env);
        },
        "No field with specified name");
}
