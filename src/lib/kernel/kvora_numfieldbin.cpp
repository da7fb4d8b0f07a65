// A numeric bin: streaming and the statistics of a pass.
#include "kernel/kvora_numfieldbin.h"

#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORANumFieldBin, KVORAObject, 14)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivLoEnd, 1)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivHiEnd, 2)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivIncLoEnd, 3)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivIncHiEnd, 4)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCount, 5)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivMean, 6)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivVariance, 7)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivMaxValue, 8)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivMinValue, 9)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCurrCount, 10)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCurrSum, 11)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCurrVariance, 12)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCurrMaxValue, 13)
KVORA_MEMBER_KEYWORD(KVORANumFieldBin, ivCurrMinValue, 14)

void KVORANumFieldBin::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    *this = *static_cast<const KVORANumFieldBin *>(source);
}

void KVORANumFieldBin::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivLoEnd), ivLoEnd, env);
    kvoraRead(reader, KVORA_KWD(ivHiEnd), ivHiEnd, env);
    kvoraRead(reader, KVORA_KWD(ivIncLoEnd), ivIncLoEnd, env);
    kvoraRead(reader, KVORA_KWD(ivIncHiEnd), ivIncHiEnd, env);
    kvoraRead(reader, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(reader, KVORA_KWD(ivMean), ivMean, env);
    kvoraRead(reader, KVORA_KWD(ivVariance), ivVariance, env);
    kvoraRead(reader, KVORA_KWD(ivMaxValue), ivMaxValue, env);
    kvoraRead(reader, KVORA_KWD(ivMinValue), ivMinValue, env);
    kvoraRead(reader, KVORA_KWD(ivCurrCount), ivCurrCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrSum), ivCurrSum, env);
    kvoraRead(reader, KVORA_KWD(ivCurrVariance), ivCurrVariance, env);
    kvoraRead(reader, KVORA_KWD(ivCurrMaxValue), ivCurrMaxValue, env);
    kvoraRead(reader, KVORA_KWD(ivCurrMinValue), ivCurrMinValue, env);
}

void KVORANumFieldBin::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivLoEnd), ivLoEnd, env);
    kvoraWrite(writer, KVORA_KWD(ivHiEnd), ivHiEnd, env);
    kvoraWrite(writer, KVORA_KWD(ivIncLoEnd), ivIncLoEnd, env);
    kvoraWrite(writer, KVORA_KWD(ivIncHiEnd), ivIncHiEnd, env);
    kvoraWrite(writer, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(writer, KVORA_KWD(ivMean), ivMean, env);
    kvoraWrite(writer, KVORA_KWD(ivVariance), ivVariance, env);
    kvoraWrite(writer, KVORA_KWD(ivMaxValue), ivMaxValue, env);
    kvoraWrite(writer, KVORA_KWD(ivMinValue), ivMinValue, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrCount), ivCurrCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrSum), ivCurrSum, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrVariance), ivCurrVariance, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrMaxValue), ivCurrMaxValue, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrMinValue), ivCurrMinValue, env);
}

void KVORANumFieldBin::clearCurrent()
{
    ivCurrCount = 0.0;
    ivCurrSum = 0.0;
    ivCurrVariance = 0.0;
    ivCurrMaxValue = 0.0;
    ivCurrMinValue = 0.0;
}

void KVORANumFieldBin::mergeCurrent(const KVORANumFieldBin &other)
{
    if (other.ivCurrCount == 0.0) return;
    if (ivCurrCount == 0.0 || other.ivCurrMaxValue > ivCurrMaxValue) ivCurrMaxValue = other.ivCurrMaxValue;
    if (ivCurrCount == 0.0 || other.ivCurrMinValue < ivCurrMinValue) ivCurrMinValue = other.ivCurrMinValue;
    ivCurrCount += other.ivCurrCount;
    ivCurrSum += other.ivCurrSum;
    ivCurrVariance += other.ivCurrVariance;
}

void KVORANumFieldBin::foldCurrent()
{
    ivCount = ivCurrCount;
    if (ivCurrCount > 0.0) {
        ivMean = ivCurrSum / ivCurrCount;
        double variance = ivCurrVariance / ivCurrCount - ivMean * ivMean;
        ivVariance = variance > 0.0 ? variance : 0.0;
        ivMaxValue = ivCurrMaxValue;
        ivMinValue = ivCurrMinValue;
    } else {
        ivMean = 0.0;
        ivVariance = 0.0;
        ivMaxValue = 0.0;
        ivMinValue = 0.0;
    }
}
