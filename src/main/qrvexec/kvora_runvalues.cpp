// Run values and the time accounting of the phases.
#include "qrvexec/kvora_runvalues.h"

#include <time.h>

#include <cstdio>
#include <cstring>

#include "nelo-common/kvora_reports.h"

const char *kvoraParamFileName = nullptr;
const char *kvoraInputFileName = nullptr;
const char *kvoraModelOutputFileName = nullptr;
char *kvoraValidationFileName = nullptr;
KVORAPControl *kvoraPControl = nullptr;
char kvoraDiagnosticFileName[256] = {0};

namespace {
uint32_t gBaselineSeconds = 0;
uint32_t gBaselineMilliseconds = 0;
}  // namespace

void kvoraSetValidationFileName(const char *name) {
    delete[] kvoraValidationFileName;
    kvoraValidationFileName = nullptr;
    if (name == nullptr) return;
    const size_t length = std::strlen(name);
    kvoraValidationFileName = new char[length + 1];
    std::memcpy(kvoraValidationFileName, name, length + 1);
}

uint32_t kvoraMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const uint64_t ms = static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<uint32_t>(ms);
}

void reportElapsed(int32_t enabled, const char *phaseName) {
    const uint32_t reading = kvoraMilliseconds();
    const uint32_t seconds = reading / 1000u;
    const uint32_t milliseconds = reading % 1000u;
    if (enabled == 1) {
        const double spent =
            static_cast<double>(static_cast<int64_t>(seconds) - static_cast<int64_t>(gBaselineSeconds)) +
            static_cast<double>(static_cast<int64_t>(milliseconds) - static_cast<int64_t>(gBaselineMilliseconds)) /
                1000000.0;
        char text[512];
        std::snprintf(text, sizeof(text), "Time spent [%lfs] doing %s ", spent,
                      phaseName != nullptr ? phaseName : "");
        reportLog(2, text);
        std::fflush(stdout);
    }
    gBaselineSeconds = seconds;
    gBaselineMilliseconds = milliseconds;
}
