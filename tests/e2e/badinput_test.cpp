// Bad input seen from outside, on diffusion runs: odd data, description,
// parameter and seed files, and results and reports that can't be written.
// Each ends with its numbered report and status, or with its warning and a
// correct run, and none may hang: every run has a short time limit.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::hasLine;
using e2e::kDIFHeader;
using e2e::kDIFKeys;
using e2e::kOneToTwo;

const std::string kOneIteration = "<MaxNumIterations>1</MaxNumIterations>\n";
const std::string kDIFDone = "Log;|0;|DIF Terminated Successfully;|LogEnd";
const std::string kSeedWarning = "Warning: ignoring empty line or invalid numeric value - ";

std::string prepare(const std::string &seeds = "1\n") {
    return e2e::prepareDIF("caller,callee,weight\n1,2,5\n", seeds);
}

qrvtest::RunResult runDIF(const std::string &dir, const std::string &keys, int k,
                          const std::string &model = "model.xml") {
    return e2e::runDIF(dir, keys, k, model, 30);
}

qrvtest::RunResult runParams(const std::string &dir, const std::string &params, int k) {
    return e2e::runQrvexec(dir, params, "calls", k, "model.xml", 30);
}

// The row count is the file size over the row size, rounded down, and
// nothing checks that a pass ends outside a row: a file cut inside its last
// row, or with a ragged tail, runs on what whole rows remain. An empty file
// opens (size 0 is not a failure) and a run that ends after pass one lists
// no node at all.
TEST(BadData, EmptyRaggedOrCutShortDataRunsOnTheWholeRows) {
    const std::string dir = e2e::prepareDIF("caller,callee,weight\n1,2,5\n3,2,1\n", "1\n");
    const std::string full = qrvtest::readFile(dir + "/calls");
    ASSERT_EQ(full.size(), 6u * 24u);  // header, edge, footer for each caller, three 8-byte columns
    // Caller 3 adds its edge to node 2's degrees and holds no energy.
    const std::string kOneAndThreeToTwo = kDIFHeader + "1,0.5,0,1,0,5\n2,0.5,2,0,6,0\n3,0,0,1,0,1\n";
    struct Case {
        std::string what, data, keys, result;
    };
    const std::vector<Case> cases = {
        // Caller 3's header and an eighth of its edge: caller 3 adds nothing.
        {"cut inside caller 3's edge", full.substr(0, 4 * 24 + 8), kOneIteration, kOneToTwo},
        // Caller 3 without its footer: the row counts all the same.
        {"cut before caller 3's footer", full.substr(0, 5 * 24), kOneIteration, kOneAndThreeToTwo},
        {"a ragged tail of 17 bytes", full + std::string(17, '\xff'), kOneIteration, kOneAndThreeToTwo},
        {"empty", "", "<EndConditionValue>100000</EndConditionValue>\n", kDIFHeader},
    };
    for (const Case &c : cases) {
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(c.what + ", processes " + std::to_string(k));
            qrvtest::writeFile(dir, "calls", c.data);
            const qrvtest::RunResult r = runDIF(dir, kDIFKeys + c.keys, k);
            ASSERT_EQ(r.status, 0) << r.out << r.err;
            EXPECT_TRUE(hasLine(r.out, kDIFDone));
            EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), c.result);
        }
    }
}

TEST(BadData, AMissingDataFileOrDescriptionIsItsReport) {
    const std::string dir = prepare();
    const std::vector<std::vector<std::string>> cases = {
        {"calls.info", "Error;|2306;|Failed to open input data file info !!;|calls.info;|ErrorEnd",
         "Failed to open input info file !!"},
        {"calls", "Error;|2305;|calls;|Failed to open input data file !!;|ErrorEnd", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c[0]);
        const std::string path = dir + "/" + c[0];
        ASSERT_EQ(::rename(path.c_str(), (path + ".away").c_str()), 0);
        const qrvtest::RunResult r = runDIF(dir, kDIFKeys, 1);
        EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
        EXPECT_TRUE(hasLine(r.out, c[1])) << r.out;
        EXPECT_NE((r.out + r.err).find(c[2]), std::string::npos);
        EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
        ASSERT_EQ(::rename((path + ".away").c_str(), path.c_str()), 0);
    }
}

