// Diffusion runs from outside: a CSV edge list loaded with qrvload, a
// parameter file and a seed file, qrvexec under the launcher. The worked
// example gives its hand-computed file on one to four processes; the bundled
// example and a random graph of 20,000 edges give the same file byte for
// byte on one to four processes; every refused parameter ends the run with
// its text and the fatal status.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::kDIFHeader;
using e2e::kDIFKeys;

std::string reportLine(const std::string &report, const std::string &tag) {
    for (const std::string &line : qrvtest::splitLines(report))
        if (line.find("<" + tag + ">") != std::string::npos) return line;
    return "";
}

// Also the entry point's banners: every process says the version line, and
// the master alone, after it, the job size. A run that succeeds, since a
// failing master may have the launcher end the others before their first line.
TEST(DIFRun, TheWorkedExampleOnOneToFourProcesses) {
    const std::string dir = e2e::prepareDIF("caller,callee,weight\n1,2,5\n", "1\n");
    const std::string version = "Log;|0;|qrvexec version is 2.0.6;|LogEnd";
    for (int k = 1; k <= 4; ++k) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r = e2e::runDIF(dir, kDIFKeys + "<MaxNumIterations>1</MaxNumIterations>\n", k);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), e2e::kOneToTwo);
        EXPECT_NE(r.out.find("Log;|1;|Diffusion Model 1, Iteration 1 diffVal = 0.5\n;|LogEnd\n"), std::string::npos);
        EXPECT_NE(r.out.find("Log;|0;|DIF Terminated Successfully;|LogEnd\n"), std::string::npos);
        const std::string report = qrvtest::readFile(dir + "/model.xml");
        EXPECT_NE(reportLine(report, "Model1iterations").find(">1<"), std::string::npos) << report;
        EXPECT_NE(reportLine(report, "Model1DiffValatConvergence").find(">0.5<"), std::string::npos);
        EXPECT_NE(reportLine(report, "MaxNumberofIterations").find(">1<"), std::string::npos);
        EXPECT_EQ(e2e::countLines(r.out, version), k) << r.out;
        EXPECT_EQ(e2e::countLines(r.out, "There are " + std::to_string(k) + " processors for this job"), 1) << r.out;
        EXPECT_LT(r.out.find(version), r.out.find("There are ")) << r.out;
        EXPECT_EQ(r.out.find("Main: usage"), std::string::npos);
    }
}

TEST(DIFRun, AnEndConditionOfAHundredThousandEndsAfterThePassOne) {
    const std::string dir = e2e::prepareDIF("caller,callee,weight\n1,2,5\n1,3,1\n2,3,0.5\n", "1\n9\n");
    for (int k = 1; k <= 2; ++k) {
        const qrvtest::RunResult r = e2e::runDIF(dir, kDIFKeys + "<EndConditionValue>100000</EndConditionValue>\n", k);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(qrvtest::readFile(dir + "/result.csv"), kDIFHeader + "1,0,0,2,0,0\n2,0,1,1,0,0\n3,0,2,0,0,0\n");
        EXPECT_EQ(r.out.find("Diffusion Model 1"), std::string::npos);
    }
}

std::string randomGraph(int edges) {
    std::mt19937_64 random(77001);
    std::ostringstream csv;
    csv << "caller,callee,weight\n";
    for (int i = 0; i < edges; ++i) {
        const uint64_t caller = 1 + random() % 3000;
        const uint64_t callee = 1 + random() % 4000;
        const double weight = static_cast<double>(1 + random() % 999) / 100.0;
        csv << caller << ',' << callee << ',' << weight << '\n';
    }
    return csv.str();
}

// The nodes that the results must list: every caller, every callee, every seed.
size_t randomGraphNodes(const std::string &csv, const std::string &seeds) {
    std::set<std::string> nodes;
    for (const std::string &line : qrvtest::splitLines(csv)) {
        if (line.empty() || line[0] == 'c') continue;
        const size_t a = line.find(','), b = line.find(',', a + 1);
        nodes.insert(line.substr(0, a));
        nodes.insert(line.substr(a + 1, b - a - 1));
    }
    for (const std::string &line : qrvtest::splitLines(seeds)) nodes.insert(line);
    return nodes.size();
}

void expectSameResultsOnOneToFour(const std::string &dir, const std::string &keys, size_t nodes) {
    std::string first, firstIterations;
    for (int k = 1; k <= 4; ++k) {
        SCOPED_TRACE(k);
        const qrvtest::RunResult r = e2e::runDIF(dir, keys, k);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        const std::string result = qrvtest::readFile(dir + "/result.csv");
        const std::string iterations = reportLine(qrvtest::readFile(dir + "/model.xml"), "Model1iterations");
        if (k == 1) {
            first = result;
            firstIterations = iterations;
            EXPECT_EQ(qrvtest::splitLines(result).size(), nodes + 1);
        } else {
            EXPECT_TRUE(result == first) << "results differ from those of one process";
            EXPECT_EQ(iterations, firstIterations);
        }
    }
}

TEST(DIFRun, TheExampleGivesTheSameFileOnOneToFourProcesses) {
    const std::string source = qrvtest::sourceDir() + "/examples/dif/";
    const std::string dir =
        e2e::prepareDIF(qrvtest::readFile(source + "calls.csv"), qrvtest::readFile(source + "seeds.txt"));
    expectSameResultsOnOneToFour(dir, kDIFKeys + "<EndConditionValue>0.001</EndConditionValue>\n", 7);
}

