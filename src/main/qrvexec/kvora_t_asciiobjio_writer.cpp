// The ASCII object writer: layout and escapes of the text dump.
#include "qrvexec/kvora_t_asciiobjio_writer.h"

#include "qrvexec/kvora_t_asciiobjio.h"
#include "util/kvora_debug.h"

namespace {
const char kvBlanks[] = "                                                                ";
const int32_t kvBlankCount = static_cast<int32_t>(sizeof(kvBlanks) - 1);
}  // namespace

KVORAAsciiStreamWriter::KVORAAsciiStreamWriter(std::ostream *stream, int32_t mode)
    : KVORAObjWriter(mode), ivStream(stream)
{
}

void KVORAAsciiStreamWriter::flush()
{
    ivStream->flush();
}

void KVORAAsciiStreamWriter::check(KVORA_ENV env)
{
    if (ivStream->fail()) {
        ivGood = 0;
        KVORA_FATAL("ASCII Stream Write Error");
    }
}

void KVORAAsciiStreamWriter::lineStart(bool edge)
{
    int64_t units = edge ? ivDepth - 1 : ivDepth;
    int64_t blanks = (units > 0 ? units * 4 : 0) + (edge ? 2 : 0);
    ivStream->put('\n');
    while (blanks > 0) {
        int64_t step = blanks < kvBlankCount ? blanks : kvBlankCount;
        ivStream->write(kvBlanks, static_cast<std::streamsize>(step));
        blanks -= step;
    }
}

void KVORAAsciiStreamWriter::writeKeyword(const KVORAKeyword &keyword, KVORA_ENV env)
{
    // The two closing keywords are the reserved numbers 3 and 6.
    bool closing = keyword.ivClassId == 0 &&
                   (keyword.ivGlobalId == kvoraKwd_EndObject().ivGlobalId ||
                    keyword.ivGlobalId == kvoraKwd_EndArray().ivGlobalId);
    lineStart(closing);
    ivStream->write(keyword.ivName.c_str(), static_cast<std::streamsize>(keyword.ivName.size()));
    check(env);
}

void KVORAAsciiStreamWriter::writeBool(bool value, KVORA_ENV env)
{
    *ivStream << (value ? " true" : " false");
    check(env);
}

void KVORAAsciiStreamWriter::writeChar(char value, KVORA_ENV env)
{
    ivStream->write(" '", 2);
    kvoraAsciiPutEscaped(*ivStream, &value, 1);
    ivStream->put('\'');
    check(env);
}

void KVORAAsciiStreamWriter::writeString(const KV2AscString &value, KVORA_ENV env)
{
    ivStream->write(" \"", 2);
    kvoraAsciiPutEscaped(*ivStream, value.c_str(), value.size());
    ivStream->put('"');
    check(env);
}

void KVORAAsciiStreamWriter::writeUnsigned(uint64_t value, KVORA_ENV env)
{
    *ivStream << ' ' << value;
    check(env);
}

void KVORAAsciiStreamWriter::writeSigned(int64_t value, KVORA_ENV env)
{
    *ivStream << ' ' << value;
    check(env);
}

void KVORAAsciiStreamWriter::writeReal(double value, KVORA_ENV env)
{
    // The stream's own format: no precision is imposed.
    *ivStream << ' ' << value;
    check(env);
}

void KVORAAsciiStreamWriter::beginObjectType(const KV2AscString &typeName, KVORA_ENV env)
{
    if (typeName.size() == 0) {
        *ivStream << " NULLPTR";
        check(env);
        return;
    }
    lineStart(true);
    *ivStream << "BeginObjectType ";
    ivStream->write(typeName.c_str(), static_cast<std::streamsize>(typeName.size()));
    check(env);
}

void KVORAAsciiStreamWriter::beginObject(KVORA_ENV env)
{
    lineStart(true);
    *ivStream << "BeginObject";
    check(env);
}

void KVORAAsciiStreamWriter::beginArray(int32_t size, KVORA_ENV env)
{
    lineStart(true);
    if (ivMode == 0 || ivMode == 2 || ivMode == 3) {
        // Minus the size: the reader takes it as a capacity and reads up to EndArray.
        *ivStream << "BeginArraySize " << -static_cast<int64_t>(size);
    } else {
        *ivStream << "BeginArray";
    }
    check(env);
}
