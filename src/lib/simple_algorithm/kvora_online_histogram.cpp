// The online histogram: adding, melting the closest pair, and folding two
// array histograms together.
#include "simple_algorithm/kvora_online_histogram.h"

#include <cmath>

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAOnlineHistogramData, KVORASimpleAlgorithmAbstractData, 3)
KVORA_MEMBER_KEYWORD(KVORAOnlineHistogramData, ivNumberOfBins, 1)
KVORA_MEMBER_KEYWORD(KVORAOnlineHistogramData, ivBinLocations, 2)
KVORA_MEMBER_KEYWORD(KVORAOnlineHistogramData, ivBinCounts, 3)

KVORAOnlineHistogramData::KVORAOnlineHistogramData() : ivNumberOfBins(0) {}

void KVORAOnlineHistogramData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    const KVORAOnlineHistogramData *other = static_cast<const KVORAOnlineHistogramData *>(source);
    ivNumberOfBins = other->ivNumberOfBins;
    ivHistogram = other->ivHistogram;
    forgetGaps();
    ivBinLocations.copyFrom(other->ivBinLocations, env);
    ivBinCounts.copyFrom(other->ivBinCounts, env);
}

void KVORAOnlineHistogramData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
    KVORAOnlineHistogramData *other = static_cast<KVORAOnlineHistogramData *>(source);
    ivNumberOfBins = other->ivNumberOfBins;
    ivHistogram.swap(other->ivHistogram);
    other->ivHistogram.clear();
    forgetGaps();
    other->forgetGaps();
    ivBinLocations.transferFrom(other->ivBinLocations, env);
    ivBinCounts.transferFrom(other->ivBinCounts, env);
}

void KVORAOnlineHistogramData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivNumberOfBins), ivNumberOfBins, env);
    kvoraRead(reader, KVORA_KWD(ivBinLocations), ivBinLocations, env);
    kvoraRead(reader, KVORA_KWD(ivBinCounts), ivBinCounts, env);
}

void KVORAOnlineHistogramData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivNumberOfBins), ivNumberOfBins, env);
    kvoraWrite(writer, KVORA_KWD(ivBinLocations), ivBinLocations, env);
    kvoraWrite(writer, KVORA_KWD(ivBinCounts), ivBinCounts, env);
}

