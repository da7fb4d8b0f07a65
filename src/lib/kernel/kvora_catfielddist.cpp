// The categorical distribution: the sample, its merge, the passes and the
// choice of categories.
#include "kernel/kvora_catfielddist.h"

#include <algorithm>

#include "kernel/kvora_field.h"
#include "util/kvora_debug.h"
#include "util/kvora_heap.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAStringPQElement, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAStringPQElement, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORAStringPQElement, ivPriority, 2)

void KVORAStringPQElement::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORAStringPQElement *other = static_cast<const KVORAStringPQElement *>(source);
    ivValue = other->ivValue;
    ivPriority = other->ivPriority;
}

void KVORAStringPQElement::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(reader, KVORA_KWD(ivPriority), ivPriority, env);
}

void KVORAStringPQElement::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(writer, KVORA_KWD(ivPriority), ivPriority, env);
}

KVORA_OBJECT_IMPL(KVORACatFieldDist, KVORAObject, 12)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivSampleVec, 1)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivSampleVecCapacity, 2)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivCatsVec, 3)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivMaxCatsAllowed, 4)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivMinCatOccuranceThreshold, 5)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivScansDone, 6)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivValidCount, 7)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivMissingCount, 8)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivDefaultCount, 9)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivCurrValidCount, 10)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivCurrMissingCount, 11)
KVORA_MEMBER_KEYWORD(KVORACatFieldDist, ivCurrDefaultCount, 12)

KVORACatFieldDist::KVORACatFieldDist() : ivSampleVec(KVORA_PLACE), ivCatsVec(KVORA_PLACE) {}

void KVORACatFieldDist::setFieldName(const KV2AscString &name)
{
    ivNameHash = kvoraHashBytes(name.c_str(), name.size(), 0);
    ivNameHashValid = 1;
}

void KVORACatFieldDist::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORACatFieldDist *o = static_cast<const KVORACatFieldDist *>(source);
    ivSampleVec.copyFrom(o->ivSampleVec, env);
    ivSampleVecCapacity = o->ivSampleVecCapacity;
    ivCatsVec.copyFrom(o->ivCatsVec, env);
    ivMaxCatsAllowed = o->ivMaxCatsAllowed;
    ivMinCatOccuranceThreshold = o->ivMinCatOccuranceThreshold;
    ivScansDone = o->ivScansDone;
    ivValidCount = o->ivValidCount;
    ivMissingCount = o->ivMissingCount;
    ivDefaultCount = o->ivDefaultCount;
    ivCurrValidCount = o->ivCurrValidCount;
    ivCurrMissingCount = o->ivCurrMissingCount;
    ivCurrDefaultCount = o->ivCurrDefaultCount;
    ivNameHash = o->ivNameHash;
    ivNameHashValid = o->ivNameHashValid;
    rebuildIndex(env);
}

void KVORACatFieldDist::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivSampleVec), ivSampleVec, env);
    kvoraRead(reader, KVORA_KWD(ivSampleVecCapacity), ivSampleVecCapacity, env);
    kvoraRead(reader, KVORA_KWD(ivCatsVec), ivCatsVec, env);
    kvoraRead(reader, KVORA_KWD(ivMaxCatsAllowed), ivMaxCatsAllowed, env);
    kvoraRead(reader, KVORA_KWD(ivMinCatOccuranceThreshold), ivMinCatOccuranceThreshold, env);
    kvoraRead(reader, KVORA_KWD(ivScansDone), ivScansDone, env);
    kvoraRead(reader, KVORA_KWD(ivValidCount), ivValidCount, env);
    kvoraRead(reader, KVORA_KWD(ivMissingCount), ivMissingCount, env);
    kvoraRead(reader, KVORA_KWD(ivDefaultCount), ivDefaultCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrValidCount), ivCurrValidCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrMissingCount), ivCurrMissingCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrDefaultCount), ivCurrDefaultCount, env);
}

void KVORACatFieldDist::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::postReadPrimitive(reader, env);
    // A stream can claim any capacity: the sample never holds more than a pass's.
    if (ivSampleVecCapacity < 0 || ivSampleVecCapacity > cvSampleCapacity) {
        ivSampleVecCapacity = ivSampleVecCapacity < 0 ? 0 : cvSampleCapacity;
    }
    // The elements beyond the capacity cannot be a heap's.
    if (ivSampleVec.getSize() > ivSampleVecCapacity) {
        ivSampleVec.setSize(ivSampleVecCapacity, env);
    }
    if (ivSampleVec.getSize() == ivSampleVecCapacity && ivSampleVecCapacity > 0) {
        kvoraHeapify(ivSampleVec.getBlock(), ivSampleVecCapacity);
    }
    rebuildIndex(env);
}

