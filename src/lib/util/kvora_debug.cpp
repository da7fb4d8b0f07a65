// Failure output of the assertions. Output goes to standard error, apart from
// the run reports' own lines on standard output, and is flushed at once so
// that it is there even when the process is ended from outside.
#include "util/kvora_debug.h"

#include <cstdio>

uint8_t kvoraSilentFlag = 0;
uint8_t kvoraExpectedErrorFlag = 0;
uint8_t kvoraSimulatedErrorFlag = 0;
int32_t kvoraErrorFlag = 0;
int32_t kvoraPendingMemoryErrorFlag = 0;
int32_t kvoraExceptionInFlightFlag = 0;
void (*kvoraAssertTraceHook)(const char *, int32_t, const char *, const char *) = nullptr;
const KVORAPlace *kvoraPlaceStack = nullptr;

namespace {

bool isNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_';
}

const char *orUnknown(const char *text) { return text != nullptr ? text : "?\?\?"; }

void traceFailure(const char *file, int32_t line, const char *function, const char *text) {
    if (kvoraAssertTraceHook != nullptr) kvoraAssertTraceHook(file, line, function, orUnknown(text));
}

void printAssertion(const char *expression, const char *cause, const char *file, int32_t line,
                    const char *function) {
    traceFailure(file, line, function, expression);
    if (!kvoraFailureHeader(file, line, function)) return;
    std::fprintf(stderr, "\n    ASSERTION FAILED (%s)", orUnknown(expression));
    if (cause != nullptr) std::fprintf(stderr, "\n    PROBABLE CAUSE: %s", cause);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

}  // namespace

const char *kvoraBaseName(const char *path) {
    if (path == nullptr) return "?\?\?";
    const char *base = path;
    for (const char *p = path; *p != '\0'; ++p)
        if (!isNameChar(*p)) base = p + 1;
    return base;
}

bool kvoraFailurePrefix() {
    if (kvoraSimulatedErrorFlag == 0) kvoraErrorFlag = 1;
    if (kvoraSilentFlag != 0) return false;
    const char *prefix = "\n*** ERROR";
    if (kvoraSimulatedErrorFlag != 0)
        prefix = "\n    Simulated Error";
    else if (kvoraExpectedErrorFlag != 0)
        prefix = "\n    Expected Error";
    std::fputs(prefix, stderr);
    return true;
}

bool kvoraFailureHeader(const char *file, int32_t line, const char *function) {
    if (!kvoraFailurePrefix()) return false;
    std::fprintf(stderr, " in function %s at line %d in file %s", orUnknown(function), static_cast<int>(line),
                 kvoraBaseName(file));
    return true;
}

void kvoraAssertFail(const char *expression, const char *file, int32_t line, const char *function) {
    printAssertion(expression, nullptr, file, line, function);
    kvoraThrow(file, line, function);
}

void kvoraAssertFailCause(const char *expression, const char *cause, const char *file, int32_t line,
                          const char *function) {
    printAssertion(expression, orUnknown(cause), file, line, function);
    kvoraThrow(file, line, function);
}

void kvoraAssertWarn(const char *expression, const char *file, int32_t line, const char *function) {
    printAssertion(expression, nullptr, file, line, function);
}

void kvoraFatal(const char *message, const char *file, int32_t line, const char *function) {
    traceFailure(file, line, function, message);
    if (!kvoraFailureHeader(file, line, function)) return;
    // Each line of a message after the first is indented like the header's.
    std::fputs("\n    ", stderr);
    for (const char *p = orUnknown(message); *p != '\0'; ++p) {
        if (*p == '\n')
            std::fputs("\n    ", stderr);
        else
            std::fputc(*p, stderr);
    }
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

void kvoraThrow(const char *file, int32_t line, const char *function) {
    traceFailure(file, line, function, "C++ Exception thrown.");
    kvoraPendingMemoryErrorFlag = 0;
    kvoraExceptionInFlightFlag = 1;
    throw 0;
}

void kvoraSimulatedError(const char *file, int32_t line, const char *function) {
    const uint8_t saved = kvoraSimulatedErrorFlag;
    kvoraSimulatedErrorFlag = 1;
    if (kvoraFailureHeader(file, line, function)) {
        std::fputc('\n', stderr);
        std::fflush(stderr);
    }
    kvoraSimulatedErrorFlag = saved;
    kvoraThrow(file, line, function);
}

void kvoraPrintPlaces(std::ostream &out, const KVORAPlace *place) {
    for (; place != nullptr; place = place->previous)
        out << "Function " << orUnknown(place->function) << ", File " << kvoraBaseName(place->file) << ", Line "
            << place->line << '\n';
    out.flush();
}
