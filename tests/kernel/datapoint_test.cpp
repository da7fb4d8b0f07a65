// The data point: ownership and naming of fields, the record hooks and the
// record hash (worked from the hash primitives), and the whole record
// crossing the object stream.
#include <gtest/gtest.h>

#include <vector>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_numfield.h"
#include "kernel_streams.h"
#include "util/kvora_xash.h"

namespace {

template <class T>
KVORAField *newField(const char *name, KVORAEnv *&env) {
    KVORAOwnPtr<T> f;
    f.create(env);
    f->setName(KV2AscString(name));
    return f.transfer();
}

// Fields n (numeric), c (categorical), line (numeric, computed).
struct Record {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    Record() {
        dp.create(env);
        dp->addField(newField<KVORANumField>("n", env), env);
        dp->addField(newField<KVORACatField>("c", env), env);
        KVORAField *line = newField<KVORANumField>("line", env);
        line->setComputed(1);
        dp->addField(line, env);
    }
    ~Record() { dp.reset(env); }
    KVORANumField *n() { return static_cast<KVORANumField *>(dp->getFieldAt(1)); }
    KVORACatField *c() { return static_cast<KVORACatField *>(dp->getFieldAt(2)); }
    KVORANumField *line() { return static_cast<KVORANumField *>(dp->getFieldAt(3)); }
};

// A numeric field of a class of its own: it notes the record hooks it gets.
class NotingField : public KVORANumField {
public:
    int32_t begins = 0;
    std::vector<uint32_t> hashes;
    void onRecordBegin() override { ++begins; }
    void addToDistribution(uint32_t recordHash, KVORA_ENV env) override { hashes.push_back(recordHash); }
};

}  // namespace

TEST(DataPointTest, FieldsByNameAndASecondFieldOfANameIsDestroyed) {
    Record r;
    EXPECT_EQ(r.dp->getField(KV2AscString("line")), r.line());
    EXPECT_EQ(r.dp->getFieldIndex(KVORAHashString("line")), 3);
    EXPECT_EQ(r.dp->getField("none"), nullptr);
    EXPECT_EQ(r.dp->getFieldIndex(KVORAHashString("none")), 0);

    KVORAField *again = newField<KVORACatField>("n", r.env);
    const int64_t size = again->getObjectSize();
    const int64_t before = kvoraGetEnv(r.env)->getBytesInUse();
    EXPECT_EQ(r.dp->addField(again, r.env), 0);
    EXPECT_EQ(kvoraGetEnv(r.env)->getBytesInUse(), before - size);
    EXPECT_EQ(r.dp->getFieldCount(), 3);
    EXPECT_TRUE(r.dp->getField("n")->isKindOf(KVORANumField::classType()));
}

// beginRecord clears every field, or the active ones only; endRecord feeds
// the fields that take the record with the hash of the eligible values set:
// present, not missing, read (not computed) and active when any are listed.
TEST(DataPointTest, RecordHooksAndTheRecordHash) {
    Record r;
    NotingField *noting = new NotingField();
    kvoraMemAccount(noting->getObjectSize(), r.env);
    noting->setName(KV2AscString("noting"));
    r.dp->addField(noting, r.env);
    // n learns a distribution; c and line take nothing.
    r.n()->setSampleFlag(1);
    r.n()->ivNumFieldDistPtr.reset(new KVORANumFieldDist(), r.env);
    r.n()->beginDataScan(r.env);

    r.line()->setRealValue(5.0);
    r.dp->beginRecord();
    EXPECT_EQ(r.line()->isPresent(), 0);
    EXPECT_EQ(noting->begins, 1);
    r.n()->setRealValue(2.5);
    r.c()->setTextValue("x", 1);
    r.line()->setRealValue(77.0);
    const uint32_t both = kvoraHashFinish(kvoraHashText("x", kvoraHashReal(2.5, 0)));
    EXPECT_EQ(r.dp->getHashValue(), both);
    r.n()->setRealValue(3.5);
    EXPECT_EQ(r.dp->getHashValue(), both);  // cached until the next record
    r.dp->endRecord(r.env);
    EXPECT_EQ(noting->hashes, std::vector<uint32_t>{both});
    EXPECT_EQ(r.n()->ivNumFieldDistPtr->ivCurrValidCount, 1.0);

    r.dp->beginRecord();
    r.n()->setRealValue(2.5);
    r.c()->setMissing(1);
    r.dp->endRecord(r.env);
    EXPECT_EQ(noting->hashes.back(), kvoraHashFinish(kvoraHashReal(2.5, 0)));
    r.dp->beginRecord();
    r.n()->setMissing(1);
    r.dp->endRecord(r.env);
    EXPECT_EQ(r.n()->ivNumFieldDistPtr->ivCurrMissingCount, 1.0);
    EXPECT_EQ(noting->hashes.back(), kvoraHashFinish(0));  // nothing eligible

    // With c alone listed (0-based column 1), n, line and noting are left alone.
    r.dp->addActiveField(1, r.env);
    r.n()->setRealValue(4.0);
    r.dp->beginRecord();
    EXPECT_EQ(r.n()->isPresent(), 1);
    r.c()->setTextValue("x", 1);
    EXPECT_EQ(r.dp->getHashValue(), kvoraHashFinish(kvoraHashText("x", 0)));
    r.dp->endRecord(r.env);
    EXPECT_EQ(noting->begins, 3);
    EXPECT_EQ(noting->hashes.size(), 3u);
    EXPECT_EQ(r.n()->ivNumFieldDistPtr->ivCurrValidCount, 3.0);
}

TEST(DataPointTest, RecordCrossesTheStreamAndIsReadInPlace) {
    Record r;
    r.c()->setPurpose(KVORAField::PurposeTarget);
    const std::string bytes = kerneltest::streamed(r.dp);
    KVORAOwnPtr<KVORADataPoint> back;
    for (int pass = 0; pass < 2; ++pass) {
        KVORAField *before = back.get() != nullptr ? back->getFieldAt(2) : nullptr;
        kerneltest::readInto(bytes, back, r.env);
        ASSERT_EQ(back->getFieldCount(), 3);
        EXPECT_TRUE(back->getFieldAt(2)->isKindOf(KVORACatField::classType()));
        EXPECT_EQ(back->getField("c"), back->getFieldAt(2));
        EXPECT_EQ(back->getField("c")->getPurpose(), 1);
        EXPECT_EQ(back->getField("line")->isComputed(), 1);
        if (pass == 1) {
            EXPECT_EQ(back->getFieldAt(2), before);  // the second read keeps the fields
        }
        // The per-record loops follow the fields that were read.
        back->getFieldAt(1)->setRealValue(1.0);
        back->beginRecord();
        EXPECT_EQ(back->getFieldAt(1)->isPresent(), 0);
    }
    back.reset(r.env);
}
