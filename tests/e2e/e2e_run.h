// What the end-to-end tests share: a dataset loaded in a scratch directory,
// qrvexec run there, and what it printed or left.
#pragma once

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/types.h>

#include <fstream>
#include <string>
#include <vector>

#include "qrv_run.h"

namespace e2e {

const std::string kIll = "Log;|0;|Ill termination of qrvexec;|LogEnd";
const std::string kDIFHeader = "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";
const std::string kDIFKeys = "<Seed>seeds.txt</Seed>\n<OutputFileName>result.csv</OutputFileName>\n";
// The worked example after one iteration: seed 1 calls 2 with weight 5.
const std::string kOneToTwo = kDIFHeader + "1,0.5,0,1,0,5\n2,0.5,1,0,5,0\n";
const std::string kCGAKernelKeys =
    "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n<isSparseData>1</isSparseData>\n"
    "<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n<IndicesData>1</IndicesData>\n";

const std::string kClustersHeader =
    "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
    "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n";
const std::string kNodesHeader =
    "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
    "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
    "GroupLeaderType2Conf\n";

inline int countLines(const std::string &text, const std::string &line) {
    int n = 0;
    for (const std::string &l : qrvtest::splitLines(text)) n += l == line;
    return n;
}

inline bool hasLine(const std::string &text, const std::string &line) { return countLines(text, line) > 0; }

// Each of `lines` as a whole line of text, in their order. Several processes
// share one output, so another's lines may come between.
inline bool hasLinesInOrder(const std::string &text, const std::string &lines) {
    const std::vector<std::string> all = qrvtest::splitLines(text);
    size_t at = 0;
    for (const std::string &line : qrvtest::splitLines(lines)) {
        while (at < all.size() && all[at] != line) ++at;
        if (at == all.size()) return false;
        ++at;
    }
    return true;
}

// A scratch directory with `csv` loaded by `qrvload <kind>` as `name`, and
// other files as (name, content).
inline std::string prepare(const std::string &kind, const std::string &csv, const std::string &name,
                           const std::vector<std::pair<std::string, std::string>> &files) {
    const std::string dir = qrvtest::makeTempDir("qrve2e");
    qrvtest::writeFile(dir, name + ".csv", csv);
    for (const auto &f : files) qrvtest::writeFile(dir, f.first, f.second);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.timeoutSeconds = 60;
    const qrvtest::RunResult load = qrvtest::run({qrvtest::qrvloadPath(), kind, name + ".csv", name}, options);
    EXPECT_EQ(load.status, 0) << load.out << load.err;
    return dir;
}

inline std::string prepareDIF(const std::string &edges, const std::string &seeds) {
    return prepare("graph", edges, "calls", {{"seeds.txt", seeds}});
}
inline std::string prepareCGA(const std::string &adjacency, const std::string &kernelValues) {
    return prepare("neighbours", adjacency, "adj", {{"kernel.txt", kernelValues}});
}

// qrvexec (or a program run like it) on k processes, 0 without the launcher.
inline qrvtest::RunResult runQrvexec(const std::string &dir, const std::string &params, const std::string &input,
                                     int k, const std::string &model, int timeoutSeconds,
                                     const std::string &program = qrvtest::qrvexecPath()) {
    qrvtest::writeFile(dir, "params.xml", params);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.processes = k;
    options.timeoutSeconds = timeoutSeconds;
    const qrvtest::RunResult r = qrvtest::run({program, "params.xml", input, model}, options);
    EXPECT_FALSE(r.timedOut) << r.out << r.err;
    return r;
}

inline qrvtest::RunResult runDIF(const std::string &dir, const std::string &keys, int k,
                                 const std::string &model = "model.xml", int timeoutSeconds = 300) {
    return runQrvexec(dir, "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + keys + "</QRVInput>\n", "calls", k,
                      model, timeoutSeconds);
}

inline qrvtest::RunResult runCGA(const std::string &dir, const std::string &keys, int k,
                                 const std::string &model = "model.xml", int timeoutSeconds = 120) {
    return runQrvexec(dir, "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n" + kCGAKernelKeys + keys + "</QRVInput>\n",
                      "adj", k, model, timeoutSeconds);
}

// Both files of a group analysis run named res, one after the other.
inline std::string cgaResults(const std::string &dir) {
    return qrvtest::readFile(dir + "/res_1.clusters.csv") + qrvtest::readFile(dir + "/res_1.nodes.csv");
}

// A fatal end through the run's terminating report: status 99 on one
// process; on more, whatever the launcher makes of it, but not success.
inline void expectTerminated(const qrvtest::RunResult &r, int k, const std::string &errorLine) {
    if (k <= 1) { EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err; }
    EXPECT_NE(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find(k <= 1 ? errorLine + "\nTerminating NELO\n" : errorLine), std::string::npos) << r.out;
    EXPECT_TRUE(hasLine(r.out, kIll)) << r.out;
}

// No file in dir but the inputs and what a run is allowed to leave.
inline void expectOnly(const std::string &dir, std::vector<std::string> allowed) {
    for (const char *input : {"calls.csv", "calls", "calls.info", "seeds.txt", "adj.csv", "adj", "adj.info",
                              "kernel.txt", "params.xml", ".stdout", ".stderr"})
        allowed.push_back(input);
    for (const std::string &name : qrvtest::splitLines(qrvtest::run({"ls", "-A", dir}, {}).out)) {
        bool ok = name.empty();
        for (const std::string &a : allowed) ok = ok || a == name;
        EXPECT_TRUE(ok) << "unexpected file " << name;
    }
}

// A script in dir that records its process id under its rank in pid.<rank>,
// then becomes qrvexec.
inline std::string pidWrapper(const std::string &dir) {
    const std::string path = qrvtest::writeFile(dir, "wrap.sh",
                                                "#!/bin/sh\necho $$ > pid.$PMI_RANK.tmp && mv pid.$PMI_RANK.tmp pid.$PMI_RANK\n"
                                                "exec \"" + qrvtest::qrvexecPath() + "\" \"$@\"\n");
    EXPECT_EQ(::chmod(path.c_str(), 0755), 0);
    return path;
}

// The process id that rank's wrapper recorded, or 0 while there is none yet.
inline pid_t recordedPid(const std::string &dir, int rank) {
    long long pid = 0;
    std::ifstream(dir + "/pid." + std::to_string(rank)) >> pid;
    return static_cast<pid_t>(pid);
}

}  // namespace e2e
