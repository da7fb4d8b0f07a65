// The simple-algorithm model driving a test data object (registered here
// only, under identifier 901) through its states: the field orders found at
// open, the rows handed over as ivDataVec, ivTargetVec and a 64-bit line
// number, forwarding, the model's trip through a stream to a worker and its
// result's way back, the failures of the wrong states, and a per-record path
// that allocates nothing.
// The counting operator new below is the program's own, backed by malloc;
// the compiler cannot see that the matching delete frees with free.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_tag.h"
#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_datascan.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_numfield.h"
#include "simple_algorithm/kvora_simple_algorithm.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_binobjreader.h"
#include "util/kvora_binobjwriter.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

// ---- allocation counter for the per-record test ----
// It replaces the global operator new of this test program: every allocation,
// whether through new or through the growing arrays, passes here.

namespace {
bool gCountNew = false;
int64_t gNewCount = 0;
}  // namespace

void *operator new(std::size_t n)
{
    if (gCountNew) ++gNewCount;
    void *p = std::malloc(n != 0 ? n : 1);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new(std::size_t n, const std::nothrow_t &) noexcept
{
    if (gCountNew) ++gNewCount;
    return std::malloc(n != 0 ? n : 1);
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { std::free(p); }

// ---- the test data object ----

class KVORASATestData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORASATestData)
public:
    // Streamed: what a worker must know, and what its result carries.
    int32_t ivPassesWanted = 2;  // endDataScan answers 1 at this pass
    int32_t ivPasses = 0;
    int64_t ivRows = 0;
    double ivLineSum = 0.0;
    int32_t ivScanType = 0;

    // Not streamed: what this process saw.
    const KVORAXMLTag *ivOpenedWith = nullptr;
    int32_t ivBeganWith = -99;
    int32_t ivInits = 0;
    int32_t ivFinishes = 0;
    int32_t ivWithoutScan = 0;
    int32_t ivMerges = 0;
    bool ivRecordRows = true;
    std::vector<std::vector<double>> ivDataSeen;
    std::vector<std::vector<double>> ivTargetSeen;
    std::vector<uint64_t> ivLinesSeen;
    const double *ivLastDataBlock = nullptr;

    void open(const KVORAXMLTag &parameters, KVORA_ENV env) { ivOpenedWith = &parameters; }

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;

    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override {
        ivBeganWith = numExplanatoryFields;
        return 1;
    }
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t lineNumber,
                KVORA_ENV env) override {
        ++ivRows;
        ivLineSum += static_cast<double>(lineNumber);
        ivLastDataBlock = dataVec.getBlock();
        if (!ivRecordRows) return;
        ivDataSeen.emplace_back(dataVec.getBlock(), dataVec.getBlock() + dataVec.getSize());
        ivTargetSeen.emplace_back(targetVec.getBlock(), targetVec.getBlock() + targetVec.getSize());
        ivLinesSeen.push_back(lineNumber);
    }
    int32_t endDataScan(KVORA_ENV env) override { return ++ivPasses >= ivPassesWanted ? 1 : 0; }
    void updateWithoutDataScan(KVORA_ENV env) override { ++ivWithoutScan; }
    void initIteration(KVORA_ENV env) override { ++ivInits; }
    void finishIteration(KVORA_ENV env) override { ++ivFinishes; }
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override {
        const KVORASATestData *o = static_cast<const KVORASATestData *>(other);
        ivRows += o->ivRows;
        ivLineSum += o->ivLineSum;
        ++ivMerges;
    }
    int32_t getScanType() const override { return ivScanType; }
    double getSamplingRate() const override { return 0.25; }
    int32_t canUpdateWithoutDataScan() const override { return 1; }
};

KVORA_OBJECT_IMPL(KVORASATestData, KVORASimpleAlgorithmAbstractData, 5)
KVORA_MEMBER_KEYWORD(KVORASATestData, ivPassesWanted, 1)
KVORA_MEMBER_KEYWORD(KVORASATestData, ivPasses, 2)
KVORA_MEMBER_KEYWORD(KVORASATestData, ivRows, 3)
KVORA_MEMBER_KEYWORD(KVORASATestData, ivLineSum, 4)
KVORA_MEMBER_KEYWORD(KVORASATestData, ivScanType, 5)
KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORASATestData, 901)

