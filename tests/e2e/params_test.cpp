// The parameter file seen from outside: every process reads it, names the
// algorithm, and ends with the run's fatal path (status 99) when the file
// cannot be read, lacks QRVInput or AlgorithmName, or names an algorithm that
// does not exist. Each case runs on one process and on three. With three, the
// first process to end makes the launcher stop the others, which may not
// have printed yet: each of their lines appears at least once and at most
// three times, and the launcher's status is not 0 (it may be the signal that
// stopped a peer rather than 99).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qrv_run.h"

namespace {

const std::string kIll = "Log;|0;|Ill termination of qrvexec;|LogEnd";
const std::string kDone = "Log;|0;|qrvexec Terminated Successfully;|LogEnd";

int countLines(const std::string &text, const std::string &line) {
    int n = 0;
    for (const std::string &l : qrvtest::splitLines(text))
        if (l == line) ++n;
    return n;
}

int countText(const std::string &text, const std::string &what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// Runs qrvexec on a parameter file with the given content (none: no file)
// under the launcher with k processes.
qrvtest::RunResult runWith(const std::string *content, int k) {
    std::string dir = qrvtest::makeTempDir("qrvparams");
    if (content != nullptr) qrvtest::writeFile(dir, "params.xml", *content);
    qrvtest::RunOptions options;
    options.processes = k;
    options.timeoutSeconds = 60;
    options.dir = dir;
    return qrvtest::run({qrvtest::qrvexecPath(), "params.xml", "input.dat", "model.xml"}, options);
}

qrvtest::RunResult runWith(const std::string &content, int k) { return runWith(&content, k); }

const int kProcessCounts[] = {1, 3};

// The lines of a fatal end, seen from k processes.
void expectFatal(const qrvtest::RunResult &r, int k, const std::vector<std::string> &lines,
                 const std::string &stream) {
    EXPECT_FALSE(r.timedOut);
    if (k == 1)
        EXPECT_EQ(qrvtest::processStatus(r), 99);
    else
        EXPECT_NE(r.status, 0);
    const std::string &text = stream == "err" ? r.err : r.out;
    for (const std::string &line : lines) {
        int n = stream == "err" ? countText(text, line) : countLines(text, line);
        EXPECT_GE(n, 1) << line << "\n" << text;
        EXPECT_LE(n, k) << line << "\n" << text;
    }
    EXPECT_GE(countLines(r.out, kIll), 1) << r.out;
    EXPECT_EQ(countLines(r.out, kDone), 0) << r.out;
}

}  // namespace

TEST(Params, MissingFileIsError2303InEveryProcess) {
    for (int k : kProcessCounts) {
        qrvtest::RunResult r = runWith(nullptr, k);
        expectFatal(r, k, {"Error;|2303;|Could not open parameters file;|ErrorEnd", "Terminating NELO"}, "out");
        EXPECT_EQ(countText(r.out, "Algorithm"), 0) << r.out;
    }
}

TEST(Params, MalformedFileShowsTheParseErrorThen2303) {
    for (int k : kProcessCounts) {
        qrvtest::RunResult r = runWith("<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n<b>1</b><b>2</b>\n</QRVInput>\n", k);
        expectFatal(r, k,
                    {"Duplicate child tag [b]", "XML Parse error.", "Current tag stack: ", "__XMLRoot__ QRVInput ",
                     "  [QRVInput] { }", "    [AlgorithmName][DIF] { }", "    [b][1] { }",
                     "ERROR ecnountered while reading XML file",
                     "Error;|2303;|Could not open parameters file;|ErrorEnd"},
                    "out");
    }
}

TEST(Params, MissingQRVInputFailsTheAssertion) {
    for (int k : kProcessCounts) {
        qrvtest::RunResult r = runWith("<Input>\n  <AlgorithmName>DIF</AlgorithmName>\n</Input>\n", k);
        expectFatal(r, k,
                    {"ASSERTION FAILED (Parameters file must include an <QRVInput>name</QRVInput> tag at the first "
                     "level of the XML structure)"},
                    "err");
        EXPECT_EQ(countText(r.out, "Algorithm"), 0) << r.out;
    }
}

TEST(Params, MissingAlgorithmNameFailsTheAssertion) {
    for (int k : kProcessCounts) {
        // AlgorithmName one level too deep does not count.
        qrvtest::RunResult r =
            runWith("<QRVInput>\n  <Run>\n    <AlgorithmName>DIF</AlgorithmName>\n  </Run>\n</QRVInput>\n", k);
        expectFatal(r, k,
                    {"ASSERTION FAILED (Parameters file must include an <AlgorithmName>name</AlgorithmName> tag at "
                     "the second level of the XML structure)"},
                    "err");
    }
}

TEST(Params, UnknownAlgorithmIsError2202) {
    for (int k : kProcessCounts) {
        // Names are compared by bytes: "dif" is not "DIF".
        qrvtest::RunResult r = runWith("<QRVInput>\n  <AlgorithmName>dif</AlgorithmName>\n</QRVInput>\n", k);
        expectFatal(r, k,
                    {"Algorithm: dif", "Algorithm dif is not implemented",
                     "Error;|2202;|KVORAControl::execute: wrong algorithm name. Must be CGA or DIF ;|ErrorEnd",
                     "Terminating NELO"},
                    "out");
    }
}

TEST(Params, EmptyAlgorithmNameIsNotImplemented) {
    qrvtest::RunResult r = runWith("<QRVInput>\n  <AlgorithmName></AlgorithmName>\n</QRVInput>\n", 0);
    expectFatal(r, 1, {"Algorithm: ", "Algorithm  is not implemented"}, "out");
}

TEST(Params, KnownAlgorithmsAreChosenAndOnlyTheMasterAnnouncesPrinting) {
    // No dataset is given, so once the algorithm is chosen the master stops at
    // the input file (2305); everything before that point is what is checked.
    // The launcher may end the workers as soon as the master has failed, so a
    // worker's own line is not guaranteed on more than one process.
    for (int k : kProcessCounts) {
        qrvtest::RunResult r = runWith(
            "<QRVInput>\n"
            "  <AlgorithmName>DIF</AlgorithmName>\n"
            "  <PrintModelDuringTraining>3</PrintModelDuringTraining>\n"
            "  <MultipleTrainFiles>true</MultipleTrainFiles>\n"
            "</QRVInput>\n",
            k);
        EXPECT_FALSE(r.timedOut);
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
