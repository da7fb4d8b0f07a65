// The numeric distribution: the sample, its merge, the passes and the bins.
#include "kernel/kvora_numfielddist.h"

#include <algorithm>

#include "util/kvora_heap.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORARealPQElement, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORARealPQElement, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORARealPQElement, ivPriority, 2)

void KVORARealPQElement::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORARealPQElement *other = static_cast<const KVORARealPQElement *>(source);
    ivValue = other->ivValue;
    ivPriority = other->ivPriority;
}

void KVORARealPQElement::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(reader, KVORA_KWD(ivPriority), ivPriority, env);
}

void KVORARealPQElement::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(writer, KVORA_KWD(ivPriority), ivPriority, env);
}

KVORA_OBJECT_IMPL(KVORANumFieldDist, KVORAObject, 8)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivSampleSortVec, 1)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivSampleSortVecCapacity, 2)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivScansDone, 3)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivPotBinsVec, 4)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivMissingCount, 5)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivValidCount, 6)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivCurrMissingCount, 7)
KVORA_MEMBER_KEYWORD(KVORANumFieldDist, ivCurrValidCount, 8)

KVORANumFieldDist::KVORANumFieldDist() : ivSampleSortVec(KVORA_PLACE), ivPotBinsVec(KVORA_PLACE) {}

void KVORANumFieldDist::setFieldName(const KV2AscString &name)
{
    ivNameHash = kvoraHashBytes(name.c_str(), name.size(), 0);
    ivNameHashValid = 1;
}

void KVORANumFieldDist::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORANumFieldDist *o = static_cast<const KVORANumFieldDist *>(source);
    ivSampleSortVec.copyFrom(o->ivSampleSortVec, env);
    ivSampleSortVecCapacity = o->ivSampleSortVecCapacity;
    ivScansDone = o->ivScansDone;
    ivPotBinsVec.copyFrom(o->ivPotBinsVec, env);
    ivMissingCount = o->ivMissingCount;
    ivValidCount = o->ivValidCount;
    ivCurrMissingCount = o->ivCurrMissingCount;
    ivCurrValidCount = o->ivCurrValidCount;
    ivNameHash = o->ivNameHash;
    ivNameHashValid = o->ivNameHashValid;
}

void KVORANumFieldDist::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivSampleSortVec), ivSampleSortVec, env);
    kvoraRead(reader, KVORA_KWD(ivSampleSortVecCapacity), ivSampleSortVecCapacity, env);
    kvoraRead(reader, KVORA_KWD(ivScansDone), ivScansDone, env);
    kvoraRead(reader, KVORA_KWD(ivPotBinsVec), ivPotBinsVec, env);
    kvoraRead(reader, KVORA_KWD(ivMissingCount), ivMissingCount, env);
    kvoraRead(reader, KVORA_KWD(ivValidCount), ivValidCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrMissingCount), ivCurrMissingCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrValidCount), ivCurrValidCount, env);
}

void KVORANumFieldDist::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::postReadPrimitive(reader, env);
    // A stream can claim any capacity: the sample never holds more than a pass's.
    if (ivSampleSortVecCapacity < 0 || ivSampleSortVecCapacity > cvSampleCapacity) {
        ivSampleSortVecCapacity = ivSampleSortVecCapacity < 0 ? 0 : cvSampleCapacity;
    }
    if (ivSampleSortVec.getSize() > ivSampleSortVecCapacity) {
        ivSampleSortVec.setSize(ivSampleSortVecCapacity, env);
    }
    if (ivSampleSortVec.getSize() == ivSampleSortVecCapacity && ivSampleSortVecCapacity > 0) {
        kvoraHeapify(ivSampleSortVec.getBlock(), ivSampleSortVecCapacity);
    }
}

void KVORANumFieldDist::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleSortVec), ivSampleSortVec, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleSortVecCapacity), ivSampleSortVecCapacity, env);
    kvoraWrite(writer, KVORA_KWD(ivScansDone), ivScansDone, env);
    kvoraWrite(writer, KVORA_KWD(ivPotBinsVec), ivPotBinsVec, env);
    kvoraWrite(writer, KVORA_KWD(ivMissingCount), ivMissingCount, env);
    kvoraWrite(writer, KVORA_KWD(ivValidCount), ivValidCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrMissingCount), ivCurrMissingCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrValidCount), ivCurrValidCount, env);
}

void KVORANumFieldDist::releasePrimitive(KVORA_ENV env)
{
    ivSampleSortVec.reset(env);
    ivSampleSortVecCapacity = 0;
    ivPotBinsVec.reset(env);
    KVORAObject::releasePrimitive(env);
}

void KVORANumFieldDist::offer(double value, uint32_t priority, KVORA_ENV env)
{
    const int32_t len = ivSampleSortVec.getSize();
    if (len < ivSampleSortVecCapacity) {
        ivSampleSortVec.autoExtend(len + 1, env);
        ivSampleSortVec[len + 1].ivValue = value;
        ivSampleSortVec[len + 1].ivPriority = priority;
        if (len + 1 == ivSampleSortVecCapacity) kvoraHeapify(ivSampleSortVec.getBlock(), len + 1);
        return;
    }
    if (ivSampleSortVecCapacity <= 0) return;  // the sample is gone
    KVORARealPQElement *heap = ivSampleSortVec.getBlock();
    if (!(heap[0].ivPriority < priority)) return;
    heap[0].ivValue = value;
    heap[0].ivPriority = priority;
    kvoraHeapSiftDown(heap, len, 0);
}

