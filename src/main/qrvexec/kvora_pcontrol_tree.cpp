// The job layer's binomial tree: object streams go down from rank 0 before a
// scan and scan results come back up after it, merged pairwise on the way.
// A stream is built once and forwarded as bytes before it is parsed, so that
// children never wait for their parent's reading. Sizes and record numbers
// travel as 32-bit integers whatever the platform's long; MPI return codes
// are left to MPI's own error handler.
#include <mpi.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_datascan.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_model.h"
#include "kernel/kvora_multiscan.h"
#include "qrvexec/kvora_pcontrol.h"
#include "util/kvora_binobjreader.h"
#include "util/kvora_binobjwriter.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

constexpr int kTagSize = 1;
constexpr int kTagChunk = 2;
constexpr int kTagRowCount = 3;
constexpr int kTagRows = 4;
constexpr int64_t kChunkBytes = 1000000;

// Keywords of a distribution stream, in the order the system has them. The
// validation keywords are declared for completeness; rows travel raw.
KVORA_NAMED_KEYWORD(Model)
KVORA_NAMED_KEYWORD(EnvPtr)
KVORA_NAMED_KEYWORD(DatapointPtr)
KVORA_NAMED_KEYWORD(ModelOutputPairPtr)
KVORA_NAMED_KEYWORD(ModelSenstPtr)
KVORA_NAMED_KEYWORD(LiftDataPtr)
KVORA_NAMED_KEYWORD(ScanPurpose)
[[maybe_unused]] KVORA_NAMED_KEYWORD(validationRowNums)
[[maybe_unused]] KVORA_NAMED_KEYWORD(validationActualVals)
[[maybe_unused]] KVORA_NAMED_KEYWORD(validationPredictedVals)

int64_t chunkCount(int64_t size) {
    // Computed in doubles, as the sizes always were.
    return static_cast<int64_t>(std::ceil(static_cast<double>(size) / 1000000.0));
}

void rewindStream(std::stringstream &stream) {
    stream.clear();
    stream.seekg(0, std::ios::beg);
    stream.seekp(0, std::ios::beg);
    stream.clear();
}

int64_t streamSize(std::stringstream &stream) {
    stream.clear();
    stream.seekg(0, std::ios::end);
    int64_t size = static_cast<int64_t>(stream.tellg());
    stream.seekg(0, std::ios::beg);
    stream.clear();
    return size < 0 ? 0 : size;
}

// Replaces the stream's content with `bytes`.
void replaceContent(std::stringstream &stream, const std::string &bytes) {
    stream.str(bytes);
    rewindStream(stream);
    stream.seekp(0, std::ios::end);
}

// Gives the stream the content of `source`, which is left with the old
// content: a swap, where a copy would go over the bytes twice.
void takeContent(std::stringstream &stream, std::stringstream &source) {
    stream.swap(source);
    rewindStream(stream);
    stream.seekp(0, std::ios::end);
}

}  // namespace

int32_t KVORAPControl::getLevels() const {
    int32_t levels = 0;
    int64_t top = 1;
    while (top < ivSize) {
        top *= 2;
        ++levels;
    }
    return levels;
}

void KVORAPControl::barrier() { MPI_Barrier(MPI_COMM_WORLD); }

void KVORAPControl::sendStream(std::stringstream &stream, int32_t destination) {
    const int64_t size = streamSize(stream);
    // The size message is 32 bits wide: a larger stream cannot be told.
    if (size > static_cast<int64_t>(std::numeric_limits<int32_t>::max())) {
        kvoraAssertFailCause("size <= 2147483647", "Object stream too large for a 32-bit size message",
                             KVORA_PLACE);
    }
    int32_t size32 = static_cast<int32_t>(size);
    MPI_Send(&size32, 1, MPI_INT32_T, destination, kTagSize, MPI_COMM_WORLD);
    const int64_t chunks = chunkCount(size);
    for (int64_t i = 0; i < chunks; ++i) {
        const int64_t length = i + 1 < chunks ? kChunkBytes : size - i * kChunkBytes;
        stream.clear();
        stream.seekg(i * kChunkBytes, std::ios::beg);
        std::vector<char> buffer(static_cast<size_t>(length));
        stream.read(buffer.data(), length);
        MPI_Send(buffer.data(), static_cast<int>(length), MPI_CHAR, destination, kTagChunk, MPI_COMM_WORLD);
    }
    stream.clear();
}

