// The master's loop and the one pass over the records, on one process: the
// partition rule and the passes by scan type. The dataset's file windows need
// MPI, and MPI may start once per process, so each run goes in a child.
#include <gtest/gtest.h>
#include <mpi.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "qrv_run.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_control_loops.h"
#include "qrvexec/kvora_runvalues.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"

namespace {

constexpr int32_t kLoopTestModelId = 902;

// The scan types of its passes come from a script: per pass the type asked
// for and how many records it takes before it turns to type 3 (0: never). It
// logs the records and updates without data of each pass in the model output.
struct LoopScript {
    int32_t types[4] = {0, 2, 3, 0};
    int32_t stopAfter[4] = {5, 0, 0, 0};
    int32_t passes = 3;
    // Whether the object says its scan type stays through a pass (then the
    // loop asks no more and hands rows over in batches, which this object
    // declines: it reads targets).
    int32_t keepsType = 0;
};
LoopScript gScript;

std::string realText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

}  // namespace

class KVORALoopTestData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORALoopTestData)
public:
    void open(const KVORAXMLTag &, KVORA_ENV) {}
    int32_t beginDataScan(int32_t, KVORA_ENV) override { return 1; }
    void update(const KVORAXaRay<double, 1> &data, const KVORAXaRay<double, 1> &target, uint64_t line,
                KVORA_ENV) override {
        ++ivSeen;
        // What the records carried: every value, as the model was given it.
        ivValues += "(";
        for (int32_t i = 1; i <= data.getSize(); ++i) ivValues += realText(data[i]) + " ";
        for (int32_t i = 1; i <= target.getSize(); ++i) ivValues += "t" + realText(target[i]) + " ";
        ivValues += "#" + std::to_string(line) + ")";
    }
    int32_t endDataScan(KVORA_ENV) override {
        ivLog += "p" + std::to_string(ivPass) + ":" + std::to_string(ivSeen) + ",w" + std::to_string(ivWithout) + ";";
        if (ivPass == 0) ivLog += ivValues;
        ++ivPass;
        return ivPass >= gScript.passes ? 1 : 0;
    }
    void updateWithoutDataScan(KVORA_ENV) override { ++ivWithout; }
    void initIteration(KVORA_ENV) override {
        ivSeen = 0;
        ivWithout = 0;
    }
    void finishIteration(KVORA_ENV) override {}
    int32_t getScanType() const override {
        const int32_t stop = gScript.stopAfter[ivPass];
        if (stop > 0 && ivSeen >= stop) return 3;
        return gScript.types[ivPass];
    }
    int32_t canUpdateWithoutDataScan() const override { return 1; }
    int32_t keepsScanTypeInPass() const override { return gScript.keepsType; }
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override {
        tag.addLeafTag("Log", env).setValue(ivLog.c_str(), env);
    }
    int32_t ivPass = 0;
    int32_t ivSeen = 0;
    int32_t ivWithout = 0;
    std::string ivLog;
    std::string ivValues;
};
KVORA_OBJECT_IMPL(KVORALoopTestData, KVORASimpleAlgorithmAbstractData, 0)

