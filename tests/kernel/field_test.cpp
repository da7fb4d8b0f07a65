// Fields: the exact effect of each setter on present, missing, value and
// index; the lookups that refuse the other kind; producers; and the stream
// refusing to read a field over another. Fields crossing the stream are
// checked with the data point and the learning workers.
#include <gtest/gtest.h>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "kernel_streams.h"

using namespace kerneltest;

namespace {

class Producer : public KVORANumValueProducer {
public:
    int32_t present = 1, missing = 0;
    double value = 0.0;
    void getValue(int32_t &p, int32_t &m, double &v) override {
        p = present;
        m = missing;
        v = value;
    }
};

}  // namespace

TEST(FieldTest, SettersOfANumericFieldAndItsProducer) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORANumField> f;
    f.create(env);
    EXPECT_EQ(f->getValueIndex(), -2);
    f->setChannelValue(2, 4.5, env);
    f->setRealValue(2.5);
    EXPECT_EQ(f->isPresent(), 1);
    EXPECT_EQ(f->getValueIndex(), 0);  // no bins yet: bin 0
    // Missing clears the value and the channels; the field stays present.
    f->setMissing(1);
    EXPECT_EQ(f->isPresent(), 1);
    EXPECT_EQ(f->getRealValue(), 0.0);
    EXPECT_EQ(f->getValueIndex(), -1);
    EXPECT_EQ(f->getBinIndex(7.0), -1);
    EXPECT_EQ(f->getChannelValue(2), 0.0);
    // Clearing the missing flag alone changes nothing else.
    f->setMissing(0);
    EXPECT_EQ(f->getValueIndex(), -1);
    // Not present: missing cleared, index unset.
    f->setMissing(1);
    f->setPresent(0);
    EXPECT_EQ(f->isMissing(), 0);
    EXPECT_EQ(f->getValueIndex(), -2);

    // A producer feeds the same setters.
    EXPECT_EQ(f->refreshFromProducer(), 1);  // none: nothing to do
    Producer p;
    f->ivValueProducer = &p;
    p.value = 6.25;
    f->refreshFromProducer();
    EXPECT_EQ(f->getRealValue(), 6.25);
    p.present = 0;
    p.missing = 1;
    f->refreshFromProducer();
    EXPECT_EQ(f->isPresent(), 0);
    EXPECT_EQ(f->isMissing(), 0);
    f->ivValueProducer = nullptr;
    f.reset(env);
}

TEST(FieldTest, CategoricalTextKeepsItsCapacity) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORACatField> f;
    f.create(env);
    f->setTextValue(KV2AscString("longer text"));
    EXPECT_EQ(f->getValueIndex(), KVORAField::DefaultValueIndex);
    const char *storage = f->ivTextValue.base;
    f->setTextValue("ab", 2);
    EXPECT_STREQ(f->getTextValue().c_str(), "ab");
    EXPECT_EQ(f->ivTextValue.base, storage);  // no allocation per record
    f->setMissing(1);
    EXPECT_EQ(f->ivTextValue.size(), 0u);
    EXPECT_EQ(f->getValueIndex(), -1);
    f->setPresent(0);
    EXPECT_EQ(f->getValueIndex(), -2);
    f.reset(env);
}

TEST(FieldDeathTest, EachKindRefusesTheOther) {
    EXPECT_RUN_ENDS(
        {
            KVORANumField f;
            f.setTextValue(KV2AscString("a"));
        },
        "ASSERTION FAILED \\(getType\\(\\) == CategoricalType\\)");
    EXPECT_RUN_ENDS(
        {
            KVORACatField f;
            KVORAField &base = f;
            base.setRealValue(1.0);
        },
        "Program control should never reach this point");
    EXPECT_RUN_ENDS(
        {
            KVORACatField f;
            f.setTextValue(KV2AscString("a"));
            f.setMissing(1);
            f.getTextValue();
        },
        "ASSERTION FAILED \\(!isMissing\\(\\)\\)");
}

TEST(FieldDeathTest, StreamRefusesAnotherFieldOrKind) {
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORAOwnPtr<KVORANumField> a;
            KVORAOwnPtr<KVORANumField> b;
            a.create(env);
            a->setName(KV2AscString("a"));
            b.create(env);
            b->setName(KV2AscString("b"));
            readInto(streamed(a), b, env);
        },
        "\\*\\*\\* ERROR b != a\n.*ASSERTION FAILED \\(ivName.size\\(\\) <= 0 \\|\\| ivName == tempName\\)\n"
        "    PROBABLE CAUSE: Attempt to overwrite an existing field object with a different field");
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORAOwnPtr<KVORANumField> a;
            KVORAOwnPtr<KVORANumField> b;
            a.create(env);
            a->ivFieldType = KVORAField::CategoricalType;
            readInto(streamed(a), b, env);
        },
        "ASSERTION FAILED \\(savedfieldval.ivFieldType == getType\\(\\)\\)");
}
