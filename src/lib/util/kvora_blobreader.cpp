// Placeholders of the abstract byte source: the binary format is read
// strictly in order and never needs to know where it stands.
#include "util/kvora_blobreader.h"

#include "util/kvora_debug.h"

namespace {
// The next byte through the source's own read, or -1.
struct ByteByRead {
    KVOBlobReader *source;
    int32_t operator()() const
    {
        uint8_t byte = 0;
        if (source->read(&byte, 1) != 1 || source->status() != 0) return -1;
        return byte;
    }
};
}  // namespace

bool KVOBlobReader::readVarUnsigned(uint64_t &value) { return kvoraDecodeVarUnsigned(ByteByRead{this}, value); }

int32_t KVOBlobReader::readVarUnsigneds(uint64_t *values, int32_t count)
{
    int32_t done = 0;
    while (done < count && readVarUnsigned(values[done])) ++done;
    return done;
}

int32_t KVOBlobReader::readVarSigneds(int64_t *values, int32_t count)
{
    int32_t done = 0;
    while (done < count && kvoraDecodeVarSigned(ByteByRead{this}, values[done])) ++done;
    return done;
}

void KVOBlobReader::seek(int64_t offset)
{
    KVORA_NOT_IMPLEMENTED();
}

int64_t KVOBlobReader::getPosition()
{
    KVORA_NOT_IMPLEMENTED();
}

int64_t KVOBlobReader::getLength()
{
    KVORA_NOT_IMPLEMENTED();
}