void KVORASATestData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    const KVORASATestData *o = static_cast<const KVORASATestData *>(source);
    ivPassesWanted = o->ivPassesWanted;
    ivPasses = o->ivPasses;
    ivRows = o->ivRows;
    ivLineSum = o->ivLineSum;
    ivScanType = o->ivScanType;
}

void KVORASATestData::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivPassesWanted), ivPassesWanted, env);
    kvoraRead(r, KVORA_KWD(ivPasses), ivPasses, env);
    kvoraRead(r, KVORA_KWD(ivRows), ivRows, env);
    kvoraRead(r, KVORA_KWD(ivLineSum), ivLineSum, env);
    kvoraRead(r, KVORA_KWD(ivScanType), ivScanType, env);
}

void KVORASATestData::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORASimpleAlgorithmAbstractData::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivPassesWanted), ivPassesWanted, env);
    kvoraWrite(w, KVORA_KWD(ivPasses), ivPasses, env);
    kvoraWrite(w, KVORA_KWD(ivRows), ivRows, env);
    kvoraWrite(w, KVORA_KWD(ivLineSum), ivLineSum, env);
    kvoraWrite(w, KVORA_KWD(ivScanType), ivScanType, env);
}

namespace {

const int32_t kTestModelId = 901;

template <class F>
KVORAField *addField(KVORADataPoint &dataPoint, const char *name, int32_t purpose, KVORA_ENV env)
{
    F *field = new F();
    kvoraMemAccount(field->getObjectSize(), env);
    field->setName(KV2AscString(name));
    field->setPurpose(purpose);
    EXPECT_EQ(dataPoint.addField(field, env), 1);
    return field;
}

// Runs f; answers the failure output (standard error and output) if it ended
// in the assertion throw, else "(no failure)".
std::string failureOf(const std::function<void(KVORA_ENV)> &f)
{
    KVORAEnv *env = nullptr;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    bool failed = false;
    try {
        f(env);
    } catch (int) {
        failed = true;
    }
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    return failed ? out + err : std::string("(no failure)");
}

bool contains(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

// A record of five columns in the data point's order: line, a, t, c, b. The
// model is given them in another order (b, line, a, t, c), so that its
// explanatory list is b, line, a, c and the places of a, c, b in data point
// order are 3, 4, 1 and the line number's is 2.
struct SAFixture : public ::testing::Test {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    KVORAOwnPtr<KVORAFieldNameMap> map;
    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    KVORAXMLTag parameters;
    KVORAField *line = nullptr, *a = nullptr, *t = nullptr, *c = nullptr, *b = nullptr;

    void SetUp() override {
        dp.reset(new KVORADataPoint(), env);
        map.reset(new KVORAFieldNameMap(), env);
        line = addField<KVORANumField>(*dp, "line", 7, env);
        a = addField<KVORANumField>(*dp, "a", 2, env);
        t = addField<KVORANumField>(*dp, "t", 1, env);
        c = addField<KVORACatField>(*dp, "c", 2, env);
        b = addField<KVORANumField>(*dp, "b", 2, env);
        map->fillFromDataPoint(*dp, env);
        model.reset(new KVORASimpleAlgorithmModel(), env);
        model->setDataPoint(dp.get());
        for (KVORAField *f : {b, line, a, t, c}) model->addInputField(f, f->getPurpose(), map.get(), env);
    }
    void TearDown() override {
        model.reset(env);
        map.reset(env);
        dp.reset(env);
    }
    KVORASATestData &data() { return *static_cast<KVORASATestData *>(model->getData()); }
    void openAndBegin() {
        ASSERT_EQ(model->setMiningMode(1, env), 1);
        model->open(kTestModelId, *dp, parameters, env);
        ASSERT_EQ(model->beginDataScan(env), 1);
    }
    void setRow(double lineValue, double av, double tv, const char *cv, double bv) {
        dp->beginRecord();
        line->setRealValue(lineValue);
        a->setRealValue(av);
        t->setRealValue(tv);
        c->setTextValue(cv, static_cast<int32_t>(std::char_traits<char>::length(cv)));
        b->setRealValue(bv);
    }
};

}  // namespace

// ---- opening and the rows ----

TEST_F(SAFixture, OpenFindsTheFieldOrdersAndMakesTheDataObject)
{
    ASSERT_EQ(model->setMiningMode(1, env), 1);
    EXPECT_EQ(model->getModelState(), 1);
    EXPECT_EQ(model->ivState, 0);
    model->open(kTestModelId, *dp, parameters, env);
    EXPECT_EQ(model->ivState, 1);
    EXPECT_EQ(model->ivLineNumberFieldOrder, 2);
    ASSERT_EQ(model->ivExplanatoryFieldOrder.getSize(), 3);
    EXPECT_EQ(model->ivExplanatoryFieldOrder[1], 3);
    EXPECT_EQ(model->ivExplanatoryFieldOrder[2], 4);
    EXPECT_EQ(model->ivExplanatoryFieldOrder[3], 1);
    ASSERT_EQ(model->ivTargetFieldOrder.getSize(), 1);
    EXPECT_EQ(model->ivTargetFieldOrder[1], 1);
    EXPECT_EQ(model->ivDataVec.getSize(), 3);
    EXPECT_EQ(model->ivTargetVec.getSize(), 1);
    ASSERT_NE(model->getData(), nullptr);
    EXPECT_TRUE(model->getData()->getObjectType() == KVORASATestData::classType());
    EXPECT_EQ(data().ivOpenedWith, &parameters);
    EXPECT_EQ(model->ivIterationCount, 0);
    EXPECT_EQ(model->getUpdateFunction(), nullptr);  // below 101
    EXPECT_EQ(model->hasScanResults(), 0);

    ASSERT_EQ(model->beginDataScan(env), 1);
    EXPECT_EQ(model->getModelState(), 101);
    EXPECT_EQ(model->ivState, 2);
    EXPECT_EQ(data().ivBeganWith, 3);  // four explanatory fields less the line number
    EXPECT_NE(model->ivUpdateFunc, nullptr);
    EXPECT_EQ(model->hasScanResults(), 1);
}

TEST_F(SAFixture, RowsArriveInDataPointOrderWithTheLineNumberAs64Bits)
{
    openAndBegin();
    setRow(17.9, 1.5, 4.25, "x", -2.0);
    model->ivUpdateFunc(model.get(), 3, env);
    setRow(9007199254740993.0, 0.5, -1.0, "y", 8.0);  // 2^53 + 1 rounds to 2^53 as a double
    model->ivUpdateFunc(model.get(), 4, env);

    ASSERT_EQ(data().ivRows, 2);
    EXPECT_EQ(data().ivDataSeen[0], (std::vector<double>{1.5, 0.0, -2.0}));  // a, c (not numeric), b
    EXPECT_EQ(data().ivTargetSeen[0], (std::vector<double>{4.25}));
    EXPECT_EQ(data().ivLinesSeen[0], 17u);  // truncated
    EXPECT_EQ(data().ivDataSeen[1], (std::vector<double>{0.5, 0.0, 8.0}));
    EXPECT_EQ(data().ivLinesSeen[1], 9007199254740992u);  // beyond 32 bits
    EXPECT_EQ(data().ivLastDataBlock, model->ivDataVec.getBlock());  // the member itself
}

TEST_F(SAFixture, PartitionsOneAndTwoFillTheVectorsButTrainNothing)
{
    openAndBegin();
    setRow(5.0, 1.0, 2.0, "x", 3.0);
    model->ivUpdateFunc(model.get(), 1, env);
    setRow(6.0, 7.0, 8.0, "x", 9.0);
    model->ivUpdateFunc(model.get(), 2, env);
    EXPECT_EQ(data().ivRows, 0);
    EXPECT_EQ(model->ivDataVec[1], 7.0);
    EXPECT_EQ(model->ivDataVec[3], 9.0);
    EXPECT_EQ(model->ivTargetVec[1], 8.0);
}

TEST_F(SAFixture, AFieldWithOneValuePerPartitionGivesThePartitionsValue)
{
    openAndBegin();
    setRow(1.0, 1.5, 0.0, "x", 0.0);
    a->ivActualChannelCount = 4;
    a->setChannelValue(3, 30.0, env);
    a->setChannelValue(4, 40.0, env);
    model->ivUpdateFunc(model.get(), 4, env);
    model->ivUpdateFunc(model.get(), 3, env);
    ASSERT_EQ(data().ivRows, 2);
    EXPECT_EQ(data().ivDataSeen[0][0], 40.0);
    EXPECT_EQ(data().ivDataSeen[1][0], 30.0);
    a->ivActualChannelCount = 0;
    a->ivChannelValues.reset(env);
}

TEST(SimpleAlgorithmModel, WithoutTargetsTheTargetVectorIsEmpty)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.reset(new KVORADataPoint(), env);
    KVORAField *line = addField<KVORANumField>(*dp, "line", 7, env);
    KVORAField *x = addField<KVORANumField>(*dp, "x", 2, env);
    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    model.reset(new KVORASimpleAlgorithmModel(), env);
    model->addInputField(line, 7, nullptr, env);
    model->addInputField(x, 2, nullptr, env);
    model->setMiningMode(1, env);
    KVORAXMLTag tag;
    model->open(kTestModelId, *dp, tag, env);
    model->beginDataScan(env);
    dp->beginRecord();
    line->setRealValue(3.0);
    x->setRealValue(0.25);
    model->ivUpdateFunc(model.get(), 3, env);
    KVORASATestData *data = static_cast<KVORASATestData *>(model->getData());
    ASSERT_EQ(data->ivRows, 1);
    EXPECT_TRUE(data->ivTargetSeen[0].empty());
    EXPECT_EQ(data->ivDataSeen[0], (std::vector<double>{0.25}));
    EXPECT_EQ(data->ivLinesSeen[0], 3u);
    model.reset(env);
    dp.reset(env);
}

