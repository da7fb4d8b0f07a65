// A byte source over a standard stream, as the job layer's received message.
#pragma once

#include <istream>

#include "util/kvora_blobreader.h"

class KVOStreamBlobReader : public KVOBlobReader {
public:
    explicit KVOStreamBlobReader(std::istream *stream) : ivStream(stream) {}
    int32_t status() override;
    int64_t read(void *buffer, int64_t count) override;
    bool readVarUnsigned(uint64_t &value) override;

private:
    std::istream *ivStream;
};
