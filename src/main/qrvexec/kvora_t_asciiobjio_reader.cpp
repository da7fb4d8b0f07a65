// The ASCII object reader: tokeniser, keyword forms and value parsing, with
// the format's failure texts.
#include "qrvexec/kvora_t_asciiobjio_reader.h"

#include <cfloat>
#include <cstring>

#include "util/kvora_debug.h"

namespace {

bool isBlank(int32_t c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Digits from `p` into a value held within 32 bits; answers the end.
const char *scanDigits(const char *p, const char *end, int64_t &value)
{
    value = 0;
    while (p < end && isDigit(*p)) {
        if (value < 0x100000000LL) {
            value = value * 10 + (*p - '0');
        }
        ++p;
    }
    return p;
}

}  // namespace

KVORAAsciiStreamReader::KVORAAsciiStreamReader(std::istream *stream)
    : ivTokenKind(TokenNone),
      ivStream(stream),
      ivTokenBuffer(KVORA_PLACE),
      ivTokenLength(0),
      ivTokenPending(0),
      ivBufferEnv(nullptr)
{
}

KVORAAsciiStreamReader::~KVORAAsciiStreamReader()
{
    ivTokenBuffer.reset(ivBufferEnv);
}

void KVORAAsciiStreamReader::appendByte(char c, KVORA_ENV env)
{
    // One spare cell for the terminator.
    if (ivTokenLength + 1 >= ivTokenBuffer.getSize()) {
        if (ivTokenLength >= 0x7FFFFFF0) {
            KVORA_FATAL("Syntax Error: token expected");
        }
        ivBufferEnv = env;
        ivTokenBuffer.autoExtend(ivTokenLength + 1, env);
    }
    ivTokenBuffer[ivTokenLength++] = c;
}

int32_t KVORAAsciiStreamReader::nextQuotedByte(const char *endMessage, KVORA_ENV env)
{
    int32_t c = ivStream->get();
    if (c == std::char_traits<char>::eof()) {
        KVORA_FATAL(endMessage);
    }
    return c;
}

void KVORAAsciiStreamReader::scanToken(KVORA_ENV env)
{
    ivTokenLength = 0;
    int32_t c = ivStream->get();
    while (c != std::char_traits<char>::eof() && isBlank(c)) {
        c = ivStream->get();
    }
    if (c == std::char_traits<char>::eof()) {
        ivTokenKind = TokenEnd;
        ivKeywordState = KeywordEnd;
    } else if (c == '\'') {
        static const char *const endText = "Cannot read from input stream while parsing char";
        int32_t v = nextQuotedByte(endText, env);
        if (v == '\\') {
            v = nextQuotedByte(endText, env);
        } else if (v == '^') {
            v = nextQuotedByte(endText, env);
            if (v >= 64) v -= 64;
        }
        appendByte(static_cast<char>(v), env);
        if (nextQuotedByte(endText, env) != '\'') {
            KVORA_FATAL("Invalid syntax for single char");
        }
        ivTokenKind = TokenChar;
    } else if (c == '"') {
        static const char *const endText = "Cannot read from input stream while parsing string";
        for (;;) {
            int32_t v = nextQuotedByte(endText, env);
            if (v == '"') break;
            if (v == '\\') {
                v = nextQuotedByte(endText, env);
            } else if (v == '^') {
                v = nextQuotedByte(endText, env);
                if (v >= 64) v -= 64;
            }
            appendByte(static_cast<char>(v), env);
        }
        ivTokenKind = TokenString;
    } else {
        while (c != std::char_traits<char>::eof() && !isBlank(c)) {
            appendByte(static_cast<char>(c), env);
            c = ivStream->get();
        }
        ivTokenKind = TokenWord;
    }
    if (ivTokenBuffer.getSize() > 0) {
        ivTokenBuffer[ivTokenLength] = 0;
    }
}

void KVORAAsciiStreamReader::peekToken(KVORA_ENV env)
{
    if (!ivTokenPending) {
        scanToken(env);
        ivTokenPending = 1;
    }
}

void KVORAAsciiStreamReader::takeToken(KVORA_ENV env)
{
    peekToken(env);
    ivTokenPending = 0;
}

bool KVORAAsciiStreamReader::wordIs(const char *text) const
{
    size_t n = strlen(text);
    return ivTokenKind == TokenWord && static_cast<size_t>(ivTokenLength) == n &&
           memcmp(ivTokenBuffer.getBlock(), text, n) == 0;
}

void KVORAAsciiStreamReader::readKeyword(KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind == TokenEnd) {
        ivKeywordState = KeywordEnd;
        return;
    }
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: token expected");
    }
    const char *word = ivTokenBuffer.getBlock();
    const char *end = word + ivTokenLength;
    ivKeyword.ivName.assign(word, ivTokenLength);
    ivKeyword.ivClassId = 0;
    ivKeyword.ivLocalId = 0;
    ivKeyword.ivGlobalId = 0;
    if (isDigit(word[0])) {
        // Leading digits are a global number, whatever follows them.
        int64_t number = 0;
        scanDigits(word, end, number);
        if (number < 1) {
            KVORA_FATAL("Syntax Error: keyword expected");
        }
        ivKeyword.ivGlobalId = static_cast<int32_t>(number > 0x7FFFFFFF ? 0x7FFFFFFF : number);
        ivMatchMode = MatchByGlobalId;
    } else if (word[0] == '<') {
        // <class separator local>; a class number is a 32-bit hash, taken as unsigned.
        int64_t classId = 0;
        int64_t localId = 0;
        const char *p = scanDigits(word + 1, end, classId);
        if (p < end) ++p;
        scanDigits(p, end, localId);
        ivKeyword.ivClassId = static_cast<int32_t>(static_cast<uint32_t>(classId > 0xFFFFFFFFLL ? 0xFFFFFFFFLL : classId));
        ivKeyword.ivLocalId = static_cast<int32_t>(localId > 0x7FFFFFFF ? 0x7FFFFFFF : localId);
        ivMatchMode = MatchByClassLocal;
    } else {
        ivMatchMode = MatchByName;
    }
    ivKeywordState = KeywordPending;
}

