// The binary object writer. Each item is encoded on the stack and handed to
// the blob in one call; the blob's status is checked after every write.
#include "util/kvora_binobjwriter.h"

#include <cstring>

#include "util/kvora_binobjio.h"
#include "util/kvora_debug.h"

KVORABinObjWriter::KVORABinObjWriter(KVOBlobWriter *blobWriter, int32_t mode)
    : KVORAObjWriter(mode), ivBlobWriter(blobWriter)
{
}

void KVORABinObjWriter::put(const void *bytes, int64_t count, KVORA_ENV env)
{
    if (count > 0) {
        ivBlobWriter->write(bytes, count);
    }
    if (ivBlobWriter->status() != 0) {
        ivGood = 0;
        KVORA_FATAL("BLOB I/O Write Error");
    }
}

void KVORABinObjWriter::putText(const char *text, uint32_t length, KVORA_ENV env)
{
    uint8_t buf[kvoraMaxVarIntBytes];
    put(buf, kvoraEncodeSigned(static_cast<int64_t>(length), buf), env);
    if (length > 0) {
        put(text, length, env);
    }
}

void KVORABinObjWriter::writeKeyword(const KVORAKeyword &keyword, KVORA_ENV env)
{
    if (!keyword.hasNumbers()) {
        putText(keyword.ivName.c_str(), keyword.ivName.size(), env);
        return;
    }
    uint8_t buf[kvoraMaxVarIntBytes];
    put(buf, kvoraEncodeSigned(-static_cast<int64_t>(keyword.ivGlobalId), buf), env);
}

void KVORABinObjWriter::writeBool(bool value, KVORA_ENV env)
{
    uint8_t b = value ? 1 : 0;
    put(&b, 1, env);
}

void KVORABinObjWriter::writeChar(char value, KVORA_ENV env)
{
    put(&value, 1, env);
}

void KVORABinObjWriter::writeString(const KV2AscString &value, KVORA_ENV env)
{
    putText(value.c_str(), value.size(), env);
}

void KVORABinObjWriter::writeUnsigned(uint64_t value, KVORA_ENV env)
{
    uint8_t buf[kvoraMaxVarIntBytes];
    put(buf, kvoraEncodeUnsigned(value, buf), env);
}

void KVORABinObjWriter::writeSigned(int64_t value, KVORA_ENV env)
{
    uint8_t buf[kvoraMaxVarIntBytes];
    put(buf, kvoraEncodeSigned(value, buf), env);
}

void KVORABinObjWriter::writeReal(double value, KVORA_ENV env)
{
    // The machine's own byte order: every process of a job shares it.
    uint8_t buf[8];
    memcpy(buf, &value, 8);
    put(buf, 8, env);
}

void KVORABinObjWriter::writeUnsigneds(const uint64_t *values, int32_t count, KVORA_ENV env)
{
    // Encoded into one buffer and put at once; the bytes are writeUnsigned's.
    uint8_t buf[4096];
    int32_t used = 0;
    for (int32_t i = 0; i < count; ++i) {
        if (used > static_cast<int32_t>(sizeof buf) - kvoraMaxVarIntBytes) {
            put(buf, used, env);
            used = 0;
        }
        used += kvoraEncodeUnsigned(values[i], buf + used);
    }
    if (used > 0) put(buf, used, env);
}

void KVORABinObjWriter::writeReals(const double *values, int32_t count, KVORA_ENV env)
{
    if (count > 0) put(values, static_cast<int64_t>(count) * 8, env);
}

void KVORABinObjWriter::beginObjectType(const KV2AscString &typeName, KVORA_ENV env)
{
    writeKeyword(kvoraKwd_BeginObjectType(), env);
    writeString(typeName, env);
}

void KVORABinObjWriter::beginObject(KVORA_ENV env)
{
    writeKeyword(kvoraKwd_BeginObject(), env);
}

void KVORABinObjWriter::beginArray(int32_t size, KVORA_ENV env)
{
    writeKeyword(kvoraKwd_BeginArraySize(), env);
    writeSigned(size, env);
}
