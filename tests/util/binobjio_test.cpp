// The binary object format: byte encodings worked out by hand, the shared
// graph round trip, and broken streams that must end in a failure text.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "objio_test_graph.h"
#include "util_test_support.h"

using utiltest::binaryRead;
using utiltest::binaryWritten;
using utiltest::Caught;
using utiltest::failedWith;

namespace {

std::string bytesOf(const std::vector<int> &b) { return std::string(b.begin(), b.end()); }

const char *const kFailureTexts[] = {
    "BLOB Binary I/O Read Error", "read == size", "Syntax Error: Reserved(string) keyword expected",
    "Syntax Error: Reserved(integer) keyword expected", "Syntax Error: BeginObjectType keyword expected",
    "Syntax Error: BeginObject keyword expected", "Syntax Error: BeginArray or BeginArraySize keyword expected",
    "Syntax Error: EndArray keyword expected", "Input keyword does not match expected keyword(s)",
    "Input object type does not match known object types", "Function/Feature not yet implemented",
    "Object stream nested too deeply"};

bool hasFailureText(const std::string &err) {
    for (const char *t : kFailureTexts)
        if (err.find(t) != std::string::npos) return true;
    return false;
}

std::string graphStream() {
    return graphtest::graphWritten([](const KVORAOwnPtr<KVORAGraphTestNode> &root) {
        return binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, root, e); });
    });
}

// Reads a node graph from the bytes into `back`.
Caught readGraph(const std::string &bytes, KVORAOwnPtr<KVORAGraphTestNode> &back) {
    return binaryRead(bytes, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
}

}  // namespace

// Each value written gives exactly `bytes`, and reads back.
template <class T>
void expectEncoding(T v, const std::vector<int> &bytes) {
    SCOPED_TRACE(v);
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV env) {
        if constexpr (std::is_signed_v<T>) w.writeSigned(v, env); else w.writeUnsigned(v, env);
    });
    EXPECT_EQ(s, bytesOf(bytes));
    T back = 12345;
    Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV env) {
        if constexpr (std::is_signed_v<T>) r.readSigned(back, env); else r.readUnsigned(back, env);
    });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(back, v);
}

TEST(BinaryEncoding, SignedAndUnsignedExamples) {
    const std::vector<int> nine7F = {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81};
    struct { int64_t v; std::vector<int> bytes; } signedCases[] = {
        {0, {0x80}}, {63, {0xBF}}, {64, {0x00, 0x81}}, {300, {0x2C, 0x84}}, {-1, {0xC0}}, {-64, {0xFF}},
        {-65, {0x40, 0x81}},
        // 2^63-1: low 6 bits, eight full groups of 7, then the last bit.
        {INT64_MAX, {0x3F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}}, {INT64_MIN, nine7F},
    };
    for (const auto &c : signedCases) expectEncoding<int64_t>(c.v, c.bytes);
    struct { uint64_t v; std::vector<int> bytes; } unsignedCases[] = {
        {127, {0xFF}}, {128, {0x00, 0x81}}, {300, {0x2C, 0x82}}, {UINT64_MAX, nine7F}};
    for (const auto &c : unsignedCases) expectEncoding<uint64_t>(c.v, c.bytes);
}

TEST(BinaryEncoding, KeywordsStringsAndReals) {
    auto written = [](void (*f)(KVORAObjWriter &, KVORA_ENV)) { return binaryWritten(f); };
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) {
                  for (const KVORAKeyword &k : {KVORA_KWD(BeginObject), KVORA_KWD(BeginObjectType), KVORA_KWD(EndObject),
                                                KVORA_KWD(BeginArray), KVORA_KWD(BeginArraySize), KVORA_KWD(EndArray),
                                                KVORA_KWD(ivValue)})
                      w.writeKeyword(k, env);
              }),
              bytesOf({0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6}));
    // The first keyword of a class right under the object base is number 7.
    EXPECT_EQ(KVORA_KWD(ivValue).ivGlobalId, 7);
    EXPECT_EQ(KVORA_KWD(ivExtra).ivGlobalId, 9);
    // A keyword without numbers: its name's length, then the name.
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeKeyword(KVORAKeyword("Model"), env); }),
              bytesOf({0x85, 'M', 'o', 'd', 'e', 'l'}));
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) {
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

TEST(BinaryEncoding, KeywordsReadBack) {
    std::string s = bytesOf({0x85, 'M', 'o', 'd', 'e', 'l', 0xC6, 0x80});
    Caught o = binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV env) {
        // A run-time keyword is matched by its name, and stays pending on a miss.
        EXPECT_FALSE(r.keywordMatches(KVORAKeyword("Mode"), env));
        EXPECT_TRUE(r.keywordMatches(KVORAKeyword("Model"), env));
        r.clearKeyword();
        EXPECT_TRUE(r.keywordMatches(KVORA_KWD(ivValue), env));
        r.clearKeyword();
        // The value 0 in keyword position is keyword number 0, not a length.
        r.readKeyword(env);
        EXPECT_EQ(r.ivMatchMode, KVORAObjReader::MatchByGlobalId);
        EXPECT_EQ(r.ivKeyword.ivGlobalId, 0);
        r.clearKeyword();
        // At the clean end nothing matches, and nothing fails.
        EXPECT_FALSE(r.keywordMatches(KVORA_KWD(EndObject), env));
        EXPECT_TRUE(r.atEnd());
    });
    EXPECT_FALSE(o.threw) << o.err;
}

