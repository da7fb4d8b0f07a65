// The complaints of the owner pointers, out of line so that the inline paths
// of the templates stay short.
#include "util/kvora_ownptr.h"

namespace {
const char *orUnknown(const char *text) { return text != nullptr ? text : "?\?\?"; }
}  // namespace

void kvoraOwnPtrDestructorComplaint(int32_t copied, const char *file, int32_t line, const char *function,
                                    const char *headerFile, int32_t headerLine, const char *headerFunction) {
    if (!kvoraFailureHeader(headerFile, headerLine, headerFunction)) return;
    std::fputs(" KVORAOwnPtr destructor called while holding an object\n", stderr);
    if (copied != 0)
        std::fputs("KVORAOwnPtr was copy-constructed from another KVORAOwnPtr\n"
                   "that was originally constructed in function ",
                   stderr);
    else
        std::fputs("KVORAOwnPtr was constructed in function ", stderr);
    std::fprintf(stderr, "%s at line %d in file %s\n", orUnknown(function), static_cast<int>(line),
                 kvoraBaseName(file));
    std::fflush(stderr);
}

void kvoraOwnPtrAccessFailed(int32_t deleted, const char *file, int32_t line, const char *function) {
    if (deleted == 0) kvoraAssertFail("ivObject != 0", file, line, function);
    if (kvoraFailureHeader(KVORA_PLACE)) {
        std::fprintf(stderr, " Attempt to access a deleted object\nObject was deleted in function %s at line %d in file %s\n",
                     orUnknown(function), static_cast<int>(line), kvoraBaseName(file));
        std::fflush(stderr);
    }
    kvoraThrow(KVORA_PLACE);
}

void kvoraObjectAllocFailed(const char *file, int32_t line, const char *function) {
    kvoraPendingMemoryErrorFlag = 1;
    kvoraFatal("Cannot allocate object memory", file, line, function);
    kvoraPendingMemoryErrorFlag = 0;
    kvoraExceptionInFlightFlag = 1;
    throw KVOMemoryException();
}

void kvoraLocalDestructorComplaint() {
    if (!kvoraFailurePrefix()) return;
    std::fputs(" KVORALocal destructor called without calling a reset() function or applying the KVORA_DELETE() macro\n",
               stderr);
    std::fflush(stderr);
}