// ---- passes and forwarding ----

TEST_F(SAFixture, PassesEndWhenTheDataObjectSaysSo)
{
    openAndBegin();
    data().ivPassesWanted = 2;
    // A flagged end does nothing.
    EXPECT_EQ(model->endDataScan(1, env), 0);
    EXPECT_EQ(data().ivPasses, 0);
    EXPECT_EQ(model->ivIterationCount, 0);

    EXPECT_EQ(model->endDataScan(0, env), 0);
    EXPECT_EQ(model->getModelState(), 101);
    EXPECT_EQ(model->ivIterationCount, 1);
    EXPECT_EQ(model->ivState, 3);

    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(model->getModelState(), -1);
    EXPECT_EQ(model->ivIterationCount, 2);
    EXPECT_EQ(model->ivUpdateFunc, nullptr);
    EXPECT_EQ(model->hasScanResults(), 0);
    // Finished: a further end is answered without the data object.
    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(data().ivPasses, 2);
}

// ---- streams: to a worker and back ----

TEST_F(SAFixture, WorkerGetsTheModelAndItsResultMergesIntoTheMasterData)
{
    openAndBegin();
    data().ivRows = 5;  // the master's own share so far

    // The worker's record: same names, its own objects.
    KVORAOwnPtr<KVORADataPoint> wdp;
    KVORAOwnPtr<KVORAFieldNameMap> wmap;
    KVORAOwnPtr<KVORASimpleAlgorithmModel> worker;
    wdp.reset(new KVORADataPoint(), env);
    wmap.reset(new KVORAFieldNameMap(), env);
    KVORAField *wline = addField<KVORANumField>(*wdp, "line", 7, env);
    KVORAField *wa = addField<KVORANumField>(*wdp, "a", 2, env);
    KVORAField *wt = addField<KVORANumField>(*wdp, "t", 1, env);
    KVORAField *wc = addField<KVORACatField>(*wdp, "c", 2, env);
    KVORAField *wb = addField<KVORANumField>(*wdp, "b", 2, env);
    wmap->fillFromDataPoint(*wdp, env);

    std::stringstream down;
    {
        KVOStreamBlobWriter blob(&down);
        KVORABinObjWriter writer(&blob, 0);
        kvoraWrite(writer, *model, env);
    }
    worker.reset(new KVORASimpleAlgorithmModel(), env);
    {
        KVOStreamBlobReader blob(&down);
        KVORABinObjReader reader(&blob);
        reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, wmap.get(), env);
        kvoraRead(reader, *worker, env);
    }
    EXPECT_EQ(worker->getModelState(), 101);
    EXPECT_EQ(worker->ivState, 2);
    EXPECT_EQ(worker->ivMergeWithSerialNumber, model->ivSerialNumber);
    EXPECT_EQ(worker->ivDataVec.getSize(), 3);  // sized after reading
    EXPECT_EQ(worker->ivTargetVec.getSize(), 1);
    ASSERT_NE(worker->getData(), nullptr);
    KVORASATestData &wdata = *static_cast<KVORASATestData *>(worker->getData());
    EXPECT_EQ(wdata.ivRows, 5);
    EXPECT_EQ(wdata.ivPassesWanted, 2);
    ASSERT_NE(worker->ivUpdateFunc, nullptr);

    // The worker scans one row of its own fields.
    wdata.ivRows = 0;
    wdp->beginRecord();
    wline->setRealValue(41.0);
    wa->setRealValue(2.0);
    wt->setRealValue(3.0);
    wc->setTextValue("z", 1);
    wb->setRealValue(4.0);
    worker->ivUpdateFunc(worker.get(), 3, env);
    EXPECT_EQ(wdata.ivDataSeen[0], (std::vector<double>{2.0, 0.0, 4.0}));
    EXPECT_EQ(wdata.ivTargetSeen[0], (std::vector<double>{3.0}));

    // Its result goes back in mode 2 and lands in the master's model.
    std::stringstream up;
    {
        KVOStreamBlobWriter blob(&up);
        KVORABinObjWriter writer(&blob, 2);
        worker->writeScanResult(writer, KVORA_KWD(ScanResult), env);
    }
    {
        KVOStreamBlobReader blob(&up);
        KVORABinObjReader reader(&blob);
        reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, map.get(), env);
        mergeScanResultsIntoObjects(reader, KVORA_KWD(ScanResult), env);
    }
    EXPECT_EQ(data().ivRows, 6);
    EXPECT_EQ(data().ivLineSum, 41.0);
    EXPECT_EQ(data().ivMerges, 1);

    worker.reset(env);
    wmap.reset(env);
    wdp.reset(env);
}

