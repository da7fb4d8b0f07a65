// The ASCII object format: the layout and escapes worked out by hand, the
// reader's token rules and number words, round trips of test classes and of
// system classes, and broken texts (every truncation, random mutations,
// random bytes) that must end in one of the format's failure texts.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_catfielddist.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_numfield.h"
#include "kernel/kvora_numfielddist.h"
#include "qrvexec/kvora_t_asciiobjio.h"
#include "qrvexec/kvora_t_streamlbio.h"
#include "simple_algorithm/kvora_kernel_functions_rbf.h"
#include "simple_algorithm/kvora_online_histogram.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

// ---- test classes ----

class KVORAAscTestLeaf : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAAscTestLeaf)
public:
    int32_t ivValue = 0;
    KV2AscString ivLabel;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

KVORA_OBJECT_IMPL(KVORAAscTestLeaf, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAAscTestLeaf, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORAAscTestLeaf, ivLabel, 2)

void KVORAAscTestLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(r, KVORA_KWD(ivLabel), ivLabel, env);
}

void KVORAAscTestLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(w, KVORA_KWD(ivLabel), ivLabel, env);
}

class KVORAAscTestNode : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAAscTestNode)
public:
    int32_t ivCount = 0;
    double ivReal = 0.0;
    bool ivFlag = false;
    char ivChar = 'c';
    uint64_t ivBig = 0;
    int64_t ivSigned = 0;
    KV2AscString ivName;
    KVORAOwnPtr<KVORAAscTestLeaf> ivLeaf;
    KVORAXaRay<double, 1> ivValues;
    KVORAXaRay<KVORAOwnPtr<KVORAAscTestLeaf>, 1> ivLeaves;
    KVORAArray<KVORAAscTestLeaf> ivEmbedded;
    KVORAOwnPtr<KVORAAscTestNode> ivChild;

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
};

KVORA_OBJECT_IMPL(KVORAAscTestNode, KVORAObject, 12)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivCount, 1)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivReal, 2)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivFlag, 3)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivChar, 4)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivBig, 5)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivSigned, 6)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivName, 7)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivLeaf, 8)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivValues, 9)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivLeaves, 10)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivEmbedded, 11)
KVORA_MEMBER_KEYWORD(KVORAAscTestNode, ivChild, 12)

