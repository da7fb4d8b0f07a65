// Process runner for the end-to-end tests: fork, redirect standard output and
// standard error to files in the run directory, poll for the end, and kill
// the whole process group at the time limit.
#include "qrv_run.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <ftw.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace qrvtest {

std::string qrvexecPath() { return QRV_QRVEXEC; }
std::string qrvloadPath() { return QRV_QRVLOAD; }
std::string mpiexecPath() { return QRV_MPIEXEC; }
std::string sourceDir() { return QRV_SOURCE_DIR; }

namespace {

int removeEntry(const char *path, const struct stat *, int, struct FTW *) { return ::remove(path); }

// The folders a test process made, removed with all they hold when it ends:
// a suite run many times must not fill the temporary folder. A child forked
// by a death test ends with exit too, and must leave its parent's folders be.
// QRV_KEEP_TEMP keeps them for a look after a failure.
struct TempDirs {
    pid_t owner = ::getpid();
    std::vector<std::string> paths;
    ~TempDirs() {
        const char *keep = getenv("QRV_KEEP_TEMP");
        if (::getpid() != owner || (keep != nullptr && *keep != '\0')) return;
        for (const std::string &path : paths) ::nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
};

TempDirs &tempDirs() {
    static TempDirs dirs;
    return dirs;
}

}  // namespace

std::string makeTempDir(const std::string &tag) {
    const char *base = getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/" + tag + "_XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) {
        perror("mkdtemp");
        abort();
    }
    tempDirs().paths.push_back(buf.data());
    return buf.data();
}

std::string writeFile(const std::string &dir, const std::string &name, const std::string &content) {
    std::string path = dir.empty() ? name : dir + "/" + name;
    std::ofstream f(path, std::ios::binary);
    f << content;
    return path;
}

std::string readFile(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

bool fileExists(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::vector<std::string> splitLines(const std::string &text) {
    std::vector<std::string> lines;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

static double nowSeconds() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

RunResult run(const std::vector<std::string> &argvIn, const RunOptions &options) {
    RunResult result;
    result.dir = options.dir.empty() ? makeTempDir("qrvrun") : options.dir;

    std::vector<std::string> argv;
    std::string statusDir;
    if (options.processes > 0) {
        // Each rank runs under a shell that notes the program's own status.
        statusDir = makeTempDir("qrvstatus");
        argv = {mpiexecPath(), "-n", std::to_string(options.processes), "/bin/sh", "-c",
                "\"$0\" \"$@\"; s=$?; echo $s >\"$QRVRUN_STATUS_DIR/$PMI_RANK\"; exit $s"};
    }
    argv.insert(argv.end(), argvIn.begin(), argvIn.end());

    std::string outPath = result.dir + "/.stdout";
    std::string errPath = result.dir + "/.stderr";

    fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
        perror("fork");
        abort();
    }
    if (pid == 0) {
        setpgid(0, 0);
        if (chdir(result.dir.c_str()) != 0) _exit(126);
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int in = open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0) _exit(126);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        for (const auto &kv : options.env) setenv(kv.first.c_str(), kv.second.c_str(), 1);
        if (!statusDir.empty()) setenv("QRVRUN_STATUS_DIR", statusDir.c_str(), 1);
        std::vector<char *> args;
        for (auto &a : argv) args.push_back(const_cast<char *>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    setpgid(pid, pid);

    double deadline = nowSeconds() + options.timeoutSeconds;
    int wstatus = 0;
    for (;;) {
        pid_t r = waitpid(pid, &wstatus, WNOHANG);
        if (r == pid) break;
        if (r < 0 && errno != EINTR) break;
        if (nowSeconds() > deadline) {
            result.timedOut = true;
            kill(-pid, SIGKILL);
            waitpid(pid, &wstatus, 0);
            break;
        }
        usleep(2000);
    }
    // Whatever the launcher left behind in the group goes with it.
    kill(-pid, SIGKILL);

    if (WIFEXITED(wstatus)) result.status = WEXITSTATUS(wstatus);
    else if (WIFSIGNALED(wstatus)) result.status = 128 + WTERMSIG(wstatus);
    result.out = readFile(outPath);
    result.err = readFile(errPath);
    for (int rank = 0; rank < options.processes; ++rank) {
        std::string path = statusDir + "/" + std::to_string(rank);
        std::string text = readFile(path);
        result.rankStatus.push_back(text.empty() ? -1 : std::atoi(text.c_str()));
        unlink(path.c_str());
    }
    if (!statusDir.empty()) rmdir(statusDir.c_str());
    return result;
}

}  // namespace qrvtest