TEST_F(SAFixture, CopyMakesItsOwnDataObject)
{
    openAndBegin();
    data().ivRows = 12;
    KVORAOwnPtr<KVORASimpleAlgorithmModel> copy;
    copy.reset(new KVORASimpleAlgorithmModel(), env);
    copy->copyFromPrimitive(model.get(), env);
    ASSERT_NE(copy->getData(), nullptr);
    EXPECT_NE(copy->getData(), model->getData());
    EXPECT_EQ(static_cast<KVORASATestData *>(copy->getData())->ivRows, 12);
    EXPECT_EQ(copy->ivLineNumberFieldOrder, 2);
    EXPECT_EQ(copy->ivDataVec.getSize(), 3);
    EXPECT_EQ(copy->getModelState(), 101);
    // The copy reads a row from the same fields into its own data object.
    setRow(7.0, 1.5, 4.25, "x", -2.0);
    copy->ivUpdateFunc(copy.get(), 3, env);
    const KVORASATestData &copied = *static_cast<KVORASATestData *>(copy->getData());
    ASSERT_EQ(copied.ivDataSeen.size(), 1u);
    EXPECT_EQ(copied.ivDataSeen[0], (std::vector<double>{1.5, 0.0, -2.0}));
    EXPECT_EQ(copied.ivTargetSeen[0], (std::vector<double>{4.25}));
    EXPECT_EQ(copied.ivLinesSeen[0], 7u);
    EXPECT_EQ(data().ivRows, 12);

    copy->releasePrimitive(env);
    EXPECT_EQ(copy->getData(), nullptr);
    EXPECT_EQ(copy->ivLineNumberFieldOrder, -1);
    EXPECT_EQ(copy->ivExplanatoryFieldOrder.getSize(), 0);
    EXPECT_EQ(copy->ivState, 0);
    copy.reset(env);
}