TEST(DIFRun, ARandomGraphOfTwentyThousandEdgesGivesTheSameFileOnOneToFourProcesses) {
    const std::string edges = randomGraph(20000), seeds = "5\n17\n17\n2999\n123456\n";
    const std::string dir = e2e::prepareDIF(edges, seeds);
    expectSameResultsOnOneToFour(dir, kDIFKeys + "<SpreadCoefficient>0.7</SpreadCoefficient>\n"
                                                 "<EndConditionValue>0.00001</EndConditionValue>\n",
                                 randomGraphNodes(edges, seeds));
}

// A result file that can't be opened (2302) is in the bad-input catalogue.
TEST(DIFRun, EveryRefusedParameterEndsTheRunWithItsText) {
    const std::string dir = e2e::prepareDIF("caller,callee,weight\n1,2,5\n", "1\n");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {kDIFKeys + "<isSparseData>2</isSparseData>\n",
         "Error;|2202;|KVORADIFData::open: illegal value: isSparseData flag must be 0 or 1 ;|ErrorEnd"},
        {kDIFKeys + "<isSparseData>0</isSparseData>\n", "Error;|2202;|KVORADIFData::open: Data must be sparse!;|ErrorEnd"},
        {kDIFKeys + "<VerbosityLevel>101</VerbosityLevel>\n",
         "Error;|2202;|KVORACGAData::open, illegal verbosity level;|ErrorEnd"},
        {kDIFKeys + "<SpreadCoefficient>1</SpreadCoefficient>\n",
         "Error;|2202;|KVORADIFData::open: Illegal value. Spreading coefficient must be in the range (0,1);|ErrorEnd"},
        {"<OutputFileName>result.csv</OutputFileName>\n",
         "Error;|2202;|KVORADIFData::open: No seed file specified;|ErrorEnd"},
        {"<Seed>seeds.txt</Seed>\n", "Error;|2202;|KVORADIFData::open: No output file name specified;|ErrorEnd"},
        {kDIFKeys + "<OutputFormat>XML</OutputFormat>\n",
         "Error;|2202;|KVORADIFData::open: Data format must be CSV;|ErrorEnd"},
        {kDIFKeys + "<EndConditionValue>-0.5</EndConditionValue>\n",
         "Error;|2202;|KVORADIFData::open: Illegal value. End condition value must be positive;|ErrorEnd"},
        {kDIFKeys + "<MaxNumIterations>-2147483648</MaxNumIterations>\n",
         "Error;|2202;|KVORADIFData::open: Illegal value. Maximal number of iterations must be a positive "
         "integer;|ErrorEnd"},
        {"<Seed>\nseeds.txt</Seed>\n<OutputFileName>result.csv</OutputFileName>\n",
         "Error;|2307;|KVORADIFData::readSeedFile: Unable to open seed file (visual version) ;|ErrorEnd"},
        {"<Seed>missing.txt</Seed>\n<OutputFileName>result.csv</OutputFileName>\n",
         "Error;|2307;|KVORADIFData::readSeedFile: Unable to open seed file;|ErrorEnd"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        e2e::expectTerminated(e2e::runDIF(dir, c.first, 1), 1, c.second);
    }
}

// Broken rows cannot come from the graph loader; the table loader writes the
// same three columns in file order, as they stand.
TEST(DIFRun, BrokenRowsEndTheProcessWithTheirRowNumbers) {
    const std::vector<std::vector<std::string>> cases = {
        {"5,7,1\n", "worker: 0 ERROR in row 1, caller: 5, callee: 7, weight: 1\n",
         "Error;|4602;|1;|KVORADIFData::checkMatStateValidity: Expected to see header;|ErrorEnd\n"},
        {"5,0,1\n5,3,1\n5,0,7788\n6,0,2\n6,1,1\n7,2,1\n",
         "worker: 0 ERROR in row 6, caller: 7, callee: 2, weight: 1\n",
         "Error;|4603;|6;|KVORADIFData::checkMatStateValidity: Caller changed without proper footer;|ErrorEnd\n"},
        {"5,0,1\n5,3,1\n5,0,7787\n", "worker: 0 ERROR in row 3, caller: 5, callee: 0, weight: 7787\nExpected 1 callees\n",
         "Error;|4604;|KVORADIFData::checkMatStateValidity: number of callees exceeded bound;|ErrorEnd\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c[0]);
        const std::string dir = qrvtest::makeTempDir("qrvdif");
        qrvtest::writeFile(dir, "rows.csv", "caller,callee,weight\n" + c[0]);
        qrvtest::writeFile(dir, "seeds.txt", "5\n");
        qrvtest::RunOptions options;
        options.dir = dir;
        ASSERT_EQ(qrvtest::run({qrvtest::qrvloadPath(), "table", "rows.csv", "calls", "--line-number", "caller"}, options)
                      .status,
                  0);
        const qrvtest::RunResult r = e2e::runDIF(dir, kDIFKeys, 1);
        EXPECT_EQ(qrvtest::processStatus(r), 1);
        EXPECT_EQ(r.err, c[1]);
        EXPECT_NE(r.out.find(c[2]), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("Terminating NELO"), std::string::npos);
    }
}

}  // namespace
