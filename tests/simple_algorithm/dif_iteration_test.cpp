// The diffusion passes driven as the loop drives them, in one process: the
// master's object streams to each simulated worker, each scans the rows whose
// caller falls to it, results come back in result mode up a binomial tree.
// Results are checked against values worked out by hand.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "qrv_run.h"
#include "simple_algorithm/kvora_DIF.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

struct Record {
    uint64_t caller;
    double callee;
    double weight;
};

typedef std::vector<std::pair<double, double>> Edges;

void addRow(std::vector<Record> &records, uint64_t caller, const Edges &edges) {
    records.push_back({caller, 0.0, static_cast<double>(edges.size())});
    for (const auto &e : edges) records.push_back({caller, e.first, e.second});
    records.push_back({caller, 0.0, 7788.0});
}

void copyByStream(const KVORADIFData &from, KVORADIFData &to, int32_t mode, KVORA_ENV env) {
    std::stringstream bytes;
    {
        KVOStreamBlobWriter blob(&bytes);
        KVORABinObjWriter writer(&blob, mode);
        kvoraWrite(writer, from, env);
    }
    KVOStreamBlobReader blob(&bytes);
    KVORABinObjReader reader(&blob);
    kvoraRead(reader, to, env);
}

struct DiffusionRun {
    std::string csv;
    std::string out;  // what the master's object printed
    int32_t passes = 0;
    int32_t iterations = 0;
    double diffVal = 0.0;
};

struct DiffusionSetup {
    std::vector<uint64_t> seeds;
    double coefficient = 0.5;
    double epsilon = 0.01;
    int32_t maxIterations = 100;
    int32_t verbosity = 1;
};

// The whole run on `k` simulated processes; process p scans the rows whose
// caller modulo k is p.
DiffusionRun runDiffusion(const std::vector<Record> &records, const DiffusionSetup &setup, int k) {
    KVORAEnv *env = nullptr;
    const std::string dir = qrvtest::makeTempDir("difiter");
    const std::string outName = dir + "/result.csv";
    std::vector<KVORADIFData *> objects;
    for (int p = 0; p < k; ++p) objects.push_back(new KVORADIFData());
    KVORADIFData &master = *objects[0];
    master.ivSpreadCoefficient = setup.coefficient;
    master.ivEpsilon = setup.epsilon;
    master.ivMaxNumIterations = setup.maxIterations;
    master.ivVerbosityLvl = setup.verbosity;
    master.ivOutputFileName = outName.c_str();
    for (uint64_t s : setup.seeds) {
        master.ivModel1TotalEnergiesOld.copyAppend(1.0, env);
        master.ivModel1TotalEnergiesSamplesOld.copyAppend(s, env);
    }
    master.ivModel1FreshEnergies.copyFrom(master.ivModel1TotalEnergiesOld, env);
    master.ivModel1FreshEnergiesSamples.copyFrom(master.ivModel1TotalEnergiesSamplesOld, env);

    KVORAXaRay<double, 1> dataVec, targetVec;
    dataVec.setSize(2, env);
    DiffusionRun run;
    testing::internal::CaptureStdout();
    int32_t done = 0;
    while (done == 0 && run.passes < 1000) {
        for (int p = 1; p < k; ++p) copyByStream(master, *objects[p], 0, env);
        for (int p = 0; p < k; ++p) {
            KVORADIFData &object = *objects[p];
            object.initIteration(env);
            for (const Record &r : records) {
                if (r.caller % static_cast<uint64_t>(k) != static_cast<uint64_t>(p)) continue;
                dataVec[1] = r.callee;
                dataVec[2] = r.weight;
                object.update(dataVec, targetVec, r.caller, env);
            }
            object.finishIteration(env);
        }
        // Results of the workers fold pairwise up a binomial tree, the
        // last into the master's own object.
        for (int step = 1; step < k; step *= 2) {
            for (int p = 0; p + step < k; p += 2 * step) {
                KVORADIFData result;
                copyByStream(*objects[p + step], result, 2, env);
                if (p == 0) {
                    master.merge(&result, env);
                } else {
                    KVORADIFData mine;
                    copyByStream(*objects[p], mine, 2, env);
                    mine.merge(&result, env);
                    copyByStream(mine, *objects[p], 2, env);
                    mine.releasePrimitive(env);
                }
                result.releasePrimitive(env);
            }
        }
        done = master.endDataScan(env);
        ++run.passes;
    }
    run.out = testing::internal::GetCapturedStdout();
    run.csv = qrvtest::readFile(outName);
    run.iterations = master.ivModel1NumIterations;
    run.diffVal = master.ivDiffVal;
    for (KVORADIFData *object : objects) {
        object->releasePrimitive(env);
        delete object;
    }
    dataVec.reset(env);
    std::remove(outName.c_str());
    return run;
}

