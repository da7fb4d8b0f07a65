// Bad input seen from outside, on diffusion runs: data files that are empty,
// cut short or ragged at the end; description files with wrong words, blank
// lines, over-long lines or no final line feed; parameter files the reader
// refuses; seed files with binary bytes, huge numbers and over-long lines;
// results and reports that can't be written. Group analysis runs have their
// own file. Each ends with its numbered report and status, or with its
// warning and a correct run, and none may hang: every run has a time limit.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "qrv_run.h"

namespace {

const std::string kHeader = "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";
// The worked example after one iteration: seed 1 calls 2 with weight 5.
const std::string kOneToTwo = kHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n";
const std::string kKeys = "<Seed>seeds.txt</Seed>\n<OutputFileName>result.csv</OutputFileName>\n";
const std::string kOneIteration = "<MaxNumIterations>1</MaxNumIterations>\n";
const std::string kIll = "Log;|0;|Ill termination of qrvexec;|LogEnd";
const std::string kDIFDone = "Log;|0;|DIF Terminated Successfully;|LogEnd";

std::string prepare(const std::string &edges, const std::string &seeds) {
    const std::string dir = qrvtest::makeTempDir("qrvbad");
    qrvtest::writeFile(dir, "calls.csv", edges);
    qrvtest::writeFile(dir, "seeds.txt", seeds);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.timeoutSeconds = 30;
    const qrvtest::RunResult load = qrvtest::run({qrvtest::qrvloadPath(), "graph", "calls.csv", "calls"}, options);
    EXPECT_EQ(load.status, 0) << load.out << load.err;
    return dir;
}

qrvtest::RunResult runParams(const std::string &dir, const std::string &paramText, int k,
                             const std::string &model = "model.xml") {
    qrvtest::writeFile(dir, "dif.xml", paramText);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.processes = k;
    options.timeoutSeconds = 30;
    return qrvtest::run({qrvtest::qrvexecPath(), "dif.xml", "calls", model}, options);
}

qrvtest::RunResult runDIF(const std::string &dir, const std::string &keys, int k,
                          const std::string &model = "model.xml") {
    return runParams(dir, "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + keys + "</QRVInput>\n", k, model);
}

bool hasLine(const std::string &text, const std::string &line) {
    for (const std::string &l : qrvtest::splitLines(text))
        if (l == line) return true;
    return false;
}

// A fatal end through the run's terminating report on one process.
void expectTerminated(const qrvtest::RunResult &r, const std::string &errorLine) {
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
    EXPECT_NE(r.out.find(errorLine + "\nTerminating NELO\n"), std::string::npos) << r.out;
    EXPECT_TRUE(hasLine(r.out, kIll)) << r.out;
}

// No file beside the inputs but what a run is allowed to leave.
void expectNoStrayFiles(const std::string &dir, const std::vector<std::string> &allowed) {
    const qrvtest::RunResult ls = qrvtest::run({"ls", "-A", dir}, {});
    for (const std::string &name : qrvtest::splitLines(ls.out)) {
        if (name.empty() || name == ".stdout" || name == ".stderr") continue;  // the runner's own
        bool ok = false;
        for (const std::string &a : allowed) ok = ok || a == name;
        EXPECT_TRUE(ok) << "unexpected file " << name;
    }
}

const std::vector<std::string> kInputs = {"calls.csv", "calls", "calls.info", "seeds.txt", "dif.xml"};

// --- data files -----------------------------------------------------------

// The row count is the file size over the row size, rounded down, and
// nothing checks that a pass ends outside a row: a file cut inside its last
// row, or with a ragged tail, runs on what whole rows remain.
TEST(BadData, ARaggedTailOrARowCutShortRunsOnTheWholeRows) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n3,2,1\n", "1\n");
    const std::string full = qrvtest::readFile(dir + "/calls");
    ASSERT_EQ(full.size(), 6u * 24u);  // header, edge, footer for each caller, three 8-byte columns
    // Caller 3 adds its edge to node 2's degrees and holds no energy.
    const std::string kOneAndThreeToTwo = kHeader + "1,0.5,0,1,0,5\n2,0.5,2,0,6,0\n3,0,0,1,0,1\n";
    struct Case {
        std::string what, data, result;
    };
    const std::vector<Case> cases = {
        // Caller 3's header, an eighth of its edge: caller 3 contributes nothing.
        {"cut inside caller 3's edge", full.substr(0, 4 * 24 + 8), kOneToTwo},
        // Caller 3 without its footer: the row counts all the same.
        {"cut before caller 3's footer", full.substr(0, 5 * 24),
         kOneAndThreeToTwo},
        {"a ragged tail of 17 bytes", full + std::string(17, '\xff'),
         kOneAndThreeToTwo},
    };
    for (const Case &c : cases) {
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(c.what + ", processes " + std::to_string(k));
            qrvtest::writeFile(dir, "calls", c.data);
            const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, k);
            EXPECT_FALSE(r.timedOut);
            ASSERT_EQ(r.status, 0) << r.out << r.err;
            EXPECT_TRUE(hasLine(r.out, kDIFDone));
            EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), c.result);
        }
    }
}

