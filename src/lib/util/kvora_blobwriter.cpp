// Placeholders of the abstract byte sink: positioning is not part of the
// binary format, which is written strictly in order.
#include "util/kvora_blobwriter.h"

#include "util/kvora_debug.h"

void KVOBlobWriter::seek(int64_t offset)
{
    KVORA_NOT_IMPLEMENTED();
}

int64_t KVOBlobWriter::getPosition()
{
    KVORA_NOT_IMPLEMENTED();
}