void KVORAAscTestNode::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(r, KVORA_KWD(ivReal), ivReal, env);
    kvoraRead(r, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraRead(r, KVORA_KWD(ivChar), ivChar, env);
    kvoraRead(r, KVORA_KWD(ivBig), ivBig, env);
    kvoraRead(r, KVORA_KWD(ivSigned), ivSigned, env);
    kvoraRead(r, KVORA_KWD(ivName), ivName, env);
    kvoraRead(r, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraRead(r, KVORA_KWD(ivValues), ivValues, env);
    kvoraRead(r, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraRead(r, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraRead(r, KVORA_KWD(ivChild), ivChild, env);
}

void KVORAAscTestNode::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(w, KVORA_KWD(ivReal), ivReal, env);
    kvoraWrite(w, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraWrite(w, KVORA_KWD(ivChar), ivChar, env);
    kvoraWrite(w, KVORA_KWD(ivBig), ivBig, env);
    kvoraWrite(w, KVORA_KWD(ivSigned), ivSigned, env);
    kvoraWrite(w, KVORA_KWD(ivName), ivName, env);
    kvoraWrite(w, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraWrite(w, KVORA_KWD(ivValues), ivValues, env);
    kvoraWrite(w, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraWrite(w, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraWrite(w, KVORA_KWD(ivChild), ivChild, env);
}

void KVORAAscTestNode::releasePrimitive(KVORA_ENV env)
{
    ivLeaf.reset(env);
    ivValues.reset(env);
    for (int32_t i = 1; i <= ivLeaves.getSize(); ++i) {
        ivLeaves[i].reset(env);
    }
    ivLeaves.reset(env);
    ivEmbedded.reset(env);
    ivChild.reset(env);
    KVORAObject::releasePrimitive(env);
}

// ---- helpers ----

namespace {

template <class F>
std::string written(int32_t mode, F f)
{
    KVORAEnv *env = nullptr;
    std::ostringstream out;
    KVORAAsciiStreamWriter writer(&out, mode);
    f(writer, env);
    return out.str();
}

struct ReadOutcome {
    bool threw = false;
    std::string err;
};

template <class F>
ReadOutcome readText(const std::string &text, F f)
{
    KVORAEnv *env = nullptr;
    std::istringstream in(text);
    KVORAAsciiStreamReader reader(&in);
    ReadOutcome out;
    testing::internal::CaptureStderr();
    try {
        f(reader, env);
    } catch (int) {
        out.threw = true;
    }
    out.err = testing::internal::GetCapturedStderr();
    return out;
}

bool failedWith(const ReadOutcome &o, const char *text)
{
    return o.threw && o.err.find(text) != std::string::npos;
}

const char *const kFailureTexts[] = {
    "Invalid syntax for single char",
    "Cannot read from input stream while parsing char",
    "Cannot read from input stream while parsing string",
    "Syntax Error: token expected",
    "Syntax Error: keyword expected",
    "Syntax Error: KVORAReal expected",
    "Syntax Error: integer expected",
    "Syntax Error: unsigned integer expected",
    "Syntax Error: string expected",
    "Syntax Error: char expected",
    "Syntax Error: bool expected",
    "Syntax Error: BeginObjectType keyword expected",
    "Syntax Error: object type expected",
    "Syntax Error: BeginObject keyword expected",
    "Syntax Error: BeginArray keyword expected",
    "Syntax Error: BeginArray or BeginArraySize keyword expected",
    "Syntax Error: EndArray keyword expected",
    "Input keyword does not match expected keyword(s)",
    "Input object type does not match known object types",
    "Object stream nested too deeply",
};

bool hasFailureText(const std::string &err)
{
    for (const char *t : kFailureTexts) {
        if (err.find(t) != std::string::npos) return true;
    }
    return false;
}

// A graph whose every string is non-empty and every real has few digits, so
// that the text holds all of it.
void fillGraph(KVORAAscTestNode &n, KVORA_ENV env)
{
    n.ivCount = -300;
    n.ivReal = 0.125;
    n.ivFlag = true;
    n.ivChar = '\n';
    n.ivBig = UINT64_MAX;
    n.ivSigned = INT64_MIN;
    n.ivName = "a \"quoted\" ^name\\ with\ttab";
    n.ivLeaf.reset(new KVORAAscTestLeaf(), env);
    n.ivLeaf->ivValue = 64;
    n.ivLeaf->ivLabel = "owned";
    n.ivValues.setSize(3, env);
    n.ivValues[1] = 1.5;
    n.ivValues[2] = -2.25;
    n.ivValues[3] = 1e300;
    n.ivLeaves.setSize(3, env);
    n.ivLeaves[1].reset(new KVORAAscTestLeaf(), env);
    n.ivLeaves[1]->ivValue = 1;
    n.ivLeaves[1]->ivLabel = "one";
    n.ivLeaves[3].reset(new KVORAAscTestLeaf(), env);  // element 2 stays null
    n.ivLeaves[3]->ivValue = 3;
    n.ivLeaves[3]->ivLabel = "three";
    n.ivEmbedded.setSize(2, env);
    n.ivEmbedded[1].ivValue = 11;
    n.ivEmbedded[1].ivLabel = "first";
    n.ivEmbedded[2].ivValue = 12;
    n.ivEmbedded[2].ivLabel = "second";
    n.ivChild.reset(new KVORAAscTestNode(), env);
    n.ivChild->ivCount = 7;
    n.ivChild->ivName = "child";
}

std::string graphText()
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAAscTestNode> root;
    root.reset(new KVORAAscTestNode(), env);
    fillGraph(*root, env);
    std::string s = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, root, e); });
    root.reset(env);
    return s;
}

}  // namespace

// ---- layout ----

TEST(AsciiLayout, ObjectsArraysAndValues)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAAscTestNode> root;
    root.reset(new KVORAAscTestNode(), env);
    KVORAAscTestNode &n = *root;
    n.ivCount = -5;
    n.ivReal = 2.5;
    n.ivChar = 'x';
    n.ivBig = 300;
    n.ivName = "n";
    n.ivValues.setSize(2, env);
    n.ivValues[1] = 1.5;
    n.ivValues[2] = -0.25;
    n.ivLeaves.setSize(1, env);
    n.ivEmbedded.setSize(1, env);
    n.ivEmbedded[1].ivValue = 11;
    n.ivEmbedded[1].ivLabel = "e";
    std::string s = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, root, e); });
    // Members at four blanks per level; openings and closings two blanks left.
    const std::string expected =
        "\n  BeginObjectType KVORAAscTestNode"
        "\n    ivCount -5"
        "\n    ivReal 2.5"
        "\n    ivFlag false"
        "\n    ivChar 'x'"
        "\n    ivBig 300"
        "\n    ivSigned 0"
        "\n    ivName \"n\""
        "\n    ivLeaf NULLPTR"
        "\n    ivValues"
        "\n      BeginArraySize -2 1.5 -0.25"
        "\n      EndArray"
        "\n    ivLeaves"
        "\n      BeginArraySize -1 NULLPTR"
        "\n      EndArray"
        "\n    ivEmbedded"
        "\n      BeginArraySize -1"
        "\n          BeginObject"
        "\n            ivValue 11"
        "\n            ivLabel \"e\""
        "\n          EndObject"
        "\n      EndArray"
        "\n    ivChild NULLPTR"
        "\n  EndObject";
    EXPECT_EQ(s, expected);

    // Writing mode 1 opens an array without its size; an empty string is two quotes.
    n.ivName = "";
    std::string plain = written(1, [&](KVORAObjWriter &w, KVORA_ENV e) {
        kvoraWrite(w, n.ivValues, e);
        kvoraWrite(w, n.ivName, e);
    });
    EXPECT_EQ(plain, "\n  BeginArray 1.5 -0.25\n  EndArray \"\"");
    std::string sized = written(2, [&](KVORAObjWriter &w, KVORA_ENV e) { w.beginArray(0, e); });
    EXPECT_EQ(sized, "\n  BeginArraySize 0");
    root.reset(env);
}

