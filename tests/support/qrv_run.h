// Test helper shared by every end-to-end test: runs a program (optionally
// under the MPI launcher) in a temporary directory and captures what it says.
// Each run has a time limit, so that a hanging program fails its test instead
// of stalling the suite.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace qrvtest {

struct RunResult {
    int status = -1;        // exit status, or 128 + signal when killed by one
    bool timedOut = false;  // the time limit was reached and the run killed
    std::string out;        // standard output
    std::string err;        // standard error
    std::string dir;        // directory the command ran in
    // Under the launcher: each process's own exit status, by rank (-1: none
    // recorded). The launcher's own status for a process that ends without
    // finalising MPI is racy: it may report 1 ("Hangup (signal 1)") for a
    // process that ended with 99, so exact statuses are checked here.
    std::vector<int> rankStatus;
};

struct RunOptions {
    int processes = 0;        // 0: run directly; K > 0: under "mpiexec -n K"
    int timeoutSeconds = 120;
    std::string dir;          // working directory; empty: a fresh temporary one
    std::map<std::string, std::string> env;  // added to the environment
};

// The exit status the program itself ended with: rank's own under the
// launcher, else the run's.
inline int processStatus(const RunResult &r, int rank = 0) {
    return r.rankStatus.empty() ? r.status : r.rankStatus.at(rank);
}

// Paths of the programs under test, fixed at build time.
std::string qrvexecPath();
std::string qrvloadPath();
std::string mpiexecPath();
std::string sourceDir();

// A fresh empty directory below the system's temporary folder.
std::string makeTempDir(const std::string &tag = "qrv");

// Runs argv[0] with its arguments; argv[0] is a path or a name on PATH.
RunResult run(const std::vector<std::string> &argv, const RunOptions &options = {});

// Small file helpers for building inputs and reading outputs.
std::string writeFile(const std::string &dir, const std::string &name, const std::string &content);
std::string readFile(const std::string &path);
bool fileExists(const std::string &path);
std::vector<std::string> splitLines(const std::string &text);

}  // namespace qrvtest
