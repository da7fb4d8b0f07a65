// The binary object reader: decoding and the format's failure texts. Every
// length read from the stream is treated as a claim, checked against the bytes
// that really come, so a corrupted stream ends in a failure and never in a
// huge allocation, a hang or a read out of bounds.
#include "util/kvora_binobjreader.h"

#include <cstring>

#include "util/kvora_debug.h"

namespace {
// Bytes read per step of a long string: memory follows the data.
const int64_t kvChunk = 65536;
}  // namespace

KVORABinObjReader::KVORABinObjReader(KVOBlobReader *blobReader)
    : ivBlobReader(blobReader), ivBuffer(KVORA_PLACE), ivBufferEnv(nullptr)
{
}

KVORABinObjReader::~KVORABinObjReader()
{
    ivBuffer.reset(ivBufferEnv);
}

void KVORABinObjReader::checkStatus(bool keywordStart, KVORA_ENV env)
{
    int32_t status = ivBlobReader->status();
    if (status == 0 || (status == 1 && keywordStart)) {
        return;
    }
    KVORA_FATAL("BLOB Binary I/O Read Error");
}

void KVORABinObjReader::readByte(uint8_t &byte, KVORA_ENV env)
{
    byte = 0;
    int64_t got = ivBlobReader->read(&byte, 1);
    checkStatus(false, env);
    if (got != 1) {
        kvoraAssertFail("read == size", KVORA_PLACE);
    }
}

bool KVORABinObjReader::readVarSigned(int64_t &value, bool keywordStart, KVORA_ENV env)
{
    bool first = true;
    bool cleanEnd = false;
    const bool read = kvoraDecodeVarSigned(
        [&]() -> int32_t {
            uint8_t byte = 0;
            if (!first) {
                readByte(byte, env);
                return byte;
            }
            first = false;
            const int64_t got = ivBlobReader->read(&byte, 1);
            // At a keyword's start the end of the stream is no failure.
            if (got != 1 && keywordStart && ivBlobReader->status() == 1) {
                cleanEnd = true;
                return -1;
            }
            checkStatus(false, env);
            if (got != 1) kvoraAssertFail("read == size", KVORA_PLACE);
            return byte;
        },
        value);
    return read || !cleanEnd;
}

int64_t KVORABinObjReader::readIntoBuffer(int64_t size, KVORA_ENV env)
{
    ivBufferEnv = env;
    int64_t done = 0;
    while (done < size) {
        int64_t step = size - done < kvChunk ? size - done : kvChunk;
        // Room for the step and a terminator.
        ivBuffer.autoExtend(static_cast<int32_t>(done + step), env);
        int64_t got = ivBlobReader->read(ivBuffer.getBlock() + done, step);
        done += got > 0 ? got : 0;
        if (got != step) {
            break;
        }
    }
    ivBufferEnv = env;
    return done;
}

void KVORABinObjReader::readKeywordName(int64_t size, KVORA_ENV env)
{
    int64_t read = size < 0x7FFFFFF0 ? readIntoBuffer(size, env) : 0;
    if (read != size) {
        kvoraAssertFail("read == size", KVORA_PLACE);
    }
    ivKeyword.ivName.assign(ivBuffer.getBlock(), static_cast<int32_t>(size));
    ivKeyword.ivClassId = 0;
    ivKeyword.ivLocalId = 0;
    ivKeyword.ivGlobalId = 0;
}

void KVORABinObjReader::readKeyword(KVORA_ENV env)
{
    int64_t value = 0;
    if (!readVarSigned(value, true, env)) {
        ivKeywordState = KeywordEnd;
        return;
    }
    if (value > 0) {
        readKeywordName(value, env);
        ivKeywordState = KeywordPending;
        ivMatchMode = MatchByName;
        return;
    }
    // A number; one outside 32 bits matches no keyword.
    int64_t number = value < -0x7FFFFFFFLL ? -1 : -value;
    ivKeyword.ivName.assign(nullptr, 0);
    ivKeyword.ivClassId = 0;
    ivKeyword.ivLocalId = 0;
    ivKeyword.ivGlobalId = static_cast<int32_t>(number);
    ivKeywordState = KeywordPending;
    ivMatchMode = MatchByGlobalId;
}