TEST(AsciiLayout, EscapesInStringsAndChars)
{
    KV2AscString text("a\\b^c\"d'e\nf", 11);
    text += static_cast<char>(200);
    std::string s = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) {
        w.writeString(text, e);
        w.writeChar('\'', e);
        w.writeChar('\n', e);
        w.writeChar('^', e);
        w.writeChar(static_cast<char>(31), e);
        w.writeChar('\0', e);
    });
    // Bytes below 32: a caret and the byte plus 64 (line feed J, 31 _, zero @).
    std::string expected = " \"a\\\\b\\^c\\\"d\\'e^Jf";
    expected += static_cast<char>(200);
    expected += "\" '\\'' '^J' '\\^' '^_' '^@'";
    EXPECT_EQ(s, expected);

    KV2AscString back;
    char c1 = 0, c2 = 0, c3 = 0, c4 = 0, c5 = 1;
    ReadOutcome o = readText(s, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
        r.readString(back, e);
        r.readChar(c1, e);
        r.readChar(c2, e);
        r.readChar(c3, e);
        r.readChar(c4, e);
        r.readChar(c5, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(back.size(), 12u);
    EXPECT_EQ(back, text);
    EXPECT_EQ(c1, '\'');
    EXPECT_EQ(c2, '\n');
    EXPECT_EQ(c3, '^');
    EXPECT_EQ(c4, 31);
    EXPECT_EQ(c5, 0);

    // A caret before a byte below 64 takes the byte as it is.
    KV2AscString raw;
    o = readText("\"^1x\"", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readString(raw, e); });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(raw, "1x");
}

