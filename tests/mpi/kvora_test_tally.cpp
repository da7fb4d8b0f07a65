// The tests' tally data object: see the header.
#include "kvora_test_tally.h"

#include <cstdio>
#include <string>

#include "control/kvora_XML_tag.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORATestTallyData, KVORASimpleAlgorithmAbstractData, 8)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivPass, 1)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivRecords, 2)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivSum, 3)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivSumSquares, 4)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivMean, 5)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivLineSum, 6)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivOrder, 7)
KVORA_MEMBER_KEYWORD(KVORATestTallyData, ivFiller, 8)
KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORATestTallyData, KVORA_TEST_TALLY_MODEL_ID)

KVORATestTallyData::KVORATestTallyData() = default;

void KVORATestTallyData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
}

void KVORATestTallyData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
}

void KVORATestTallyData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivPass), ivPass, env);
    kvoraRead(reader, KVORA_KWD(ivRecords), ivRecords, env);
    kvoraRead(reader, KVORA_KWD(ivSum), ivSum, env);
    kvoraRead(reader, KVORA_KWD(ivSumSquares), ivSumSquares, env);
    kvoraRead(reader, KVORA_KWD(ivMean), ivMean, env);
    kvoraRead(reader, KVORA_KWD(ivLineSum), ivLineSum, env);
    kvoraRead(reader, KVORA_KWD(ivOrder), ivOrder, env);
    kvoraRead(reader, KVORA_KWD(ivFiller), ivFiller, env);
}

void KVORATestTallyData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivPass), ivPass, env);
    kvoraWrite(writer, KVORA_KWD(ivRecords), ivRecords, env);
    kvoraWrite(writer, KVORA_KWD(ivSum), ivSum, env);
    kvoraWrite(writer, KVORA_KWD(ivSumSquares), ivSumSquares, env);
    kvoraWrite(writer, KVORA_KWD(ivMean), ivMean, env);
    kvoraWrite(writer, KVORA_KWD(ivLineSum), ivLineSum, env);
    kvoraWrite(writer, KVORA_KWD(ivOrder), ivOrder, env);
    kvoraWrite(writer, KVORA_KWD(ivFiller), ivFiller, env);
}

void KVORATestTallyData::releasePrimitive(KVORA_ENV env) {
    ivOrder = KV2AscString();
    ivFiller = KV2AscString();
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

void KVORATestTallyData::open(const KVORAXMLTag &, KVORA_ENV) {}

int32_t KVORATestTallyData::beginDataScan(int32_t, KVORA_ENV) { return 1; }

void KVORATestTallyData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &,
                                uint64_t lineNumber, KVORA_ENV) {
    const double x = dataVec.getSize() >= 1 ? dataVec[1] : 0.0;
    if (ivPass == 0) {
        ++ivRecords;
        ivSum += x;
        ivLineSum += lineNumber;
    } else if (ivPass == 1) {
        ivSumSquares += x * x;
    }
}

int32_t KVORATestTallyData::endDataScan(KVORA_ENV) {
    ++ivPass;
    return ivPass >= 3 ? 1 : 0;
}

void KVORATestTallyData::updateWithoutDataScan(KVORA_ENV) {
    ++ivWithoutDataCalls;
    ivMean = ivRecords > 0 ? ivSum / static_cast<double>(ivRecords) : 0.0;
}

// Each process starts its pass's accumulators from zero: the master merges them.
void KVORATestTallyData::initIteration(KVORA_ENV) {
    if (ivPass == 0) {
        ivRecords = 0;
        ivSum = 0.0;
        ivLineSum = 0;
    } else if (ivPass == 1) {
        ivSumSquares = 0.0;
    }
}

void KVORATestTallyData::finishIteration(KVORA_ENV) {}

void KVORATestTallyData::merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV) {
    const KVORATestTallyData *o = static_cast<const KVORATestTallyData *>(other);
    if (ivPass == 0) {
        ivRecords += o->ivRecords;
        ivSum += o->ivSum;
        ivLineSum += o->ivLineSum;
    } else if (ivPass == 1) {
        ivSumSquares += o->ivSumSquares;
    }
    std::string order = std::string(ivOrder.c_str()) + o->ivOrder.c_str();
    ivOrder = KV2AscString(order.c_str());
}

void KVORATestTallyData::writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    char text[64];
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(ivRecords));
    tag.addLeafTag("Records", env).setValue(text, env);
    std::snprintf(text, sizeof text, "%.17g", ivSum);
    tag.addLeafTag("Sum", env).setValue(text, env);
    std::snprintf(text, sizeof text, "%.17g", ivSumSquares);
    tag.addLeafTag("SumSquares", env).setValue(text, env);
    std::snprintf(text, sizeof text, "%.17g", ivMean);
    tag.addLeafTag("Mean", env).setValue(text, env);
    std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(ivLineSum));
    tag.addLeafTag("LineSum", env).setValue(text, env);
    std::snprintf(text, sizeof text, "%d", ivPass);
    tag.addLeafTag("Pass", env).setValue(text, env);
}

int32_t KVORATestTallyData::getScanType() const { return ivPass == 2 ? 3 : 0; }

int32_t KVORATestTallyData::canUpdateWithoutDataScan() const { return 1; }