int32_t KVORAPControl::receiveStream(std::stringstream &stream, int32_t source) {
    int32_t size32 = 0;
    MPI_Status status;
    MPI_Recv(&size32, 1, MPI_INT32_T, source < 0 ? MPI_ANY_SOURCE : source, kTagSize, MPI_COMM_WORLD, &status);
    const int sender = status.MPI_SOURCE;
    if (size32 == 0) return 0;
    if (size32 < 0) {
        kvoraAssertFailCause("size >= 0", "Negative object stream size received", KVORA_PLACE);
    }
    const int64_t size = size32;
    const int64_t chunks = chunkCount(size);
    // The chunks go straight into one buffer of the announced size.
    std::string bytes(static_cast<size_t>(size), '\0');
    for (int64_t i = 0; i < chunks; ++i) {
        const int64_t length = i + 1 < chunks ? kChunkBytes : size - i * kChunkBytes;
        MPI_Recv(&bytes[static_cast<size_t>(i * kChunkBytes)], static_cast<int>(length), MPI_CHAR, sender, kTagChunk,
                 MPI_COMM_WORLD, &status);
    }
    if (streamSize(stream) == 0) {
        // An empty stream takes them as its content, exactly sized.
        replaceContent(stream, bytes);
        return 1;
    }
    stream.clear();
    if (stream.tellg() > 0) stream.seekg(0, std::ios::end);
    stream.seekp(0, std::ios::end);
    stream.write(bytes.data(), size);
    stream.clear();
    return 1;
}

void KVORAPControl::sendToChildren(std::stringstream *stream) {
    const int32_t levels = getLevels();
    int64_t step = int64_t(1) << levels;
    for (int32_t l = 0; l < levels; ++l) {
        const int64_t child = ivRank + step / 2;
        if (ivRank % step == 0 && child < ivSize) {
            if (stream != nullptr) {
                sendStream(*stream, static_cast<int32_t>(child));
            } else {
                int32_t zero = 0;
                MPI_Send(&zero, 1, MPI_INT32_T, static_cast<int>(child), kTagSize, MPI_COMM_WORLD);
            }
        }
        step /= 2;
    }
}

int32_t KVORAPControl::distribute(KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                                  KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap, KVORAControl *control,
                                  KVORAOwnPtr<KVORAObject> &modelOutputPair, KVORAOwnPtr<KVORAMultiScan> &liftData,
                                  KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t &scanPurpose,
                                  KVORA_ENV env) {
    (void)control;  // its environment is `env`: the run has one per process
    std::stringstream stream(std::ios::in | std::ios::out | std::ios::binary);
    int32_t received = 1;
    if (ivRank == 0) {
        // Alone, the master has nobody to send to: writing the stream would
        // only cost time on every pass.
        if (ivSize > 1)
            writeDistribution(stream, model, dataPoint, modelOutputPair, liftData, modelSensitivity, scanPurpose,
                              env);
    } else
        received = receiveStream(stream);
    sendToChildren(received == 1 ? &stream : nullptr);
    if (ivRank != 0 && received == 1)
        readDistribution(stream, model, dataPoint, fieldNameMap, modelOutputPair, liftData, modelSensitivity,
                         scanPurpose, env);
    return received;
}

void KVORAPControl::terminateWorkers() {
    if (ivRank != 0) return;
    sendToChildren(nullptr);
}

