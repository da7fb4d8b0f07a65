// The diffusion algorithm's data object: energy starts at seed nodes of a
// weighted caller/callee matrix and spreads along its edges, pass after pass,
// until the largest change of a node's energy settles.
//
// Every sum lives in two forms: an ordered map while a pass fills it (records
// come in any order) and a pair of one-based arrays, values and ascending node
// numbers, between passes and on the wire. Only the arrays of the present
// phase cross between processes; the maps stay where they were built. The
// implementation is split over several source files by subject: object base
// and messages (kvora_DIF.cpp), parameters and seed file (_open), the row scan
// (_scan), the passes and merges (_iteration), and the results (_output).
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kvo/kv2ustra.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_env.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;

class KVORADIFData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORADIFData)
public:
    // ivState: the computation phase.
    enum { ComputeNormalizer = 0, ComputeWeightedInOutDeg = 1, DiffusionIterationModel1 = 2 };

    typedef std::map<uint64_t, int32_t> IntMap;
    typedef std::map<uint64_t, double> RealMap;

    KVORADIFData();
    ~KVORADIFData() override;

    // ---- object base ----
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the data interface ----
    void reservedOperationA() override;
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t lineNumber,
                KVORA_ENV env) override;
    int32_t endDataScan(KVORA_ENV env) override;
    void initIteration(KVORA_ENV env) override;
    void finishIteration(KVORA_ENV env) override;
    int32_t isFinished() const override;
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    void print(std::ostream &stream) const override;
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getScanType() const override { return 5; }
    double getSamplingRate() const override { return 1.0; }
    int32_t canUpdateWithoutDataScan() const override { return 1; }

    // ---- parameters and seed file ----
    // Reads the algorithm's keys below the parameter tag, then initParameters.
    void open(const KVORAXMLTag &parameters, KVORA_ENV env);
    void initParameters(double spreadCoefficient, double endConditionValue, int32_t maxNumIterations,
                        const KV2AscString &seed, KVORA_ENV env);
    void readSeedFile(const KV2AscString &seed, KVORA_ENV env);
    // The raw line scan of the parameter file for "<Seed>name</Seed>".
    static bool FindSeedFileNameInParamFile(const char *paramFileName, std::string &seedFileName);
    // The parameter file that the seed scan reads: cvParamFileName when set,
    // else the process's first command-line argument.
    static const char *getParamFileName();
    static const char *cvParamFileName;

    // ---- row scan ----
    // Checks the row structure; answers ivMatState as it was on entry.
    int32_t checkMatStateValidity(const KVORAXaRay<double, 1> &dataVec, uint64_t sampleNumber, KVORA_ENV env);
    int32_t sampleTraceEvent(int32_t level);
    // update adds the callee side of a record (in-degree, weighted in-degree,
    // arriving energy) into a hash table, the one lookup of a record at a
    // random place; this moves those sums into the ordered map of the present
    // phase. finishIteration calls it first. The sums are the same either
    // way: each node's additions keep the order of the records.
    void gatherCalleeSums();

    // ---- results and messages ----
    void writeDataOutputFile(KVORA_ENV env);
    void traceEvent(int32_t level, const char *text, int32_t withDump, KVORA_ENV env) const;
    void progressReport(const char *message, const char *methodName, KVORA_ENV env);
    void dump(std::ostream &out) const;
    // The rank of this process in the job; 0 without a running job.
    static int32_t getRank();

    // ---- members, in declaration order ----
    int32_t ivIsSparse;
    double ivSpreadCoefficient;
    KV2AscString ivOutputFileName;
    KV2AscString ivTagPrefix;
    KV2AscString ivOutputNamespace;
    int32_t ivOutputFormat;
    KVORAXaRay<int32_t, 1> ivInDegree;
    KVORAXaRay<uint64_t, 1> ivInDegreeSamples;
    IntMap ivNum2InDegreeMap;
    KVORAXaRay<int32_t, 1> ivOutDegree;
    KVORAXaRay<uint64_t, 1> ivOutDegreeSamples;
    IntMap ivNum2OutDegreeMap;
    KVORAXaRay<int32_t, 1> ivWeightedInDegree;
    KVORAXaRay<uint64_t, 1> ivWeightedInDegreeSamples;
    IntMap ivNum2WeightedInDegreeMap;
    KVORAXaRay<int32_t, 1> ivWeightedOutDegree;
    KVORAXaRay<uint64_t, 1> ivWeightedOutDegreeSamples;
    IntMap ivNum2WeightedOutDegreeMap;
    int32_t ivState;
    int32_t ivMatState;
    KVORAXaRay<double, 1> ivModel1TotalEnergies;
    KVORAXaRay<uint64_t, 1> ivModel1TotalEnergiesSamples;
    KVORAXaRay<double, 1> ivModel1TotalEnergiesOld;
    KVORAXaRay<uint64_t, 1> ivModel1TotalEnergiesSamplesOld;
    KVORAXaRay<double, 1> ivModel1FreshEnergies;
    KVORAXaRay<uint64_t, 1> ivModel1FreshEnergiesSamples;
    KVORAXaRay<double, 1> ivModel1FreshEnergiesOld;
    KVORAXaRay<uint64_t, 1> ivModel1FreshEnergiesSamplesOld;
    RealMap ivModel1Num2TotalEnergyMap;
    RealMap ivModel1Num2FreshEnergyMap;
    RealMap ivModel1Num2MultResMap;
    int32_t ivModel1NumIterations;
    uint64_t ivMaxCallees;
    uint64_t ivRowsCounter;
    uint64_t ivCalleesCounter;
    uint64_t ivCurrentCaller;
    RealMap ivNum2RowSumMap;
    KVORAXaRay<double, 1> ivRowSum;
    KVORAXaRay<uint64_t, 1> ivRowSumSamples;
    double ivDiffVal;
    int32_t ivMaxNumIterations;
    double ivEpsilon;
    int32_t ivProgressReportCounter;
    int32_t ivVerbosityLvl;
    int32_t ivSampleTraceOn;
    int64_t ivSampleTraceEventsCounter;

