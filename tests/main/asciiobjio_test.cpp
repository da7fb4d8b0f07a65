// The ASCII object format: the layout and escapes worked out by hand, the
// reader's token rules and number words, round trips of the test graph and of
// the model report's dump, and broken texts (every truncation, random
// mutations, random bytes) that must end in one of the format's failure texts.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "../util/objio_test_graph.h"
#include "../util/util_test_support.h"
#include "qrvexec/kvora_t_asciiobjio.h"
#include "qrvexec/kvora_t_streamlbio.h"

using utiltest::Caught;
using utiltest::failedWith;

namespace {

using Reader = KVORAAsciiStreamReader;

template <class F>
std::string written(int32_t mode, F f)
{
    KVORAEnv *env = nullptr;
    std::ostringstream out;
    KVORAAsciiStreamWriter writer(&out, mode);
    f(writer, env);
    return out.str();
}

template <class F>
Caught readText(const std::string &text, F f)
{
    KVORAEnv *env = nullptr;
    std::istringstream in(text);
    Reader reader(&in);
    return utiltest::caught([&] { f(reader, env); });
}

template <class T>
std::string ownedText(const KVORAOwnPtr<T> &owner)
{
    return written(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, owner, e); });
}

template <class T>
Caught readOwned(const std::string &text, KVORAOwnPtr<T> &owner)
{
    return readText(text, [&](Reader &r, KVORA_ENV e) { kvoraRead(r, owner, e); });
}

// The format's failure texts start with one of these.
bool hasFailureText(const std::string &err)
{
    for (const char *t : {"Syntax Error: ", "Invalid syntax for single char", "Cannot read from input stream while parsing ",
                          "Input keyword does not match expected keyword(s)",
                          "Input object type does not match known object types", "Object stream nested too deeply"}) {
        if (err.find(t) != std::string::npos) return true;
    }
    return false;
}

std::string graphText()
{
    return graphtest::graphWritten([](const KVORAOwnPtr<KVORAGraphTestNode> &root) { return ownedText(root); });
}

}  // namespace

// ---- layout ----