namespace {

// 10 rows of (x, target, line number), the line number going 1, 1, 2, 2,
// ...; x of the second row is missing. Returns the data file's path.
std::string makeInput(const std::string &dir) {
    std::string rows;
    for (int i = 0; i < 10; ++i) {
        const double values[3] = {i == 1 ? -99999.0 : 0.5 * i, 1.0 + i, static_cast<double>(i / 2 + 1)};
        rows.append(reinterpret_cast<const char *>(values), sizeof values);
    }
    qrvtest::writeFile(dir, "d.bin.info", "x Numeric Explanatory\ny Numeric Target\nid Numeric LineNumber\n");
    return qrvtest::writeFile(dir, "d.bin", rows);
}

// Runs the master's path in this process (a child) and prints the model
// output's Log text on standard error, then ends with status 0.
void runMasterAndTell(const std::string &dir) {
    MPI_Init(nullptr, nullptr);
    kvoraRegisterSimpleAlgorithmData(kLoopTestModelId, &kvoraOpenSimpleAlgorithmData<KVORALoopTestData>);
    static std::string input = makeInput(dir);
    static std::string output = dir + "/m.xml";
    kvoraParamFileName = "p.xml";
    kvoraInputFileName = input.c_str();
    kvoraModelOutputFileName = output.c_str();
    KVORAEnv *env = nullptr;
    KVORAFieldGlobalVars::get(env)->ivMaxPartition = 4;
    static KVORAControl control;
    KVORAXMLTag parameters;
    KVORARunSettings settings;
    settings.modelId = kLoopTestModelId;
    settings.modelParametersTag = &parameters;
    try {
        kvoraRunMaster(control, settings, env);
    } catch (...) {
        std::fflush(stdout);
        std::_Exit(3);
    }
    KVORAXMLHandler handler(env);
    if (!handler.readXMLFile(output.c_str(), env)) std::_Exit(4);
    std::fprintf(stderr, "LOG[%s]\n", handler.getTagByLongName("QRVReport/ModelOutput/Log", env).getValue().c_str());
    std::_Exit(0);
}

TEST(RecordPartition, IndexModuloTheSpanPlusThree) {
    // Maximum 4: span 2; 6: span 4; 3: span 1, every record in partition 3.
    EXPECT_EQ(kvoraRecordPartition(1, 4), 4);
    EXPECT_EQ(kvoraRecordPartition(7, 6), 6);
    EXPECT_EQ(kvoraRecordPartition(9, 3), 3);
    EXPECT_EQ(kvoraRecordPartition((int64_t(1) << 40) + 1, 4), 4);

    // Stepping on from the last record agrees with the division, through
    // wraps, jumps back and forth, a repeated record and the largest index.
    const int64_t big = int64_t(1) << 40;
    for (int32_t maxPartition : {3, 4, 6, 9}) {
        KVORARecordPartitions partitions(maxPartition);
        for (int64_t r : {int64_t(0), int64_t(1), int64_t(2), int64_t(3), int64_t(4), int64_t(5), int64_t(6),
                          int64_t(3), int64_t(3), int64_t(20), int64_t(21), big - 1, big, big + 1, INT64_MAX - 1,
                          INT64_MAX, int64_t(0), int64_t(1)})
            EXPECT_EQ(partitions.of(r), kvoraRecordPartition(r, maxPartition)) << maxPartition << " " << r;
    }
}

// Each run goes in a child: per pass the scan type asked for and the records
// after which the model turns to type 3, and what the model logs or how the
// run ends.
TEST(MasterLoop, PassesByScanType) {
    const struct {
        LoopScript script;
        int status;
        const char *pattern;
        const char *validationFile;
    } cases[] = {
        // Pass 0: type 0, turned to type 3 after 5 records: 5 records, then one
        // update without data. Pass 1: type 2 (all rows), the data ends: 10
        // records, no update without data. Pass 2: type 3: no record, one update.
        // The first pass's values: x (a missing one as 0), the target, the line.
        {LoopScript(), 0,
         "LOG\\[p0:5,w1;\\(0 t1 #1\\)\\(0 t2 #1\\)\\(1 t3 #2\\)\\(1.5 t4 #2\\)\\(2 t5 #3\\)"
         "p1:10,w0;p2:0,w1;\\]",
         nullptr},
        // Type 0 on one process is the whole file; type 1 excludes the own
        // block, which is the whole file: nothing.
        {{{0, 1, 0, 0}, {0, 0, 0, 0}, 2}, 0, "LOG\\[p0:10,w0;\\(.*\\(4.5 t10 #5\\)p1:0,w0;\\]", nullptr},
        // Type 5 shares rows by line: one process owns every line.
        {{{5, 0, 0, 0}, {0, 0, 0, 0}, 1}, 0,
         "LOG\\[p0:10,w0;\\(0 t1 #1\\)\\(0 t2 #1\\)\\(1 t3 #2\\)\\(1.5 t4 #2\\)\\(2 t5 #3\\)\\(2.5 t6 #3\\)"
         "\\(3 t7 #4\\)\\(3.5 t8 #4\\)\\(4 t9 #5\\)\\(4.5 t10 #5\\)\\]",
         nullptr},
        // The same with the type kept through the pass: the records still
        // come one by one, in order, with their targets.
        {{{5, 0, 0, 0}, {0, 0, 0, 0}, 1, 1}, 0,
         "LOG\\[p0:10,w0;\\(0 t1 #1\\)\\(0 t2 #1\\)\\(1 t3 #2\\)\\(1.5 t4 #2\\)\\(2 t5 #3\\)\\(2.5 t6 #3\\)"
         "\\(3 t7 #4\\)\\(3.5 t8 #4\\)\\(4 t9 #5\\)\\(4.5 t10 #5\\)\\]",
         nullptr},
        {{{9, 0, 0, 0}, {0, 0, 0, 0}, 3}, 3, "Function/Feature not yet implemented", nullptr},
        // One target and a validation file: not implemented, and no report.
        {{{0, 0, 0, 0}, {0, 0, 0, 0}, 1}, 3, "Function/Feature not yet implemented", "v.bin"},
    };
    for (const auto &c : cases) {
        const std::string dir = qrvtest::makeTempDir("qrvloopunit");
        gScript = c.script;
        kvoraSetValidationFileName(c.validationFile);
        EXPECT_EXIT(runMasterAndTell(dir), testing::ExitedWithCode(c.status), c.pattern);
        kvoraSetValidationFileName(nullptr);
        if (c.status != 0) { EXPECT_FALSE(qrvtest::fileExists(dir + "/m.xml")); }
    }
}

}  // namespace
