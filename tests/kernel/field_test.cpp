// Fields: the exact effect of each setter on present, missing, value and
// index; the kind-specific lookups that refuse the other kind; producers;
// and the members that cross the object stream, read in place or refused.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_catfieldcat.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

// A failure throws up to the entry point, which ends the process with 99.
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

template <class T>
std::string streamed(const KVORAOwnPtr<T> &object, KVORAEnv *&env) {
    std::stringstream ss;
    KVOStreamBlobWriter out(&ss);
    KVORABinObjWriter writer(&out, 0);
    kvoraWrite(writer, object, env);
    return ss.str();
}

template <class T>
void readInto(const std::string &bytes, KVORAOwnPtr<T> &object, KVORAEnv *&env) {
    std::stringstream ss(bytes);
    KVOStreamBlobReader in(&ss);
    KVORABinObjReader reader(&in);
    kvoraRead(reader, object, env);
}

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

TEST(FieldTest, SettersOfANumericField) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORANumField> f;
    f.create(env);
    EXPECT_EQ(f->getType(), KVORAField::NumericType);
    EXPECT_EQ(f->getValueIndex(), -2);
    f->setChannelValue(2, 4.5, env);
    f->setRealValue(2.5);
    EXPECT_EQ(f->isPresent(), 1);
    EXPECT_EQ(f->isMissing(), 0);
    EXPECT_EQ(f->getRealValue(), 2.5);
    EXPECT_EQ(f->getValueIndex(), 0);  // no bins yet: bin 0
    // Missing clears the value and the channels; the field stays present.
    f->setMissing(1);
    EXPECT_EQ(f->isPresent(), 1);
    EXPECT_EQ(f->isMissing(), 1);
    EXPECT_EQ(f->getRealValue(), 0.0);
    EXPECT_EQ(f->getValueIndex(), -1);
    EXPECT_EQ(f->getBinIndex(7.0), -1);
    EXPECT_EQ(f->getChannelValue(2), 0.0);
    // Clearing the missing flag alone changes nothing else.
    f->setMissing(0);
    EXPECT_EQ(f->isMissing(), 0);
    EXPECT_EQ(f->getValueIndex(), -1);
    // Not present: missing cleared, index unset.
    f->setRealValue(3.0);
    f->setMissing(1);
    f->setPresent(0);
    EXPECT_EQ(f->isPresent(), 0);
    EXPECT_EQ(f->isMissing(), 0);
    EXPECT_EQ(f->getValueIndex(), -2);
    f->setRealValue(1.0);
    f->setPresent(1);
    EXPECT_EQ(f->getRealValue(), 1.0);
    // Through the base class the same.
    KVORAField *base = f.get();
    base->setRealValue(-4.0);
    EXPECT_EQ(f->getRealValue(), -4.0);
    EXPECT_EQ(f->getValueIndex(), 0);
    f.reset(env);
}

TEST(FieldDeathTest, EachKindRefusesTheOther) {
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORANumField f;
            f.setTextValue(KV2AscString("a"));
            (void)env;
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

TEST(FieldTest, CategoricalTextKeepsItsCapacity) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORACatField> f;
    f.create(env);
    f->setTextValue(KV2AscString("longer text"));
    EXPECT_EQ(f->getValueIndex(), KVORAField::DefaultValueIndex);
    EXPECT_EQ(f->getRealValue(), 0.0);
    const char *storage = f->ivTextValue.base;
    f->setTextValue("ab", 2);
    EXPECT_STREQ(f->getTextValue().c_str(), "ab");
    EXPECT_EQ(f->ivTextValue.base, storage);
    f->setMissing(1);
    EXPECT_EQ(f->ivTextValue.size(), 0u);
    EXPECT_EQ(f->getValueIndex(), -1);
    EXPECT_EQ(f->getCatIndex(KV2AscString("ab")), -1);
    f->setPresent(0);
    EXPECT_EQ(f->getValueIndex(), -2);
    f->setTextValue("x", 1);
    EXPECT_EQ(f->getCatIndex(KV2AscString("y")), KVORAField::DefaultValueIndex);
    EXPECT_EQ(f->getCategoryAt(KVORAField::DefaultValueIndex).size(), 0u);
    f.reset(env);
}

