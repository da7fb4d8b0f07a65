// The binary object format: exact byte encodings worked out by hand, a small
// object graph that round-trips, and broken streams (every truncation, random
// corruption) that must end in one of the format's failure texts.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "util/kvora_binobjio.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

// ---- test classes ----

class KVORABinTestLeaf : public KVORAObject {
    KVORA_OBJECT_DECL(KVORABinTestLeaf)
public:
    int32_t ivValue = 0;
    KV2AscString ivLabel;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

KVORA_OBJECT_IMPL(KVORABinTestLeaf, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORABinTestLeaf, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORABinTestLeaf, ivLabel, 2)

void KVORABinTestLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(r, KVORA_KWD(ivLabel), ivLabel, env);
}

void KVORABinTestLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(w, KVORA_KWD(ivLabel), ivLabel, env);
}

// A derived leaf: its keyword numbers count on from the leaf's.
class KVORABinTestBigLeaf : public KVORABinTestLeaf {
    KVORA_OBJECT_DECL(KVORABinTestBigLeaf)
public:
    int64_t ivExtra = 0;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

KVORA_OBJECT_IMPL(KVORABinTestBigLeaf, KVORABinTestLeaf, 1)
KVORA_MEMBER_KEYWORD(KVORABinTestBigLeaf, ivExtra, 1)

void KVORABinTestBigLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORABinTestLeaf::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivExtra), ivExtra, env);
}

void KVORABinTestBigLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORABinTestLeaf::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivExtra), ivExtra, env);
}

class KVORABinTestNode : public KVORAObject {
    KVORA_OBJECT_DECL(KVORABinTestNode)
public:
    static bool cvWriteKept;  // the stream leaves ivKept out when false

    int32_t ivCount = 0;
    double ivReal = 0.0;
    bool ivFlag = false;
    char ivChar = 0;
    uint64_t ivBig = 0;
    KV2AscString ivName;
    KVORAOwnPtr<KVORABinTestLeaf> ivLeaf;
    KVORAOwnPtr<KVORABinTestLeaf> ivNoLeaf;
    KVORAXaRay<double, 1> ivValues;
    KVORAXaRay<KVORAOwnPtr<KVORABinTestLeaf>, 1> ivLeaves;
    KVORAArray<KVORABinTestLeaf> ivEmbedded;
    KVORAOwnPtr<KVORABinTestNode> ivChild;
    int32_t ivKept = 0;

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
};

bool KVORABinTestNode::cvWriteKept = true;

KVORA_OBJECT_IMPL(KVORABinTestNode, KVORAObject, 13)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivCount, 1)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivReal, 2)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivFlag, 3)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivChar, 4)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivBig, 5)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivName, 6)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivLeaf, 7)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivNoLeaf, 8)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivValues, 9)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivLeaves, 10)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivEmbedded, 11)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivChild, 12)
KVORA_MEMBER_KEYWORD(KVORABinTestNode, ivKept, 13)