// An empty data file opens (size 0 is not a failure) and every pass is
// empty; a run that ends after pass one lists no node at all.
TEST(BadData, AnEmptyDataFileGivesAnEmptyResult) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    qrvtest::writeFile(dir, "calls", "");
    for (int k = 1; k <= 2; ++k) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r = runDIF(dir, kKeys + "<EndConditionValue>100000</EndConditionValue>\n", k);
        EXPECT_FALSE(r.timedOut);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kHeader);
    }
}

TEST(BadData, AMissingDataFileOrDescriptionIsItsReport) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    ASSERT_EQ(::rename((dir + "/calls.info").c_str(), (dir + "/calls.info.away").c_str()), 0);
    qrvtest::RunResult r = runDIF(dir, kKeys, 1);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "Error;|2306;|Failed to open input data file info !!;|calls.info;|ErrorEnd")) << r.out;
    EXPECT_NE((r.out + r.err).find("Failed to open input info file !!"), std::string::npos);
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));

    ASSERT_EQ(::rename((dir + "/calls.info.away").c_str(), (dir + "/calls.info").c_str()), 0);
    ASSERT_EQ(::rename((dir + "/calls").c_str(), (dir + "/calls.away").c_str()), 0);
    r = runDIF(dir, kKeys, 1);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "Error;|2305;|calls;|Failed to open input data file !!;|ErrorEnd")) << r.out;
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
}

// --- description files ----------------------------------------------------

TEST(BadDescription, WrongWordsAndBlankLinesFailTheirAssertion) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"caller Numeric LineNumber\ncallee numeric Explanatory\nweight Numeric Explanatory\n",
         "Unknown attribute type"},
        {"caller Numeric Linenumber\ncallee Numeric Explanatory\nweight Numeric Explanatory\n",
         "Unknown attribute purpose"},
        {"caller Numeric LineNumber\n\ncallee Numeric Explanatory\nweight Numeric Explanatory\n",
         "Unknown attribute type"},
        {"caller Numeric LineNumber\ncallee Numeric Explanatory\nweight\n", "Unknown attribute type"},
        // Over the line limit: the end, whatever its words, and no hang.
        {"caller Numeric LineNumber " + std::string(1000, 'x') + "\ncallee Numeric Explanatory\n"
         "weight Numeric Explanatory\n", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        qrvtest::writeFile(dir, "calls.info", c.first);
        const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, 1);
        EXPECT_FALSE(r.timedOut);
        EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
        EXPECT_NE((r.out + r.err).find(c.second), std::string::npos) << r.out << r.err;
        EXPECT_TRUE(hasLine(r.out, kIll));
        EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
    }
}

TEST(BadDescription, WordsAfterTheThirdAreIgnored) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    qrvtest::writeFile(dir, "calls.info",
                       "caller Numeric LineNumber extra words\ncallee Numeric Explanatory x\n"
                       "weight Numeric Explanatory 1 2 3\n");
    const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, 2);
    EXPECT_FALSE(r.timedOut);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kOneToTwo);
}

// A last line with no line feed is not taken: the weight column is lost, and
// records with no weight are a broken invariant of the row scan, which must
// end the run through its assertion path rather than a signal or a hang.
TEST(BadDescription, NoFinalLineFeedLosesTheLastColumn) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    qrvtest::writeFile(dir, "calls.info",
                       "caller Numeric LineNumber\ncallee Numeric Explanatory\nweight Numeric Explanatory");
    const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, 1);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, kIll)) << r.out;
    EXPECT_NE((r.out + r.err).find("ASSERTION FAILED"), std::string::npos) << r.err;
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
}

