// A byte sink over a standard stream: in the job layer an in-memory string
// stream that holds the whole message. It adds no buffering of its own.
#pragma once

#include <ostream>

#include "util/kvora_blobwriter.h"

class KVOStreamBlobWriter : public KVOBlobWriter {
public:
    explicit KVOStreamBlobWriter(std::ostream *stream) : ivStream(stream) {}
    ~KVOStreamBlobWriter() override;
    int32_t status() override;
    int64_t write(const void *bytes, int64_t count) override;

private:
    std::ostream *ivStream;
};
