// The binary object format: exact byte encodings worked out by hand, a small
// object graph that round-trips, and broken streams (every truncation, random
// corruption) that must end in one of the format's failure texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "objio_test_graph.h"
#include "util_test_support.h"

using utiltest::binaryRead;
using utiltest::binaryWritten;
using utiltest::Caught;
using utiltest::failedWith;

namespace {

std::string bytesOf(const std::vector<int> &b)
{
    std::string s;
    for (int x : b) {
        s.push_back(static_cast<char>(x));
    }
    return s;
}

const char *const kFailureTexts[] = {
    "BLOB Binary I/O Read Error",
    "read == size",
    "Syntax Error: Reserved(string) keyword expected",
    "Syntax Error: Reserved(integer) keyword expected",
    "Syntax Error: BeginObjectType keyword expected",
    "Syntax Error: BeginObject keyword expected",
    "Syntax Error: BeginArray or BeginArraySize keyword expected",
    "Syntax Error: EndArray keyword expected",
    "Input keyword does not match expected keyword(s)",
    "Input object type does not match known object types",
    "Function/Feature not yet implemented",
    "Object stream nested too deeply",
};

bool hasFailureText(const std::string &err)
{
    for (const char *t : kFailureTexts) {
        if (err.find(t) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string graphStream()
{
    return graphtest::graphWritten([](const KVORAOwnPtr<KVORAGraphTestNode> &root) {
        return binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, root, e); });
    });
}

// Reads a node graph from the bytes into `back`.
Caught readGraph(const std::string &bytes, KVORAOwnPtr<KVORAGraphTestNode> &back)
{
    return binaryRead(bytes, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
}

}  // namespace

// ---- encodings ----

TEST(BinaryEncoding, SignedAndUnsignedExamples)
{
    struct { int64_t v; std::vector<int> bytes; } signedCases[] = {
        {0, {0x80}},        {1, {0x81}},         {63, {0xBF}},        {64, {0x00, 0x81}},
        {300, {0x2C, 0x84}}, {-1, {0xC0}},       {-2, {0xC1}},        {-64, {0xFF}},
        {-65, {0x40, 0x81}},
        // 2^63-1: low 6 bits, eight full groups of 7, then the last bit.
        {INT64_MAX, {0x3F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
        {INT64_MIN, {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
    };
    for (const auto &c : signedCases) {
        SCOPED_TRACE(c.v);
        std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV env) { w.writeSigned(c.v, env); });
        EXPECT_EQ(s, bytesOf(c.bytes));
        int64_t back = 12345;
        Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV env) { r.readSigned(back, env); });
        EXPECT_FALSE(o.threw) << o.err;
        EXPECT_EQ(back, c.v);
    }
    struct { uint64_t v; std::vector<int> bytes; } unsignedCases[] = {
        {0, {0x80}},
        {127, {0xFF}},
        {128, {0x00, 0x81}},
        {300, {0x2C, 0x82}},
        {UINT64_MAX, {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
    };
    for (const auto &c : unsignedCases) {
        SCOPED_TRACE(c.v);
        std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV env) { w.writeUnsigned(c.v, env); });
        EXPECT_EQ(s, bytesOf(c.bytes));
        uint64_t back = 1;
        Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV env) { r.readUnsigned(back, env); });
        EXPECT_FALSE(o.threw) << o.err;
        EXPECT_EQ(back, c.v);
    }
}

TEST(BinaryEncoding, KeywordsStringsAndReals)
{
    std::string s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) {
        w.writeKeyword(KVORA_KWD(BeginObject), env);
        w.writeKeyword(KVORA_KWD(BeginObjectType), env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
        w.writeKeyword(KVORA_KWD(BeginArray), env);
        w.writeKeyword(KVORA_KWD(BeginArraySize), env);
        w.writeKeyword(KVORA_KWD(EndArray), env);
    });
    EXPECT_EQ(s, bytesOf({0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5}));

    // The first keyword of a class right under the object base is number 7.
    EXPECT_EQ(KVORA_KWD(ivValue).ivGlobalId, 7);
    EXPECT_EQ(KVORA_KWD(ivLabel).ivGlobalId, 8);
    EXPECT_EQ(KVORA_KWD(ivExtra).ivGlobalId, 9);
    EXPECT_EQ(binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) { w.writeKeyword(KVORA_KWD(ivValue), env); }),
              bytesOf({0xC6}));

    // A keyword without numbers: its name's length, then the name.
    EXPECT_EQ(binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) { w.writeKeyword(KVORAKeyword("Model"), env); }),
              bytesOf({0x85, 'M', 'o', 'd', 'e', 'l'}));

    EXPECT_EQ(binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) {
                  w.writeString(KV2AscString(), env);
                  w.writeString(KV2AscString("ab"), env);
                  w.writeReal(1.0, env);
                  w.writeBool(true, env);
                  w.writeChar('A', env);
                  w.beginArray(2, env);
                  w.beginObjectType(KV2AscString(), env);
              }),
              bytesOf({0x80, 0x82, 'a', 'b', 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0x01, 'A', 0xC4, 0x82, 0xC1, 0x80}));
}

