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
    int32_t readVarUnsigneds(uint64_t *values, int32_t count) override;
    int32_t readVarSigneds(int64_t *values, int32_t count) override;

private:
    // Decodes up to `count` numbers with `decode(next, value)`, the bytes
    // taken straight from the stream's buffer.
    template <class Value, class Decode>
    int32_t decodeAll(Value *values, int32_t count, Decode decode);
    std::istream *ivStream;
};