void KVORAPControl::writeDistribution(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                                      KVORAOwnPtr<KVORADataPoint> &dataPoint,
                                      KVORAOwnPtr<KVORAObject> &modelOutputPair,
                                      KVORAOwnPtr<KVORAMultiScan> &liftData,
                                      KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t scanPurpose,
                                      KVORA_ENV env) {
    KVOStreamBlobWriter blob(&stream);
    KVORABinObjWriter writer(&blob, 0);
    // The environment carries no member that a worker lacks: every process
    // reads the run-level keys itself. The empty object keeps the stream's
    // shape and makes a distribution never empty.
    writer.writeKeyword(KVORA_KWD(EnvPtr), env);
    writer.beginObject(env);
    writer.writeKeyword(kvoraKwd_EndObject(), env);
    kvoraWrite(writer, KVORA_KWD(ScanPurpose), scanPurpose, env);
    kvoraWrite(writer, KVORA_KWD(DatapointPtr), dataPoint, env);
    if (scanPurpose == 0) {
        kvoraWrite(writer, KVORA_KWD(Model), model, env);
    } else if (scanPurpose > 0) {
        kvoraWrite(writer, KVORA_KWD(ModelOutputPairPtr), modelOutputPair, env);
        kvoraWrite(writer, KVORA_KWD(ModelSenstPtr), modelSensitivity, env);
        kvoraWrite(writer, KVORA_KWD(LiftDataPtr), liftData, env);
    }
    writer.flush();
    stream.flush();
}

void KVORAPControl::readDistribution(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                                     KVORAOwnPtr<KVORADataPoint> &dataPoint,
                                     KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap,
                                     KVORAOwnPtr<KVORAObject> &modelOutputPair,
                                     KVORAOwnPtr<KVORAMultiScan> &liftData,
                                     KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t &scanPurpose,
                                     KVORA_ENV env) {
    rewindStream(stream);
    KVOStreamBlobReader blob(&stream);
    KVORABinObjReader reader(&blob);
    if (fieldNameMap.isNull()) fieldNameMap.create(env);

    if (reader.keywordMatches(KVORA_KWD(EnvPtr), env)) {
        reader.clearKeyword();
        reader.beginObject(env);
        // No member of the environment is known here: anything else is refused.
        if (!reader.keywordMatches(kvoraKwd_EndObject(), env)) reader.unknownKeyword(env);
        reader.clearKeyword();
    }
    kvoraRead(reader, KVORA_KWD(ScanPurpose), scanPurpose, env);
    if (kvoraRead(reader, KVORA_KWD(DatapointPtr), dataPoint, env) || dataPoint.get() != nullptr) {
        if (dataPoint.get() != nullptr) fieldNameMap->fillFromDataPoint(*dataPoint, env);
    }
    reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, fieldNameMap.get(), env);
    if (scanPurpose == 0) {
        if (kvoraRead(reader, KVORA_KWD(Model), model, env) && model.get() != nullptr)
            model->setDataPoint(dataPoint.get());
    } else if (scanPurpose > 0) {
        modelOutputPair.reset(env);
        kvoraRead(reader, KVORA_KWD(ModelOutputPairPtr), modelOutputPair, env);
        kvoraRead(reader, KVORA_KWD(ModelSenstPtr), modelSensitivity, env);
        kvoraRead(reader, KVORA_KWD(LiftDataPtr), liftData, env);
    }
}

void KVORAPControl::writeScanResults(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                                     KVORAOwnPtr<KVORADataPoint> &dataPoint,
                                     KVORAOwnPtr<KVORAObject> &modelOutputPair,
                                     KVORAOwnPtr<KVORAMultiScan> &liftData,
                                     KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t scanPurpose,
                                     KVORA_ENV env) {
    (void)modelOutputPair;  // its output fields are fields of the data point here
    KVOStreamBlobWriter blob(&stream);
    KVORABinObjWriter writer(&blob, 2);
    const KVORAKeyword &keyword = kvoraKwd_ScanResult();
    if (dataPoint.get() != nullptr) {
        const int32_t count = dataPoint->getFieldCount();
        for (int32_t i = 1; i <= count; ++i) {
            KVORAField *field = dataPoint->getFieldAt(i);
            if (field != nullptr) field->writeScanResult(writer, keyword, env);
        }
    }
    if (scanPurpose == 0) {
        if (model.get() != nullptr) model->writeScanResult(writer, keyword, env);
    } else if (scanPurpose == 2) {
        if (modelSensitivity.get() != nullptr) modelSensitivity->writeScanResult(writer, keyword, env);
        if (liftData.get() != nullptr) liftData->writeScanResult(writer, keyword, env);
    }
    writer.flush();
    stream.flush();
}

