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

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <unordered_map>

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
    std::unordered_map<uint64_t, int32_t> ivCalleeIntSums;
    std::unordered_map<uint64_t, double> ivCalleeRealSums;
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