TEST(BinaryEncoding, BrokenTokensFailWithTheirTexts) {
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
        // A name shorter than its length; a number cut in the middle.
        {{0x84, 'a', 'b'}, [](KVORABinObjReader &r, KVORA_ENV env) { r.readKeyword(env); }, "read == size"},
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

TEST(BinaryObjects, GraphRoundTrip) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> back;
    Caught o = readGraph(graphStream(), back);
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_NE(back.get(), nullptr);
    graphtest::expectFilledGraph(*back);
    back.reset(env);
}

TEST(BinaryObjects, ReadIntoLiveObjectsKeepsWhatTheStreamLeavesOut) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> src;
    src.reset(new KVORAGraphTestNode(), env);
    src->ivCount = 3;
    src->ivLeaf.reset(new KVORAGraphTestLeaf(), env);
    src->ivLeaf->ivValue = 9;
    KVORAGraphTestNode::cvWriteKept = false;
    std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, src, e); });
    KVORAGraphTestNode::cvWriteKept = true;
    src.reset(env);

    KVORAOwnPtr<KVORAGraphTestNode> live;
    live.reset(new KVORAGraphTestNode(), env);
    live->ivKept = 42;
    KVORAGraphTestNode *before = live.get();
    live->ivLeaf.reset(new KVORAGraphTestLeaf(), env);
    live->ivLeaf->ivLabel = "kept label";                 // written empty: it changes
    live->ivNoLeaf.reset(new KVORAGraphTestLeaf(), env);  // null in the stream: destroyed
    Caught o = readGraph(s, live);
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(live.get(), before);  // same type: read in place
    EXPECT_EQ(live->ivKept, 42);
    EXPECT_EQ(live->ivCount, 3);
    EXPECT_EQ(live->ivLeaf->ivValue, 9);
    EXPECT_EQ(live->ivLeaf->ivLabel, "");
    EXPECT_EQ(live->ivNoLeaf.get(), nullptr);
    live.reset(env);
}

TEST(BinaryObjects, ModelFailuresAndAMemberWrittenTwice) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestLeaf> leaf;
    auto readLeaf = [&](const char *type, const KVORAKeyword &member) {
        std::string s = binaryWritten([&](KVORAObjWriter &w, KVORA_ENV e) {
            w.beginObjectType(KV2AscString(type), e);
            kvoraWrite(w, KVORA_KWD(ivValue), int32_t(1), e);
            kvoraWrite(w, member, int32_t(2), e);
            w.writeKeyword(KVORA_KWD(EndObject), e);
        });
        return binaryRead(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    };
    // The later value of a member written twice wins.
    Caught o = readLeaf("KVORAGraphTestLeaf", KVORA_KWD(ivValue));
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 2);
    leaf.reset(env);
    o = readLeaf("KVORAGraphTestLeaf", KVORAKeyword("ivNewMember"));
    EXPECT_TRUE(failedWith(o, "Input keyword does not match expected keyword(s)")) << o.err;
    leaf.reset(env);
    // An unknown class, and a known class that is not a kind of the owner's type.
    for (const char *name : {"KVORANoSuchClass", "KVORAGraphTestNode"}) {
        o = readLeaf(name, KVORA_KWD(ivValue));
        EXPECT_TRUE(failedWith(o, "Input object type does not match known object types")) << name << o.err;
        EXPECT_EQ(leaf.get(), nullptr);
    }

    // An array that is not closed.
    std::string s = binaryWritten([](KVORAObjWriter &w, KVORA_ENV e) {
        w.beginArray(1, e);
        w.writeReal(2.0, e);
        w.writeKeyword(KVORA_KWD(EndObject), e);
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

// Every truncation of a valid stream, then random and corrupted streams: each
// read ends cleanly or in one of the format's failure texts.
TEST(BinaryObjects, BrokenStreamsFailCleanly) {
    const std::string valid = graphStream();
    ASSERT_GT(valid.size(), 50u);
    KVORAEnv *env = nullptr;
    auto readBroken = [&](const std::string &s) {
        KVORAOwnPtr<KVORAGraphTestNode> back;
        Caught o = readGraph(s, back);
        EXPECT_TRUE(!o.threw || hasFailureText(o.err)) << s.size() << ": " << o.err;
        back.reset(env);
        return o.threw;
    };
    for (size_t len = 0; len < valid.size(); ++len) EXPECT_TRUE(readBroken(valid.substr(0, len))) << len;

    std::mt19937 rng(20261122u);
    int failures = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string s;
        if (round % 2 == 0) {
            // Random bytes, often after the start of a node.
            if (round % 4 == 0) s = valid.substr(0, 20);
            for (size_t i = 0, len = rng() % 200; i < len; ++i) s.push_back(static_cast<char>(rng() & 0xFF));
        } else {
            s = valid;
            for (int c = 0, changes = 1 + static_cast<int>(rng() % 4); c < changes; ++c)
                s[rng() % s.size()] = static_cast<char>(rng() & 0xFF);
        }
        failures += readBroken(s);
    }
    EXPECT_GT(failures, 1000);
}