int32_t KVORAPControl::collect(KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                               KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap,
                               KVORAOwnPtr<KVORAObject> &modelOutputPair, KVORAOwnPtr<KVORAMultiScan> &liftData,
                               KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t scanPurpose,
                               KVORA_ENV env) {
    std::stringstream own(std::ios::in | std::ios::out | std::ios::binary);
    if (ivRank != 0)
        writeScanResults(own, model, dataPoint, modelOutputPair, liftData, modelSensitivity, scanPurpose, env);
    const int32_t levels = getLevels();
    int64_t step = 1;
    for (int32_t l = 0; l < levels; ++l) {
        if (ivRank % step == 0) {
            if (ivRank % (2 * step) != 0) {
                sendStream(own, static_cast<int32_t>(ivRank - step));
            } else if (ivRank + step < ivSize) {
                std::stringstream received(std::ios::in | std::ios::out | std::ios::binary);
                // From this stage's child by name: rank 0 merges 1, 2, 4, ... in
                // that order on every run, so that sums come out the same.
                receiveStream(received, static_cast<int32_t>(ivRank + step));
                mergeResultStreams(received, own, fieldNameMap.get(), env);
            }
        }
        step *= 2;
    }
    if (ivRank == 0 && ivSize >= 2) applyResultStream(fieldNameMap.get(), own, env);
    return 1;
}

void KVORAPControl::mergeResultStreams(std::stringstream &received, std::stringstream &own,
                                       KVORAFieldNameMap *fieldNameMap, KVORA_ENV env) {
    const int64_t ownSize = streamSize(own);
    rewindStream(received);
    rewindStream(own);
    if (ownSize == 0) {
        // Rank 0's first child: the bytes as they came, no objects needed.
        takeContent(own, received);
        return;
    }
    std::stringstream merged(std::ios::in | std::ios::out | std::ios::binary);
    {
        KVOStreamBlobReader blobA(&received);
        KVOStreamBlobReader blobB(&own);
        KVORABinObjReader readerA(&blobA);
        KVORABinObjReader readerB(&blobB);
        if (fieldNameMap != nullptr) {
            readerA.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, fieldNameMap, env);
            readerB.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, fieldNameMap, env);
        }
        KVOStreamBlobWriter blobOut(&merged);
        KVORABinObjWriter writer(&blobOut, 2);
        mergeScanResultStreams(readerA, readerB, writer, kvoraKwd_ScanResult(), env);
        writer.flush();
    }
    merged.flush();
    // A copy: the writer's buffer has grown by doubling, and the stream is
    // kept while its objects are read.
    replaceContent(own, merged.str());
}

void KVORAPControl::applyResultStream(KVORAFieldNameMap *fieldNameMap, std::stringstream &stream, KVORA_ENV env) {
    rewindStream(stream);
    KVOStreamBlobReader blob(&stream);
    KVORABinObjReader reader(&blob);
    if (fieldNameMap != nullptr) reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, fieldNameMap, env);
    mergeScanResultsIntoObjects(reader, kvoraKwd_ScanResult(), env);
}

// ---- validation rows: the collect tree with raw messages ----

