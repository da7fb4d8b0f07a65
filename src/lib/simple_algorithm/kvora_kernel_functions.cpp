// The root kernel function: its one member and the operations that only the
// members of the family can answer, which fail here as a broken invariant.
#include "simple_algorithm/kvora_kernel_functions.h"

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunction, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunction, ivDummy, 1)

void KVORAKernelFunction::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAObject::copyFromPrimitive(source, env);
    ivDummy = static_cast<const KVORAKernelFunction *>(source)->ivDummy;
}

void KVORAKernelFunction::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAObject::transferFromPrimitive(source, env);
    ivDummy = static_cast<KVORAKernelFunction *>(source)->ivDummy;
}

void KVORAKernelFunction::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivDummy), ivDummy, env);
}

void KVORAKernelFunction::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivDummy), ivDummy, env);
}

void KVORAKernelFunction::releasePrimitive(KVORA_ENV env) { KVORAObject::releasePrimitive(env); }

double KVORAKernelFunction::ComputeKernel(const KVORAKernelVector &, const KVORAKernelVector &, uint64_t, uint64_t) {
    KVORA_NEVER_HERE();
}

void KVORAKernelFunction::writeXMLKernelParameters(KVORAXMLTag &, KVORA_ENV) { KVORA_NEVER_HERE(); }

void KVORAKernelFunction::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) { KVORA_NEVER_HERE(); }

int32_t KVORAKernelFunction::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) {
    KVORA_NEVER_HERE();
}