TEST(AsciiLayout, WriteFailureIsReported)
{
    KVORAEnv *env = nullptr;
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    KVORAAsciiStreamWriter writer(&out, 0);
    testing::internal::CaptureStderr();
    bool threw = false;
    try {
        writer.writeSigned(1, env);
    } catch (int) {
        threw = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_EQ(writer.isGood(), 0);
    EXPECT_NE(err.find("ASCII Stream Write Error"), std::string::npos) << err;
}

// ---- reader rules ----

TEST(AsciiReader, KeywordForms)
{
    ReadOutcome o = readText("7abc <123:4> ivValue", [](KVORAAsciiStreamReader &r, KVORA_ENV e) {
        r.readKeyword(e);
        EXPECT_EQ(r.ivMatchMode, KVORAObjReader::MatchByGlobalId);
        EXPECT_EQ(r.ivKeyword.ivGlobalId, 7);
        // Keyword 7 is the first member keyword of a class right under the base.
        EXPECT_TRUE(r.keywordMatches(KVORA_KWD(ivValue), e));
        r.clearKeyword();
        r.readKeyword(e);
        EXPECT_EQ(r.ivMatchMode, KVORAObjReader::MatchByClassLocal);
        EXPECT_EQ(r.ivKeyword.ivClassId, 123);
        EXPECT_EQ(r.ivKeyword.ivLocalId, 4);
        r.clearKeyword();
        EXPECT_FALSE(r.keywordMatches(KVORA_KWD(ivLabel), e));  // stays pending
        EXPECT_TRUE(r.keywordMatches(KVORA_KWD(ivValue), e));
        r.clearKeyword();
        EXPECT_FALSE(r.keywordMatches(KVORA_KWD(EndObject), e));
        EXPECT_TRUE(r.atEnd());
        EXPECT_EQ(r.ivTokenKind, KVORAAsciiStreamReader::TokenEnd);
    });
    EXPECT_FALSE(o.threw) << o.err;

    EXPECT_TRUE(failedWith(readText("0x", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readKeyword(e); }),
                           "Syntax Error: keyword expected"));
    EXPECT_TRUE(failedWith(readText("\"name\"", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readKeyword(e); }),
                           "Syntax Error: token expected"));
    EXPECT_TRUE(failedWith(readText("'k'", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readKeyword(e); }),
                           "Syntax Error: token expected"));
}

TEST(AsciiReader, NumbersAndTheirWords)
{
    int64_t s[7] = {};
    uint64_t u[4] = {};
    double d[4] = {};
    ReadOutcome o = readText("+infinity -infinity infinity 2.9 -2.9 1e30 -17 "
                             "+infinity -5 18446744073709551615 12 "
                             "infinity -infinity 0.5 junk",
                             [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
                                 for (int64_t &v : s) r.readSigned(v, e);
                                 for (uint64_t &v : u) r.readUnsigned(v, e);
                                 for (double &v : d) r.readReal(v, e);
                             });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(s[0], INT64_MAX);
    EXPECT_EQ(s[1], INT64_MIN);
    EXPECT_EQ(s[2], INT64_MAX);
    EXPECT_EQ(s[3], 2);   // truncated toward zero
    EXPECT_EQ(s[4], -2);
    EXPECT_EQ(s[5], INT64_MAX);  // clamped
    EXPECT_EQ(s[6], -17);
    EXPECT_EQ(u[0], UINT64_MAX);
    EXPECT_EQ(u[1], 0u);
    EXPECT_EQ(u[2], UINT64_MAX);
    EXPECT_EQ(u[3], 12u);
    EXPECT_EQ(d[0], DBL_MAX);
    EXPECT_EQ(d[1], -DBL_MAX);
    EXPECT_EQ(d[2], 0.5);
    EXPECT_EQ(d[3], 0.0);  // a word the stream cannot read gives 0

    // Numbers must be plain words.
    auto one = [](const char *text, auto f) { return readText(text, f); };
    EXPECT_TRUE(failedWith(one("\"1\"", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { int64_t v; r.readSigned(v, e); }),
                           "Syntax Error: integer expected"));
    EXPECT_TRUE(failedWith(one("'1'", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { uint64_t v; r.readUnsigned(v, e); }),
                           "Syntax Error: unsigned integer expected"));
    EXPECT_TRUE(failedWith(one("", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { double v; r.readReal(v, e); }),
                           "Syntax Error: KVORAReal expected"));
}

