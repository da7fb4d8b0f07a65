// The data-scan identity (serial numbers and their sign rule on the wire) and
// the two merge procedures of result streams.
#include "kernel/kvora_datascan.h"

#include "kernel/kvora_datascanglobalvars.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_objreader.h"
#include "util/kvora_objwriter.h"
#include "util/kvora_ownptr.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORADataScan, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORADataScan, mergeWithSerialNumber, 1)

// Told by its name alone: it stands between objects, not inside one.
const KVORAKeyword &kvoraKwd_ScanResult()
{
    static const KVORAKeyword keyword("ScanResult");
    return keyword;
}

KVORADataScan::KVORADataScan()
    : ivUpdateFunc(nullptr), ivAltUpdateFunc(nullptr), ivSerialNumber(0), ivMergeWithSerialNumber(0),
      ivMaxPartition(0)
{
    // Constructors have no environment: take the calling thread's.
    KVORAEnv *envCell = nullptr;
    KVORA_ENV env = envCell;
    ivMaxPartition = KVORAFieldGlobalVars::get(env)->ivMaxPartition;
    ivSerialNumber = KVORADataScanGlobalVars::get(env)->enter(this, env);
}

KVORADataScan::~KVORADataScan()
{
    // An object deleted without releasePrimitive must not stay in the table,
    // or a later result with its number would reach freed memory.
    if (ivSerialNumber != 0) {
        KVORAEnv *envCell = nullptr;
        KVORA_ENV env = envCell;
        KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
        if (vars->find(ivSerialNumber) == this) vars->remove(ivSerialNumber, env);
    }
}

void KVORADataScan::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORADataScan *other = static_cast<const KVORADataScan *>(source);
    ivUpdateFunc = other->ivUpdateFunc;
    ivAltUpdateFunc = other->ivAltUpdateFunc;
    ivMaxPartition = other->ivMaxPartition;
}

void KVORADataScan::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    // A data-scan object has an identity in the serial table: it cannot move.
    if (source != nullptr) KVORA_NEVER_HERE();
}

void KVORADataScan::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(mergeWithSerialNumber), ivMergeWithSerialNumber, env);
}

void KVORADataScan::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAObject::postReadPrimitive(reader, env);
    setUpdateFunctions();
}

void KVORADataScan::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(writer, env);
    const int32_t mode = writer.getMode();
    if (mode == 0 || mode == 1) {
        kvoraWrite(writer, KVORA_KWD(mergeWithSerialNumber), ivSerialNumber, env);
    } else if (mode == 2) {
        // A result always goes back with a negative number, whoever writes it.
        const int32_t value = ivMergeWithSerialNumber > 0 ? -ivMergeWithSerialNumber : ivMergeWithSerialNumber;
        kvoraWrite(writer, KVORA_KWD(mergeWithSerialNumber), value, env);
    }
}

void KVORADataScan::releasePrimitive(KVORA_ENV env)
{
    KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
    if (ivSerialNumber != 0 && vars->find(ivSerialNumber) == this) vars->remove(ivSerialNumber, env);
    ivUpdateFunc = nullptr;
    ivAltUpdateFunc = nullptr;
    ivSerialNumber = 0;
    ivMergeWithSerialNumber = 0;
    ivMaxPartition = 0;
    KVORAObject::releasePrimitive(env);
}

int32_t KVORADataScan::getScanType() const { return 0; }

double KVORADataScan::getSamplingRate() const { return 1.0; }

int32_t KVORADataScan::canUpdateWithoutDataScan() const { return 0; }

void KVORADataScan::merge(KVORADataScan *other, KVORA_ENV env) {}

int32_t KVORADataScan::hasScanResults() const { return 0; }

void KVORADataScan::writeSubScanResults(KVORAObjWriter &writer, const KVORAKeyword &keyword, KVORA_ENV env) const {}

void KVORADataScan::writeScanResult(KVORAObjWriter &writer, const KVORAKeyword &keyword, KVORA_ENV env) const
{
    if (hasScanResults()) {
        writer.writeKeyword(keyword, env);
        writer.writeOwnedObject(this, env);
    }
    writeSubScanResults(writer, keyword, env);
}

