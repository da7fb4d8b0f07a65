// The field name map: unique names and lookups that must succeed. Field
// references resolved through the map on the reading side are exercised by
// every multi-process end-to-end run, whose models reach the workers so.
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