TEST(AsciiReader, BoolsStringsCharsAndObjectOpenings)
{
    bool b[14] = {};
    ReadOutcome o = readText("true True TRUE yes Yes YES 1 false False FALSE no No NO 0",
                             [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
                                 for (bool &v : b) r.readBool(v, e);
                             });
    ASSERT_FALSE(o.threw) << o.err;
    for (int i = 0; i < 7; ++i) EXPECT_TRUE(b[i]) << i;
    for (int i = 7; i < 14; ++i) EXPECT_FALSE(b[i]) << i;

    auto boolOf = [](const char *text) {
        return readText(text, [](KVORAAsciiStreamReader &r, KVORA_ENV e) { bool v; r.readBool(v, e); });
    };
    EXPECT_TRUE(failedWith(boolOf("T"), "Syntax Error: bool expected"));
    EXPECT_TRUE(failedWith(boolOf("\"true\""), "Syntax Error: bool expected"));

    // A plain word is a string too; the empty quoted string is refused.
    KV2AscString word;
    o = readText("plain", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readString(word, e); });
    EXPECT_FALSE(o.threw);
    EXPECT_EQ(word, "plain");
    EXPECT_TRUE(failedWith(readText(" \"\"", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readString(word, e); }),
                           "Syntax Error: string expected"));
    EXPECT_TRUE(failedWith(readText("x", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { char c; r.readChar(c, e); }),
                           "Syntax Error: char expected"));
    EXPECT_TRUE(failedWith(readText("'ab'", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { char c; r.readChar(c, e); }),
                           "Invalid syntax for single char"));
    EXPECT_TRUE(failedWith(readText("'\\", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { char c; r.readChar(c, e); }),
                           "Cannot read from input stream while parsing char"));
    EXPECT_TRUE(failedWith(readText("'a", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { char c; r.readChar(c, e); }),
                           "Cannot read from input stream while parsing char"));
    EXPECT_TRUE(failedWith(readText("\"abc^", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readString(word, e); }),
                           "Cannot read from input stream while parsing string"));

    // Object and array openings.
    KV2AscString type("kept");
    o = readText("NULLPTR", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readObjectType(type, e); });
    EXPECT_FALSE(o.threw);
    EXPECT_EQ(type.size(), 0u);
    auto typeOf = [&](const char *text) {
        return readText(text, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.readObjectType(type, e); });
    };
    EXPECT_TRUE(failedWith(typeOf("BeginObject X"), "Syntax Error: BeginObjectType keyword expected"));
    EXPECT_TRUE(failedWith(typeOf("\"BeginObjectType\""), "Syntax Error: BeginObjectType keyword expected"));
    EXPECT_TRUE(failedWith(typeOf("BeginObjectType \"X\""), "Syntax Error: object type expected"));
    EXPECT_TRUE(failedWith(typeOf("BeginObjectType"), "Syntax Error: object type expected"));
    EXPECT_TRUE(failedWith(readText("BeginObjectType", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.beginObject(e); }),
                           "Syntax Error: BeginObject keyword expected"));

    int32_t sizes[2] = {};
    o = readText("BeginArray BeginArraySize -12", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
        sizes[0] = r.beginArray(e);
        sizes[1] = r.beginArray(e);
    });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(sizes[0], -1);
    EXPECT_EQ(sizes[1], -12);
    EXPECT_TRUE(failedWith(readText("'a'", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.beginArray(e); }),
                           "Syntax Error: BeginArray keyword expected"));
    EXPECT_TRUE(failedWith(readText("EndArray", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.beginArray(e); }),
                           "Syntax Error: BeginArray or BeginArraySize keyword expected"));

    // The end of an array is seen without taking the token.
    int32_t ends[2] = {};
    o = readText("EndArray", [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
        ends[0] = r.atArrayEnd(e);
        ends[1] = r.atArrayEnd(e);
        EXPECT_TRUE(r.keywordMatches(KVORA_KWD(EndArray), e));
    });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(ends[0], 1);
    EXPECT_EQ(ends[1], 1);
    EXPECT_TRUE(failedWith(readText("  ", [](KVORAAsciiStreamReader &r, KVORA_ENV e) { r.atArrayEnd(e); }),
                           "Syntax Error: EndArray keyword expected"));
}

// ---- round trips ----