int32_t KVORAAsciiStreamReader::parseNumber(double &value)
{
    if (wordIs("infinity") || wordIs("+infinity")) return 1;
    if (wordIs("-infinity")) return -1;
    // A stream that cannot read a number gives 0, as the stream does.
    ivParser.clear();
    ivParser.str(std::string(ivTokenBuffer.getBlock(), static_cast<size_t>(ivTokenLength)));
    value = 0.0;
    ivParser >> value;
    return 0;
}

void KVORAAsciiStreamReader::readReal(double &result, KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: KVORAReal expected");
    }
    double value = 0.0;
    int32_t special = parseNumber(value);
    result = special > 0 ? DBL_MAX : (special < 0 ? -DBL_MAX : value);
}

void KVORAAsciiStreamReader::readSigned(int64_t &result, KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: integer expected");
    }
    double value = 0.0;
    int32_t special = parseNumber(value);
    // 9223372036854775807.0 is 2^63 as a double: at or beyond it is the largest value.
    if (special > 0 || value >= 9223372036854775807.0) {
        result = INT64_MAX;
    } else if (special < 0 || value <= -9223372036854775808.0) {
        result = INT64_MIN;
    } else if (value != value) {
        result = 0;
    } else {
        result = static_cast<int64_t>(value);
    }
}

void KVORAAsciiStreamReader::readUnsigned(uint64_t &result, KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: unsigned integer expected");
    }
    double value = 0.0;
    int32_t special = parseNumber(value);
    // 18446744073709551615.0 is 2^64 as a double.
    if (special > 0 || value >= 18446744073709551615.0) {
        result = UINT64_MAX;
    } else if (special < 0 || !(value > 0.0)) {
        result = 0;
    } else {
        result = static_cast<uint64_t>(value);
    }
}

void KVORAAsciiStreamReader::readString(KV2AscString &result, KVORA_ENV env)
{
    takeToken(env);
    if ((ivTokenKind != TokenString && ivTokenKind != TokenWord) || ivTokenLength == 0) {
        KVORA_FATAL("Syntax Error: string expected");
    }
    result.assign(ivTokenBuffer.getBlock(), ivTokenLength);
}

void KVORAAsciiStreamReader::readChar(char &result, KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind != TokenChar) {
        KVORA_FATAL("Syntax Error: char expected");
    }
    result = ivTokenBuffer[0];
}

void KVORAAsciiStreamReader::readBool(bool &result, KVORA_ENV env)
{
    takeToken(env);
    static const char *const trueWords[] = {"true", "True", "TRUE", "yes", "Yes", "YES", "1"};
    static const char *const falseWords[] = {"false", "False", "FALSE", "no", "No", "NO", "0"};
    for (const char *w : trueWords) {
        if (wordIs(w)) {
            result = true;
            return;
        }
    }
    for (const char *w : falseWords) {
        if (wordIs(w)) {
            result = false;
            return;
        }
    }
    KVORA_FATAL("Syntax Error: bool expected");
}

void KVORAAsciiStreamReader::readObjectType(KV2AscString &result, KVORA_ENV env)
{
    takeToken(env);
    if (wordIs("NULLPTR")) {
        result.assign(nullptr, 0);
        return;
    }
    if (!wordIs("BeginObjectType")) {
        KVORA_FATAL("Syntax Error: BeginObjectType keyword expected");
    }
    takeToken(env);
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: object type expected");
    }
    result.assign(ivTokenBuffer.getBlock(), ivTokenLength);
}

void KVORAAsciiStreamReader::beginObject(KVORA_ENV env)
{
    takeToken(env);
    if (!wordIs("BeginObject")) {
        KVORA_FATAL("Syntax Error: BeginObject keyword expected");
    }
}

int32_t KVORAAsciiStreamReader::beginArray(KVORA_ENV env)
{
    takeToken(env);
    if (ivTokenKind != TokenWord) {
        KVORA_FATAL("Syntax Error: BeginArray keyword expected");
    }
    if (wordIs("BeginArray")) {
        return -1;
    }
    if (!wordIs("BeginArraySize")) {
        KVORA_FATAL("Syntax Error: BeginArray or BeginArraySize keyword expected");
    }
    int64_t size = 0;
    readSigned(size, env);
    if (size > 0x7FFFFFFF) {
        size = 0x7FFFFFFF;
    } else if (size < -0x7FFFFFFFLL) {
        size = -0x7FFFFFFFLL;
    }
    return static_cast<int32_t>(size);
}

int32_t KVORAAsciiStreamReader::atArrayEnd(KVORA_ENV env)
{
    peekToken(env);
    if (ivTokenKind == TokenEnd) {
        KVORA_FATAL("Syntax Error: EndArray keyword expected");
    }
    return wordIs("EndArray") ? 1 : 0;
}