void KVORANumFieldDist::beginPass(KVORA_ENV env)
{
    ivCurrMissingCount = 0.0;
    ivCurrValidCount = 0.0;
    const int32_t n = ivPotBinsVec.getSize();
    if (n == 0 && ivScansDone == 0 && ivSampleSortVecCapacity == 0) ivSampleSortVecCapacity = cvSampleCapacity;
    // Sized now, so that no row of the pass allocates.
    ivSampleSortVec.setSizeCapacity(0, ivSampleSortVecCapacity, env);
    for (int32_t i = 1; i <= n; ++i) ivPotBinsVec[i].clearCurrent();
}

void KVORANumFieldDist::merge(const KVORANumFieldDist &other, KVORA_ENV env)
{
    ivCurrMissingCount += other.ivCurrMissingCount;
    ivCurrValidCount += other.ivCurrValidCount;
    const int32_t n = ivPotBinsVec.getSize();
    // The bins are the master's on every worker.
    KVORA_ASSERT(other.ivPotBinsVec.getSize() == n);
    for (int32_t i = 1; i <= n; ++i) ivPotBinsVec[i].mergeCurrent(other.ivPotBinsVec[i]);
    if (n != 0 || ivScansDone != 0) return;
    if (ivSampleSortVecCapacity < other.ivSampleSortVecCapacity) ivSampleSortVecCapacity = other.ivSampleSortVecCapacity;
    const int32_t m = other.ivSampleSortVec.getSize();
    for (int32_t i = 1; i <= m; ++i) offer(other.ivSampleSortVec[i].ivValue, other.ivSampleSortVec[i].ivPriority, env);
}

void KVORANumFieldDist::endPass(KVORA_ENV env)
{
    ivValidCount = ivCurrValidCount;
    ivMissingCount = ivCurrMissingCount;
    ivCurrValidCount = 0.0;
    ivCurrMissingCount = 0.0;
    ++ivScansDone;
    if (ivPotBinsVec.getSize() == 0 && ivScansDone == 1) buildBins(env);
    if (ivScansDone >= 1) freeSample(env);
    const int32_t n = ivPotBinsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) ivPotBinsVec[i].foldCurrent();
}

void KVORANumFieldDist::freeSample(KVORA_ENV env)
{
    ivSampleSortVec.reset(env);
    ivSampleSortVecCapacity = 0;
}

void KVORANumFieldDist::buildBins(KVORA_ENV env)
{
    const int32_t n = ivSampleSortVec.getSize();
    KVORAXaRay<double, 0> sorted(KVORA_PLACE);
    sorted.setSizeCapacity(0, n, env);
    int32_t m = 0;
    for (int32_t i = 1; i <= n; ++i) {
        const double v = ivSampleSortVec[i].ivValue;
        if (v != v) continue;  // NaN has no place in an order
        sorted.autoExtend(m, env);
        sorted[m++] = v;
    }
    if (m == 0) {
        sorted.reset(env);
        return;
    }
    std::sort(sorted.getBlock(), sorted.getBlock() + m);
    // Edges: the smallest value, the distinct quantiles at equal shares, the largest.
    KVORAXaRay<double, 0> edges(KVORA_PLACE);
    edges.setSizeCapacity(0, cvBinCount + 1, env);
    int32_t e = 0;
    edges.autoExtend(e, env);
    edges[e++] = sorted[0];
    for (int32_t k = 1; k < cvBinCount; ++k) {
        const double q = sorted[static_cast<int32_t>(static_cast<int64_t>(k) * m / cvBinCount)];
        if (q > edges[e - 1]) {
            edges.autoExtend(e, env);
            edges[e++] = q;
        }
    }
    const double largest = sorted[m - 1];
    if (largest > edges[e - 1] || e == 1) {
        edges.autoExtend(e, env);
        edges[e++] = largest;
    }
    const int32_t bins = e - 1;
    ivPotBinsVec.setSize(bins, env);
    for (int32_t j = 1; j <= bins; ++j) {
        KVORANumFieldBin &bin = ivPotBinsVec[j];
        bin.ivLoEnd = edges[j - 1];
        bin.ivHiEnd = edges[j];
        bin.ivIncLoEnd = 1;
        bin.ivIncHiEnd = j == bins ? 1 : 0;
        bin.clearCurrent();
    }
    edges.reset(env);
    sorted.reset(env);
}

double KVORANumFieldDist::drawValue(uint32_t seed, int32_t &missing) const
{
    const double u = static_cast<double>(kvoraHashCombine(seed, ivNameHash));
    const double t = u * ivValidCount / 4294967295.0;
    double sum = ivMissingCount;
    missing = 0;
    if (!(t > sum)) {
        missing = 1;
        return 0.0;
    }
    const int32_t n = ivPotBinsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        const KVORANumFieldBin &bin = ivPotBinsVec[i];
        if (bin.ivCount > 0.0 && !(t > sum + bin.ivCount)) {
            const double share = (t - sum) / bin.ivCount;
            return bin.ivLoEnd + (bin.ivHiEnd - bin.ivLoEnd) * share;
        }
        sum += bin.ivCount;
    }
    // Rounding can leave t a hair above the last sum: the top of the bins.
    return n > 0 ? ivPotBinsVec[n].ivHiEnd : 0.0;
}