// ---- failures ----

TEST_F(SAFixture, WrongStatesAndIdentifiersFail)
{
    // Before any mining mode: state 0.
    model->open(kTestModelId, *dp, parameters, env);
    std::string err = failureOf([&](KVORA_ENV e) { model->beginDataScan(e); });
    EXPECT_TRUE(contains(err, "Invalid Model State")) << err;

    err = failureOf([&](KVORA_ENV e) { model->setMiningMode(2, e); });
    EXPECT_TRUE(contains(err, "Function/Feature not yet implemented")) << err;
    err = failureOf([&](KVORA_ENV e) { model->setMiningMode(11, e); });
    EXPECT_TRUE(contains(err, "Invalid Model State")) << err;
    EXPECT_EQ(model->getModelState(), 0);

    model->ivModelState = 10;
    err = failureOf([&](KVORA_ENV e) { model->beginDataScan(e); });
    EXPECT_TRUE(contains(err, "Function/Feature not yet implemented")) << err;

    model->ivModelState = 102;
    err = failureOf([&](KVORA_ENV) { model->getUpdateFunction(); });
    EXPECT_TRUE(contains(err, "Function/Feature not yet implemented")) << err;
    err = failureOf([&](KVORA_ENV e) { model->endDataScan(0, e); });
    EXPECT_TRUE(contains(err, "Invalid Model State")) << err;
    model->ivModelState = 111;
    err = failureOf([&](KVORA_ENV) { model->getUpdateFunction(); });
    EXPECT_TRUE(contains(err, "Invalid model state")) << err;
    model->ivModelState = 1;

    err = failureOf([&](KVORA_ENV e) { model->score(e); });
    EXPECT_TRUE(contains(err, "Function/Feature not yet implemented")) << err;
    err = failureOf([&](KVORA_ENV e) { model->getAltUpdateFunction()(model.get(), 3, e); });
    EXPECT_TRUE(contains(err, "Program control should never reach this point")) << err;

    err = failureOf([&](KVORA_ENV e) { model->open(4242, *dp, parameters, e); });
    EXPECT_TRUE(contains(err, "KVORASimpleAlgorithmModel::open: Internal error - wrong  modelId")) << err;
    EXPECT_TRUE(contains(err, "2100")) << err;
}

