// The interface of an algorithm's data object: what the simple-algorithm
// model forwards to it, one record at a time as plain vectors, with a call
// before and after each pass. The operations that the abstract class cannot
// do fail, so that a subclass overrides exactly what its algorithm uses.
//
// Model identifiers name the data classes: a data class enters itself in the
// registry with KVORA_SIMPLE_ALGORITHM_DATA_ID(Class, id) in its source file,
// where Class has a default constructor and a plain member
// `void open(const KVORAXMLTag &parameters, KVORA_ENV env)` that reads the
// algorithm's keys. The registration lives in that object file, so it takes
// effect when the file is linked in (the run driver refers to the classes it
// selects); kvoraRegisterSimpleAlgorithmData does the same by an explicit call.
#pragma once

#include <cstdint>
#include <new>
#include <ostream>
#include <string>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_truncate.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;

// Where the values that a data object's update reads lie in a dataset row,
// for rows taken straight from the dataset: the data values' columns in the
// data vector's order, and the line number's column; -1 for a value that no
// column gives, which reads as 0.0.
struct KVORARowLayout {
    // The loader's mark of a missing value.
    static constexpr double cvMissingValue = -99999.0;

    const int32_t *dataColumns;
    int32_t dataCount;
    int32_t lineColumn;

    // A row's value as its field would give it: 0.0 when missing or when no
    // column writes the field.
    static double value(const double *row, int32_t column)
    {
        if (column < 0) return 0.0;
        const double value = row[column];
        return value == cvMissingValue ? 0.0 : value;
    }
    // The line number that update receives for a line value: truncation
    // towards zero; outside the 64-bit range (or NaN) the integer that the
    // hardware conversion gives.
    static uint64_t lineNumber(double value) { return static_cast<uint64_t>(kvoraTruncate64(value)); }
};

class KVORASimpleAlgorithmAbstractData : public KVORAObject {
    KVORA_ABSTRACT_OBJECT_DECL(KVORASimpleAlgorithmAbstractData)
public:
    KVORASimpleAlgorithmAbstractData();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the data interface, in slot order ----
    virtual void reservedOperationA();
    // Once per run; the count leaves out the line number field.
    virtual int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env);
    // Once per record of a pass.
    virtual void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                        uint64_t lineNumber, KVORA_ENV env);
    // On the master at the end of each pass; non-zero ends the run of scans.
    virtual int32_t endDataScan(KVORA_ENV env);
    virtual void updateWithoutDataScan(KVORA_ENV env);
    virtual void initIteration(KVORA_ENV env);
    virtual void finishIteration(KVORA_ENV env);
    virtual int32_t isFinished() const;
    virtual void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env);
    virtual void print(std::ostream &stream) const;
    virtual void reservedOperationB();
    virtual void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env);
    virtual int32_t getScanType() const;
    virtual double getSamplingRate() const;
    virtual int32_t canUpdateWithoutDataScan() const;
    // A hint that a record with these explanatory values (in the data
    // vector's order, from 0) comes soon, so that the memory its update will
    // touch can be fetched meanwhile. It must change nothing.
    virtual void prefetchRecord(const double *dataValues, int32_t count) const {}
    // Non-zero when getScanType gives the same answer all through a pass, so
    // that it need not be asked again before every record.
    virtual int32_t keepsScanTypeInPass() const { return 0; }
    // `count` records straight from dataset rows, in order, each as update
    // would take it with the data vector read from the row by `layout`; an
    // object that would read the target vector, or that takes records one
    // by one only, answers 0 and takes none. Only for a pass whose scan type
    // stays the same.
    virtual int32_t updateRows(const double *const *rows, int32_t count, const KVORARowLayout &layout, KVORA_ENV env)
    {
        return 0;
    }

    double ivDummy;
};

// Makes the data object of a model identifier under `result` and opens it
// with the algorithm's parameter tag.
typedef void (*KVORASimpleAlgorithmDataOpener)(KVORAOwnPtr<KVORASimpleAlgorithmAbstractData> &result,
                                                const KVORAXMLTag &parameters, KVORA_ENV env);

// Enters a model identifier; a second entry of the same identifier replaces
// the first. Answers 0 when the registry is full.
int32_t kvoraRegisterSimpleAlgorithmData(int32_t modelId, KVORASimpleAlgorithmDataOpener opener);

// A trace event of an algorithm's data object: "<<<<<< Worker r [<event>Starts]",
// the text, the state dump, and the closing line, written in one piece since
// the processes share standard output.
void kvoraWriteTraceEvent(int32_t rank, const char *event, const char *text, const std::string &dumpText);
// The opener of a model identifier, or null.
KVORASimpleAlgorithmDataOpener kvoraFindSimpleAlgorithmData(int32_t modelId);

// The opener of a data class: a default object on the memory account, then
// its open. The object goes to its owner only once open has succeeded: a
// failing open ends the run, and an owner left holding would only add a
// complaint to the failure's output.
template <class T>
void kvoraOpenSimpleAlgorithmData(KVORAOwnPtr<KVORASimpleAlgorithmAbstractData> &result,
                                  const KVORAXMLTag &parameters, KVORA_ENV env)
{
    T *data = new (std::nothrow) T();
    if (data == nullptr) kvoraObjectAllocFailed(KVORA_PLACE);
    kvoraMemAccount(data->getObjectSize(), env);
    data->open(parameters, env);
    result.reset(data, env);
}

struct KVORASimpleAlgorithmDataRegistration {
    KVORASimpleAlgorithmDataRegistration(int32_t modelId, KVORASimpleAlgorithmDataOpener opener) {
        kvoraRegisterSimpleAlgorithmData(modelId, opener);
    }
};

#define KVORA_SIMPLE_ALGORITHM_DATA_ID(Class, modelId)                                               \
    [[maybe_unused]] static const KVORASimpleAlgorithmDataRegistration kvoraDataRegistration_##Class( \
        (modelId), &kvoraOpenSimpleAlgorithmData<Class>);