void KVORABinTestNode::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(r, KVORA_KWD(ivReal), ivReal, env);
    kvoraRead(r, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraRead(r, KVORA_KWD(ivChar), ivChar, env);
    kvoraRead(r, KVORA_KWD(ivBig), ivBig, env);
    kvoraRead(r, KVORA_KWD(ivName), ivName, env);
    kvoraRead(r, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraRead(r, KVORA_KWD(ivNoLeaf), ivNoLeaf, env);
    kvoraRead(r, KVORA_KWD(ivValues), ivValues, env);
    kvoraRead(r, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraRead(r, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraRead(r, KVORA_KWD(ivChild), ivChild, env);
    kvoraRead(r, KVORA_KWD(ivKept), ivKept, env);
}

void KVORABinTestNode::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(w, KVORA_KWD(ivReal), ivReal, env);
    kvoraWrite(w, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraWrite(w, KVORA_KWD(ivChar), ivChar, env);
    kvoraWrite(w, KVORA_KWD(ivBig), ivBig, env);
    kvoraWrite(w, KVORA_KWD(ivName), ivName, env);
    kvoraWrite(w, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraWrite(w, KVORA_KWD(ivNoLeaf), ivNoLeaf, env);
    kvoraWrite(w, KVORA_KWD(ivValues), ivValues, env);
    kvoraWrite(w, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraWrite(w, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraWrite(w, KVORA_KWD(ivChild), ivChild, env);
    if (cvWriteKept) {
        kvoraWrite(w, KVORA_KWD(ivKept), ivKept, env);
    }
}

void KVORABinTestNode::releasePrimitive(KVORA_ENV env)
{
    ivLeaf.reset(env);
    ivNoLeaf.reset(env);
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

std::string bytesOf(const std::vector<int> &b)
{
    std::string s;
    for (int x : b) {
        s.push_back(static_cast<char>(x));
    }
    return s;
}

// Writes with a fresh binary writer and answers the bytes.
template <class F>
std::string written(F f)
{
    KVORAEnv *env = nullptr;
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 0);
        f(writer, env);
    }
    return ss.str();
}

struct ReadOutcome {
    bool threw = false;
    std::string err;
};

// Runs a read over the bytes; a failure must be the assertion throw.
template <class F>
ReadOutcome readBytes(const std::string &bytes, F f)
{
    KVORAEnv *env = nullptr;
    std::stringstream ss(bytes);
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
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

void fillGraph(KVORABinTestNode &n, KVORA_ENV env)
{
    n.ivCount = -300;
    n.ivReal = 0.1;
    n.ivFlag = true;
    n.ivChar = 'q';
    n.ivBig = UINT64_MAX;
    n.ivName = "root";
    n.ivLeaf.reset(new KVORABinTestLeaf(), env);
    n.ivLeaf->ivValue = 64;
    n.ivLeaf->ivLabel = "owned";
    n.ivValues.setSize(3, env);
    n.ivValues[1] = 1.5;
    n.ivValues[2] = -2.25;
    n.ivValues[3] = 1e300;
    n.ivLeaves.setSize(3, env);
    n.ivLeaves[1].reset(new KVORABinTestLeaf(), env);
    n.ivLeaves[1]->ivValue = 1;
    KVORABinTestBigLeaf *big = new KVORABinTestBigLeaf();
    big->ivValue = 2;
    big->ivExtra = INT64_MIN;
    n.ivLeaves[3].reset(big, env);  // element 2 stays null
    n.ivEmbedded.setSize(2, env);
    n.ivEmbedded[1].ivValue = 11;
    n.ivEmbedded[2].ivLabel = "second";
    n.ivChild.reset(new KVORABinTestNode(), env);
    n.ivChild->ivCount = 7;
    n.ivKept = 5;
}

std::string graphStream()
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORABinTestNode> root;
    root.reset(new KVORABinTestNode(), env);
    fillGraph(*root, env);
    std::string s = written([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, root, e); });
    root.reset(env);
    return s;
}

}  // namespace

// ---- encodings ----

TEST(BinaryEncoding, SignedExamples)
{
    struct { int64_t v; std::vector<int> bytes; } cases[] = {
        {0, {0x80}},        {1, {0x81}},         {63, {0xBF}},        {64, {0x00, 0x81}},
        {300, {0x2C, 0x84}}, {-1, {0xC0}},       {-2, {0xC1}},        {-64, {0xFF}},
        {-65, {0x40, 0x81}},
        // 2^63-1: low 6 bits, eight full groups of 7, then the last bit.
        {INT64_MAX, {0x3F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
        {INT64_MIN, {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
    };
    for (const auto &c : cases) {
        std::string s = written([&](KVORAObjWriter &w, KVORA_ENV env) { w.writeSigned(c.v, env); });
        EXPECT_EQ(s, bytesOf(c.bytes)) << c.v;
        int64_t back = 12345;
        ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV env) { r.readSigned(back, env); });
        EXPECT_FALSE(o.threw) << o.err;
        EXPECT_EQ(back, c.v);
    }
}

TEST(BinaryEncoding, UnsignedExamples)
{
    struct { uint64_t v; std::vector<int> bytes; } cases[] = {
        {0, {0x80}},
        {127, {0xFF}},
        {128, {0x00, 0x81}},
        {300, {0x2C, 0x82}},
        {UINT64_MAX, {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x81}},
    };
    for (const auto &c : cases) {
        std::string s = written([&](KVORAObjWriter &w, KVORA_ENV env) { w.writeUnsigned(c.v, env); });
        EXPECT_EQ(s, bytesOf(c.bytes)) << c.v;
        uint64_t back = 1;
        ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV env) { r.readUnsigned(back, env); });
        EXPECT_FALSE(o.threw) << o.err;
        EXPECT_EQ(back, c.v);
    }
}

TEST(BinaryEncoding, KeywordsStringsAndReals)
{
    std::string s = written([](KVORAObjWriter &w, KVORA_ENV env) {
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
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeKeyword(KVORA_KWD(ivValue), env); }),
              bytesOf({0xC6}));

    // A keyword without numbers: its name's length, then the name.
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeKeyword(KVORAKeyword("Model"), env); }),
              bytesOf({0x85, 'M', 'o', 'd', 'e', 'l'}));

    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeString(KV2AscString(), env); }),
              bytesOf({0x80}));
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeString(KV2AscString("ab"), env); }),
              bytesOf({0x82, 'a', 'b'}));
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) { w.writeReal(1.0, env); }),
              bytesOf({0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
    EXPECT_EQ(written([](KVORAObjWriter &w, KVORA_ENV env) {
                  w.writeBool(true, env);
                  w.writeChar('A', env);
                  w.beginArray(2, env);
                  w.beginObjectType(KV2AscString(), env);
              }),
              bytesOf({0x01, 'A', 0xC4, 0x82, 0xC1, 0x80}));
}

TEST(BinaryEncoding, KeywordsReadBack)
{
    std::string s = bytesOf({0x85, 'M', 'o', 'd', 'e', 'l', 0xC6, 0x80});
    bool modelMatched = false, numberMatched = false, zeroIsNumber = false;
    ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV env) {
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

TEST(BinaryEncoding, ExpectKeywordFailures)
{
    ReadOutcome o = readBytes(bytesOf({0xC2}),
                              [](KVORABinObjReader &r, KVORA_ENV env) { r.beginObject(env); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("Syntax Error: Reserved(integer) keyword expected"), std::string::npos) << o.err;

    o = readBytes(bytesOf({0x81, 'x'}), [](KVORABinObjReader &r, KVORA_ENV env) { r.beginObject(env); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("Syntax Error: Reserved(string) keyword expected"), std::string::npos) << o.err;

    o = readBytes("", [](KVORABinObjReader &r, KVORA_ENV env) { r.beginObject(env); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("Syntax Error: BeginObject keyword expected"), std::string::npos) << o.err;

    o = readBytes("", [](KVORABinObjReader &r, KVORA_ENV env) { r.beginArray(env); });
    EXPECT_NE(o.err.find("Syntax Error: BeginArray or BeginArraySize keyword expected"), std::string::npos);

    // A name shorter than its length.
    o = readBytes(bytesOf({0x84, 'a', 'b'}), [](KVORABinObjReader &r, KVORA_ENV env) { r.readKeyword(env); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("read == size"), std::string::npos) << o.err;

    // A number cut in the middle.
    o = readBytes(bytesOf({0x00}), [](KVORABinObjReader &r, KVORA_ENV env) {
        int64_t v;
        r.readSigned(v, env);
    });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("BLOB Binary I/O Read Error"), std::string::npos) << o.err;

    // The binary format always knows its array sizes.
    o = readBytes("", [](KVORABinObjReader &r, KVORA_ENV env) { r.atArrayEnd(env); });
    EXPECT_NE(o.err.find("Function/Feature not yet implemented"), std::string::npos);
}

// ---- object graph ----

TEST(BinaryObjects, GraphRoundTrip)
{
    std::string s = graphStream();
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORABinTestNode> back;
    ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
    ASSERT_FALSE(o.threw) << o.err;
    ASSERT_NE(back.get(), nullptr);
    KVORABinTestNode &n = *back;
    EXPECT_EQ(n.ivCount, -300);
    EXPECT_EQ(n.ivReal, 0.1);
    EXPECT_TRUE(n.ivFlag);
    EXPECT_EQ(n.ivChar, 'q');
    EXPECT_EQ(n.ivBig, UINT64_MAX);
    EXPECT_EQ(n.ivName, "root");
    ASSERT_NE(n.ivLeaf.get(), nullptr);
    EXPECT_EQ(n.ivLeaf->ivValue, 64);
    EXPECT_EQ(n.ivLeaf->ivLabel, "owned");
    EXPECT_EQ(n.ivNoLeaf.get(), nullptr);
    ASSERT_EQ(n.ivValues.getSize(), 3);
    EXPECT_EQ(n.ivValues[1], 1.5);
    EXPECT_EQ(n.ivValues[2], -2.25);
    EXPECT_EQ(n.ivValues[3], 1e300);
    ASSERT_EQ(n.ivLeaves.getSize(), 3);
    EXPECT_EQ(n.ivLeaves[1]->ivValue, 1);
    EXPECT_EQ(n.ivLeaves[2].get(), nullptr);
    ASSERT_NE(n.ivLeaves[3].get(), nullptr);
    EXPECT_TRUE(n.ivLeaves[3]->getObjectType() == KVORABinTestBigLeaf::classType());
    EXPECT_EQ(static_cast<KVORABinTestBigLeaf *>(n.ivLeaves[3].get())->ivExtra, INT64_MIN);
    ASSERT_EQ(n.ivEmbedded.getSize(), 2);
    EXPECT_EQ(n.ivEmbedded[1].ivValue, 11);
    EXPECT_EQ(n.ivEmbedded[2].ivLabel, "second");
    ASSERT_NE(n.ivChild.get(), nullptr);
    EXPECT_EQ(n.ivChild->ivCount, 7);
    EXPECT_EQ(n.ivChild->ivKept, 0);
    EXPECT_EQ(n.ivKept, 5);
    back.reset(env);
}

TEST(BinaryObjects, ReadIntoLiveObjectsKeepsWhatTheStreamLeavesOut)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORABinTestNode> src;
    src.reset(new KVORABinTestNode(), env);
    src->ivCount = 3;
    src->ivKept = 1;
    src->ivLeaf.reset(new KVORABinTestLeaf(), env);
    src->ivLeaf->ivValue = 9;
    KVORABinTestNode::cvWriteKept = false;
    std::string s = written([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, src, e); });
    KVORABinTestNode::cvWriteKept = true;

    KVORAOwnPtr<KVORABinTestNode> live;
    live.reset(new KVORABinTestNode(), env);
    live->ivKept = 42;
    KVORABinTestNode *before = live.get();
    live->ivLeaf.reset(new KVORABinTestLeaf(), env);
    live->ivLeaf->ivLabel = "kept label";  // the leaf is written with an empty label: it changes
    live->ivNoLeaf.reset(new KVORABinTestLeaf(), env);  // null in the stream: destroyed
    ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, live, e); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(live.get(), before);  // same type: read in place
    EXPECT_EQ(live->ivKept, 42);
    EXPECT_EQ(live->ivCount, 3);
    EXPECT_EQ(live->ivLeaf->ivValue, 9);
    EXPECT_EQ(live->ivNoLeaf.get(), nullptr);

    // A null in the stream empties a filled owner.
    std::string nullStream = written([](KVORAObjWriter &w, KVORA_ENV e) {
        KVORAOwnPtr<KVORABinTestNode> none;
        kvoraWrite(w, none, e);
    });
    EXPECT_EQ(nullStream, bytesOf({0xC1, 0x80}));
    o = readBytes(nullStream, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, live, e); });
    EXPECT_FALSE(o.threw) << o.err;
    EXPECT_EQ(live.get(), nullptr);
    src.reset(env);
}