TEST(SimpleAlgorithmModel, FieldsWithoutARoleOrWithoutALineNumberFail)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.reset(new KVORADataPoint(), env);
    KVORAField *line = addField<KVORANumField>(*dp, "line", 7, env);
    KVORAField *x = addField<KVORANumField>(*dp, "x", 2, env);
    addField<KVORANumField>(*dp, "stray", 2, env);  // never given to the model
    KVORAXMLTag tag;

    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    model.reset(new KVORASimpleAlgorithmModel(), env);
    model->addInputField(line, 7, nullptr, env);
    model->addInputField(x, 2, nullptr, env);
    std::string err = failureOf([&](KVORA_ENV e) { model->open(kTestModelId, *dp, tag, e); });
    EXPECT_TRUE(contains(err, "Program control should never reach this point")) << err;
    model.reset(env);

    KVORAOwnPtr<KVORADataPoint> noLine;
    noLine.reset(new KVORADataPoint(), env);
    KVORAField *y = addField<KVORANumField>(*noLine, "y", 2, env);
    model.reset(new KVORASimpleAlgorithmModel(), env);
    model->addInputField(y, 2, nullptr, env);
    err = failureOf([&](KVORA_ENV e) { model->open(kTestModelId, *noLine, tag, e); });
    EXPECT_TRUE(contains(err, "The model has no line number field")) << err;
    model.reset(env);
    noLine.reset(env);
    dp.reset(env);
}

// ---- the per-record path ----

TEST_F(SAFixture, UpdateAllocatesNothingPerRecord)
{
    openAndBegin();
    data().ivRecordRows = false;
    setRow(1.0, 2.0, 3.0, "x", 4.0);
    const int64_t bytesBefore = kvoraGetEnv(env)->getBytesInUse();
    gNewCount = 0;
    gCountNew = true;
    for (int32_t i = 0; i < 100000; ++i) model->ivUpdateFunc(model.get(), 3 + (i & 1), env);
    gCountNew = false;
    EXPECT_EQ(gNewCount, 0);
    EXPECT_EQ(kvoraGetEnv(env)->getBytesInUse(), bytesBefore);
    EXPECT_EQ(data().ivRows, 100000);
    EXPECT_EQ(data().ivLineSum, 100000.0);
}