void KVORACatFieldDist::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleVec), ivSampleVec, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleVecCapacity), ivSampleVecCapacity, env);
    kvoraWrite(writer, KVORA_KWD(ivCatsVec), ivCatsVec, env);
    kvoraWrite(writer, KVORA_KWD(ivMaxCatsAllowed), ivMaxCatsAllowed, env);
    kvoraWrite(writer, KVORA_KWD(ivMinCatOccuranceThreshold), ivMinCatOccuranceThreshold, env);
    kvoraWrite(writer, KVORA_KWD(ivScansDone), ivScansDone, env);
    kvoraWrite(writer, KVORA_KWD(ivValidCount), ivValidCount, env);
    kvoraWrite(writer, KVORA_KWD(ivMissingCount), ivMissingCount, env);
    kvoraWrite(writer, KVORA_KWD(ivDefaultCount), ivDefaultCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrValidCount), ivCurrValidCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrMissingCount), ivCurrMissingCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrDefaultCount), ivCurrDefaultCount, env);
}

void KVORACatFieldDist::releasePrimitive(KVORA_ENV env)
{
    ivSampleVec.reset(env);
    ivSampleVecCapacity = 0;
    ivCatsVec.reset(env);
    ivCatIndex.reset(env);
    KVORAObject::releasePrimitive(env);
}

void KVORACatFieldDist::rebuildIndex(KVORA_ENV env)
{
    ivCatIndex.reset(env);
    const int32_t n = ivCatsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        const KV2AscString &text = ivCatsVec[i].ivValue;
        const int32_t index = ivCatIndex.copyPut(text, kvoraHashBytes(text.c_str(), text.size(), 0), env);
        // Two categories with one text: the index would answer the first.
        KVORA_ASSERT(index == i);
    }
}

void KVORACatFieldDist::addCategory(const KV2AscString &text, KVORA_ENV env)
{
    const int32_t position = ivCatsVec.getSize() + 1;
    ivCatsVec.autoExtend(position, env);
    KVORACatFieldCat &cat = ivCatsVec[position];
    cat.ivValue = text;
    cat.ivCount = 0.0;
    cat.ivCurrCount = 0.0;
    cat.ivPriority = 0;
    const int32_t index = ivCatIndex.copyPut(text, kvoraHashBytes(text.c_str(), text.size(), 0), env);
    KVORA_ASSERT(index == position);
}

const KV2AscString &KVORACatFieldDist::getCategoryAt(int32_t index) const
{
    static const KV2AscString emptyText;
    if (index == KVORAField::DefaultValueIndex) return emptyText;
    KVORA_ASSERT(index > 0 && index <= ivCatsVec.getSize());
    return ivCatsVec[index].ivValue;
}

void KVORACatFieldDist::offer(const KV2AscString &text, uint32_t priority, KVORA_ENV env)
{
    const int32_t len = ivSampleVec.getSize();
    if (len < ivSampleVecCapacity) {
        ivSampleVec.autoExtend(len + 1, env);
        KVORAStringPQElement &element = ivSampleVec[len + 1];
        element.ivValue = text;
        element.ivPriority = priority;
        if (len + 1 == ivSampleVecCapacity) kvoraHeapify(ivSampleVec.getBlock(), len + 1);
        return;
    }
    if (ivSampleVecCapacity <= 0) return;  // the sample is gone
    KVORAStringPQElement *heap = ivSampleVec.getBlock();
    if (!(heap[0].ivPriority < priority)) return;
    // Into the root's own string, so its capacity is reused.
    heap[0].ivValue = text;
    heap[0].ivPriority = priority;
    kvoraHeapSiftDown(heap, len, 0);
}

void KVORACatFieldDist::beginPass(KVORA_ENV env)
{
    ivCurrValidCount = 0.0;
    ivCurrMissingCount = 0.0;
    ivCurrDefaultCount = 0.0;
    if (ivScansDone < 2 && ivSampleVecCapacity == 0) ivSampleVecCapacity = cvSampleCapacity;
    ivSampleVec.setSizeCapacity(0, ivSampleVecCapacity, env);
    const int32_t n = ivCatsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) ivCatsVec[i].ivCurrCount = 0.0;
}

