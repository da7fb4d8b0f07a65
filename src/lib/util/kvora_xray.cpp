// Out-of-line parts of the growing arrays: the growth rule and the failure
// and complaint output, kept here so that the inline paths stay small.
#include "util/kvora_xray.h"

#include <limits>

int32_t kvoraXaRayGrownCapacity(int32_t capacity, int64_t needed) {
    double x = capacity < 1 ? 1.0 : static_cast<double>(capacity);
    while (x < static_cast<double>(needed)) x *= kvoraXaRayGrowth;
    const double grown = std::ceil(x);
    const double limit = static_cast<double>(std::numeric_limits<int32_t>::max());
    if (grown > limit) return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(grown);
}

void kvoraArrayAllocFailed(const char *file, int32_t line, const char *function) {
    kvoraPendingMemoryErrorFlag = 1;
    kvoraFatal("Cannot allocate array memory", file, line, function);
    kvoraPendingMemoryErrorFlag = 0;
    kvoraExceptionInFlightFlag = 1;
    throw KVOMemoryException();
}

void kvoraArrayDestructorComplaint(const char *className, const char *file, int32_t line, const char *function) {
    if (!kvoraFailureHeader(file, line, function)) return;
    std::fprintf(stderr, "\n    %s destructor called without resetting array\n", className);
    std::fflush(stderr);
}
