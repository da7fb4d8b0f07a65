// The run reports. Each line is written and flushed at once: the controlling
// program reads standard output while the run goes on, and a process may be
// ended by the launcher at any moment after a failure elsewhere.
#include "nelo-common/kvora_reports.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kvora_debug.h"

namespace {

// The source name that the fatal report of reportError shows.
const char *const kReportsSource = "src/lib/nelo-common/kvora_reports";

void printLine(const char *kind, int32_t number, const char *text, const char *end) {
    std::fprintf(stdout, "%s;|%d;|%s;|%s\n", kind, static_cast<int>(number), text != nullptr ? text : "", end);
    std::fflush(stdout);
}

std::string joined(const std::string &text1, const std::string &text2) { return text1 + ";|" + text2; }

void errorLine(int32_t code, const char *text, uint8_t terminate) {
    printLine("Error", code, text, "ErrorEnd");
    if (terminate == 0) return;
    std::fputs("Terminating NELO\n", stdout);
    std::fflush(stdout);
    kvoraFatal("KVORA Terminating", kReportsSource, __LINE__, "reportError");
    kvoraThrow(kReportsSource, __LINE__, "reportError");
    std::exit(1);  // not reached: the throw unwinds to the entry point
}

}  // namespace

void reportError(int32_t code, const char *text, KVORA_ENV env, uint8_t terminate) {
    errorLine(code, text, terminate);
}

void reportError(int32_t code, const std::string &text, KVORA_ENV env, uint8_t terminate) {
    errorLine(code, text.c_str(), terminate);
}

void reportError(int32_t code, const std::ostringstream &text, KVORA_ENV env, uint8_t terminate) {
    errorLine(code, text.str().c_str(), terminate);
}

void reportError(int32_t code, const std::stringstream &text, KVORA_ENV env, uint8_t terminate) {
    errorLine(code, text.str().c_str(), terminate);
}

void reportError(int32_t code, const std::string &text1, const std::string &text2, KVORA_ENV env,
                 uint8_t terminate) {
    errorLine(code, joined(text1, text2).c_str(), terminate);
}

void reportErrorAndExit(int32_t code, const char *text, uint8_t terminate) {
    printLine("Error", code, text, "ErrorEnd");
    if (terminate != 0) std::exit(1);
}

void reportErrorAndExit(int32_t code, const std::string &text, uint8_t terminate) {
    reportErrorAndExit(code, text.c_str(), terminate);
}

void reportErrorAndExit(int32_t code, const std::string &text1, const std::string &text2, uint8_t terminate) {
    reportErrorAndExit(code, joined(text1, text2).c_str(), terminate);
}

void reportWarning(int32_t code, const char *text) { printLine("Warning", code, text, "WarningEnd"); }

void reportWarning(int32_t code, const std::string &text) { reportWarning(code, text.c_str()); }

void reportWarning(int32_t code, const std::string &text1, const std::string &text2) {
    reportWarning(code, joined(text1, text2).c_str());
}

void reportLog(int32_t level, const char *text) { printLine("Log", level, text, "LogEnd"); }

void reportLog(int32_t level, const std::string &text) { reportLog(level, text.c_str()); }

int32_t TestInputStringType(const char *value, const char *typeName) {
    if (value == nullptr) value = "";
    if (typeName == nullptr) typeName = "";
    if (std::strcmp(typeName, "int") == 0) {
        char *end = nullptr;
        (void)std::strtol(value, &end, 0);
        if (value[0] != '\0' && end != nullptr && *end == '\0') return 1;
        std::printf("TestInputStringType, illegal int value found: %s\n", value);
        std::fflush(stdout);
        return 0;
    }
    if (std::strcmp(typeName, "double") != 0 && value[0] != '\0')
        reportErrorAndExit(2400, "TestInputStringType:unknown type to compare", 1);
    char *end = nullptr;
    (void)std::strtod(value, &end);
    if (end != nullptr && *end == '\0') return 1;
    std::printf("TestInputStringType, illegal double value found: %s\n", value);
    std::fflush(stdout);
    return 0;
}

int32_t TestInputStringType(const std::string &value, const std::string &typeName) {
    return TestInputStringType(value.c_str(), typeName.c_str());
}