void KVORACatFieldDist::merge(const KVORACatFieldDist &other, KVORA_ENV env)
{
    ivCurrValidCount += other.ivCurrValidCount;
    ivCurrMissingCount += other.ivCurrMissingCount;
    ivCurrDefaultCount += other.ivCurrDefaultCount;
    const int32_t n = other.ivCatsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        const KVORACatFieldCat &cat = other.ivCatsVec[i];
        const int32_t index = findCategory(cat.ivValue);
        // The categories are the master's on every worker; a stranger's rows
        // count as values of no category.
        if (index > 0)
            ivCatsVec[index].ivCurrCount += cat.ivCurrCount;
        else
            ivCurrDefaultCount += cat.ivCurrCount;
    }
    if (ivScansDone >= 2) return;
    if (ivSampleVecCapacity < other.ivSampleVecCapacity) ivSampleVecCapacity = other.ivSampleVecCapacity;
    const int32_t m = other.ivSampleVec.getSize();
    for (int32_t i = 1; i <= m; ++i) {
        offer(other.ivSampleVec[i].ivValue, other.ivSampleVec[i].ivPriority, env);
    }
}

void KVORACatFieldDist::endPass(KVORA_ENV env)
{
    ivValidCount = ivCurrValidCount;
    ivMissingCount = ivCurrMissingCount;
    ivDefaultCount = ivCurrDefaultCount;
    ivCurrValidCount = 0.0;
    ivCurrMissingCount = 0.0;
    ivCurrDefaultCount = 0.0;
    // The last pass's counts stand, like the totals beside them.
    const int32_t n = ivCatsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        ivCatsVec[i].ivCount = ivCatsVec[i].ivCurrCount;
        ivCatsVec[i].ivCurrCount = 0.0;
    }
    ++ivScansDone;
    if (ivScansDone < 3) chooseCategories(env);
    if (ivScansDone >= 2) freeSample(env);
}

void KVORACatFieldDist::freeSample(KVORA_ENV env)
{
    ivSampleVec.reset(env);
    ivSampleVecCapacity = 0;
}

void KVORACatFieldDist::chooseCategories(KVORA_ENV env)
{
    const int32_t n = ivSampleVec.getSize();
    if (n == 0) return;
    // Distinct texts of the sample with their numbers of hits.
    KVORAObjectIndexXAshTable<KVORAHashString> texts;
    KVORAXaRay<KVORACatFieldCat, 1> candidates(KVORA_PLACE);
    for (int32_t i = 1; i <= n; ++i) {
        const KVORAHashString &text = ivSampleVec[i].ivValue;
        const int32_t index = texts.copyPut(text, text.getHash(), env);
        if (index > candidates.getSize()) {
            candidates.autoExtend(index, env);
            candidates[index].ivValue = text;
        }
        candidates[index].ivCount += 1.0;
    }
    const int32_t m = candidates.getSize();
    KVORAXaRay<int32_t, 1> order(KVORA_PLACE);
    order.setSize(m, env);
    for (int32_t i = 1; i <= m; ++i) order[i] = i;
    // Larger counts first; equal counts by text, so that the choice does not
    // depend on where the elements stand in the merged heap.
    std::sort(order.getBlock(), order.getBlock() + m, [&candidates](int32_t a, int32_t b) {
        const KVORACatFieldCat &x = candidates[a];
        const KVORACatFieldCat &y = candidates[b];
        if (x.comesBefore(y)) return true;
        if (y.comesBefore(x)) return false;
        return x.ivValue < y.ivValue;
    });
    for (int32_t k = 1; k <= m; ++k) {
        const KVORACatFieldCat &candidate = candidates[order[k]];
        if (findCategory(candidate.ivValue) > 0) continue;
        if (static_cast<double>(ivMinCatOccuranceThreshold) > candidate.ivCount) break;
        if (ivCatsVec.getSize() >= ivMaxCatsAllowed) break;
        addCategory(candidate.ivValue, env);
    }
    for (int32_t i = 1; i <= m; ++i) candidates[i].releasePrimitive(env);
    candidates.reset(env);
    order.reset(env);
    texts.reset(env);
}

int32_t KVORACatFieldDist::drawIndex(uint32_t seed) const
{
    const double u = static_cast<double>(kvoraHashCombine(seed, ivNameHash));
    const double t = u * ivValidCount / 4294967295.0;
    double sum = ivMissingCount;
    if (!(t > sum)) return KVORAField::MissingValueIndex;
    sum += ivDefaultCount;
    if (!(t > sum)) return KVORAField::DefaultValueIndex;
    const int32_t n = ivCatsVec.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        sum += ivCatsVec[i].ivCount;
        if (!(t > sum)) return i;
    }
    // Rounding can leave t a hair above the last sum: the last category.
    return n > 0 ? n : KVORAField::DefaultValueIndex;
}
