// Assembles a dense row from the stream of (column, value) records in which
// sparse data arrives: a header (column 0, value the row length), the row's
// records, then one record whose column lies past the row, carrying the
// target. The row's storage is kept between rows, so assembling a row
// allocates only when a row is longer than any before it.
// Of the data interface it answers only what row assembly needs; the rest
// of the algorithm flow fails as in the abstract class.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_xray.h"

class KVORASparseToDenseData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORASparseToDenseData)
public:
    KVORASparseToDenseData();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // Starts waiting for a header; answers 1.
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    // One (column, value) record; records of another length are ignored.
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t sampleNumber,
                KVORA_ENV env) override;
    // True when a row is complete and waits to be taken.
    int32_t isFinished() const override { return ivState == 2 ? 1 : 0; }
    int32_t getScanType() const override { return 0; }
    double getSamplingRate() const override { return 1.0; }
    // Gives the row and its target, makes ready for the next header, and
    // answers the row's sample number.
    virtual uint64_t takeRow(KVORAXaRay<double, 1> &row, double &target, KVORA_ENV env);

    KVORAXaRay<double, 1> ivRow;  // the row being assembled
    double ivTarget;              // its target value
    uint64_t ivCurrentRow;        // its sample number
    int32_t ivState;              // 0 waiting for a header, 1 filling, 2 complete

private:
    void startRow(int32_t length, uint64_t sampleNumber, KVORA_ENV env);
};