// --- parameter files -------------------------------------------------------

TEST(BadParams, TextTheReaderRefusesIs2303) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    const std::string body = "<AlgorithmName>DIF</AlgorithmName>\n" + kKeys;
    const std::vector<std::string> cases = {
        "<?xml version=\"1.0\"?>\n<QRVInput>\n" + body + "</QRVInput>\n",
        "<QRVInput>\n<!-- c -->\n" + body + "</QRVInput>\n",
        "<QRVInput>\n" + body,  // never closed
        "<QRVInput>\n" + body + "<TagPrefix>a\nb</TagPrefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix><x/>y</TagPrefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix>&#128;</TagPrefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix a=\"\"/>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix a=1/>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix>a</TagPrefix>\n<TagPrefix>b</TagPrefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix>a</Tagprefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix>a&amp</TagPrefix>\n</QRVInput>\n",
        "<QRVInput>\n" + body + "<TagPrefix>&nbsp;</TagPrefix>\n</QRVInput>\n",
    };
    for (const std::string &text : cases) {
        SCOPED_TRACE(text);
        const qrvtest::RunResult r = runParams(dir, text, 1);
        expectTerminated(r, "Error;|2303;|Could not open parameters file;|ErrorEnd");
        EXPECT_EQ(r.out.find("Algorithm: "), std::string::npos);
    }
    const qrvtest::RunResult r = runParams(dir, cases[2], 1);
    EXPECT_TRUE(hasLine(r.out, "XML Parse error.")) << r.out;
}

// The seed file's name comes from a raw line scan with a limit of 9,999
// characters: a longer line ends the scan, so a Seed tag behind it is not seen.
TEST(BadParams, ALineTooLongForTheSeedScanHidesTheSeed) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    const qrvtest::RunResult r =
        runDIF(dir, "<TagPrefix>" + std::string(10000, 'x') + "</TagPrefix>\n" + kKeys, 1);
    EXPECT_TRUE(hasLine(r.out, "FindSeedFileNameInParamFile: reading failure in line 3")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "Warning: param file should contain a line of the form <Seed> fname </Seed>"));
    expectTerminated(r, "Error;|2307;|KVORADIFData::readSeedFile: Unable to open seed file (visual version) ;|ErrorEnd");
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
}

TEST(BadParams, NoFinalLineFeedIsAPlainRun) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    const qrvtest::RunResult r =
        runParams(dir, "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + kKeys + kOneIteration + "</QRVInput>", 2);
    EXPECT_FALSE(r.timedOut);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kOneToTwo);
}

// --- seed files ------------------------------------------------------------

// Refused lines cost a warning each and the run goes on. Up to ten characters
// the warning's number is the next element's index; from eleven on it is the
// line number. Conversions keep 32 bits: 4294967296 overflows to the refused
// 4294967295. An eleven-digit number is a node of its own.
TEST(BadSeeds, BinaryBytesAndHugeNumbersAreWarnedAboutAndTheRunGoesOn) {
    const std::string seeds = std::string("1\n") + "\x01\x02\xfe\n" + "4294967295\n" + "4294967296\n" +
                              "1234567890\xff\x01\n" + "12345678901\n";
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", seeds);
    for (int k = 1; k <= 2; ++k) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, k);
        EXPECT_FALSE(r.timedOut);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        const std::string w = "Warning: ignoring empty line or invalid numeric value - ";
        EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|2;|" + w + "2 ;|WarningEnd")) << r.out;
        EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|2;|" + w + "3 ;|WarningEnd"));
        EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|2;|" + w + "4 ;|WarningEnd"));
        EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|5;|" + w + "5 ;|WarningEnd"));
        // The empty line behind the last line feed.
        EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|3;|" + w + "7 ;|WarningEnd"));
        const std::vector<std::string> lines = qrvtest::splitLines(qrvtest::readFile(dir + "/result.csv"));
        ASSERT_GE(lines.size(), 4u);
        EXPECT_EQ(lines[1] + "\n" + lines[2] + "\n", "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n");
        EXPECT_EQ(lines[3].rfind("12345678901,", 0), 0u) << lines[3];
        EXPECT_EQ(lines[3].substr(lines[3].size() - 8), ",0,0,0,0");
    }
}

