// Per-worker number files: the name rule, the four number patterns, and
// writing at the file pointer.
#include "control/kvora_multifileoutput.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mpi.h>
#include <unistd.h>

#include "util/kvora_debug.h"

KVORA_OBJECT_IMPL(KVORAMultifileOutput, KVORAObject, 0)

namespace {
int32_t workerRank = -1;  // -1: ask the parallel job
}  // namespace

KVORAMultifileOutput::KVORAMultifileOutput() : ivFile(-1), ivOffset(0), ivUsed(0) {}

KVORAMultifileOutput::~KVORAMultifileOutput() {
    // A descriptor is not memory on the account: giving it back needs no
    // environment.
    if (ivFile >= 0) {
        flushBuffer();
        ::close(ivFile);
    }
}

void KVORAMultifileOutput::copyFromPrimitive(const KVORAObject *, KVORA_ENV) { KVORA_NOT_IMPLEMENTED(); }
void KVORAMultifileOutput::transferFromPrimitive(KVORAObject *, KVORA_ENV) { KVORA_NOT_IMPLEMENTED(); }
void KVORAMultifileOutput::readPrimitive(KVORAObjReader &, KVORA_ENV) { KVORA_NOT_IMPLEMENTED(); }
void KVORAMultifileOutput::writePrimitive(KVORAObjWriter &, KVORA_ENV) const { KVORA_NOT_IMPLEMENTED(); }

void KVORAMultifileOutput::releasePrimitive(KVORA_ENV env) {
    close(env);
    KVORAObject::releasePrimitive(env);
}

void KVORAMultifileOutput::setWorkerRank(int32_t rank) { workerRank = rank; }

int32_t KVORAMultifileOutput::getWorkerRank() {
    if (workerRank >= 0) return workerRank;
    int initialized = 0, finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    if (!initialized || finalized) return 0;
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    return rank;
}

KV2AscString KVORAMultifileOutput::makeWorkerFileName(const KV2AscString &name, int32_t rank) {
    char tag[32];
    std::snprintf(tag, sizeof tag, "_worker_%d", static_cast<int>(rank));
    const char *text = name.c_str();
    const char *dot = std::strrchr(text, '.');  // over the whole path
    KV2AscString result;
    if (dot == nullptr) {
        result = name;
        result += tag;
    } else {
        result.assign(text, static_cast<int32_t>(dot - text));
        result += tag;
        result += dot;
    }
    return result;
}

int32_t KVORAMultifileOutput::formatNumber(char *out, double value, int32_t last) {
    // A value equal to its floor has no decimals. The test is on the
    // difference, so NaN and the infinities take the patterns with decimals.
    const bool whole = (value - std::floor(value)) == 0.0;
    // "%15.0Lf" and "%15.6Lf" of a double: a long double holds it exactly,
    // so the text is the double's exact value rounded half to even, which
    // is what the fixed form of to_chars writes, without a printf per number.
    char text[kTextRoom];
    const char *end = std::to_chars(text, text + kTextRoom, value, std::chars_format::fixed, whole ? 0 : 6).ptr;
    const int32_t length = static_cast<int32_t>(end - text);
    int32_t n = 0;
    for (; n + length < 15; ++n) out[n] = ' ';
    std::memcpy(out + n, text, static_cast<size_t>(length));
    n += length;
    if (last) {
        out[n++] = '\n';
    } else {
        out[n++] = ',';
        out[n++] = '\t';
    }
    return n;
}

void KVORAMultifileOutput::flushBuffer() {
    int32_t done = 0;
    while (done < ivUsed && ivFile >= 0) {
        const ssize_t n = ::pwrite(ivFile, ivBuffer + done, static_cast<size_t>(ivUsed - done),
                                   static_cast<off_t>(ivOffset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // failures of the write are not examined
        done += static_cast<int32_t>(n);
        ivOffset += n;
    }
    ivUsed = 0;
}

int32_t KVORAMultifileOutput::open(const KV2AscString &fileName, KVORA_ENV env) {
    close(env);
    const KV2AscString name = makeWorkerFileName(fileName, getWorkerRank());
    ivFile = ::open(name.c_str(), O_CREAT | O_WRONLY, 0666);
    ivOffset = 0;
    ivUsed = 0;
    return 1;
}

int32_t KVORAMultifileOutput::close(KVORA_ENV) {
    if (ivFile >= 0) {
        flushBuffer();
        ::close(ivFile);
    }
    ivFile = -1;
    ivUsed = 0;
    return 1;
}

int32_t KVORAMultifileOutput::writeRow(const KVORAXaRay<double, 1> &values, KVORA_ENV) {
    const int32_t n = values.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        if (ivUsed + kNumberRoom > static_cast<int32_t>(sizeof ivBuffer)) flushBuffer();
        ivUsed += formatNumber(ivBuffer + ivUsed, values[i], i == n);
    }
    return 1;
}
