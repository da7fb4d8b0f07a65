// The ASCII object reader: a tokeniser over a text stream (quoted strings,
// quoted characters, plain words) under the keyword matching of the abstract
// reader. One token can stay pending, which is how the end of an array is
// seen before its next element is read. Every way a text can be broken ends
// in one of the format's failure texts; the reader consumes at least one
// token per step, so no text makes it loop.
#pragma once

#include <cstdint>
#include <istream>
#include <sstream>

#include "util/kvora_objreader.h"
#include "util/kvora_xray.h"

class KVORAAsciiStreamReader : public KVORAObjReader {
public:
    enum { TokenNone = 0, TokenString = 1, TokenChar = 2, TokenWord = 3, TokenEnd = 4 };

    int32_t ivTokenKind;

    explicit KVORAAsciiStreamReader(std::istream *stream);
    ~KVORAAsciiStreamReader() override;

    void readKeyword(KVORA_ENV env) override;
    void readBool(bool &result, KVORA_ENV env) override;
    void readChar(char &result, KVORA_ENV env) override;
    void readString(KV2AscString &result, KVORA_ENV env) override;
    void readUnsigned(uint64_t &result, KVORA_ENV env) override;
    void readSigned(int64_t &result, KVORA_ENV env) override;
    void readReal(double &result, KVORA_ENV env) override;
    void readObjectType(KV2AscString &result, KVORA_ENV env) override;
    void beginObject(KVORA_ENV env) override;
    int32_t beginArray(KVORA_ENV env) override;
    int32_t atArrayEnd(KVORA_ENV env) override;

private:
    // Makes the next token current, leaving it pending.
    void peekToken(KVORA_ENV env);
    // Makes the next token current and consumes it.
    void takeToken(KVORA_ENV env);
    void scanToken(KVORA_ENV env);
    // The byte after a caret or backslash inside a quoted token.
    int32_t nextQuotedByte(const char *endMessage, KVORA_ENV env);
    void appendByte(char c, KVORA_ENV env);
    bool wordIs(const char *text) const;
    // A plain word as a number: the three infinity words, else a double.
    // Answers 1 for the largest value, -1 for the most negative, 0 for `value`.
    int32_t parseNumber(double &value);

    std::istream *ivStream;
    KVORAXaRay<char, 0> ivTokenBuffer;
    int32_t ivTokenLength;
    int32_t ivTokenPending;
    KVORAEnv *ivBufferEnv;  // the environment the buffer was grown with, to free it
    std::istringstream ivParser;
};