TEST(AsciiLayout, ObjectsArraysAndValues)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> root;
    root.reset(new KVORAGraphTestNode(), env);
    KVORAGraphTestNode &n = *root;
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
    // Members at four blanks per level; openings and closings two blanks left.
    const std::string expected =
        "\n  BeginObjectType KVORAGraphTestNode"
        "\n    ivCount -5"
        "\n    ivReal 2.5"
        "\n    ivFlag false"
        "\n    ivChar 'x'"
        "\n    ivBig 300"
        "\n    ivSigned 0"
        "\n    ivName \"n\""
        "\n    ivLeaf NULLPTR"
        "\n    ivNoLeaf NULLPTR"
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
        "\n    ivKept 0"
        "\n  EndObject";
    EXPECT_EQ(ownedText(root), expected);

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
    const std::string chars("'\n^\x1f", 5);  // and a zero byte
    std::string s = written(0, [&](KVORAObjWriter &w, KVORA_ENV e) {
        w.writeString(text, e);
        for (char c : chars) w.writeChar(c, e);
    });
    // Bytes below 32: a caret and the byte plus 64 (line feed J, 31 _, zero @).
    std::string expected = " \"a\\\\b\\^c\\\"d\\'e^Jf";
    expected += static_cast<char>(200);
    expected += "\" '\\'' '^J' '\\^' '^_' '^@'";
    EXPECT_EQ(s, expected);

    KV2AscString back;
    std::string charsBack(5, '?');
    Caught o = readText(s, [&](Reader &r, KVORA_ENV e) {
        r.readString(back, e);
        for (char &c : charsBack) r.readChar(c, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(back.size(), 12u);
    EXPECT_EQ(back, text);
    EXPECT_EQ(charsBack, chars);

    // A caret before a byte below 64 takes the byte as it is.
    KV2AscString raw;
    o = readText("\"^1x\"", [&](Reader &r, KVORA_ENV e) { r.readString(raw, e); });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(raw, "1x");
}

TEST(AsciiLayout, WriteFailureIsReported)
{
    KVORAEnv *env = nullptr;
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    KVORAAsciiStreamWriter writer(&out, 0);
    Caught o = utiltest::caught([&] { writer.writeSigned(1, env); });
    EXPECT_TRUE(failedWith(o, "ASCII Stream Write Error")) << o.err;
    EXPECT_EQ(writer.isGood(), 0);
}

// ---- reader rules ----

TEST(AsciiReader, KeywordForms)
{
    // Keyword 7 is the first member keyword of a class right under the base.
    Caught o = readText("7abc <123:4> ivValue", [](Reader &r, KVORA_ENV e) {
        r.readKeyword(e);
        EXPECT_EQ(r.ivKeyword.ivGlobalId, 7);
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
        EXPECT_EQ(r.ivTokenKind, Reader::TokenEnd);
    });
    EXPECT_FALSE(o.threw) << o.err;
}

TEST(AsciiReader, NumberAndBoolWordsStringsAndOpenings)
{
    int64_t s[7] = {};
    uint64_t u[4] = {};
    double d[4] = {};
    Caught o = readText("+infinity -infinity infinity 2.9 -2.9 1e30 -17 "
                        "+infinity -5 18446744073709551615 12 "
                        "infinity -infinity 0.5 junk",
                        [&](Reader &r, KVORA_ENV e) {
                            for (int64_t &v : s) r.readSigned(v, e);
                            for (uint64_t &v : u) r.readUnsigned(v, e);
                            for (double &v : d) r.readReal(v, e);
                        });
    ASSERT_FALSE(o.threw) << o.err;
    // Fractions truncated toward zero, large values clamped.
    EXPECT_EQ(std::vector<int64_t>(s, s + 7), (std::vector<int64_t>{INT64_MAX, INT64_MIN, INT64_MAX, 2, -2, INT64_MAX, -17}));
    EXPECT_EQ(std::vector<uint64_t>(u, u + 4), (std::vector<uint64_t>{UINT64_MAX, 0, UINT64_MAX, 12}));
    EXPECT_EQ(d[0], DBL_MAX);
    EXPECT_EQ(d[1], -DBL_MAX);
    EXPECT_EQ(d[2], 0.5);
    EXPECT_EQ(d[3], 0.0);  // a word the stream cannot read gives 0

    bool b[14] = {};
    o = readText("true True TRUE yes Yes YES 1 false False FALSE no No NO 0", [&](Reader &r, KVORA_ENV e) {
        for (bool &v : b) r.readBool(v, e);
    });
    ASSERT_FALSE(o.threw) << o.err;
    for (int i = 0; i < 14; ++i) EXPECT_EQ(b[i], i < 7) << i;

    // A plain word is a string too; NULLPTR is no type; the end of an array
    // is seen without taking the token.
    KV2AscString word, type("kept");
    o = readText("plain NULLPTR BeginArray BeginArraySize -12 EndArray", [&](Reader &r, KVORA_ENV e) {
        r.readString(word, e);
        r.readObjectType(type, e);
        EXPECT_EQ(r.beginArray(e), -1);
        EXPECT_EQ(r.beginArray(e), -12);
        EXPECT_EQ(r.atArrayEnd(e), 1);
        EXPECT_EQ(r.atArrayEnd(e), 1);
        EXPECT_TRUE(r.keywordMatches(KVORA_KWD(EndArray), e));
    });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(word, "plain");
    EXPECT_EQ(type.size(), 0u);
}

TEST(AsciiReader, BrokenTokensFailWithTheirTexts)
{
    using Op = void (*)(Reader &, KVORA_ENV);
    const Op keyword = [](Reader &r, KVORA_ENV e) { r.readKeyword(e); };
    const Op boolean = [](Reader &r, KVORA_ENV e) { bool v; r.readBool(v, e); };
    const Op string = [](Reader &r, KVORA_ENV e) { KV2AscString v; r.readString(v, e); };
    const Op character = [](Reader &r, KVORA_ENV e) { char v; r.readChar(v, e); };
    const Op objectType = [](Reader &r, KVORA_ENV e) { KV2AscString v; r.readObjectType(v, e); };
    const Op array = [](Reader &r, KVORA_ENV e) { r.beginArray(e); };
    const struct {
        const char *text;
        Op op;
        const char *failure;
    } cases[] = {
        {"0x", keyword, "Syntax Error: keyword expected"},
        {"\"name\"", keyword, "Syntax Error: token expected"},
        // Numbers must be plain words.
        {"\"1\"", [](Reader &r, KVORA_ENV e) { int64_t v; r.readSigned(v, e); }, "Syntax Error: integer expected"},
        {"'1'", [](Reader &r, KVORA_ENV e) { uint64_t v; r.readUnsigned(v, e); },
         "Syntax Error: unsigned integer expected"},
        {"", [](Reader &r, KVORA_ENV e) { double v; r.readReal(v, e); }, "Syntax Error: KVORAReal expected"},
        {"T", boolean, "Syntax Error: bool expected"},
        // The empty quoted string is refused.
        {" \"\"", string, "Syntax Error: string expected"},
        {"\"abc^", string, "Cannot read from input stream while parsing string"},
        {"x", character, "Syntax Error: char expected"},
        {"'ab'", character, "Invalid syntax for single char"},
        {"'\\", character, "Cannot read from input stream while parsing char"},
        {"BeginObject X", objectType, "Syntax Error: BeginObjectType keyword expected"},
        {"BeginObjectType \"X\"", objectType, "Syntax Error: object type expected"},
        {"BeginObjectType", [](Reader &r, KVORA_ENV e) { r.beginObject(e); }, "Syntax Error: BeginObject keyword expected"},
        {"'a'", array, "Syntax Error: BeginArray keyword expected"},
        {"EndArray", array, "Syntax Error: BeginArray or BeginArraySize keyword expected"},
        {"  ", [](Reader &r, KVORA_ENV e) { r.atArrayEnd(e); }, "Syntax Error: EndArray keyword expected"},
    };
    for (const auto &c : cases) {
        Caught o = readText(c.text, c.op);
        EXPECT_TRUE(failedWith(o, c.failure)) << "[" << c.text << "]: " << o.err;
    }
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestLeaf> leaf;
    EXPECT_TRUE(failedWith(readOwned("BeginObjectType KVORAGraphTestLeaf ivOther 1 EndObject", leaf),
                           "Input keyword does not match expected keyword(s)"));
    leaf.reset(env);
    EXPECT_TRUE(failedWith(readOwned("BeginObjectType KVORANoSuchClass EndObject", leaf),
                           "Input object type does not match known object types"));
    leaf.reset(env);
}

// ---- round trips ----

TEST(AsciiObjects, GraphAndItsDumpRoundTrip)
{
    KVORAEnv *env = nullptr;
    const std::string s = graphText();
    KVORAOwnPtr<KVORAGraphTestNode> back;
    Caught o = readOwned(s, back);
    ASSERT_FALSE(o.threw) << o.err;
    graphtest::expectFilledGraph(*back);
    EXPECT_EQ(ownedText(back), s);  // what it reads it writes again, to the byte
    // The model report's dump: the type name, then the object as owned.
    std::stringstream dump;
    kvoraWriteAsciiObjectDump(dump, *back, env);
    EXPECT_EQ(dump.str(), "\n  BeginObjectType KVORAGraphTestNode" + s);
    KVORAOwnPtr<KVORAObject> again;
    o = utiltest::caught([&] { kvoraReadAsciiObjectDump(dump, again, nullptr, env); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(ownedText(again), s);
    back.reset(env);
    again.reset(env);
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
    Caught o = readText(s, [&](Reader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_EQ(back.getSize(), 4);
    for (int32_t i = 1; i <= 4; ++i) EXPECT_EQ(back[i], i * 0.5);

    // A hand-written object: members in any order, numbers for keywords,
    // what the text leaves out stays.
    KVORAOwnPtr<KVORAGraphTestLeaf> leaf;
    leaf.reset(new KVORAGraphTestLeaf(), env);
    leaf->ivLabel = "kept";
    o = readOwned("BeginObjectType KVORAGraphTestLeaf 7 42 EndObject", leaf);
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 42);
    EXPECT_EQ(leaf->ivLabel, "kept");
    o = readOwned("BeginObjectType KVORAGraphTestLeaf ivLabel word ivValue 1 ivValue 2 EndObject", leaf);
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 2);  // written twice: the later stands
    EXPECT_EQ(leaf->ivLabel, "word");
    leaf.reset(env);
    values.reset(env);
    back.reset(env);
}

// ---- broken texts ----

// Reads `t` as a graph: it must end, and a failure must be one of the format's.
void readBroken(const std::string &t, bool mustFail, const std::string &what)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> back;
    Caught o = readOwned(t, back);
    if (mustFail) { EXPECT_TRUE(o.threw) << what; }
    if (o.threw) { EXPECT_TRUE(hasFailureText(o.err)) << what << ": " << o.err; }
    back.reset(env);
}

TEST(AsciiBroken, TruncationsMutationsAndRandomBytesEndInAFormatFailure)
{
    const std::string s = graphText();
    for (size_t cut = 0; cut < s.size() && !HasFailure(); ++cut)
        readBroken(s.substr(0, cut), true, "cut " + std::to_string(cut));
    std::mt19937 rng(20261122);
    const std::string alphabet = " \n\"'\\^<0123456789-+.eEBeginObjectTypeArraySizeEndNULLPTRivCountivLeaf";
    for (int round = 0; round < 1500 && !HasFailure(); ++round) {
        std::string t = s;
        if (round % 3 == 2) {
            t.clear();
            for (size_t n = rng() % 301; n > 0; --n) t.push_back(static_cast<char>(rng()));
        } else {
            for (int i = 0; i <= round % 4 && !t.empty(); ++i) {
                const size_t p = rng() % t.size();
                const char c = alphabet[rng() % alphabet.size()];
                switch (rng() % 3) {
                case 0: t[p] = c; break;
                case 1: t.erase(p, 1 + rng() % 8); break;
                default: t.insert(p, 1, c); break;
                }
            }
        }
        readBroken(t, false, "round " + std::to_string(round));
    }
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "BeginObjectType KVORAGraphTestNode ivChild ";
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> back;
    EXPECT_TRUE(failedWith(readOwned(deep, back), "Object stream nested too deeply"));
    back.reset(env);
}