TEST(AsciiObjects, GraphRoundTrip)
{
    std::string s = graphText();
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAAscTestNode> back;
    ReadOutcome o = readText(s, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_NE(back.get(), nullptr);
    KVORAOwnPtr<KVORAAscTestNode> expected;
    expected.reset(new KVORAAscTestNode(), env);
    fillGraph(*expected, env);
    const KVORAAscTestNode &n = *back;
    const KVORAAscTestNode &x = *expected;
    EXPECT_EQ(n.ivCount, x.ivCount);
    EXPECT_EQ(n.ivReal, x.ivReal);
    EXPECT_EQ(n.ivFlag, x.ivFlag);
    EXPECT_EQ(n.ivChar, x.ivChar);
    EXPECT_EQ(n.ivBig, x.ivBig);
    EXPECT_EQ(n.ivSigned, x.ivSigned);
    EXPECT_EQ(n.ivName, x.ivName);
    ASSERT_NE(n.ivLeaf.get(), nullptr);
    EXPECT_EQ(n.ivLeaf->ivValue, 64);
    EXPECT_EQ(n.ivLeaf->ivLabel, "owned");
    ASSERT_EQ(n.ivValues.getSize(), 3);
    for (int32_t i = 1; i <= 3; ++i) EXPECT_EQ(n.ivValues[i], x.ivValues[i]);
    ASSERT_EQ(n.ivLeaves.getSize(), 3);
    EXPECT_EQ(n.ivLeaves[1]->ivLabel, "one");
    EXPECT_EQ(n.ivLeaves[2].get(), nullptr);
    EXPECT_EQ(n.ivLeaves[3]->ivValue, 3);
    ASSERT_EQ(n.ivEmbedded.getSize(), 2);
    EXPECT_EQ(n.ivEmbedded[1].ivValue, 11);
    EXPECT_EQ(n.ivEmbedded[2].ivLabel, "second");
    ASSERT_NE(n.ivChild.get(), nullptr);
    EXPECT_EQ(n.ivChild->ivCount, 7);
    EXPECT_EQ(n.ivChild->ivChild.get(), nullptr);

    // What it reads it writes again, to the byte.
    std::string again = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, back, e); });
    EXPECT_EQ(again, s);
    back.reset(env);
    expected.reset(env);
}

TEST(AsciiObjects, ArraysWithoutSizeAndReadsInPlace)
{
    KVORAEnv *env = nullptr;
    KVORAXaRay<double, 1> values;
    values.setSize(4, env);
    for (int32_t i = 1; i <= 4; ++i) values[i] = i * 0.5;
    std::string s = written(1, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, values, e); });
    KVORAXaRay<double, 1> back;
    back.setSize(9, env);  // the stream decides the size
    ReadOutcome o = readText(s, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_EQ(back.getSize(), 4);
    for (int32_t i = 1; i <= 4; ++i) EXPECT_EQ(back[i], i * 0.5);

    // A hand-written object: members in any order, numbers for keywords,
    // what the text leaves out stays.
    KVORAOwnPtr<KVORAAscTestLeaf> leaf;
    leaf.reset(new KVORAAscTestLeaf(), env);
    leaf->ivLabel = "kept";
    o = readText("BeginObjectType KVORAAscTestLeaf 7 42 EndObject",
                 [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 42);
    EXPECT_EQ(leaf->ivLabel, "kept");
    o = readText("BeginObjectType KVORAAscTestLeaf ivLabel word ivValue 1 ivValue 2 EndObject",
                 [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 2);  // written twice: the later stands
    EXPECT_EQ(leaf->ivLabel, "word");
    EXPECT_TRUE(failedWith(readText("BeginObjectType KVORAAscTestLeaf ivOther 1 EndObject",
                                    [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); }),
                           "Input keyword does not match expected keyword(s)"));
    EXPECT_TRUE(failedWith(readText("BeginObjectType KVORANoSuchClass EndObject",
                                    [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); }),
                           "Input object type does not match known object types"));
    // An empty label is written as two quotes, which the reader refuses.
    leaf->ivLabel = "";
    std::string emptyLabel = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, leaf, e); });
    EXPECT_TRUE(failedWith(readText(emptyLabel, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); }),
                           "Syntax Error: string expected"));
    leaf.reset(env);
    values.reset(env);
    back.reset(env);
}