bool KVORABinObjReader::expectKeyword(const KVORAKeyword &keyword, KVORA_ENV env)
{
    int64_t value = 0;
    if (!readVarSigned(value, true, env)) {
        ivKeywordState = KeywordEnd;
        return false;
    }
    if (value > 0) {
        readKeywordName(value, env);
        if (ivKeyword.ivName.size() != keyword.ivName.size() ||
            memcmp(ivKeyword.ivName.c_str(), keyword.ivName.c_str(), keyword.ivName.size()) != 0) {
            KVORA_FATAL("Syntax Error: Reserved(string) keyword expected");
        }
    } else if (value < -0x7FFFFFFFLL || -value != keyword.ivGlobalId) {
        KVORA_FATAL("Syntax Error: Reserved(integer) keyword expected");
    }
    return true;
}

void KVORABinObjReader::readBool(bool &result, KVORA_ENV env)
{
    uint8_t byte = 0;
    readByte(byte, env);
    result = byte != 0;
}

void KVORABinObjReader::readChar(char &result, KVORA_ENV env)
{
    uint8_t byte = 0;
    readByte(byte, env);
    result = static_cast<char>(byte);
}

void KVORABinObjReader::readString(KV2AscString &result, KVORA_ENV env)
{
    int64_t length = 0;
    readVarSigned(length, false, env);
    if (length <= 0) {
        result.assign(nullptr, 0);
        return;
    }
    int64_t read = length < 0x7FFFFFF0 ? readIntoBuffer(length, env) : 0;
    checkStatus(false, env);
    if (read != length) {
        kvoraAssertFail("read == size", KVORA_PLACE);
    }
    ivBuffer[static_cast<int32_t>(length)] = 0;
    result.assign(ivBuffer.getBlock(), static_cast<int32_t>(length));
}

void KVORABinObjReader::readUnsigned(uint64_t &result, KVORA_ENV env)
{
    // A byte that did not come fails as readByte fails.
    if (!ivBlobReader->readVarUnsigned(result)) {
        checkStatus(false, env);
        kvoraAssertFail("read == size", KVORA_PLACE);
    }
}

void KVORABinObjReader::readSigned(int64_t &result, KVORA_ENV env)
{
    readVarSigned(result, false, env);
}

int32_t KVORABinObjReader::readUnsigneds(uint64_t *out, int32_t count, KVORA_ENV env)
{
    return count > 0 ? ivBlobReader->readVarUnsigneds(out, count) : 0;
}

int32_t KVORABinObjReader::readSigneds(int64_t *out, int32_t count, KVORA_ENV env)
{
    return count > 0 ? ivBlobReader->readVarSigneds(out, count) : 0;
}

void KVORABinObjReader::readReal(double &result, KVORA_ENV env)
{
    uint8_t buf[8];
    int64_t got = ivBlobReader->read(buf, 8);
    checkStatus(false, env);
    if (got != 8) {
        kvoraAssertFail("read == size", KVORA_PLACE);
    }
    memcpy(&result, buf, 8);
}

int32_t KVORABinObjReader::readReals(double *out, int32_t count, KVORA_ENV env)
{
    // One read for all: a short one leaves the rest to readReal, which fails
    // on the stream's end as it would have at that element.
    if (count <= 0) return 0;
    const int64_t got = ivBlobReader->read(out, static_cast<int64_t>(count) * 8);
    return static_cast<int32_t>(got / 8);
}

void KVORABinObjReader::readObjectType(KV2AscString &result, KVORA_ENV env)
{
    if (!expectKeyword(kvoraKwd_BeginObjectType(), env)) {
        KVORA_FATAL("Syntax Error: BeginObjectType keyword expected");
    }
    readString(result, env);
}

void KVORABinObjReader::beginObject(KVORA_ENV env)
{
    if (!expectKeyword(kvoraKwd_BeginObject(), env)) {
        KVORA_FATAL("Syntax Error: BeginObject keyword expected");
    }
}

int32_t KVORABinObjReader::beginArray(KVORA_ENV env)
{
    if (!expectKeyword(kvoraKwd_BeginArraySize(), env)) {
        KVORA_FATAL("Syntax Error: BeginArray or BeginArraySize keyword expected");
    }
    int64_t size = 0;
    readVarSigned(size, false, env);
    if (size > 0x7FFFFFFF) {
        size = 0x7FFFFFFF;
    } else if (size < -0x7FFFFFFFLL) {
        size = -0x7FFFFFFFLL;
    }
    return static_cast<int32_t>(size);
}