void KVORAOnlineHistogramData::releasePrimitive(KVORA_ENV env) {
    ivBinLocations.reset(env);
    ivBinCounts.reset(env);
    ivHistogram.clear();
    forgetGaps();
    ivSpareNode = std::map<double, int32_t>::node_type();
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

void KVORAOnlineHistogramData::setCapacity(int32_t capacity, KVORA_ENV env) {
    ivNumberOfBins = capacity;
    ivHistogram.clear();
    forgetGaps();
}

void KVORAOnlineHistogramData::forgetGaps() {
    ivGaps.clear();
    ivGapsState = GapsNotMade;
}

void KVORAOnlineHistogramData::addGapAfter(std::map<double, int32_t>::const_iterator lower) {
    const auto upper = std::next(lower);
    if (upper == ivHistogram.end()) return;
    const double gap = upper->first - lower->first;
    if (std::isnan(gap)) {
        forgetGaps();
        ivGapsState = GapsWalked;
        return;
    }
    ivGaps.emplace(gap, lower->first);
}

void KVORAOnlineHistogramData::removeGapAfter(std::map<double, int32_t>::const_iterator lower) {
    const auto upper = std::next(lower);
    if (upper != ivHistogram.end()) ivGaps.erase(std::make_pair(upper->first - lower->first, lower->first));
}

void KVORAOnlineHistogramData::makeGaps() {
    ivGaps.clear();
    ivGapsState = GapsKept;
    for (auto bin = ivHistogram.cbegin(); bin != ivHistogram.cend() && ivGapsState == GapsKept; ++bin) addGapAfter(bin);
}

void KVORAOnlineHistogramData::putBin(double location, int32_t count) {
    if (!ivSpareNode.empty()) {
        ivSpareNode.key() = location;
        ivSpareNode.mapped() = count;
        auto result = ivHistogram.insert(std::move(ivSpareNode));
        if (!result.inserted) {
            result.position->second = count;  // assignment over a bin at that place
            ivSpareNode = std::move(result.node);
        }
        return;
    }
    ivHistogram[location] = count;
}

void KVORAOnlineHistogramData::addValue(double value, KVORA_ENV env) {
    const auto found = ivHistogram.find(value);
    if (found != ivHistogram.end()) {
        ++found->second;
        return;
    }
    if (static_cast<int64_t>(ivHistogram.size()) >= ivNumberOfBins) mergeClosestBins(env);
    if (ivGapsState != GapsKept) {
        putBin(value, 1);
        return;
    }
    // The new bin splits the gap of the two bins around it.
    auto after = ivHistogram.lower_bound(value);
    if (after != ivHistogram.begin() && after != ivHistogram.end()) removeGapAfter(std::prev(after));
    putBin(value, 1);
    const auto bin = ivHistogram.find(value);
    if (bin != ivHistogram.begin()) addGapAfter(std::prev(bin));
    if (ivGapsState == GapsKept) addGapAfter(bin);
}

void KVORAOnlineHistogramData::mergeClosestBins(KVORA_ENV env) {
    // With fewer than two bins there is no pair to melt; the capacity is at
    // least 2 in all uses, so this is a broken invariant, not an input.
    KVORA_ASSERT(ivHistogram.size() >= 2);
    if (ivGapsState == GapsNotMade) makeGaps();
    auto best = ivHistogram.begin();
    if (ivGapsState == GapsKept) {
        best = ivHistogram.find(ivGaps.begin()->second);
    } else {
        auto previous = ivHistogram.begin();
        auto current = std::next(previous);
        double bestGap = current->first - previous->first;
        for (; current != ivHistogram.end(); previous = current, ++current) {
            const double gap = current->first - previous->first;
            if (gap < bestGap) {
                bestGap = gap;
                best = previous;
            }
        }
    }
    auto second = std::next(best);
    const bool keepGaps = ivGapsState == GapsKept;
    if (keepGaps) {
        // The gaps that touch the pair go; the melted bin's come back below.
        if (best != ivHistogram.begin()) removeGapAfter(std::prev(best));
        removeGapAfter(best);
        removeGapAfter(second);
    }
    const double x1 = best->first, x2 = second->first;
    const int32_t c1 = best->second, c2 = second->second;
    const double location = (x1 * c1 + x2 * c2) / (c1 + c2);
    const int32_t count = c1 + c2;
    // Both nodes are kept: one carries the melted bin, the other waits for
    // the next new bin, so a full histogram takes values without allocating.
    auto first = ivHistogram.extract(best);
    auto spare = ivHistogram.extract(second);
    if (ivSpareNode.empty()) ivSpareNode = std::move(first);
    putBin(location, count);
    if (ivSpareNode.empty()) ivSpareNode = std::move(spare);
    if (!keepGaps) return;
    if (!(location >= x1 && location <= x2)) {
        // Rounding put the mean outside the pair, among other bins: the
        // gaps are made again from the bins at the next melt.
        forgetGaps();
        return;
    }
    const auto bin = ivHistogram.find(location);
    if (bin != ivHistogram.begin()) addGapAfter(std::prev(bin));
    if (ivGapsState == GapsKept) addGapAfter(bin);
}

void KVORAOnlineHistogramData::mergeHistograms(KVORAXaRay<double, 1> &locations, KVORAXaRay<int32_t, 1> &counts,
                                               const KVORAXaRay<double, 1> &otherLocations,
                                               const KVORAXaRay<int32_t, 1> &otherCounts, KVORA_ENV env) {
    ivHistogram.clear();
    forgetGaps();
    const int32_t n = locations.getSize() < counts.getSize() ? locations.getSize() : counts.getSize();
    for (int32_t i = 1; i <= n; ++i) ivHistogram[locations[i]] = counts[i];
    const int32_t m =
        otherLocations.getSize() < otherCounts.getSize() ? otherLocations.getSize() : otherCounts.getSize();
    for (int32_t i = 1; i <= m; ++i) {
        const auto found = ivHistogram.find(otherLocations[i]);
        if (found != ivHistogram.end())
            found->second += otherCounts[i];
        else
            ivHistogram[otherLocations[i]] = otherCounts[i];
    }
    // The union may pass the capacity for a moment; it is cut back only here.
    while (static_cast<int64_t>(ivHistogram.size()) > ivNumberOfBins && ivHistogram.size() >= 2)
        mergeClosestBins(env);
    getHistogram(locations, counts, env);
}

void KVORAOnlineHistogramData::getHistogram(KVORAXaRay<double, 1> &locations, KVORAXaRay<int32_t, 1> &counts,
                                            KVORA_ENV env) const {
    const int32_t n = static_cast<int32_t>(ivHistogram.size());
    locations.setSize(n, env);
    counts.setSize(n, env);
    int32_t i = 0;
    for (const auto &bin : ivHistogram) {
        ++i;
        locations[i] = bin.first;
        counts[i] = bin.second;
    }
}

void KVORAOnlineHistogramData::finishIteration(KVORA_ENV env) { getHistogram(ivBinLocations, ivBinCounts, env); }

void KVORAOnlineHistogramData::merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) {
    if (other == nullptr || other == this) return;
    KVORA_ASSERT(other->isKindOf(KVORAOnlineHistogramData::classType()));
    KVORAOnlineHistogramData *histogram = static_cast<KVORAOnlineHistogramData *>(other);
    mergeHistograms(ivBinLocations, ivBinCounts, histogram->ivBinLocations, histogram->ivBinCounts, env);
}
