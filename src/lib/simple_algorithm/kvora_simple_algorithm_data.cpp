// The abstract data object: its one member, the failing defaults of the data
// interface, and the registry from model identifier to data class.
#include "simple_algorithm/kvora_simple_algorithm_data.h"

#include <iostream>
#include <sstream>

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORASimpleAlgorithmAbstractData, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmAbstractData, ivDummy, 1)

KVORASimpleAlgorithmAbstractData::KVORASimpleAlgorithmAbstractData() : ivDummy(0.0) {}

void KVORASimpleAlgorithmAbstractData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source != nullptr) ivDummy = static_cast<const KVORASimpleAlgorithmAbstractData *>(source)->ivDummy;
}

void KVORASimpleAlgorithmAbstractData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::transferFromPrimitive(source, env);
    if (source != nullptr) ivDummy = static_cast<KVORASimpleAlgorithmAbstractData *>(source)->ivDummy;
}

void KVORASimpleAlgorithmAbstractData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivDummy), ivDummy, env);
}

void KVORASimpleAlgorithmAbstractData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivDummy), ivDummy, env);
}

void KVORASimpleAlgorithmAbstractData::releasePrimitive(KVORA_ENV env) { KVORAObject::releasePrimitive(env); }

void KVORASimpleAlgorithmAbstractData::reservedOperationA() { KVORA_NOT_IMPLEMENTED(); }

int32_t KVORASimpleAlgorithmAbstractData::beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env)
{
    KVORA_NEVER_HERE();
}

void KVORASimpleAlgorithmAbstractData::update(const KVORAXaRay<double, 1> &dataVec,
                                              const KVORAXaRay<double, 1> &targetVec, uint64_t lineNumber,
                                              KVORA_ENV env)
{
    KVORA_NEVER_HERE();
}

int32_t KVORASimpleAlgorithmAbstractData::endDataScan(KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::updateWithoutDataScan(KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::initIteration(KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::finishIteration(KVORA_ENV env) { KVORA_NEVER_HERE(); }

int32_t KVORASimpleAlgorithmAbstractData::isFinished() const { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env)
{
    KVORA_NEVER_HERE();
}

void KVORASimpleAlgorithmAbstractData::print(std::ostream &stream) const { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::reservedOperationB() { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmAbstractData::writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) { KVORA_NEVER_HERE(); }

int32_t KVORASimpleAlgorithmAbstractData::getScanType() const { KVORA_NEVER_HERE(); }

double KVORASimpleAlgorithmAbstractData::getSamplingRate() const { KVORA_NEVER_HERE(); }

int32_t KVORASimpleAlgorithmAbstractData::canUpdateWithoutDataScan() const { KVORA_NEVER_HERE(); }

namespace {

// A handful of algorithms: a fixed table filled before main, no allocation.
struct DataRegistry {
    static const int32_t cvCapacity = 32;
    int32_t ivCount = 0;
    int32_t ivIds[cvCapacity] = {};
    KVORASimpleAlgorithmDataOpener ivOpeners[cvCapacity] = {};
};

DataRegistry &dataRegistry()
{
    static DataRegistry registry;
    return registry;
}

}  // namespace

int32_t kvoraRegisterSimpleAlgorithmData(int32_t modelId, KVORASimpleAlgorithmDataOpener opener)
{
    DataRegistry &registry = dataRegistry();
    for (int32_t i = 0; i < registry.ivCount; ++i) {
        if (registry.ivIds[i] == modelId) {
            registry.ivOpeners[i] = opener;
            return 1;
        }
    }
    if (registry.ivCount >= DataRegistry::cvCapacity) return 0;
    registry.ivIds[registry.ivCount] = modelId;
    registry.ivOpeners[registry.ivCount] = opener;
    ++registry.ivCount;
    return 1;
}

KVORASimpleAlgorithmDataOpener kvoraFindSimpleAlgorithmData(int32_t modelId)
{
    const DataRegistry &registry = dataRegistry();
    for (int32_t i = 0; i < registry.ivCount; ++i) {
        if (registry.ivIds[i] == modelId) return registry.ivOpeners[i];
    }
    return nullptr;
}

void kvoraWriteTraceEvent(int32_t rank, const char *event, const char *text, const std::string &dumpText)
{
    std::ostringstream out;
    out << "<<<<<< Worker " << rank << " [" << event << "Starts]\n";
    if (text != nullptr && text[0] != '\0') out << "-- " << text << "\n";
    out << dumpText;
    out << ">>>>>> Worker " << rank << " [" << event << "Ends]\n";
    std::cout << out.str() << std::flush;
}
