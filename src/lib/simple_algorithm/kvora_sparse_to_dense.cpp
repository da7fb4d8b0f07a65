// Row assembly from (column, value) records.
#include "simple_algorithm/kvora_sparse_to_dense.h"

#include <climits>

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORASparseToDenseData, KVORASimpleAlgorithmAbstractData, 4)
KVORA_MEMBER_KEYWORD(KVORASparseToDenseData, ivRow, 1)
KVORA_MEMBER_KEYWORD(KVORASparseToDenseData, ivTarget, 2)
KVORA_MEMBER_KEYWORD(KVORASparseToDenseData, ivCurrentRow, 3)
KVORA_MEMBER_KEYWORD(KVORASparseToDenseData, ivState, 4)

namespace {
// Truncation toward zero to a 32-bit int; NaN and values out of range are
// pinned (NaN to 0), where a plain conversion would be undefined.
int32_t truncInt32(double value) {
    if (!(value == value)) return 0;
    if (value >= 2147483647.0) return INT32_MAX;
    if (value <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(value);
}
}  // namespace

KVORASparseToDenseData::KVORASparseToDenseData() : ivTarget(0.0), ivCurrentRow(0), ivState(0) {}

void KVORASparseToDenseData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    const KVORASparseToDenseData *other = static_cast<const KVORASparseToDenseData *>(source);
    ivRow.copyFrom(other->ivRow, env);
    ivTarget = other->ivTarget;
    ivCurrentRow = other->ivCurrentRow;
    ivState = other->ivState;
}

void KVORASparseToDenseData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
    KVORASparseToDenseData *other = static_cast<KVORASparseToDenseData *>(source);
    ivRow.transferFrom(other->ivRow, env);
    ivTarget = other->ivTarget;
    ivCurrentRow = other->ivCurrentRow;
    ivState = other->ivState;
}

void KVORASparseToDenseData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivRow), ivRow, env);
    kvoraRead(reader, KVORA_KWD(ivTarget), ivTarget, env);
    kvoraRead(reader, KVORA_KWD(ivCurrentRow), ivCurrentRow, env);
    kvoraRead(reader, KVORA_KWD(ivState), ivState, env);
}

void KVORASparseToDenseData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivRow), ivRow, env);
    kvoraWrite(writer, KVORA_KWD(ivTarget), ivTarget, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrentRow), ivCurrentRow, env);
    kvoraWrite(writer, KVORA_KWD(ivState), ivState, env);
}

void KVORASparseToDenseData::releasePrimitive(KVORA_ENV env) {
    ivRow.reset(env);
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

int32_t KVORASparseToDenseData::beginDataScan(int32_t, KVORA_ENV) {
    ivTarget = 0.0;
    ivCurrentRow = 0;
    ivState = 0;
    return 1;
}

void KVORASparseToDenseData::startRow(int32_t length, uint64_t sampleNumber, KVORA_ENV env) {
    ivRow.setSize(0, env);  // capacity stays; the row starts all zeros
    ivRow.setSize(length, env);
    ivCurrentRow = sampleNumber;
    ivState = 1;
}

void KVORASparseToDenseData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &,
                                    uint64_t sampleNumber, KVORA_ENV env) {
    if (dataVec.getSize() != 2) return;
    const int32_t column = truncInt32(dataVec[1]);
    const double value = dataVec[2];
    switch (ivState) {
    case 0:
        if (column != 0) return;
        if (!(value > 0)) return;
        startRow(truncInt32(value), sampleNumber, env);
        return;
    case 1:
        if (column == 0 && sampleNumber != ivCurrentRow) {
            // A new row's header without a closing target record: the row
            // so far is given up and the new one starts.
            if (value > 0) startRow(truncInt32(value), sampleNumber, env);
            return;
        }
        if (column <= ivRow.getSize()) {
            // Columns count from 1; a column of 0 or below has no cell.
            if (column >= 1) ivRow[column] = value;
            return;
        }
        ivState = 2;
        ivTarget = value;
        return;
    case 2:
        ivTarget = value;
        return;
    default:
        KVORA_NEVER_HERE();
    }
}

uint64_t KVORASparseToDenseData::takeRow(KVORAXaRay<double, 1> &row, double &target, KVORA_ENV env) {
    row.copyFrom(ivRow, env);
    target = ivTarget;
    ivRow.setSize(0, env);
    ivTarget = 0.0;
    ivState = 0;
    return ivCurrentRow;
}