// A last line with no line feed is not taken: the weight column is lost, and
// records with no weight are a broken invariant of the row scan, which must
// end the run through its assertion path rather than a signal or a hang.
TEST(BadDescription, WrongWordsBlankOrLongLinesAndNoFinalLineFeedEndTheRun) {
    const std::string dir = prepare();
    const std::string rest = "callee Numeric Explanatory\nweight Numeric Explanatory\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"caller Numeric LineNumber\ncallee numeric Explanatory\nweight Numeric Explanatory\n",
         "Unknown attribute type"},
        {"caller Numeric Linenumber\n" + rest, "Unknown attribute purpose"},
        {"caller Numeric LineNumber\n\n" + rest, "Unknown attribute type"},
        {"caller Numeric LineNumber\ncallee Numeric Explanatory\nweight\n", "Unknown attribute type"},
        // Over the line limit: the end, whatever its words, and no hang.
        {"caller Numeric LineNumber " + std::string(1000, 'x') + "\n" + rest, ""},
        {"caller Numeric LineNumber\n" + rest.substr(0, rest.size() - 1), "ASSERTION FAILED"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        qrvtest::writeFile(dir, "calls.info", c.first);
        const qrvtest::RunResult r = runDIF(dir, kDIFKeys + kOneIteration, 1);
        EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err;
        EXPECT_NE((r.out + r.err).find(c.second), std::string::npos) << r.out << r.err;
        EXPECT_TRUE(hasLine(r.out, e2e::kIll));
        EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
    }
}

// Words after the third in a description line are ignored, and a parameter
// file needs no final line feed.
TEST(BadDescription, ExtraWordsAndAParameterFileWithoutItsLastLineFeedArePlainRuns) {
    const std::string dir = prepare();
    qrvtest::writeFile(dir, "calls.info",
                       "caller Numeric LineNumber extra words\ncallee Numeric Explanatory x\n"
                       "weight Numeric Explanatory 1 2 3\n");
    const qrvtest::RunResult r =
        runParams(dir, "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + kDIFKeys + kOneIteration + "</QRVInput>", 2);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kOneToTwo);
}

// Each kind of text the reader refuses is its own unit case; here the
// refusal reaches the run as 2303, before the algorithm is named.
TEST(BadParams, TextTheReaderRefusesIs2303) {
    const std::string dir = prepare();
    const std::string body = "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + kDIFKeys;
    const std::vector<std::string> cases = {
        body,  // never closed
        body + "<TagPrefix a=1/>\n</QRVInput>\n",
        body + "<TagPrefix>a</Tagprefix>\n</QRVInput>\n",
        body + "<TagPrefix>a&amp</TagPrefix>\n</QRVInput>\n",
    };
    for (const std::string &text : cases) {
        SCOPED_TRACE(text);
        const qrvtest::RunResult r = runParams(dir, text, 1);
        e2e::expectTerminated(r, 1, "Error;|2303;|Could not open parameters file;|ErrorEnd");
        EXPECT_EQ(r.out.find("Algorithm: "), std::string::npos);
        if (text == body) { EXPECT_TRUE(hasLine(r.out, "XML Parse error.")) << r.out; }
    }
}

// The seed file's name comes from a raw line scan with a limit of 9,999
// characters: a longer line ends the scan, so a Seed tag behind it is not seen.
TEST(BadParams, ALineTooLongForTheSeedScanHidesTheSeed) {
    const std::string dir = prepare();
    const qrvtest::RunResult r =
        runDIF(dir, "<TagPrefix>" + std::string(10000, 'x') + "</TagPrefix>\n" + kDIFKeys, 1);
    EXPECT_TRUE(hasLine(r.out, "FindSeedFileNameInParamFile: reading failure in line 3")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "Warning: param file should contain a line of the form <Seed> fname </Seed>"));
    e2e::expectTerminated(
        r, 1, "Error;|2307;|KVORADIFData::readSeedFile: Unable to open seed file (visual version) ;|ErrorEnd");
    EXPECT_FALSE(qrvtest::fileExists(dir + "/result.csv"));
}

