// The ASCII object writer: one keyword per line, indented four blanks per
// level of nesting, values on the keyword's line. Openings and closings of
// objects and arrays stand two blanks left of their members, so that the
// nesting reads at a glance. Every write checks the stream and fails the run
// on an error rather than leaving a dump cut short unnoticed.
#pragma once

#include <cstdint>
#include <ostream>

#include "util/kvora_objwriter.h"

class KVORAAsciiStreamWriter : public KVORAObjWriter {
public:
    KVORAAsciiStreamWriter(std::ostream *stream, int32_t mode);

    void flush() override;
    void writeKeyword(const KVORAKeyword &keyword, KVORA_ENV env) override;
    void writeBool(bool value, KVORA_ENV env) override;
    void writeChar(char value, KVORA_ENV env) override;
    void writeString(const KV2AscString &value, KVORA_ENV env) override;
    void writeUnsigned(uint64_t value, KVORA_ENV env) override;
    void writeSigned(int64_t value, KVORA_ENV env) override;
    void writeReal(double value, KVORA_ENV env) override;
    void beginObjectType(const KV2AscString &typeName, KVORA_ENV env) override;
    void beginObject(KVORA_ENV env) override;
    void beginArray(int32_t size, KVORA_ENV env) override;

private:
    // A line feed and the indentation; `edge` for an opening or closing item.
    void lineStart(bool edge);
    void check(KVORA_ENV env);

    std::ostream *ivStream;
};
