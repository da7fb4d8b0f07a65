// The model base: input fields by usage and their places, the states
// 0 -> m -> 100+m -> -m where the simple-algorithm tests do not reach them,
// and the best candidate by the model scores.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_model.h"
#include "kernel/kvora_numfield.h"
#include "kernel_streams.h"
#include "util/kvora_debug.h"

using namespace kerneltest;

// A model whose primitives answer what the test sets, and which records what
// the base tells it.
class KVORAModelTestModel : public KVORAModel {
    KVORA_OBJECT_DECL(KVORAModelTestModel)
public:
    int32_t ivModeAnswer = 1, ivBeginAnswer = 1, ivEndAnswer = 0, ivBegins = 0, ivEnds = 0;
    int32_t ivBestModel = -1;             // what setBestModel got
    int32_t ivTargetsWhenTold = -1;       // target count when targetFieldAdded came
    std::vector<int32_t> ivAddedUsages;   // fieldAdded calls
    std::vector<KVORAModelScores> ivScores;

    static void scan(KVORADataScan *, int32_t, KVORA_ENV) {}

    void targetFieldAdded(KVORAFieldNameMap *) override { ivTargetsWhenTold = ivTargetFields.getSize(); }
    void fieldAdded(KVORAField *, int32_t usage, KVORA_ENV) override { ivAddedUsages.push_back(usage); }
    int32_t setMiningModePrimitive(int32_t, const KVORAXaRay<int32_t, 1> *, KVORAModelOutputPair *,
                                   KVORA_ENV) override { return ivModeAnswer; }
    int32_t beginDataScanPrimitive(KVORA_ENV) override { return ++ivBegins, ivBeginAnswer; }
    int32_t endDataScanPrimitive(int32_t, KVORA_ENV) override { return ++ivEnds, ivEndAnswer; }
    void updateWithoutDataScanPrimitive(KVORA_ENV) override {}
    void initIterationPrimitive(KVORA_ENV) override {}
    void finishIterationPrimitive(KVORA_ENV) override {}
    void writeModelXML(KVORAXMLTag &, KVORA_ENV) override {}
    int32_t getNumCandidateModels() const override { return static_cast<int32_t>(ivScores.size()); }
    double getPredictionVariance() const override { return 0.0; }
    void computeScores(KVORAXaRay<KVORAModelScores, 1> &scores, KVORA_ENV env) override {
        for (const KVORAModelScores &s : ivScores) scores.copyAppend(s, env);
    }
    double getDegreesOfFreedom() const override { return 0.0; }
    void resetPrediction(KVORA_ENV) override {}
    int32_t getBestModelIndex() const override { return ivBestModel; }
    void setBestModel(int32_t index, KVORA_ENV) override { ivBestModel = index; }
    void calibratePrediction(KVORA_ENV) override {}
    void finishPrediction(KVORA_ENV) override {}
    void score(KVORA_ENV) override {}
    void reservedModelOperationA() override {}
    void reservedModelOperationB() override {}
    KVORAUpdateFunc getUpdateFunction() const override { return ivModelState > 100 ? &scan : nullptr; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }
};

KVORA_OBJECT_IMPL(KVORAModelTestModel, KVORAModel, 0)

namespace {

KVORAField *addNumField(KVORADataPoint &dataPoint, const char *name, int32_t purpose, KVORA_ENV env)
{
    KVORANumField *field = new KVORANumField();
    kvoraMemAccount(field->getObjectSize(), env);
    field->setName(KV2AscString(name));
    field->setPurpose(purpose);
    EXPECT_EQ(dataPoint.addField(field, env), 1);
    return field;
}

KVORAModelScores scoresOf(double kind1, double kind2, double weight)
{
    KVORAModelScores s;
    s.setValue(1, kind1);
    s.setValue(2, kind2);
    s.ivSampleWeight = weight;
    return s;
}

struct ModelFixture : public ::testing::Test {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAModelTestModel> model;
    void SetUp() override {
        model.reset(new KVORAModelTestModel(), env);
        model->ivScores.push_back(scoresOf(0.0, 0.0, 0.0));
    }
    void TearDown() override { model.reset(env); }
};

}  // namespace