TEST(BinaryEncoding, KeywordsReadBack)
{
    std::string s = bytesOf({0x85, 'M', 'o', 'd', 'e', 'l', 0xC6, 0x80});
    bool modelMatched = false, numberMatched = false, zeroIsNumber = false;
    Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV env) {
        // A run-time keyword is matched by its name, and stays pending on a miss.
        EXPECT_FALSE(r.keywordMatches(KVORAKeyword("Mode"), env));
        modelMatched = r.keywordMatches(KVORAKeyword("Model"), env);
        r.clearKeyword();
        numberMatched = r.keywordMatches(KVORA_KWD(ivValue), env);
        r.clearKeyword();
        // The value 0 in keyword position is keyword number 0, not a length.
        r.readKeyword(env);
        zeroIsNumber = r.ivMatchMode == KVORAObjReader::MatchByGlobalId && r.ivKeyword.ivGlobalId == 0;
        r.clearKeyword();
        // At the clean end of the stream nothing matches, and no failure.
        EXPECT_FALSE(r.keywordMatches(KVORA_KWD(EndObject), env));
        EXPECT_TRUE(r.atEnd());
    });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_TRUE(modelMatched);
    EXPECT_TRUE(numberMatched);
    EXPECT_TRUE(zeroIsNumber);
}

TEST(BinaryEncoding, BrokenTokensFailWithTheirTexts)
{
    using Op = void (*)(KVORABinObjReader &, KVORA_ENV);
    const Op beginObject = [](KVORABinObjReader &r, KVORA_ENV env) { r.beginObject(env); };
    const struct {
        std::vector<int> bytes;
        Op op;
        const char *text;
    } cases[] = {
        {{0xC2}, beginObject, "Syntax Error: Reserved(integer) keyword expected"},
        {{0x81, 'x'}, beginObject, "Syntax Error: Reserved(string) keyword expected"},
        {{}, beginObject, "Syntax Error: BeginObject keyword expected"},
        {{}, [](KVORABinObjReader &r, KVORA_ENV env) { r.beginArray(env); },
         "Syntax Error: BeginArray or BeginArraySize keyword expected"},
        // A name shorter than its length.
        {{0x84, 'a', 'b'}, [](KVORABinObjReader &r, KVORA_ENV env) { r.readKeyword(env); }, "read == size"},
        // A number cut in the middle.
        {{0x00}, [](KVORABinObjReader &r, KVORA_ENV env) { int64_t v; r.readSigned(v, env); },
         "BLOB Binary I/O Read Error"},
        // The binary format always knows its array sizes.
        {{}, [](KVORABinObjReader &r, KVORA_ENV env) { r.atArrayEnd(env); }, "Function/Feature not yet implemented"},
    };
    for (const auto &c : cases) {
        Caught o = binaryRead(bytesOf(c.bytes), c.op);
        EXPECT_TRUE(failedWith(o, c.text)) << c.text << ": " << o.err;
    }
}

// ---- object graph ----

TEST(BinaryObjects, GraphRoundTrip)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> back;
    Caught o = readGraph(graphStream(), back);
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_NE(back.get(), nullptr);
    graphtest::expectFilledGraph(*back);
    back.reset(env);
}

TEST(BinaryObjects, ReadIntoLiveObjectsKeepsWhatTheStreamLeavesOut)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> src;
    src.reset(new KVORAGraphTestNode(), env);
    src->ivCount = 3;
    src->ivKept = 1;
    src->ivLeaf.reset(new KVORAGraphTestLeaf(), env);
    src->ivLeaf->ivValue = 9;
    KVORAGraphTestNode::cvWriteKept = false;
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, src, e); });
    KVORAGraphTestNode::cvWriteKept = true;

    KVORAOwnPtr<KVORAGraphTestNode> live;
    live.reset(new KVORAGraphTestNode(), env);
    live->ivKept = 42;
    KVORAGraphTestNode *before = live.get();
    live->ivLeaf.reset(new KVORAGraphTestLeaf(), env);
    live->ivLeaf->ivLabel = "kept label";  // the leaf is written with an empty label: it changes
    live->ivNoLeaf.reset(new KVORAGraphTestLeaf(), env);  // null in the stream: destroyed
    Caught o = readGraph(s, live);
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(live.get(), before);  // same type: read in place
    EXPECT_EQ(live->ivKept, 42);
    EXPECT_EQ(live->ivCount, 3);
    EXPECT_EQ(live->ivLeaf->ivValue, 9);
    EXPECT_EQ(live->ivLeaf->ivLabel, "");
    EXPECT_EQ(live->ivNoLeaf.get(), nullptr);

    // A null in the stream empties a filled owner.
    std::string nullStream = binaryWritten([](KVORAObjWriter &w, KVORA_ENV e) {
        KVORAOwnPtr<KVORAGraphTestNode> none;
        kvoraWrite(w, none, e);
    });
    EXPECT_EQ(nullStream, bytesOf({0xC1, 0x80}));
    o = readGraph(nullStream, live);
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(live.get(), nullptr);
    src.reset(env);
}