private:
    // A pass's per-callee sums: one open-addressed table of key, value and
    // use flag, so that a record's sum costs one probe into flat memory and
    // no allocation. Any 64-bit key is allowed (a callee such as 0.5 makes 0).
    // The capacity is kept from pass to pass; the sums leave in key order.
    template <class V>
    class NodeSums {
    public:
        V &operator[](uint64_t key)
        {
            if ((ivCount + 1) * 2 > ivSlots.size()) grow();
            size_t at = slotOf(key);
            for (;;) {
                Slot &slot = ivSlots[at];
                if (!slot.used) {
                    slot.used = true;
                    slot.key = key;
                    slot.value = V();
                    ++ivCount;
                    return slot.value;
                }
                if (slot.key == key) return slot.value;
                at = (at + 1) & (ivSlots.size() - 1);
            }
        }
        bool empty() const { return ivCount == 0; }
        void clear()
        {
            if (ivCount == 0) return;
            for (Slot &slot : ivSlots) slot.used = false;
            ivCount = 0;
        }
        // The sums in ascending key order; the table is left empty.
        void takeSorted(std::vector<std::pair<uint64_t, V>> &entries)
        {
            entries.clear();
            entries.reserve(ivCount);
            for (const Slot &slot : ivSlots)
                if (slot.used) entries.emplace_back(slot.key, slot.value);
            clear();
            std::sort(entries.begin(), entries.end(),
                      [](const std::pair<uint64_t, V> &a, const std::pair<uint64_t, V> &b) { return a.first < b.first; });
        }

    private:
        struct Slot {
            uint64_t key = 0;
            V value = V();
            bool used = false;
        };
        size_t slotOf(uint64_t key) const
        {
            return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> ivShift);
        }
        void grow()
        {
            std::vector<Slot> old;
            old.swap(ivSlots);
            const size_t size = old.empty() ? 1024 : old.size() * 2;
            ivSlots.assign(size, Slot());
            ivShift = 64;
            for (size_t n = size; n > 1; n >>= 1) --ivShift;
            ivCount = 0;
            for (const Slot &slot : old)
                if (slot.used) (*this)[slot.key] = slot.value;
        }
        std::vector<Slot> ivSlots;
        size_t ivCount = 0;
        int ivShift = 64;
    };
    NodeSums<int32_t> ivCalleeIntSums;
    NodeSums<double> ivCalleeRealSums;
    // Where the last caller's entry stands in a map that is full when the
    // pass begins: callers come in ascending order, so the next caller's
    // entry is a few steps on, not a search from the root. Valid within one
    // pass only; initIteration, finishIteration and merge drop them.
    struct RowCursor {
        RealMap::iterator pos;
        bool started = false;
        uint64_t last = 0;
    };
    RowCursor ivRowSumCursor;
    RowCursor ivFreshCursor;
    static double &rowEntry(RealMap &map, RowCursor &cursor, uint64_t key);
    void dropRowCursors();
    // Map entries of the open row's caller: the caller is the same for every
    // record of a row, so its entries are looked up once per row. Map nodes
    // never move, and every pass starts with a header, which resets them.
    double *ivRowCallerSum;
    int32_t *ivRowCallerOut;
    int32_t *ivRowCallerWeightedOut;
    double *ivRowCallerFresh;
    void resetRowCache();
    void traceRecord(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                     uint64_t sampleNumber) const;
    void rowError(int32_t code, const char *text, const KVORAXaRay<double, 1> &dataVec, uint64_t caller);
};

// Replaces the XML entities of a seed file name, one rule after the other
// over the whole text.
std::string decodeXmlEntities(const std::string &text);

// Enters the class under its model identifier, 24; the same entry is made
// before main when this class's object file is linked in.
int32_t kvoraRegisterDIFData();