namespace {

// Reads the object behind a matched result keyword into `owner`.
void readResultObject(KVORAObjReader &reader, KVORAOwnPtr<KVORADataScan> &owner, KVORA_ENV env)
{
    kvoraRead(reader, owner, env);
    reader.clearKeyword();
}

// Temporaries are destroyed before a failure is raised, so that their owners
// do not complain on the way out.
void dropBoth(KVORAOwnPtr<KVORADataScan> &a, KVORAOwnPtr<KVORADataScan> &b, KVORA_ENV env)
{
    a.reset(env);
    b.reset(env);
}

}  // namespace

void mergeScanResultStreams(KVORAObjReader &readerA, KVORAObjReader &readerB, KVORAObjWriter &writer,
                            const KVORAKeyword &keyword, KVORA_ENV env)
{
    for (;;) {
        if (!readerA.keywordMatches(keyword, env)) return;
        KVORAOwnPtr<KVORADataScan> ptrA;
        KVORAOwnPtr<KVORADataScan> ptrB;
        readResultObject(readerA, ptrA, env);
        if (ptrA.get() == nullptr)
            kvoraAssertFailCause("ptrA != 0", "Missing data scan result object in input", KVORA_PLACE);
        if (!readerB.keywordMatches(keyword, env)) {
            ptrA.reset(env);
            kvoraAssertFail("Data scan result object expected in input", KVORA_PLACE);
        }
        readResultObject(readerB, ptrB, env);
        if (ptrB.get() == nullptr) {
            ptrA.reset(env);
            kvoraAssertFailCause("ptrB != 0", "Missing data scan result object in input", KVORA_PLACE);
        }
        if (!(ptrA->ivMergeWithSerialNumber < 0)) {
            dropBoth(ptrA, ptrB, env);
            kvoraAssertFailCause("ptrA->ivMergeWithSerialNumber < 0",
                                 "Attempt to read/merge a non-return-data-scan-results object", KVORA_PLACE);
        }
        if (!(ptrB->ivMergeWithSerialNumber < 0)) {
            dropBoth(ptrA, ptrB, env);
            kvoraAssertFailCause("ptrB->ivMergeWithSerialNumber < 0",
                                 "Attempt to read/merge a non-return-data-scan-results object", KVORA_PLACE);
        }
        if (ptrA->getMergeWithSerialNumber() != ptrB->getMergeWithSerialNumber()) {
            dropBoth(ptrA, ptrB, env);
            kvoraAssertFailCause("ptrA->getMergeWithSerialNumber() == ptrB->getMergeWithSerialNumber()",
                                 "Serial number mismatch between input streams", KVORA_PLACE);
        }
        ptrA->merge(ptrB.get(), env);
        writer.writeKeyword(keyword, env);
        writer.writeOwnedObject(ptrA.get(), env);
        dropBoth(ptrA, ptrB, env);
    }
}

void mergeScanResultsIntoObjects(KVORAObjReader &reader, const KVORAKeyword &keyword, KVORA_ENV env)
{
    KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
    for (;;) {
        if (!reader.keywordMatches(keyword, env)) return;
        KVORAOwnPtr<KVORADataScan> resultPtr;
        readResultObject(reader, resultPtr, env);
        if (resultPtr.get() == nullptr)
            kvoraAssertFailCause("resultPtr != 0", "Missing data scan result object in input", KVORA_PLACE);
        if (!(resultPtr->ivMergeWithSerialNumber < 0)) {
            resultPtr.reset(env);
            kvoraAssertFailCause("resultPtr->ivMergeWithSerialNumber < 0",
                                 "Attempt to read/merge a non-return-data-scan-results object", KVORA_PLACE);
        }
        KVORADataScan *mergePtr = vars->find(resultPtr->getMergeWithSerialNumber());
        if (mergePtr == nullptr) {
            resultPtr.reset(env);
            kvoraAssertFailCause("mergePtr != 0", "Cannot find corresponding data scan object", KVORA_PLACE);
        }
        mergePtr->merge(resultPtr.get(), env);
        resultPtr.reset(env);
    }
}
