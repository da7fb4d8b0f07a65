// A histogram of a stream of kernel values in at most a given number of bins,
// with no range known in advance: each distinct value opens a bin, and when
// there are too many the two closest bins melt into their weighted mean. The
// ordered map is the working form; the pair of arrays is the form that crosses
// between processes and that merges read. Map nodes freed by a melt are kept
// for the next new bin, so a full histogram takes values without allocating.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "util/kvora_env.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_xray.h"

class KVORAOnlineHistogramData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORAOnlineHistogramData)
public:
    KVORAOnlineHistogramData();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    // Empties both arrays (and the working map).
    void releasePrimitive(KVORA_ENV env) override;

    // Sets the capacity and empties the histogram.
    void setCapacity(int32_t capacity, KVORA_ENV env);
    // Counts one value: into its bin if one stands exactly there, else into a
    // new bin, after melting the closest pair if the histogram is full.
    virtual void addValue(double value, KVORA_ENV env);
    // Folds the array histogram `other` into `locations`/`counts`, which are
    // read first and then overwritten with the result.
    virtual void mergeHistograms(KVORAXaRay<double, 1> &locations, KVORAXaRay<int32_t, 1> &counts,
                                 const KVORAXaRay<double, 1> &otherLocations,
                                 const KVORAXaRay<int32_t, 1> &otherCounts, KVORA_ENV env);
    // Melts the adjacent pair with the smallest gap; equal gaps: the lowest.
    virtual void mergeClosestBins(KVORA_ENV env);

    // The bins in ascending order of location.
    void getHistogram(KVORAXaRay<double, 1> &locations, KVORAXaRay<int32_t, 1> &counts, KVORA_ENV env) const;
    // getHistogram into the object's own arrays.
    void finishIteration(KVORA_ENV env) override;
    // Folds another histogram's arrays into this one's.
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    int32_t canUpdateWithoutDataScan() const override { return 1; }
    double getSamplingRate() const override { return 1.0; }

    int32_t getNumberOfBins() const { return ivNumberOfBins; }
    int32_t getBinCount() const { return static_cast<int32_t>(ivHistogram.size()); }
    const std::map<double, int32_t> &getBins() const { return ivHistogram; }

    int32_t ivNumberOfBins;                  // capacity
    std::map<double, int32_t> ivHistogram;   // location -> count, ascending
    KVORAXaRay<double, 1> ivBinLocations;    // array form of the keys
    KVORAXaRay<int32_t, 1> ivBinCounts;      // array form of the counts

private:
    // Enters a bin by assignment, reusing a spare node when there is one.
    void putBin(double location, int32_t count);
    std::map<double, int32_t>::node_type ivSpareNode;

    // The gaps between neighbouring bins as (gap, lower location), so that
    // the first is the pair that the walk of mergeClosestBins would pick
    // (smallest gap, then lowest). A full histogram melts once per new value;
    // the walk made that a thousand steps a value. Made on the first melt
    // and kept up by adding and melting; a not-a-number gap has no order, so
    // then the walk serves until the bins are emptied.
    enum { GapsNotMade, GapsKept, GapsWalked };
    std::set<std::pair<double, double>> ivGaps;
    int32_t ivGapsState = GapsNotMade;
    void forgetGaps();
    void makeGaps();
    // Enters the gap after the bin at `lower`, when there is a next bin.
    void addGapAfter(std::map<double, int32_t>::const_iterator lower);
    void removeGapAfter(std::map<double, int32_t>::const_iterator lower);
};
