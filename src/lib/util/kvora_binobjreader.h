// The binary object reader. It pulls bytes from the blob one item at a time,
// so that it never reads past what the objects ask for, and refuses a stream
// that breaks off or does not follow the format with one of the format's
// failure texts, never reading beyond what the blob gives.
#pragma once

#include <cstdint>

#include "util/kvora_blobreader.h"
#include "util/kvora_objreader.h"
#include "util/kvora_xray.h"

class KVORABinObjReader : public KVORAObjReader {
public:
    explicit KVORABinObjReader(KVOBlobReader *blobReader);
    ~KVORABinObjReader() override;

    void readKeyword(KVORA_ENV env) override;
    void readBool(bool &result, KVORA_ENV env) override;
    void readChar(char &result, KVORA_ENV env) override;
    void readString(KV2AscString &result, KVORA_ENV env) override;
    void readUnsigned(uint64_t &result, KVORA_ENV env) override;
    void readSigned(int64_t &result, KVORA_ENV env) override;
    void readReal(double &result, KVORA_ENV env) override;
    int32_t readReals(double *out, int32_t count, KVORA_ENV env) override;
    // Those that come whole; the caller reads the next alone, to fail as it
    // would have.
    int32_t readUnsigneds(uint64_t *out, int32_t count, KVORA_ENV env) override;
    int32_t readSigneds(int64_t *out, int32_t count, KVORA_ENV env) override;
    void readObjectType(KV2AscString &result, KVORA_ENV env) override;
    void beginObject(KVORA_ENV env) override;
    int32_t beginArray(KVORA_ENV env) override;

    // Reads one keyword and compares it at once; false at the end of the stream.
    bool expectKeyword(const KVORAKeyword &keyword, KVORA_ENV env);

private:
    // A signed integer; at a keyword's start the end of the stream answers
    // false instead of failing.
    bool readVarSigned(int64_t &value, bool keywordStart, KVORA_ENV env);
    void readByte(uint8_t &byte, KVORA_ENV env);
    void checkStatus(bool keywordStart, KVORA_ENV env);
    // Reads `size` bytes into the buffer, growing it only as bytes arrive;
    // answers the number read.
    int64_t readIntoBuffer(int64_t size, KVORA_ENV env);
    // A keyword's name of `size` bytes into ivKeyword; "read == size" if short.
    void readKeywordName(int64_t size, KVORA_ENV env);

    KVOBlobReader *ivBlobReader;
    KVORAXaRay<char, 0> ivBuffer;
    KVORAEnv *ivBufferEnv;  // the environment the buffer was grown with, to free it
};
