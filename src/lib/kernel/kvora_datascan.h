// Base of every object that accumulates something over the records of a scan
// (fields, models, lift curves). The same objects exist on every process; the
// serial number and the number of the object to merge with are what let a
// worker's result find its way back into the master's object. Results travel
// as a flat sequence of (ScanResult, object) pairs in the order the object
// graph is visited, which is the same on every process.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "util/kvora_keyword.h"
#include "util/kvora_object.h"

class KVORADataScan;
class KVORAObjReader;
class KVORAObjWriter;

// Called by the driver once per record with the record's partition.
typedef void (*KVORAUpdateFunc)(KVORADataScan *object, int32_t partition, KVORA_ENV env);
using KVORAUpdateFunction = KVORAUpdateFunc;

class KVORADataScan : public KVORAObject {
    KVORA_ABSTRACT_OBJECT_DECL(KVORADataScan)
public:
    KVORADataScan();
    ~KVORADataScan() override;
    KVORADataScan(const KVORADataScan &) = delete;
    KVORADataScan &operator=(const KVORADataScan &) = delete;

    // Object base operations, in slot order.
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
    void cloneObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const override = 0;

    // The scan's own operations, in slot order.
    virtual int32_t getScanType() const;
    virtual double getSamplingRate() const;
    virtual int32_t canUpdateWithoutDataScan() const;
    virtual void merge(KVORADataScan *other, KVORA_ENV env);
    virtual int32_t hasScanResults() const;
    virtual void writeSubScanResults(KVORAObjWriter &writer, const KVORAKeyword &keyword, KVORA_ENV env) const;
    virtual KVORAUpdateFunc getUpdateFunction() const = 0;
    virtual KVORAUpdateFunc getAltUpdateFunction() const = 0;

    // Writes this object's result under `keyword` if it has one, then passes
    // the call on to the data-scan objects that it owns.
    void writeScanResult(KVORAObjWriter &writer, const KVORAKeyword &keyword, KVORA_ENV env) const;
    // The absolute value of ivMergeWithSerialNumber. Negated in unsigned
    // arithmetic, so that the most negative number read from a corrupted
    // stream stays itself (and is found nowhere) instead of overflowing.
    int32_t getMergeWithSerialNumber() const {
        if (ivMergeWithSerialNumber >= 0) return ivMergeWithSerialNumber;
        return static_cast<int32_t>(0u - static_cast<uint32_t>(ivMergeWithSerialNumber));
    }
    // Sets both update functions anew from the current state.
    void setUpdateFunctions() {
        ivUpdateFunc = getUpdateFunction();
        ivAltUpdateFunc = getAltUpdateFunction();
    }

    KVORAUpdateFunc ivUpdateFunc;
    KVORAUpdateFunc ivAltUpdateFunc;
    int32_t ivSerialNumber;
    int32_t ivMergeWithSerialNumber;  // 0 local, >0 copy of that object, <0 result on its way back
    int32_t ivMaxPartition;
};

// The keyword that marks a result in a result stream; KVORA_KWD(ScanResult).
const KVORAKeyword &kvoraKwd_ScanResult();

// Merges two result streams in step into `writer`, pair by pair.
void mergeScanResultStreams(KVORAObjReader &readerA, KVORAObjReader &readerB, KVORAObjWriter &writer,
                            const KVORAKeyword &keyword, KVORA_ENV env);
// Folds each result of the stream into the live object of its serial number.
void mergeScanResultsIntoObjects(KVORAObjReader &reader, const KVORAKeyword &keyword, KVORA_ENV env);