const std::string kHeader = "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";

std::string progress(int n, const char *method, const char *message) {
    return "Log;|1;|\n[Worker:0, ProgressReport:" + std::to_string(n) + "]\nMethod name:" + method + ": " + message +
           "\n\n;|LogEnd\n";
}

TEST(DIFIteration, TheWorkedExampleSpreadsHalfTheSeedToItsCallee) {
    std::vector<Record> records;
    addRow(records, 1, {{2, 5.0}});
    DiffusionSetup setup;
    setup.seeds = {1};
    setup.maxIterations = 1;
    for (int k = 1; k <= 2; ++k) {
        SCOPED_TRACE(k);
        const DiffusionRun run = runDiffusion(records, setup, k);
        EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n");
        EXPECT_EQ(run.passes, 3);
        EXPECT_EQ(run.iterations, 1);
        EXPECT_EQ(run.diffVal, 0.5);
        if (k == 1) {
            EXPECT_EQ(run.out,
                      progress(1, "finishIteration", "Finished an iteration of computing normalizer") +
                          progress(2, "endDataScan", "Finished computing normalizer") +
                          progress(3, "finishIteration", "Finished an iteration of computing weighted in/out degree") +
                          progress(4, "endDataScan", "Finished computing weighted in/out degree") +
                          progress(5, "finishIteration", "Finished an iteration of diffusion model 1") +
                          "Log;|1;|Diffusion Model 1, Iteration 1 diffVal = 0.5\n;|LogEnd\n" +
                          progress(6, "endDataScan", "Finished diffusion iteration model 1") +
                          "Log;|0;|DIF Terminated Successfully;|LogEnd\n");
        }
    }
}

TEST(DIFIteration, SeedsKeepTheirEnergyWhenTheyHaveNoCalleeOrNoRecord) {
    std::vector<Record> records;
    addRow(records, 1, {{3, 2.0}});
    DiffusionSetup setup;
    setup.seeds = {3, 99};
    const DiffusionRun run = runDiffusion(records, setup, 1);
    // Nothing moves: the first iteration changes nothing and ends the run.
    EXPECT_EQ(run.csv, kHeader + "1,0,0,1,0,2\n3,1,1,0,2,0\n99,1,0,0,0,0\n");
    EXPECT_EQ(run.iterations, 1);
    EXPECT_EQ(run.diffVal, 0.0);
}

TEST(DIFIteration, ADuplicateSeedCountsOnceButItsOldValueTwice) {
    std::vector<Record> records;
    addRow(records, 1, {{2, 5.0}});
    DiffusionSetup setup;
    setup.seeds = {1, 1};
    setup.maxIterations = 1;
    const DiffusionRun run = runDiffusion(records, setup, 1);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n");
    EXPECT_EQ(run.diffVal, 1.5);  // 0.5 - 1.0 - 1.0 on the seed

    // Seeds out of order: each node's old value still counts once per line.
    setup.seeds = {2, 1, 2};
    const DiffusionRun unordered = runDiffusion(records, setup, 1);
    EXPECT_EQ(unordered.csv, kHeader + "1,0.5,0,1,0,5\n2,1.5,1,0,5,0\n");
    EXPECT_EQ(unordered.diffVal, 0.5);  // 1.5 - 1.0 - 1.0 on node 2
}

TEST(DIFIteration, FractionalAndNegativeWeightsAreTruncatedInTheWeightedDegrees) {
    std::vector<Record> records;
    addRow(records, 1, {{2, 0.9}, {3, -2.5}, {4, 3.7}});
    DiffusionSetup setup;
    setup.seeds = {1};
    setup.maxIterations = 1;
    const DiffusionRun run = runDiffusion(records, setup, 2);
    // Shares of the row sum 2.1, halved: 0.9/4.2, -2.5/4.2, 3.7/4.2.
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,3,0,1\n2,0.214286,1,0,0,0\n3,-0.595238,1,0,-2,0\n4,0.880952,1,0,3,0\n");
}