TEST(AsciiObjects, SystemClassesRoundTrip)
{
    KVORAEnv *env = nullptr;

    // The online histogram in array form.
    KVORAOwnPtr<KVORAOnlineHistogramData> hist;
    hist.reset(new KVORAOnlineHistogramData(), env);
    hist->setCapacity(3, env);
    for (double v : {1.0, 2.5, 2.5, 8.0, 9.0}) hist->addValue(v, env);
    hist->finishIteration(env);
    std::stringstream text;
    kvoraWriteAsciiObjectDump(text, *hist, env);
    KVORAOwnPtr<KVORAObject> back;
    testing::internal::CaptureStderr();
    try {
        kvoraReadAsciiObjectDump(text, back, nullptr, env);
    } catch (int) {
    }
    std::string err = testing::internal::GetCapturedStderr();
    ASSERT_NE(back.get(), nullptr) << err;
    ASSERT_TRUE(back->getObjectType() == KVORAOnlineHistogramData::classType());
    KVORAOnlineHistogramData *h = static_cast<KVORAOnlineHistogramData *>(back.get());
    EXPECT_EQ(h->ivNumberOfBins, 3);
    ASSERT_EQ(h->ivBinLocations.getSize(), hist->ivBinLocations.getSize());
    for (int32_t i = 1; i <= h->ivBinLocations.getSize(); ++i) {
        EXPECT_EQ(h->ivBinLocations[i], hist->ivBinLocations[i]);
        EXPECT_EQ(h->ivBinCounts[i], hist->ivBinCounts[i]);
    }
    // The dump opens with the type announced, then the object itself.
    EXPECT_EQ(text.str().rfind("\n  BeginObjectType KVORAOnlineHistogramData\n  BeginObjectType "
                               "KVORAOnlineHistogramData\n    ",
                               0),
              0u);
    back.reset(env);
    hist.reset(env);

    // A kernel function.
    KVORAOwnPtr<KVORAKernelFunction> kernel;
    kernel.reset(new KVORAKernelFunctionRBF(0.75, env), env);
    std::string k = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, kernel, e); });
    KVORAOwnPtr<KVORAKernelFunction> kback;
    ReadOutcome o = readText(k, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, kback, e); });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_TRUE(kback->getObjectType() == KVORAKernelFunctionRBF::classType());
    EXPECT_EQ(static_cast<KVORAKernelFunctionRBF *>(kback.get())->ivGamma, 0.75);
    kernel.reset(env);
    kback.reset(env);

    // A data point with its fields (aliases set: an empty text cannot come back).
    KVORAOwnPtr<KVORADataPoint> point;
    point.reset(new KVORADataPoint(), env);
    KVORANumField *num = new KVORANumField();
    num->ivName = "amount";
    num->ivAlias = "amt";
    num->ivPurpose = 2;
    KVORACatField *cat = new KVORACatField();
    cat->ivName = "kind";
    cat->ivAlias = "k";
    cat->ivPurpose = 1;
    cat->ivComputed = 1;
    KVORAOwnPtr<KVORAField> f1, f2;
    f1.reset(num, env);
    f2.reset(cat, env);
    point->addField(f1, env);
    point->addField(f2, env);
    std::string p = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, point, e); });
    KVORAOwnPtr<KVORADataPoint> pback;
    o = readText(p, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, pback, e); });
    ASSERT_FALSE(o.threw) << o.err << p;
    ASSERT_EQ(pback->getFieldCount(), 2);
    EXPECT_EQ(pback->getFieldAt(1)->ivName, "amount");
    EXPECT_EQ(pback->getFieldAt(1)->ivAlias, "amt");
    EXPECT_EQ(pback->getFieldAt(1)->ivFieldType, 2);
    EXPECT_EQ(pback->getFieldAt(2)->ivName, "kind");
    EXPECT_EQ(pback->getFieldAt(2)->ivPurpose, 1);
    EXPECT_EQ(pback->getFieldAt(2)->ivComputed, 1);
    point.reset(env);
    pback.reset(env);
}

// ---- broken texts ----

TEST(AsciiBroken, EveryTruncationFailsWithAFormatText)
{
    std::string s = graphText();
    for (size_t cut = 0; cut < s.size(); ++cut) {
        KVORAEnv *env = nullptr;
        KVORAOwnPtr<KVORAAscTestNode> back;
        ReadOutcome o = readText(s.substr(0, cut), [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
            kvoraRead(r, back, e);
        });
        EXPECT_TRUE(o.threw) << "cut at " << cut;
        EXPECT_TRUE(hasFailureText(o.err)) << "cut at " << cut << ": " << o.err;
        back.reset(env);
        if (HasFailure()) break;
    }
}

