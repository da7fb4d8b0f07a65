// The simple-algorithm model driving a test data object (registered here
// only, under identifier 901): the rows handed over in data point order with a
// 64-bit line number, the passes, the failures of wrong states, and a
// per-record path that allocates nothing. Streams to workers and back are
// covered end to end by the multi-process runs.
// The counting operator new below is the program's own, backed by malloc;
// the compiler cannot see that the matching delete frees with free.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include "qrv_caught.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "control/kvora_XML_tag.h"
#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_datascan.h"
#include "kernel/kvora_numfield.h"
#include "simple_algorithm/kvora_simple_algorithm.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_debug.h"

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
    int32_t ivPassesWanted = 2;  // endDataScan answers 1 at this pass
    int32_t ivPasses = 0;
    int64_t ivRows = 0;
    double ivLineSum = 0.0;
    const KVORAXMLTag *ivOpenedWith = nullptr;
    int32_t ivBeganWith = -99;
    bool ivRecordRows = true;
    std::vector<std::vector<double>> ivDataSeen;
    std::vector<std::vector<double>> ivTargetSeen;
    std::vector<uint64_t> ivLinesSeen;
    const double *ivLastDataBlock = nullptr;

    void open(const KVORAXMLTag &parameters, KVORA_ENV env) { ivOpenedWith = &parameters; }

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
    void updateWithoutDataScan(KVORA_ENV env) override {}
    void initIteration(KVORA_ENV env) override {}
    void finishIteration(KVORA_ENV env) override {}
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override {}
    int32_t getScanType() const override { return 0; }
    double getSamplingRate() const override { return 0.25; }
    int32_t canUpdateWithoutDataScan() const override { return 1; }
};

KVORA_OBJECT_IMPL(KVORASATestData, KVORASimpleAlgorithmAbstractData, 5)
KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORASATestData, 901)

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
    const qrvtest::Caught c = qrvtest::caught([&] { f(env); }, true);
    return c.threw ? c.out + c.err : std::string("(no failure)");
}

bool contains(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

// A record of five columns in the data point's order: line, a, t, c, b. The
// model is given them in another order (b, line, a, t, c), so that its
// explanatory list is b, line, a, c and the places of a, c, b in data point
// order are 3, 4, 1 and the line number's is 2.
struct SAFixture : public ::testing::Test {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    KVORAXMLTag parameters;
    KVORAField *line = nullptr, *a = nullptr, *t = nullptr, *c = nullptr, *b = nullptr;

    void SetUp() override {
        dp.reset(new KVORADataPoint(), env);
        line = addField<KVORANumField>(*dp, "line", 7, env);
        a = addField<KVORANumField>(*dp, "a", 2, env);
        t = addField<KVORANumField>(*dp, "t", 1, env);
        c = addField<KVORACatField>(*dp, "c", 2, env);
        b = addField<KVORANumField>(*dp, "b", 2, env);
        model.reset(new KVORASimpleAlgorithmModel(), env);
        model->setDataPoint(dp.get());
        for (KVORAField *f : {b, line, a, t, c}) model->addInputField(f, f->getPurpose(), nullptr, env);
    }
    void TearDown() override {
        model.reset(env);
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

TEST_F(SAFixture, RowsArriveInDataPointOrderWithTheLineNumberAs64Bits)
{
    openAndBegin();
    EXPECT_EQ(data().ivOpenedWith, &parameters);
    EXPECT_EQ(data().ivBeganWith, 3);  // four explanatory fields less the line number
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

    // Partitions one and two fill the vectors but train nothing.
    setRow(5.0, 1.0, 2.0, "x", 3.0);
    model->ivUpdateFunc(model.get(), 1, env);
    setRow(6.0, 7.0, 8.0, "x", 9.0);
    model->ivUpdateFunc(model.get(), 2, env);
    EXPECT_EQ(data().ivRows, 2);
    EXPECT_EQ(model->ivDataVec[1], 7.0);
    EXPECT_EQ(model->ivDataVec[3], 9.0);
    EXPECT_EQ(model->ivTargetVec[1], 8.0);
}

TEST_F(SAFixture, PassesEndWhenTheDataObjectSaysSo)
{
    openAndBegin();
    EXPECT_EQ(model->endDataScan(1, env), 0);  // a flagged end does nothing
    EXPECT_EQ(data().ivPasses, 0);
    EXPECT_EQ(model->endDataScan(0, env), 0);
    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(model->getModelState(), -1);
    EXPECT_EQ(model->ivIterationCount, 2);
    EXPECT_EQ(model->ivUpdateFunc, nullptr);
    // Finished: a further end is answered without the data object.
    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(data().ivPasses, 2);
}

// ---- failures ----

TEST_F(SAFixture, WrongStatesAndIdentifiersFail)
{
    model->open(kTestModelId, *dp, parameters, env);  // no mining mode yet: state 0
    EXPECT_TRUE(contains(failureOf([&](KVORA_ENV e) { model->beginDataScan(e); }), "Invalid Model State"));
    const std::string err = failureOf([&](KVORA_ENV e) { model->open(4242, *dp, parameters, e); });
    EXPECT_TRUE(contains(err, "KVORASimpleAlgorithmModel::open: Internal error - wrong  modelId")) << err;
    EXPECT_TRUE(contains(err, "2100")) << err;
}

TEST(SimpleAlgorithmModel, AModelWithoutALineNumberFails)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.reset(new KVORADataPoint(), env);
    KVORAField *y = addField<KVORANumField>(*dp, "y", 2, env);
    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    model.reset(new KVORASimpleAlgorithmModel(), env);
    model->addInputField(y, 2, nullptr, env);
    KVORAXMLTag tag;
    const std::string err = failureOf([&](KVORA_ENV e) { model->open(kTestModelId, *dp, tag, e); });
    EXPECT_TRUE(contains(err, "The model has no line number field")) << err;
    model.reset(env);
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