int32_t KVORAPControl::collectValidationRows(KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                                             KVORAArray<double> &predictedValues, KVORA_ENV env) {
    const int32_t levels = getLevels();
    int64_t step = 1;
    for (int32_t l = 0; l < levels; ++l) {
        if (ivRank % step == 0) {
            if (ivRank % (2 * step) != 0) {
                sendValidationRows(static_cast<int32_t>(ivRank - step), rowNumbers, actualValues, predictedValues);
            } else if (ivRank + step < ivSize) {
                KVORAArray<int32_t> moreRows;
                KVORAArray<double> moreActual;
                KVORAArray<double> morePredicted;
                receiveValidationRows(static_cast<int32_t>(ivRank + step), moreRows, moreActual, morePredicted, env);
                appendValidationRows(rowNumbers, actualValues, predictedValues, moreRows, moreActual,
                                     morePredicted, env);
                moreRows.reset(env);
                moreActual.reset(env);
                morePredicted.reset(env);
            }
        }
        step *= 2;
    }
    if (ivRank == 0) {
        // The quadratic sort is the settled behaviour; equal numbers keep their order.
        const int32_t n = rowNumbers.getSize();
        for (int32_t p = 0; p <= n - 2; ++p) {
            for (int32_t j = 0; j <= n - p - 2; ++j) {
                if (rowNumbers[j + 1] > rowNumbers[j + 2]) {
                    std::swap(rowNumbers[j + 1], rowNumbers[j + 2]);
                    std::swap(actualValues[j + 1], actualValues[j + 2]);
                    std::swap(predictedValues[j + 1], predictedValues[j + 2]);
                }
            }
        }
    }
    return 1;
}

void KVORAPControl::sendValidationRows(int32_t destination, const KVORAArray<int32_t> &rowNumbers,
                                       const KVORAArray<double> &actualValues,
                                       const KVORAArray<double> &predictedValues) {
    int32_t n = rowNumbers.getSize();
    MPI_Send(&n, 1, MPI_INT32_T, destination, kTagRowCount, MPI_COMM_WORLD);
    std::vector<int32_t> rows(static_cast<size_t>(n));
    std::vector<double> actual(static_cast<size_t>(n));
    std::vector<double> predicted(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) {
        rows[i] = rowNumbers[i + 1];
        actual[i] = i < actualValues.getSize() ? actualValues[i + 1] : 0.0;
        predicted[i] = i < predictedValues.getSize() ? predictedValues[i + 1] : 0.0;
    }
    MPI_Send(rows.data(), n, MPI_INT32_T, destination, kTagRows, MPI_COMM_WORLD);
    MPI_Send(actual.data(), n, MPI_DOUBLE, destination, kTagRows, MPI_COMM_WORLD);
    MPI_Send(predicted.data(), n, MPI_DOUBLE, destination, kTagRows, MPI_COMM_WORLD);
}

void KVORAPControl::receiveValidationRows(int32_t child, KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                                          KVORAArray<double> &predictedValues, KVORA_ENV env) {
    int32_t n = 0;
    MPI_Status status;
    MPI_Recv(&n, 1, MPI_INT32_T, child, kTagRowCount, MPI_COMM_WORLD, &status);
    const int source = status.MPI_SOURCE;
    if (n < 0) kvoraAssertFailCause("n >= 0", "Negative validation row count received", KVORA_PLACE);
    std::vector<int32_t> rows(static_cast<size_t>(n));
    std::vector<double> actual(static_cast<size_t>(n));
    std::vector<double> predicted(static_cast<size_t>(n));
    MPI_Recv(rows.data(), n, MPI_INT32_T, source, kTagRows, MPI_COMM_WORLD, &status);
    MPI_Recv(actual.data(), n, MPI_DOUBLE, source, kTagRows, MPI_COMM_WORLD, &status);
    MPI_Recv(predicted.data(), n, MPI_DOUBLE, source, kTagRows, MPI_COMM_WORLD, &status);
    rowNumbers.setSize(n, env);
    actualValues.setSize(n, env);
    predictedValues.setSize(n, env);
    for (int32_t i = 0; i < n; ++i) {
        rowNumbers[i + 1] = rows[i];
        actualValues[i + 1] = actual[i];
        predictedValues[i + 1] = predicted[i];
    }
}

void KVORAPControl::appendValidationRows(KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                                         KVORAArray<double> &predictedValues,
                                         const KVORAArray<int32_t> &moreRowNumbers,
                                         const KVORAArray<double> &moreActualValues,
                                         const KVORAArray<double> &morePredictedValues, KVORA_ENV env) {
    const int32_t n = moreRowNumbers.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        rowNumbers.copyAppend(moreRowNumbers[i], env);
        actualValues.copyAppend(moreActualValues[i], env);
        predictedValues.copyAppend(morePredictedValues[i], env);
    }
}