TEST(FieldTest, ProducerFeedsTheSetters) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORANumField> f;
    f.create(env);
    EXPECT_EQ(f->hasProducer(), 0);
    EXPECT_EQ(f->refreshFromProducer(), 1);
    EXPECT_EQ(f->isPresent(), 0);
    Producer p;
    f->ivValueProducer = &p;
    EXPECT_EQ(f->hasProducer(), 1);
    p.value = 6.25;
    f->refreshFromProducer();
    EXPECT_EQ(f->getRealValue(), 6.25);
    EXPECT_EQ(f->isPresent(), 1);
    p.missing = 1;
    f->refreshFromProducer();
    EXPECT_EQ(f->isMissing(), 1);
    p.present = 0;
    f->refreshFromProducer();
    EXPECT_EQ(f->isPresent(), 0);
    EXPECT_EQ(f->isMissing(), 0);
    f->ivValueProducer = nullptr;
    f.reset(env);
}

TEST(FieldTest, StreamedMembersRoundTripAndReadInPlace) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORACatField> f;
    f.create(env);
    f->setName(KV2AscString("colour"));
    f->setPurpose(KVORAField::PurposeTarget);
    f->ivAlias = "hue";
    f->ivComputed = 1;
    f->ivActualChannelCount = 3;
    f->setSampleFlag(1);
    f->setTextValue("red", 3);  // run-time state: not streamed
    const std::string bytes = streamed(f, env);

    KVORAOwnPtr<KVORAField> back;
    readInto(bytes, back, env);
    ASSERT_NE(back.get(), nullptr);
    ASSERT_TRUE(back->isKindOf(KVORACatField::classType()));
    EXPECT_STREQ(back->getName().c_str(), "colour");
    EXPECT_EQ(back->getPurpose(), 1);
    EXPECT_STREQ(back->ivAlias.c_str(), "hue");
    EXPECT_EQ(back->getType(), KVORAField::CategoricalType);
    EXPECT_EQ(back->isComputed(), 1);
    EXPECT_EQ(back->ivActualChannelCount, 3);
    EXPECT_EQ(back->getSampleFlag(), 1);
    EXPECT_EQ(back->isPresent(), 0);
    EXPECT_EQ(static_cast<KVORACatField *>(back.get())->ivCatFieldDistPtr.get(), nullptr);
    // The copy carries the source's serial number as its merge number.
    EXPECT_EQ(back->ivMergeWithSerialNumber, f->ivSerialNumber);

    // Read again into the same object: kept, members refreshed.
    KVORAField *same = back.get();
    back->ivAlias = "changed";
    readInto(bytes, back, env);
    EXPECT_EQ(back.get(), same);
    EXPECT_STREQ(back->ivAlias.c_str(), "hue");
    back.reset(env);
    f.reset(env);
}

TEST(FieldDeathTest, StreamRefusesAnotherFieldOrKind) {
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORAOwnPtr<KVORANumField> a;
            a.create(env);
            a->setName(KV2AscString("a"));
            const std::string bytes = streamed(a, env);
            KVORAOwnPtr<KVORANumField> b;
            b.create(env);
            b->setName(KV2AscString("b"));
            readInto(bytes, b, env);
        },
        "\\*\\*\\* ERROR b != a\n.*ASSERTION FAILED \\(ivName.size\\(\\) <= 0 \\|\\| ivName == tempName\\)\n"
        "    PROBABLE CAUSE: Attempt to overwrite an existing field object with a different field");
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORAOwnPtr<KVORANumField> a;
            a.create(env);
            a->ivFieldType = KVORAField::CategoricalType;
            const std::string bytes = streamed(a, env);
            KVORAOwnPtr<KVORANumField> b;
            readInto(bytes, b, env);
        },
        "ASSERTION FAILED \\(savedfieldval.ivFieldType == getType\\(\\)\\)");
}

TEST(FieldTest, CategoryRoundTrip) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORACatFieldCat> c;
    c.create(env);
    c->ivValue = "7";
    c->ivCount = 12.0;
    c->ivCurrCount = 3.0;
    c->ivPriority = 4000000000u;
    KVORAOwnPtr<KVORACatFieldCat> back;
    readInto(streamed(c, env), back, env);
    ASSERT_NE(back.get(), nullptr);
    EXPECT_STREQ(back->ivValue.c_str(), "7");
    EXPECT_EQ(back->ivCount, 12.0);
    EXPECT_EQ(back->ivCurrCount, 3.0);
    EXPECT_EQ(back->ivPriority, 4000000000u);
    EXPECT_TRUE(c->comesBefore(KVORACatFieldCat()));
    back.reset(env);
    c.reset(env);
}
