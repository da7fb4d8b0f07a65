// Placeholders of the abstract byte source: the binary format is read
// strictly in order and never needs to know where it stands.
#include "util/kvora_blobreader.h"

#include "util/kvora_debug.h"

bool KVOBlobReader::readVarUnsigned(uint64_t &value)
{
    return kvoraDecodeVarUnsigned(
        [this]() -> int32_t {
            uint8_t byte = 0;
            if (read(&byte, 1) != 1 || status() != 0) return -1;
            return byte;
        },
        value);
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