TEST_F(ModelFixture, UsagesGoToTheirListsAndPlacesAreFound)
{
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.reset(new KVORADataPoint(), env);
    KVORAField *t = addNumField(*dp, "t", 1, env);
    KVORAField *x = addNumField(*dp, "x", 2, env);
    KVORAField *y = addNumField(*dp, "y", 3, env);
    KVORAField *line = addNumField(*dp, "line", 7, env);
    KVORAField *w = addNumField(*dp, "w", 2, env);
    KVORAField *v = addNumField(*dp, "v", 2, env);
    KVORAModelTestModel *m = model.get();
    m->addInputField(x, 2, nullptr, env);
    m->addInputField(t, 1, nullptr, env);
    m->addInputField(y, 3, nullptr, env);
    m->addInputField(line, 7, nullptr, env);
    m->addInputField(w, 5, nullptr, env);
    m->addInputField(v, 6, nullptr, env);

    EXPECT_EQ(m->ivTargetsWhenTold, 0);  // told before the target entered
    EXPECT_EQ(m->ivAddedUsages, (std::vector<int32_t>{2, 1, 3, 7, 5, 6}));
    ASSERT_EQ(m->getNumTargetFields(), 1);
    ASSERT_EQ(m->getNumExplanatoryFields(), 3);
    EXPECT_EQ(m->ivExplanatoryFields[2].ivFieldPtr, y);
    EXPECT_EQ(m->ivCaseWeightFieldPtr, w);
    EXPECT_EQ(m->ivInvVarWeightFieldPtr, v);

    // Places count from 1 in their list; each lookup knows its own usage.
    EXPECT_EQ(m->getExplanatoryFieldOrder(x), 1);
    EXPECT_EQ(m->getExplanatoryFieldOrder(y), 0);  // usage 3 is not usage 2
    EXPECT_EQ(m->getLineNumberFieldOrder(line), 3);
    EXPECT_EQ(m->getLineNumberFieldOrder(x), 0);
    EXPECT_EQ(m->getTargetFieldOrder(t), 1);
    EXPECT_EQ(m->getTargetFieldOrder(w), 0);

    for (int32_t bad : {0, 8}) {
        std::string err = failureOf([&](KVORA_ENV e) { m->addInputField(x, bad, nullptr, e); });
        EXPECT_TRUE(contains(err, "Invalid model input field usage type")) << bad << ": " << err;
    }
    EXPECT_EQ(m->getNumExplanatoryFields(), 3);

    m->clearFields(env);
    EXPECT_EQ(m->getNumTargetFields(), 0);
    EXPECT_EQ(m->getNumExplanatoryFields(), 0);
    EXPECT_EQ(m->ivCaseWeightFieldPtr, nullptr);
    EXPECT_EQ(m->ivInvVarWeightFieldPtr, nullptr);
    dp.reset(env);
}


TEST_F(ModelFixture, StatesRunFromModeToScanningToFinishedAndOthersAreInvalid)
{
    model->ivModeAnswer = 0;
    EXPECT_EQ(model->setMiningMode(1, env), 0);  // refused: stays 0
    EXPECT_EQ(model->getModelState(), 0);
    model->ivModeAnswer = 1;
    ASSERT_EQ(model->setMiningMode(1, env), 1);
    // Not scanning yet: an end does nothing and says done.
    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(model->ivEnds, 0);
    EXPECT_EQ(model->beginDataScan(env), 1);
    // Already scanning: answered without asking the primitive.
    EXPECT_EQ(model->beginDataScan(env), 1);
    EXPECT_EQ(model->ivBegins, 1);
    model->ivEndAnswer = 1;
    EXPECT_EQ(model->endDataScan(0, env), 1);
    EXPECT_EQ(model->getModelState(), -1);
    EXPECT_EQ(model->ivBestModel, 1);  // scores evaluated

    // A refused begin finishes the mode at once: 4 with scores, 7 and 10 without.
    model->ivBeginAnswer = 0;
    for (int32_t mode : {4, 7, 10}) {
        model->ivBestModel = -1;
        model->ivModelState = mode;
        EXPECT_EQ(model->beginDataScan(env), 0);
        EXPECT_EQ(model->getModelState(), -mode);
        EXPECT_EQ(model->ivBestModel, mode == 4 ? 1 : -1) << mode;
    }
    for (int32_t state : {0, 11, -1}) {
        model->ivModelState = state;
        std::string err = failureOf([&](KVORA_ENV e) { model->beginDataScan(e); });
        EXPECT_TRUE(contains(err, "Invalid model state")) << state << ": " << err;
    }
    model->ivModelState = 111;
    model->ivEndAnswer = 1;
    std::string err = failureOf([&](KVORA_ENV e) { model->endDataScan(0, e); });
    EXPECT_TRUE(contains(err, "Invalid model state")) << err;
}


TEST_F(ModelFixture, BestCandidateIsTheSmallestScoreWithTiesToTheLowerIndex)
{
    auto finishWith = [&](int32_t mode, std::vector<KVORAModelScores> scores) {
        model->ivScores = scores;
        model->ivBestModel = -1;
        model->ivModelState = 100 + mode;
        model->ivEndAnswer = 1;
        model->endDataScan(0, env);
        return model->ivBestModel;
    };
    // Kind 1: 5, 3, 3, 4 -> the first 3, at index 2.
    EXPECT_EQ(finishWith(1, {scoresOf(5, 0, 0), scoresOf(3, 0, 0), scoresOf(3, 0, 0), scoresOf(4, 0, 0)}), 2);
    // The last entry can win.
    EXPECT_EQ(finishWith(2, {scoresOf(5, 0, 0), scoresOf(3, 0, 0), scoresOf(1, 0, 0)}), 3);
    // A first value that is not above 0 takes the first entry.
    EXPECT_EQ(finishWith(1, {scoresOf(0, 0, 0), scoresOf(-3, 0, 0)}), 1);
    // Mode 8 uses kind 2 unless the second entry weighs less than 1.0; mode 9 kind 1.
    EXPECT_EQ(finishWith(8, {scoresOf(2, 1, 0), scoresOf(1, 5, 1.0)}), 1);
    EXPECT_EQ(finishWith(8, {scoresOf(2, 1, 0), scoresOf(1, 5, 0.5)}), 2);
    EXPECT_EQ(finishWith(9, {scoresOf(2, 1, 0), scoresOf(1, 5, 1.0)}), 2);

    std::string err = failureOf([&](KVORA_ENV) { finishWith(1, {}); });
    EXPECT_TRUE(contains(err, "modelScores.getSize() > 0") &&
                contains(err, "Model scores vector not initialized by derived class")) << err;
}
