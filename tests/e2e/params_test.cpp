// The parameter file seen from outside, on one process and on three: every
// process reads it, names the algorithm, and ends with the fatal path (status
// 99) when the file cannot be read, lacks QRVInput or AlgorithmName, or names
// no algorithm. With three, the first process to end makes the launcher stop
// the others, which may not have printed yet: each line appears one to three
// times, and the launcher's status is not 0.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::countLines;

int countText(const std::string &text, const std::string &what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

qrvtest::RunResult runWith(const std::string &content, int k) {
    return e2e::runQrvexec(qrvtest::makeTempDir("qrvparams"), content, "input.dat", k, "model.xml", 60);
}

}  // namespace

TEST(Params, EachRefusedFileEndsEveryProcessWithItsLines) {
    struct Case {
        std::string content;
        std::vector<std::string> lines;
        bool onErr;  // the lines are on standard error
    };
    const std::vector<Case> cases = {
        {"<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n<b>1</b><b>2</b>\n</QRVInput>\n",
         {"Duplicate child tag [b]", "XML Parse error.", "Current tag stack: ", "__XMLRoot__ QRVInput ",
          "  [QRVInput] { }", "    [AlgorithmName][DIF] { }", "    [b][1] { }",
          "ERROR ecnountered while reading XML file", "Error;|2303;|Could not open parameters file;|ErrorEnd"},
         false},
        {"<Input>\n  <AlgorithmName>DIF</AlgorithmName>\n</Input>\n",
         {"ASSERTION FAILED (Parameters file must include an <QRVInput>name</QRVInput> tag at the first "
          "level of the XML structure)"},
         true},
        // AlgorithmName one level too deep does not count.
        {"<QRVInput>\n  <Run>\n    <AlgorithmName>DIF</AlgorithmName>\n  </Run>\n</QRVInput>\n",
         {"ASSERTION FAILED (Parameters file must include an <AlgorithmName>name</AlgorithmName> tag at "
          "the second level of the XML structure)"},
         true},
        // Names are compared by bytes: "dif" is not "DIF".
        {"<QRVInput>\n  <AlgorithmName>dif</AlgorithmName>\n</QRVInput>\n",
         {"Algorithm: dif", "Algorithm dif is not implemented",
          "Error;|2202;|KVORAControl::execute: wrong algorithm name. Must be CGA or DIF ;|ErrorEnd",
          "Terminating NELO"},
         false},
        {"<QRVInput>\n  <AlgorithmName></AlgorithmName>\n</QRVInput>\n",
         {"Algorithm: ", "Algorithm  is not implemented"}, false},
    };
    for (const Case &c : cases) {
        for (int k : {1, 3}) {
            SCOPED_TRACE(c.content + ", processes " + std::to_string(k));
            const qrvtest::RunResult r = runWith(c.content, k);
            if (k == 1) {
                EXPECT_EQ(qrvtest::processStatus(r), 99);
            } else {
                EXPECT_NE(r.status, 0);
            }
            const std::string &text = c.onErr ? r.err : r.out;
            for (const std::string &line : c.lines) {
                const int n = c.onErr ? countText(text, line) : countLines(text, line);
                EXPECT_GE(n, 1) << line << "\n" << text;
                EXPECT_LE(n, k) << line << "\n" << text;
            }
            EXPECT_GE(countLines(r.out, e2e::kIll), 1) << r.out;
            EXPECT_EQ(countLines(r.out, "Log;|0;|qrvexec Terminated Successfully;|LogEnd"), 0) << r.out;
            // Before the algorithm is named, nothing is said about it.
            if (c.lines[0].rfind("Algorithm", 0) != 0) { EXPECT_EQ(countText(r.out, "Algorithm: "), 0) << r.out; }
        }
    }
}

TEST(Params, KnownAlgorithmsAreChosenAndOnlyTheMasterAnnouncesPrinting) {
    // No dataset is given, so once the algorithm is chosen the master stops at
    // the input file (2305); everything before that point is what is checked.
    // The launcher may end the workers as soon as the master has failed, so a
    // worker's own line is not guaranteed on more than one process.
    for (int k : {1, 3}) {
        qrvtest::RunResult r = runWith(
            "<QRVInput>\n"
            "  <AlgorithmName>DIF</AlgorithmName>\n"
            "  <PrintModelDuringTraining>3</PrintModelDuringTraining>\n"
            "  <MultipleTrainFiles>true</MultipleTrainFiles>\n"
            "</QRVInput>\n",
            k);
        EXPECT_NE(r.status, 0) << r.out << r.err;
        EXPECT_GE(countLines(r.out, "Algorithm: DIF"), 1) << r.out;
        EXPECT_LE(countLines(r.out, "Algorithm: DIF"), k) << r.out;
        EXPECT_EQ(countLines(r.out, "Print model during training"), 1) << r.out;
        EXPECT_EQ(countText(r.out, "Error;|2305;|"), 1) << r.out;
        EXPECT_EQ(countText(r.out, " is not implemented"), 0) << r.out;

        qrvtest::RunResult quiet = runWith(
            "<QRVInput>\n  <AlgorithmName> CGA </AlgorithmName>\n"
            "  <PrintModelDuringTraining>0</PrintModelDuringTraining>\n</QRVInput>\n",
            k);
        EXPECT_GE(countLines(quiet.out, "Algorithm: CGA"), 1) << quiet.out;
        EXPECT_EQ(countText(quiet.out, " is not implemented"), 0) << quiet.out;
        EXPECT_EQ(countText(quiet.out, "Print model during training"), 0) << quiet.out;
    }
}