TEST(BinaryObjects, MemberWrittenTwiceKeepsTheLaterValue)
{
    std::string s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginObjectType(KV2AscString("KVORAGraphTestLeaf"), env);
        kvoraWrite(w, KVORA_KWD(ivValue), int32_t(1), env);
        kvoraWrite(w, KVORA_KWD(ivLabel), KV2AscString("a"), env);
        kvoraWrite(w, KVORA_KWD(ivValue), int32_t(2), env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestLeaf> leaf;
    Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 2);
    EXPECT_EQ(leaf->ivLabel, "a");
    leaf.reset(env);
}

TEST(BinaryObjects, ModelFailures)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestLeaf> leaf;
    auto readLeaf = [&](const std::string &bytes) {
        return binaryRead(bytes, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    };
    // A keyword that no member takes.
    std::string s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginObjectType(KV2AscString("KVORAGraphTestLeaf"), env);
        w.writeKeyword(KVORAKeyword("ivNewMember"), env);
        w.writeSigned(1, env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    Caught o = readLeaf(s);
    EXPECT_TRUE(failedWith(o, "Input keyword does not match expected keyword(s)")) << o.err;
    leaf.reset(env);

    // An unknown class, and a known class that is not a kind of the owner's type.
    for (const char *name : {"KVORANoSuchClass", "KVORAGraphTestNode"}) {
        s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV env) {
            w.beginObjectType(KV2AscString(name), env);
            w.writeKeyword(KVORA_KWD(EndObject), env);
        });
        o = readLeaf(s);
        EXPECT_TRUE(failedWith(o, "Input object type does not match known object types")) << name << o.err;
        EXPECT_EQ(leaf.get(), nullptr);
    }

    // An array that is not closed.
    s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginArray(1, env);
        w.writeReal(2.0, env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    KVORAXaRay<double, 1> values;
    o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, values, e); });
    EXPECT_TRUE(failedWith(o, "Syntax Error: EndArray keyword expected")) << o.err;
    EXPECT_NE(o.err.find("reader.keywordMatches (KVORA_KWD(EndArray), KVORA_ENV)"), std::string::npos);
    values.reset(env);

    // An empty array is its size and EndArray.
    EXPECT_EQ(binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, values, e); }),
              bytesOf({0xC4, 0x80, 0xC5}));
}

TEST(BinaryObjects, EveryTruncationFailsCleanly)
{
    std::string s = graphStream();
    ASSERT_GT(s.size(), 50u);
    KVORAEnv *env = nullptr;
    for (size_t len = 0; len < s.size(); ++len) {
        KVORAOwnPtr<KVORAGraphTestNode> back;
        Caught o = readGraph(s.substr(0, len), back);
        EXPECT_TRUE(o.threw) << "length " << len;
        EXPECT_TRUE(hasFailureText(o.err)) << "length " << len << ": " << o.err;
        back.reset(env);
    }
}

TEST(BinaryObjects, RandomAndCorruptedStreamsNeverCrash)
{
    std::string valid = graphStream();
    std::mt19937 rng(20261122u);
    KVORAEnv *env = nullptr;
    int failures = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string s;
        if (round % 2 == 0) {
            // Fully random bytes, often starting like an object of the node type.
            size_t len = rng() % 200;
            if (round % 4 == 0) s = valid.substr(0, 20);
            for (size_t i = 0; i < len; ++i) s.push_back(static_cast<char>(rng() & 0xFF));
        } else {
            // A valid stream with a few bytes changed.
            s = valid;
            int changes = 1 + static_cast<int>(rng() % 4);
            for (int c = 0; c < changes; ++c) s[rng() % s.size()] = static_cast<char>(rng() & 0xFF);
        }
        KVORAOwnPtr<KVORAGraphTestNode> back;
        Caught o = readGraph(s, back);
        if (o.threw) {
            ++failures;
            EXPECT_TRUE(hasFailureText(o.err)) << o.err;
        }
        back.reset(env);
    }
    EXPECT_GT(failures, 1000);
}
