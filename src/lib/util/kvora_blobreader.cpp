// Placeholders of the abstract byte source: the binary format is read
// strictly in order and never needs to know where it stands.
#include "util/kvora_blobreader.h"

#include "util/kvora_debug.h"

bool KVOBlobReader::readVarUnsigned(uint64_t &value)
{
    uint64_t result = 0;
    int32_t shift = 0;
    for (;;) {
        uint8_t byte = 0;
        if (read(&byte, 1) != 1 || status() != 0) return false;
        if (shift < 64) {
            result |= static_cast<uint64_t>(byte & 0x7F) << shift;
            shift += 7;
        }
        if ((byte & 0x80) != 0) break;
    }
    value = result;
    return true;
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
