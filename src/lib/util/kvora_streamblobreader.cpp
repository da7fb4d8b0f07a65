// Reads what the stream has, up to the count asked; the end of the stream is
// status 1, so that the object reader can tell a clean end between keywords
// from a stream that broke off.
#include "util/kvora_streamblobreader.h"

int32_t KVOStreamBlobReader::status()
{
    if (ivStream == nullptr) {
        return 2;
    }
    if (ivStream->eof()) {
        return 1;
    }
    return ivStream->fail() ? 2 : 0;
}

int64_t KVOStreamBlobReader::read(void *buffer, int64_t count)
{
    if (ivStream == nullptr || count <= 0) {
        return 0;
    }
    // Straight from the stream's buffer: the items of an object are a few
    // bytes each, and a checked read per item cost more than the copy. A
    // short read ends the stream as the stream's own read would.
    std::streambuf *source = ivStream->rdbuf();
    if (!ivStream->good() || source == nullptr) {
        ivStream->setstate(std::ios::failbit);
        return 0;
    }
    if (count == 1) {
        // The object reader's variable-length numbers come a byte at a time.
        const std::streambuf::int_type c = source->sbumpc();
        if (std::streambuf::traits_type::eq_int_type(c, std::streambuf::traits_type::eof())) {
            ivStream->setstate(std::ios::eofbit | std::ios::failbit);
            return 0;
        }
        *static_cast<char *>(buffer) = std::streambuf::traits_type::to_char_type(c);
        return 1;
    }
    const int64_t got = static_cast<int64_t>(source->sgetn(static_cast<char *>(buffer), count));
    if (got < count) {
        ivStream->setstate(std::ios::eofbit | std::ios::failbit);
    }
    return got;
}

template <class Value, class Decode>
int32_t KVOStreamBlobReader::decodeAll(Value *values, int32_t count, Decode decode)
{
    // Node keys come by the hundred thousand in every pass's messages: one
    // check of the stream, then the bytes from its buffer.
    std::streambuf *source = ivStream != nullptr ? ivStream->rdbuf() : nullptr;
    if (source == nullptr || !ivStream->good()) {
        if (ivStream != nullptr) ivStream->setstate(std::ios::failbit);
        return 0;
    }
    bool ended = false;
    auto next = [source, &ended]() -> int32_t {
        const std::streambuf::int_type c = source->sbumpc();
        if (std::streambuf::traits_type::eq_int_type(c, std::streambuf::traits_type::eof())) {
            ended = true;
            return -1;
        }
        return static_cast<uint8_t>(std::streambuf::traits_type::to_char_type(c));
    };
    int32_t done = 0;
    while (done < count && decode(next, values[done])) ++done;
    if (ended) ivStream->setstate(std::ios::eofbit | std::ios::failbit);
    return done;
}

bool KVOStreamBlobReader::readVarUnsigned(uint64_t &value) { return readVarUnsigneds(&value, 1) == 1; }

int32_t KVOStreamBlobReader::readVarUnsigneds(uint64_t *values, int32_t count)
{
    return decodeAll(values, count, [](auto &next, uint64_t &value) { return kvoraDecodeVarUnsigned(next, value); });
}

int32_t KVOStreamBlobReader::readVarSigneds(int64_t *values, int32_t count)
{
    return decodeAll(values, count, [](auto &next, int64_t &value) { return kvoraDecodeVarSigned(next, value); });
}