TEST(AsciiBroken, MutationsAndRandomTextNeverCrashOrHang)
{
    std::string s = graphText();
    std::mt19937 rng(20261122);
    const char alphabet[] = " \n\"'\\^<0123456789-+.eEBeginObjectTypeArraySizeEndNULLPTRivCountivLeaf";
    for (int round = 0; round < 1500; ++round) {
        std::string t;
        if (round % 3 == 2) {
            std::uniform_int_distribution<int> len(0, 300), byte(0, 255);
            int n = len(rng);
            for (int i = 0; i < n; ++i) t.push_back(static_cast<char>(byte(rng)));
        } else {
            t = s;
            std::uniform_int_distribution<size_t> pos(0, t.size() - 1);
            std::uniform_int_distribution<size_t> pick(0, sizeof(alphabet) - 2);
            int edits = 1 + round % 4;
            for (int i = 0; i < edits; ++i) {
                size_t p = pos(rng);
                switch (rng() % 3) {
                case 0: t[p] = alphabet[pick(rng)]; break;
                case 1: t.erase(p, 1 + rng() % 8); break;
                default: t.insert(p, 1, alphabet[pick(rng)]); break;
                }
                if (t.empty()) break;
                pos = std::uniform_int_distribution<size_t>(0, t.size() - 1);
            }
        }
        KVORAEnv *env = nullptr;
        KVORAOwnPtr<KVORAAscTestNode> back;
        ReadOutcome o = readText(t, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
        if (o.threw) {
            EXPECT_TRUE(hasFailureText(o.err)) << "round " << round << ": " << o.err;
        }
        back.reset(env);
        if (HasFailure()) break;
    }
}

TEST(AsciiBroken, DeepNestingIsRefused)
{
    std::string t;
    for (int i = 0; i < 5000; ++i) t += "BeginObjectType KVORAAscTestNode ivChild ";
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAAscTestNode> back;
    ReadOutcome o = readText(t, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
    EXPECT_TRUE(failedWith(o, "Object stream nested too deeply")) << o.err.substr(0, 200);
    back.reset(env);
}

TEST(AsciiObjects, LearntDistributionsRoundTrip)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORANumFieldDist> num;
    num.reset(new KVORANumFieldDist(), env);
    KVORAOwnPtr<KVORACatFieldDist> cat;
    cat.reset(new KVORACatFieldDist(), env);
    cat->ivMinCatOccuranceThreshold = 2;
    const char *texts[] = {"red", "green", "red", "blue", "green"};
    for (int pass = 0; pass < 2; ++pass) {
        num->beginPass(env);
        cat->beginPass(env);
        for (int v = 1; v <= 100; ++v) {
            num->add(static_cast<uint32_t>(v), static_cast<double>(v), env);
            cat->add(static_cast<uint32_t>(v), KV2AscString(texts[v % 5]), env);
        }
        num->endPass(env);
        cat->endPass(env);
    }
    std::string n = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, num, e); });
    std::string c = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, cat, e); });
    KVORAOwnPtr<KVORANumFieldDist> numBack;
    KVORAOwnPtr<KVORACatFieldDist> catBack;
    ReadOutcome o = readText(n + c, [&](KVORAAsciiStreamReader &r, KVORA_ENV e) {
        kvoraRead(r, numBack, e);
        kvoraRead(r, catBack, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_EQ(numBack->getBinCount(), 10);
    for (int32_t j = 1; j <= 10; ++j) {
        EXPECT_EQ(numBack->ivPotBinsVec[j].ivLoEnd, num->ivPotBinsVec[j].ivLoEnd);
        EXPECT_EQ(numBack->ivPotBinsVec[j].ivHiEnd, num->ivPotBinsVec[j].ivHiEnd);
        EXPECT_EQ(numBack->ivPotBinsVec[j].ivCount, 10.0);
        EXPECT_EQ(numBack->ivPotBinsVec[j].ivMean, num->ivPotBinsVec[j].ivMean);
    }
    EXPECT_EQ(numBack->getBinIndex(55.0), 6);
    // red 40, green 40, blue 20 of the sample: all three, the ties by text.
    ASSERT_EQ(catBack->getCategoryCount(), 3);
    EXPECT_EQ(catBack->getCategoryAt(1), "green");
    EXPECT_EQ(catBack->getCategoryAt(2), "red");
    EXPECT_EQ(catBack->getCategoryAt(3), "blue");
    EXPECT_EQ(catBack->getCatIndex(KV2AscString("blue")), 3);
    EXPECT_EQ(catBack->ivCatsVec[2].ivCount, 40.0);
    num.reset(env);
    cat.reset(env);
    numBack.reset(env);
    catBack.reset(env);
}