TEST(DIFIteration, EnergyFlowsDownAChainUntilTheChangeIsSmall) {
    // 1 -> 2 -> 3 with c 0.5: iteration t moves fresh energy 0.5^t one step on.
    std::vector<Record> records;
    addRow(records, 1, {{2, 1.0}});
    addRow(records, 2, {{3, 1.0}});
    DiffusionSetup setup;
    setup.seeds = {1};
    setup.epsilon = 0.3;
    const DiffusionRun run = runDiffusion(records, setup, 3);
    // t1: E = (0.5, 0.5, 0), d 0.5; t2: E = (0.5, 0.25, 0.25), d 0.25 <= 0.3.
    EXPECT_EQ(run.iterations, 2);
    EXPECT_EQ(run.diffVal, 0.25);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,1\n2,0.25,1,1,1,1\n3,0.25,1,0,1,0\n");
    EXPECT_NE(run.out.find("Log;|1;|Diffusion Model 1, Iteration 1 diffVal = 0.5\n;|LogEnd\n"), std::string::npos);
    EXPECT_NE(run.out.find("Log;|1;|Diffusion Model 1, Iteration 2 diffVal = 0.25\n;|LogEnd\n"), std::string::npos);
}

// Each phase sends only its own arrays; the others stay as the worker has them.
TEST(DIFIteration, OnlyThePhasesArraysCross) {
    KVORAEnv *env = nullptr;
    KVORADIFData master, worker;
    master.ivState = KVORADIFData::ComputeWeightedInOutDeg;
    master.ivSpreadCoefficient = 0.25;
    master.ivRowSum.copyAppend(4.5, env);
    master.ivRowSumSamples.copyAppend(8, env);
    master.ivInDegree.copyAppend(2, env);
    master.ivInDegreeSamples.copyAppend(8, env);
    master.ivModel1FreshEnergies.copyAppend(1.0, env);
    master.ivModel1FreshEnergiesSamples.copyAppend(9, env);
    worker.ivOutDegree.copyAppend(5, env);
    worker.ivOutDegreeSamples.copyAppend(1, env);
    copyByStream(master, worker, 0, env);
    EXPECT_EQ(worker.ivState, 1);
    EXPECT_EQ(worker.ivSpreadCoefficient, 0.25);
    ASSERT_EQ(worker.ivRowSum.getSize(), 1);
    EXPECT_EQ(worker.ivRowSum[1], 4.5);
    EXPECT_EQ(worker.ivInDegree.getSize(), 0);
    EXPECT_EQ(worker.ivModel1FreshEnergies.getSize(), 0);
    EXPECT_EQ(worker.ivOutDegree.getSize(), 1);
    master.ivState = KVORADIFData::DiffusionIterationModel1;
    copyByStream(master, worker, 0, env);
    ASSERT_EQ(worker.ivModel1FreshEnergiesSamples.getSize(), 1);
    EXPECT_EQ(worker.ivModel1FreshEnergiesSamples[1], 9u);
    master.releasePrimitive(env);
    worker.releasePrimitive(env);
}

TEST(DIFIteration, TheModelReportHoldsTheParametersAndTheRunsEnd) {
    KVORAEnv *env = nullptr;
    KVORADIFData data;
    data.ivSpreadCoefficient = 0.25;
    data.ivEpsilon = 0.001;
    data.ivMaxNumIterations = 12;
    data.ivModel1NumIterations = 7;
    data.ivDiffVal = 0.000123456789;
    KVORAXMLHandler handler(env);
    KVORAXMLTag &tag = handler.getRootTag().addTag("ModelOutput", env);
    tag.addLeafTag("Stale", env);
    data.writeXMLParameters(tag, env);
    std::ostringstream text;
    handler.writeTo(text, env);
    EXPECT_NE(text.str().find("<ModelOutput>\n"
                              "  <InputParameters>\n"
                              "    <SpreadingCoefficient>0.25</SpreadingCoefficient>\n"
                              "    <EndConditionValue>0.001</EndConditionValue>\n"
                              "    <MaxNumberofIterations>12</MaxNumberofIterations>\n"
                              "    <IsSparse>True</IsSparse>\n"
                              "    <OutputFormat>CSV</OutputFormat>\n"
                              "  </InputParameters>\n"
                              "  <RunParameters>\n"
                              "    <Model1iterations>7</Model1iterations>\n"
                              "    <Model1DiffValatConvergence>0.000123457</Model1DiffValatConvergence>\n"
                              "  </RunParameters>\n"
                              "</ModelOutput>\n"),
              std::string::npos)
        << text.str();
    handler.releasePrimitive(env);
    data.releasePrimitive(env);
}

}  // namespace
