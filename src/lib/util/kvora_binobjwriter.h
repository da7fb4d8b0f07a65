// The binary object writer: every item goes straight to the blob writer in
// its encoded form; the string stream under the blob holds the payload.
#pragma once

#include <cstdint>

#include "util/kvora_blobwriter.h"
#include "util/kvora_objwriter.h"

class KVORABinObjWriter : public KVORAObjWriter {
public:
    KVORABinObjWriter(KVOBlobWriter *blobWriter, int32_t mode);

    void flush() override {}
    void writeKeyword(const KVORAKeyword &keyword, KVORA_ENV env) override;
    void writeBool(bool value, KVORA_ENV env) override;
    void writeChar(char value, KVORA_ENV env) override;
    void writeString(const KV2AscString &value, KVORA_ENV env) override;
    void writeUnsigned(uint64_t value, KVORA_ENV env) override;
    void writeSigned(int64_t value, KVORA_ENV env) override;
    void writeReal(double value, KVORA_ENV env) override;
    void writeUnsigneds(const uint64_t *values, int32_t count, KVORA_ENV env) override;
    void writeReals(const double *values, int32_t count, KVORA_ENV env) override;
    void beginObjectType(const KV2AscString &typeName, KVORA_ENV env) override;
    void beginObject(KVORA_ENV env) override;
    void beginArray(int32_t size, KVORA_ENV env) override;

private:
    void put(const void *bytes, int64_t count, KVORA_ENV env);
    void putText(const char *text, uint32_t length, KVORA_ENV env);

    KVOBlobWriter *ivBlobWriter;
};