// A line longer than the reader's 79 characters would go round for ever:
// it is refused with the long line's warning, by its line number, and the
// reading goes on with the next line.
TEST(BadSeeds, ALineOverTheLimitIsWarnedAboutAndTheNextLineIsRead) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n" + std::string(100, '7') + "\n2\n");
    const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, 1);
    EXPECT_FALSE(r.timedOut);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    const std::string w = "Warning: ignoring empty line or invalid numeric value - ";
    EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|2;|" + w + "2 ;|WarningEnd")) << r.out;
    // The empty line behind the last line feed, after two seeds.
    EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|3;|" + w + "4 ;|WarningEnd")) << r.out;
    // Seed 2 holds its own energy and what seed 1 passes on.
    EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kHeader + "1,0.5,0,1,0,5\n2,1.5,1,0,5,0\n");
}

// --- outputs that can't be written ----------------------------------------

TEST(BadOutput, AResultsFileThatCannotBeOpenedIs2302AndLeavesNothing) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    ASSERT_EQ(::mkdir((dir + "/taken").c_str(), 0755), 0);
    for (const std::string name : {"taken", "seeds.txt/result.csv", "no/such/result.csv"}) {
        SCOPED_TRACE(name);
        const qrvtest::RunResult r =
            runDIF(dir, "<Seed>seeds.txt</Seed>\n<OutputFileName>" + name + "</OutputFileName>\n" + kOneIteration, 1);
        expectTerminated(r, "Error;|2302;|" + name +
                                ";|KVORADIFData::writeDataOutputFile: Unable to open output file;|ErrorEnd");
        EXPECT_FALSE(hasLine(r.out, kDIFDone));
        EXPECT_FALSE(qrvtest::fileExists(dir + "/model.xml"));
        expectNoStrayFiles(dir, {"calls.csv", "calls", "calls.info", "seeds.txt", "dif.xml", "taken"});
    }
}

// The final report comes after the results file, which stays; the report's
// own failure is 2301, after the handler's line about the file.
TEST(BadOutput, AModelReportThatCannotBeWrittenIs2301) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    ASSERT_EQ(::mkdir((dir + "/taken.xml").c_str(), 0755), 0);
    for (const std::string name : {"taken.xml", "seeds.txt/model.xml", "no/such/model.xml"}) {
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(name + ", processes " + std::to_string(k));
            std::remove((dir + "/result.csv").c_str());
            const qrvtest::RunResult r = runDIF(dir, kKeys + kOneIteration, k, name);
            EXPECT_FALSE(r.timedOut);
            EXPECT_NE(r.status, 0);
            if (k == 1) { EXPECT_EQ(qrvtest::processStatus(r), 99); }
            EXPECT_NE(r.out.find("Error: Could not open output file " + name + "\nError;|2301;|Could not write output file;|" +
                                 name + ";|ErrorEnd\nTerminating NELO\n"),
                      std::string::npos)
                << r.out;
            EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kOneToTwo);
            expectNoStrayFiles(dir, {"calls.csv", "calls", "calls.info", "seeds.txt", "dif.xml", "taken.xml",
                                     "result.csv"});
        }
    }
}

// With reports during training, the first one fails in the middle of the
// loop while the workers wait for the next pass: the launcher has to end them,
// and no results file appears.
TEST(BadOutput, AnIntermediateReportThatCannotBeWrittenEndsTheJob) {
    const std::string dir = prepare("caller,callee,weight\n1,2,5\n", "1\n");
    for (int k = 1; k <= 3; k += 2) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r =
            runDIF(dir, "<PrintModelDuringTraining>1</PrintModelDuringTraining>\n" + kKeys, k, "no/such/model.xml");
        EXPECT_FALSE(r.timedOut);
        EXPECT_NE(r.status, 0);
        if (k == 1) { EXPECT_EQ(qrvtest::processStatus(r), 99); }
        EXPECT_NE(r.out.find("Error;|2301;|Could not write output file;|no/such/model_intermediate_"),
                  std::string::npos)
            << r.out;
        EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
    }
}

}  // namespace
