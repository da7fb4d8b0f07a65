// The diffusion passes driven as the loop drives them, in one process, with
// results worked out by hand, and the model report. What crosses to workers
// is checked by the end-to-end runs, which must agree on one to four processes.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "qrv_run.h"
#include "simple_algorithm/kvora_DIF.h"

namespace {

struct Record {
    uint64_t caller;
    double callee, weight;
};

typedef std::vector<std::pair<double, double>> Edges;

void addRow(std::vector<Record> &records, uint64_t caller, const Edges &edges) {
    records.push_back({caller, 0.0, static_cast<double>(edges.size())});
    for (const auto &e : edges) records.push_back({caller, e.first, e.second});
    records.push_back({caller, 0.0, 7788.0});
}

struct DiffusionRun {
    std::string csv;
    std::string out;  // what the object printed
    int32_t passes = 0;
    int32_t iterations = 0;
    double diffVal = 0.0;
};

// The whole run in one process. Agreement across processes, and so the merge,
// is checked end to end on one to four processes.
DiffusionRun runDiffusion(const std::vector<Record> &records, const std::vector<uint64_t> &seeds,
                          int32_t maxIterations = 100, double epsilon = 0.01) {
    KVORAEnv *env = nullptr;
    const std::string outName = qrvtest::makeTempDir("difiter") + "/result.csv";
    KVORADIFData data;
    data.ivSpreadCoefficient = 0.5;
    data.ivVerbosityLvl = 1;
    data.ivEpsilon = epsilon;
    data.ivMaxNumIterations = maxIterations;
    data.ivOutputFileName = outName.c_str();
    for (uint64_t s : seeds) {
        data.ivModel1TotalEnergiesOld.copyAppend(1.0, env);
        data.ivModel1TotalEnergiesSamplesOld.copyAppend(s, env);
    }
    data.ivModel1FreshEnergies.copyFrom(data.ivModel1TotalEnergiesOld, env);
    data.ivModel1FreshEnergiesSamples.copyFrom(data.ivModel1TotalEnergiesSamplesOld, env);
    KVORAXaRay<double, 1> dataVec, targetVec;
    dataVec.setSize(2, env);
    DiffusionRun run;
    testing::internal::CaptureStdout();
    for (int32_t done = 0; done == 0 && run.passes < 1000; ++run.passes) {
        data.initIteration(env);
        for (const Record &r : records) {
            dataVec[1] = r.callee;
            dataVec[2] = r.weight;
            data.update(dataVec, targetVec, r.caller, env);
        }
        data.finishIteration(env);
        done = data.endDataScan(env);
    }
    run.out = testing::internal::GetCapturedStdout();
    run.csv = qrvtest::readFile(outName);
    run.iterations = data.ivModel1NumIterations;
    run.diffVal = data.ivDiffVal;
    data.releasePrimitive(env);
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
    const DiffusionRun run = runDiffusion(records, {1}, 1);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n");
    EXPECT_EQ(run.passes, 3);
    EXPECT_EQ(run.iterations, 1);
    EXPECT_EQ(run.diffVal, 0.5);
    EXPECT_EQ(run.out, progress(1, "finishIteration", "Finished an iteration of computing normalizer") +
                           progress(2, "endDataScan", "Finished computing normalizer") +
                           progress(3, "finishIteration", "Finished an iteration of computing weighted in/out degree") +
                           progress(4, "endDataScan", "Finished computing weighted in/out degree") +
                           progress(5, "finishIteration", "Finished an iteration of diffusion model 1") +
                           "Log;|1;|Diffusion Model 1, Iteration 1 diffVal = 0.5\n;|LogEnd\n" +
                           progress(6, "endDataScan", "Finished diffusion iteration model 1") +
                           "Log;|0;|DIF Terminated Successfully;|LogEnd\n");
}

TEST(DIFIteration, SeedsWithoutCalleeOrRecordKeepTheirEnergyAndDuplicatesCountTheirOldValueTwice) {
    std::vector<Record> records;
    addRow(records, 1, {{3, 2.0}});
    // Nothing moves: the first iteration changes nothing and ends the run.
    DiffusionRun run = runDiffusion(records, {3, 99});
    EXPECT_EQ(run.csv, kHeader + "1,0,0,1,0,2\n3,1,1,0,2,0\n99,1,0,0,0,0\n");
    EXPECT_EQ(run.iterations, 1);
    EXPECT_EQ(run.diffVal, 0.0);

    records.clear();
    addRow(records, 1, {{2, 5.0}});
    run = runDiffusion(records, {1, 1}, 1);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n");
    EXPECT_EQ(run.diffVal, 1.5);  // 0.5 - 1.0 - 1.0 on the seed
    // Seeds out of order: each node's old value still counts once per line.
    run = runDiffusion(records, {2, 1, 2}, 1);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,5\n2,1.5,1,0,5,0\n");
    EXPECT_EQ(run.diffVal, 0.5);  // 1.5 - 1.0 - 1.0 on node 2
}

TEST(DIFIteration, FractionalAndNegativeWeightsAreTruncatedInTheWeightedDegrees) {
    std::vector<Record> records;
    addRow(records, 1, {{2, 0.9}, {3, -2.5}, {4, 3.7}});
    // Shares of the row sum 2.1, halved: 0.9/4.2, -2.5/4.2, 3.7/4.2.
    EXPECT_EQ(runDiffusion(records, {1}, 1).csv,
              kHeader + "1,0.5,0,3,0,1\n2,0.214286,1,0,0,0\n3,-0.595238,1,0,-2,0\n4,0.880952,1,0,3,0\n");
}

TEST(DIFIteration, EnergyFlowsDownAChainUntilTheChangeIsSmall) {
    // 1 -> 2 -> 3 with c 0.5: iteration t moves fresh energy 0.5^t one step on.
    std::vector<Record> records;
    addRow(records, 1, {{2, 1.0}});
    addRow(records, 2, {{3, 1.0}});
    const DiffusionRun run = runDiffusion(records, {1}, 100, 0.3);
    // t1: E = (0.5, 0.5, 0), d 0.5; t2: E = (0.5, 0.25, 0.25), d 0.25 <= 0.3.
    EXPECT_EQ(run.iterations, 2);
    EXPECT_EQ(run.diffVal, 0.25);
    EXPECT_EQ(run.csv, kHeader + "1,0.5,0,1,0,1\n2,0.25,1,1,1,1\n3,0.25,1,0,1,0\n");
    EXPECT_NE(run.out.find("Log;|1;|Diffusion Model 1, Iteration 2 diffVal = 0.25\n;|LogEnd\n"), std::string::npos);
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
    // The stale child goes; six digits, as the stream writes them.
    EXPECT_NE(text.str().find("<ModelOutput>\n  <InputParameters>\n"
                              "    <SpreadingCoefficient>0.25</SpreadingCoefficient>\n"
                              "    <EndConditionValue>0.001</EndConditionValue>\n"
                              "    <MaxNumberofIterations>12</MaxNumberofIterations>\n"
                              "    <IsSparse>True</IsSparse>\n    <OutputFormat>CSV</OutputFormat>\n"
                              "  </InputParameters>\n  <RunParameters>\n    <Model1iterations>7</Model1iterations>\n"
                              "    <Model1DiffValatConvergence>0.000123457</Model1DiffValatConvergence>\n"
                              "  </RunParameters>\n</ModelOutput>\n"),
              std::string::npos)
        << text.str();
    handler.releasePrimitive(env);
    data.releasePrimitive(env);
}

// The close of a diffusion pass over inputs in ascending order (every pass
// after the first) must give, bit for bit, the totals and the change of the
// general walk over maps: nodes in some inputs and not others, nodes that
// pass energy on with no fresh energy or no total, degrees of 0 and below,
// and values that make -0.0, infinities and NaN.
TEST(DIFIteration, TheCloseOverSortedArraysIsTheCloseOverMaps) {
    KVORAEnv *env = nullptr;
    uint64_t state = 99;
    auto draw = [&state](uint64_t n) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return (state >> 33) % n;
    };
    const double specials[] = {-0.0, 0.0, 1.0 / 0.0, -1.0 / 0.0, 0.0 / 0.0, 1e300, -1e-300};
    auto fill = [&](KVORAXaRay<double, 1> &values, KVORAXaRay<uint64_t, 1> &nodes, uint64_t keep) {
        for (uint64_t node = 1; node < 400; ++node) {
            if (draw(100) >= keep) continue;
            const double value = draw(20) == 0 ? specials[draw(7)] : static_cast<double>(draw(1000)) / 9.0 - 40.0;
            values.copyAppend(value, env);
            nodes.copyAppend(node, env);
        }
    };
    for (int round = 0; round < 20; ++round) {
        KVORADIFData maps, arrays;
        maps.ivSpreadCoefficient = arrays.ivSpreadCoefficient = 0.5 + 0.1 * round;
        fill(maps.ivModel1TotalEnergiesOld, maps.ivModel1TotalEnergiesSamplesOld, 60);
        fill(maps.ivModel1FreshEnergies, maps.ivModel1FreshEnergiesSamples, 30 + 2 * static_cast<uint64_t>(round));
        fill(maps.ivModel1FreshEnergiesOld, maps.ivModel1FreshEnergiesSamplesOld, 40);
        for (uint64_t node = 1; node < 450; ++node)
            if (draw(3) == 0) maps.ivNum2OutDegreeMap[node] = static_cast<int32_t>(draw(5)) - 1;
        // An input may be empty.
        if (round == 1) maps.ivModel1TotalEnergiesOld.reset(env), maps.ivModel1TotalEnergiesSamplesOld.reset(env);
        if (round == 2) maps.ivModel1FreshEnergies.reset(env), maps.ivModel1FreshEnergiesSamples.reset(env);
        if (round == 3) maps.ivNum2OutDegreeMap.clear();
        arrays.ivModel1TotalEnergiesOld.copyFrom(maps.ivModel1TotalEnergiesOld, env);
        arrays.ivModel1TotalEnergiesSamplesOld.copyFrom(maps.ivModel1TotalEnergiesSamplesOld, env);
        arrays.ivModel1FreshEnergies.copyFrom(maps.ivModel1FreshEnergies, env);
        arrays.ivModel1FreshEnergiesSamples.copyFrom(maps.ivModel1FreshEnergiesSamples, env);
        arrays.ivModel1FreshEnergiesOld.copyFrom(maps.ivModel1FreshEnergiesOld, env);
        arrays.ivModel1FreshEnergiesSamplesOld.copyFrom(maps.ivModel1FreshEnergiesSamplesOld, env);
        arrays.ivNum2OutDegreeMap = maps.ivNum2OutDegreeMap;
        ASSERT_TRUE(KVORADIFData::strictlyAscending(arrays.ivModel1FreshEnergiesSamples));

        const double byMaps = maps.closeDiffusionByMaps(env);
        const double byArrays = arrays.closeDiffusionByArrays(env);
        EXPECT_EQ(std::memcmp(&byMaps, &byArrays, sizeof byMaps), 0) << round << ": " << byMaps << " " << byArrays;
        const int32_t n = maps.ivModel1TotalEnergies.getSize();
        ASSERT_EQ(arrays.ivModel1TotalEnergies.getSize(), n) << round;
        ASSERT_EQ(arrays.ivModel1TotalEnergiesSamples.getSize(), n) << round;
        for (int32_t i = 1; i <= n; ++i) {
            EXPECT_EQ(arrays.ivModel1TotalEnergiesSamples[i], maps.ivModel1TotalEnergiesSamples[i]) << round;
            EXPECT_EQ(std::memcmp(&arrays.ivModel1TotalEnergies[i], &maps.ivModel1TotalEnergies[i], sizeof(double)), 0)
                << round << " node " << maps.ivModel1TotalEnergiesSamples[i];
        }
        maps.releasePrimitive(env);
        arrays.releasePrimitive(env);
    }

    // Seeds come in file order, with repeats: not for the arrays.
    KVORAXaRay<uint64_t, 1> seeds;
    for (uint64_t node : {5u, 3u}) seeds.copyAppend(node, env);
    EXPECT_FALSE(KVORADIFData::strictlyAscending(seeds));
    seeds[1] = 3;
    EXPECT_FALSE(KVORADIFData::strictlyAscending(seeds));
    seeds.reset(env);
}

}  // namespace
