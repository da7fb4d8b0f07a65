// The model report file: the intermediate names, the exact XML form with the
// model's own output and the validation rows, the choice of the ASCII form
// and its dump, and the fatal reports when a file cannot be written.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "control/kvora_XML_tag.h"
#include "qrv_run.h"
#include "qrvexec/kvora_model_report.h"
#include "qrvexec/kvora_runvalues.h"
#include "qrvexec/kvora_t_streamlbio.h"
#include "simple_algorithm/kvora_simple_algorithm.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_objio.h"

// A data object whose report output is one known tag.
class KVORAReportTestData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORAReportTestData)
public:
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override {
        tag.addLeafTag("Iterations", env).setValue("7", env);
    }
};
KVORA_OBJECT_IMPL(KVORAReportTestData, KVORASimpleAlgorithmAbstractData, 0)

namespace {

TEST(ModelReportName, IntermediateNamesGoBeforeTheLastDot) {
    EXPECT_EQ(kvoraModelReportFileName("model.xml", 3), "model_intermediate_3.xml");
    EXPECT_EQ(kvoraModelReportFileName("out", 1), "out_intermediate_1");
    // A dot in a directory counts when the file name has none.
    EXPECT_EQ(kvoraModelReportFileName("a.b/c", 1), "a_intermediate_1.b/c");
    EXPECT_EQ(kvoraModelReportFileName("r.v1.xml", 12), "r.v1_intermediate_12.xml");
    // The final report keeps the name.
    EXPECT_EQ(kvoraModelReportFileName("model.xml", -1), "model.xml");
    // Only identifiers 2 and 7 use the ASCII form.
    for (int32_t id : {0, 1, 2, 3, 6, 7, 8, 24}) EXPECT_EQ(kvoraModelReportUsesXML(id), id == 2 || id == 7 ? 0 : 1) << id;
}

class ModelReportTest : public testing::Test {
protected:
    void SetUp() override {
        model.create(env);
        KVORAReportTestData *data = new KVORAReportTestData();
        kvoraMemAccount(data->getObjectSize(), env);
        model->ivDataPtr.reset(data, env);
        dir = qrvtest::makeTempDir("qrvreport");
        kvoraParamFileName = "p.xml";
        kvoraInputFileName = "in.bin";
    }
    void TearDown() override {
        model.reset(env);
        rows.reset(env);
        actual.reset(env);
        predicted.reset(env);
    }
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORASimpleAlgorithmModel> model;
    KVORAArray<int32_t> rows;
    KVORAArray<double> actual;
    KVORAArray<double> predicted;
    std::string dir;
};

// The XML report in its exact form; the validation rows in the stream's
// default format (six significant digits), each value led by a blank.
TEST_F(ModelReportTest, XMLReportInItsExactForm) {
    for (int32_t r : {3, 10}) rows.copyAppend(r, env);
    for (double a : {1.5, -2.0}) actual.copyAppend(a, env);
    for (double p : {0.125, 1234567.0}) predicted.copyAppend(p, env);
    const std::string name = dir + "/model.xml";
    kvoraWriteModelReport(2, *model, nullptr, 1, rows, actual, predicted, env, name.c_str());
    EXPECT_FALSE(qrvtest::fileExists(name));
    std::string text = qrvtest::readFile(dir + "/model_intermediate_2.xml");
    // ctime's form without its line end: "Www Mmm dd hh:mm:ss yyyy".
    const size_t date = text.find("<Date>") + 6;
    ASSERT_EQ(text.find("</Date>"), date + 24) << text;
    text.replace(date, 24, "DATE");
    EXPECT_EQ(text,
              "<QRVReport>\n"
              "  <QRVInput>\n"
              "    <InputParametersFileName>p.xml</InputParametersFileName>\n"
              "    <InputDataFileName>in.bin</InputDataFileName>\n"
              "    <Date>DATE</Date>\n"
              "  </QRVInput>\n"
              "  <ModelOutput>\n"
              "    <Iterations>7</Iterations>\n"
              "  </ModelOutput>\n"
              "  <ValidationResults>\n"
              "    <RecordNumber>3 10</RecordNumber>\n"
              "    <ActualValue>1.5 -2</ActualValue>\n"
              "    <PredictedValue>0.125 1.23457e+06</PredictedValue>\n"
              "  </ValidationResults>\n"
              "</QRVReport>\n");
    // The final report keeps the name.
    kvoraWriteModelReport(-1, *model, nullptr, 1, rows, actual, predicted, env, name.c_str());
    EXPECT_TRUE(qrvtest::fileExists(name));
}

TEST_F(ModelReportTest, AsciiFormDumpsTheModelAfterItsTypeName) {
    const std::string name = dir + "/a.txt";
    kvoraWriteModelReport(4, *model, nullptr, 0, rows, actual, predicted, env, name.c_str());
    // The model's dump, as the dump reader takes it, and a line end; the data
    // object travels inside the model.
    const std::string text = qrvtest::readFile(dir + "/a_intermediate_4.txt");
    std::ostringstream dump;
    kvoraWriteAsciiObjectDump(dump, *model, env);
    EXPECT_EQ(text, dump.str() + "\n");
    EXPECT_NE(text.find("KVORAReportTestData"), std::string::npos) << text;
}

TEST_F(ModelReportTest, AFileThatCannotBeWrittenIsAFatalReport) {
    const struct {
        int32_t useXML;
        const char *name;
        const char *report;
    } cases[] = {
        {1, "/missing/dir/model.xml", "Error;|2301;|Could not write output file;|"},
        {0, "/missing/a.txt", "Error;|2302;|Could not open output file;|"},
    };
    for (const auto &c : cases) {
        const std::string name = dir + c.name;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_THROW(kvoraWriteModelReport(-1, *model, nullptr, c.useXML, rows, actual, predicted, env, name.c_str()),
                     int);
        testing::internal::GetCapturedStderr();
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find(c.report + name + ";|ErrorEnd\n"), std::string::npos) << out;
    }
}

}  // namespace