TEST(BinaryObjects, MemberWrittenTwiceKeepsTheLaterValue)
{
    std::string s = written([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginObjectType(KV2AscString("KVORABinTestLeaf"), env);
        kvoraWrite(w, KVORA_KWD(ivValue), int32_t(1), env);
        kvoraWrite(w, KVORA_KWD(ivLabel), KV2AscString("a"), env);
        kvoraWrite(w, KVORA_KWD(ivValue), int32_t(2), env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORABinTestLeaf> leaf;
    ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    ASSERT_FALSE(o.threw) << o.err;
    EXPECT_EQ(leaf->ivValue, 2);
    EXPECT_EQ(leaf->ivLabel, "a");
    leaf.reset(env);
}

TEST(BinaryObjects, ModelFailures)
{
    KVORAEnv *env = nullptr;
    // A keyword that no member takes.
    std::string s = written([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginObjectType(KV2AscString("KVORABinTestLeaf"), env);
        w.writeKeyword(KVORAKeyword("ivNewMember"), env);
        w.writeSigned(1, env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    KVORAOwnPtr<KVORABinTestLeaf> leaf;
    ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("Input keyword does not match expected keyword(s)"), std::string::npos) << o.err;
    leaf.reset(env);

    // An unknown class, and a known class that is not a kind of the owner's type.
    for (const char *name : {"KVORANoSuchClass", "KVORABinTestNode"}) {
        s = written([&](KVORAObjWriter &w, KVORA_ENV env) {
            w.beginObjectType(KV2AscString(name), env);
            w.writeKeyword(KVORA_KWD(EndObject), env);
        });
        o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, leaf, e); });
        EXPECT_TRUE(o.threw) << name;
        EXPECT_NE(o.err.find("Input object type does not match known object types"), std::string::npos) << o.err;
        EXPECT_EQ(leaf.get(), nullptr);
    }

    // An array that is not closed.
    s = written([](KVORAObjWriter &w, KVORA_ENV env) {
        w.beginArray(1, env);
        w.writeReal(2.0, env);
        w.writeKeyword(KVORA_KWD(EndObject), env);
    });
    KVORAXaRay<double, 1> values;
    o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, values, e); });
    EXPECT_TRUE(o.threw);
    EXPECT_NE(o.err.find("Syntax Error: EndArray keyword expected"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("reader.keywordMatches (KVORA_KWD(EndArray), KVORA_ENV)"), std::string::npos);
    values.reset(env);

    // An empty array is its size and EndArray.
    EXPECT_EQ(written([&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, values, e); }),
              bytesOf({0xC4, 0x80, 0xC5}));
}

TEST(BinaryObjects, EveryTruncationFailsCleanly)
{
    std::string s = graphStream();
    ASSERT_GT(s.size(), 50u);
    KVORAEnv *env = nullptr;
    for (size_t len = 0; len < s.size(); ++len) {
        KVORAOwnPtr<KVORABinTestNode> back;
        ReadOutcome o =
            readBytes(s.substr(0, len), [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
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
        KVORAOwnPtr<KVORABinTestNode> back;
        ReadOutcome o = readBytes(s, [&](KVORABinObjReader &r, KVORA_ENV e) { kvoraRead(r, back, e); });
        if (o.threw) {
            ++failures;
            EXPECT_TRUE(hasFailureText(o.err)) << o.err;
        }
        back.reset(env);
    }
    EXPECT_GT(failures, 1000);
}