// Refused lines cost a warning each and the run goes on. Up to ten characters
// the warning's number is the next element's index; from eleven on it is the
// line number. Conversions keep 32 bits: 4294967296 overflows to the refused
// 4294967295. An eleven-digit number is a node of its own.
TEST(BadSeeds, BinaryBytesAndHugeNumbersAreWarnedAboutAndTheRunGoesOn) {
    const std::string dir = prepare(std::string("1\n") + "\x01\x02\xfe\n" + "4294967295\n" + "4294967296\n" +
                                    "1234567890\xff\x01\n" + "12345678901\n");
    for (int k = 1; k <= 2; ++k) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r = runDIF(dir, kDIFKeys + kOneIteration, k);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        // (code, number); 7 is the empty line behind the last line feed.
        for (const auto &w : std::vector<std::pair<std::string, std::string>>{
                 {"2", "2"}, {"2", "3"}, {"2", "4"}, {"5", "5"}, {"3", "7"}})
            EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|" + w.first + ";|" + kSeedWarning + w.second + " ;|WarningEnd"))
                << w.second << "\n" << r.out;
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
    const std::string dir = prepare("1\n" + std::string(100, '7') + "\n2\n");
    const qrvtest::RunResult r = runDIF(dir, kDIFKeys + kOneIteration, 2);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|2;|" + kSeedWarning + "2 ;|WarningEnd")) << r.out;
    // The empty line behind the last line feed, after two seeds.
    EXPECT_TRUE(hasLine(r.out, "Warning;|5003;|3;|" + kSeedWarning + "4 ;|WarningEnd")) << r.out;
    // Seed 2 holds its own energy and what seed 1 passes on.
    EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kDIFHeader + "1,0.5,0,1,0,5\n2,1.5,1,0,5,0\n");
}

// A results file that can't be opened is 2302 and leaves nothing. The final
// report comes after the results file, which stays; the report's own failure
// is 2301, after the handler's line about the file. With reports during
// training, the first one fails in the middle of the loop while the workers
// wait for the next pass: the launcher has to end them, and no results file
// appears.
TEST(BadOutput, ResultsAndReportsThatCannotBeWritten) {
    const std::string dir = prepare();
    ASSERT_EQ(::mkdir((dir + "/taken").c_str(), 0755), 0);
    struct Case {
        std::string resultName, model, extraKeys, lines, result;
        int k;
    };
    const std::string noOutput = ";|KVORADIFData::writeDataOutputFile: Unable to open output file;|ErrorEnd";
    const std::string noReport = "\nError;|2301;|Could not write output file;|";
    const std::vector<Case> cases = {
        {"taken", "model.xml", kOneIteration, "Error;|2302;|taken" + noOutput, "", 1},
        {"no/such/result.csv", "model.xml", kOneIteration, "Error;|2302;|no/such/result.csv" + noOutput, "", 1},
        {"result.csv", "taken", kOneIteration, "Error: Could not open output file taken" + noReport + "taken;|ErrorEnd",
         kOneToTwo, 1},
        {"result.csv", "taken", kOneIteration, "Error: Could not open output file taken" + noReport + "taken;|ErrorEnd",
         kOneToTwo, 2},
        {"result.csv", "no/such/model.xml", "<PrintModelDuringTraining>1</PrintModelDuringTraining>\n",
         "Error;|2301;|Could not write output file;|no/such/model_intermediate_", "", 1},
        {"result.csv", "no/such/model.xml", "<PrintModelDuringTraining>1</PrintModelDuringTraining>\n",
         "Error;|2301;|Could not write output file;|no/such/model_intermediate_", "", 3},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.resultName + " " + c.model + ", processes " + std::to_string(c.k));
        std::remove((dir + "/result.csv").c_str());
        const qrvtest::RunResult r = runDIF(
            dir, "<Seed>seeds.txt</Seed>\n<OutputFileName>" + c.resultName + "</OutputFileName>\n" + c.extraKeys, c.k,
            c.model);
        if (c.k == 1) { EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err; }
        EXPECT_NE(r.status, 0);
        if (c.lines.back() == 'd') {  // whole lines: the run's own fatal end
            const std::string end = c.lines + "\nTerminating NELO\n";
            if (c.k == 1) {
                EXPECT_NE(r.out.find(end), std::string::npos) << r.out;
            } else {  // a worker's reports may come between the master's lines
                EXPECT_TRUE(e2e::hasLinesInOrder(r.out, end)) << r.out;
            }
            EXPECT_TRUE(hasLine(r.out, e2e::kIll)) << r.out;
        } else {
            EXPECT_NE(r.out.find(c.lines), std::string::npos) << r.out;
        }
        EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), c.result);
        if (c.result.empty()) { EXPECT_FALSE(hasLine(r.out, kDIFDone)); }
        e2e::expectOnly(dir, {"taken", c.result.empty() ? "" : "result.csv"});
    }
}

}  // namespace
