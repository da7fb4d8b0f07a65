// Test classes with one member of every kind the object streams carry, and
// a graph of them that both formats must carry whole (strings non-empty and
// reals short, so that the ASCII form holds them too). The classes register
// themselves: include this in one source file per test program.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "util/kvora_objio.h"

class KVORAGraphTestLeaf : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAGraphTestLeaf)
public:
    int32_t ivValue = 0;
    KV2AscString ivLabel;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

// A derived leaf: its keyword numbers count on from the leaf's.
class KVORAGraphTestBigLeaf : public KVORAGraphTestLeaf {
    KVORA_OBJECT_DECL(KVORAGraphTestBigLeaf)
public:
    int64_t ivExtra = 0;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

class KVORAGraphTestNode : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAGraphTestNode)
public:
    static bool cvWriteKept;  // the stream leaves ivKept out when false

    int32_t ivCount = 0;
    double ivReal = 0.0;
    bool ivFlag = false;
    char ivChar = 'c';
    uint64_t ivBig = 0;
    int64_t ivSigned = 0;
    KV2AscString ivName;
    KVORAOwnPtr<KVORAGraphTestLeaf> ivLeaf;
    KVORAOwnPtr<KVORAGraphTestLeaf> ivNoLeaf;
    KVORAXaRay<double, 1> ivValues;
    KVORAXaRay<KVORAOwnPtr<KVORAGraphTestLeaf>, 1> ivLeaves;
    KVORAArray<KVORAGraphTestLeaf> ivEmbedded;
    KVORAOwnPtr<KVORAGraphTestNode> ivChild;
    int32_t ivKept = 0;

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
};

KVORA_OBJECT_IMPL(KVORAGraphTestLeaf, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAGraphTestLeaf, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORAGraphTestLeaf, ivLabel, 2)

void KVORAGraphTestLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(r, KVORA_KWD(ivLabel), ivLabel, env);
}

void KVORAGraphTestLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(w, KVORA_KWD(ivLabel), ivLabel, env);
}

KVORA_OBJECT_IMPL(KVORAGraphTestBigLeaf, KVORAGraphTestLeaf, 1)
KVORA_MEMBER_KEYWORD(KVORAGraphTestBigLeaf, ivExtra, 1)

void KVORAGraphTestBigLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAGraphTestLeaf::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivExtra), ivExtra, env);
}

void KVORAGraphTestBigLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAGraphTestLeaf::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivExtra), ivExtra, env);
}

bool KVORAGraphTestNode::cvWriteKept = true;

// The node's members but ivKept, each with its local keyword number: one
// list for the keywords, the reading and the writing.
#define KVORA_GRAPH_NODE_MEMBERS(X)                                                                     \
    X(ivCount, 1) X(ivReal, 2) X(ivFlag, 3) X(ivChar, 4) X(ivBig, 5) X(ivSigned, 6) X(ivName, 7)       \
    X(ivLeaf, 8) X(ivNoLeaf, 9) X(ivValues, 10) X(ivLeaves, 11) X(ivEmbedded, 12) X(ivChild, 13)
#define KVORA_GRAPH_KEYWORD(member, n) KVORA_MEMBER_KEYWORD(KVORAGraphTestNode, member, n)
#define KVORA_GRAPH_READ(member, n) kvoraRead(r, KVORA_KWD(member), member, env);
#define KVORA_GRAPH_WRITE(member, n) kvoraWrite(w, KVORA_KWD(member), member, env);

KVORA_OBJECT_IMPL(KVORAGraphTestNode, KVORAObject, 14)
KVORA_GRAPH_NODE_MEMBERS(KVORA_GRAPH_KEYWORD)
KVORA_MEMBER_KEYWORD(KVORAGraphTestNode, ivKept, 14)

void KVORAGraphTestNode::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAObject::readPrimitive(r, env);
    KVORA_GRAPH_NODE_MEMBERS(KVORA_GRAPH_READ)
    kvoraRead(r, KVORA_KWD(ivKept), ivKept, env);
}

void KVORAGraphTestNode::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAObject::writePrimitive(w, env);
    KVORA_GRAPH_NODE_MEMBERS(KVORA_GRAPH_WRITE)
    if (cvWriteKept) {
        kvoraWrite(w, KVORA_KWD(ivKept), ivKept, env);
    }
}

void KVORAGraphTestNode::releasePrimitive(KVORA_ENV env) {
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

namespace graphtest {

constexpr const char *kName = "a \"quoted\" ^name\\ with\ttab";

inline void fillGraph(KVORAGraphTestNode &n, KVORA_ENV env) {
    n.ivCount = -300;
    n.ivReal = 0.125;
    n.ivFlag = true;
    n.ivChar = '\n';
    n.ivBig = UINT64_MAX;
    n.ivSigned = INT64_MIN;
    n.ivName = kName;
    auto setLeaf = [](KVORAGraphTestLeaf &leaf, int32_t value, const char *label) {
        leaf.ivValue = value;
        leaf.ivLabel = label;
    };
    n.ivLeaf.reset(new KVORAGraphTestLeaf(), env);
    setLeaf(*n.ivLeaf, 64, "owned");
    n.ivValues.setSize(3, env);
    const double values[] = {1.5, -2.25, 1e300};
    for (int32_t i = 1; i <= 3; ++i) n.ivValues[i] = values[i - 1];
    n.ivLeaves.setSize(3, env);
    n.ivLeaves[1].reset(new KVORAGraphTestLeaf(), env);
    setLeaf(*n.ivLeaves[1], 1, "one");
    KVORAGraphTestBigLeaf *big = new KVORAGraphTestBigLeaf();
    setLeaf(*big, 3, "three");
    big->ivExtra = INT64_MIN;
    n.ivLeaves[3].reset(big, env);  // element 2 stays null
    n.ivEmbedded.setSize(2, env);
    setLeaf(n.ivEmbedded[1], 11, "first");
    setLeaf(n.ivEmbedded[2], 12, "second");
    n.ivChild.reset(new KVORAGraphTestNode(), env);
    n.ivChild->ivCount = 7;
    n.ivChild->ivName = "child";
    n.ivKept = 5;
}

// The graph written by `write` (a stream format's writer over a text).
template <class W>
std::string graphWritten(W write) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAGraphTestNode> root;
    root.reset(new KVORAGraphTestNode(), env);
    fillGraph(*root, env);
    std::string s = write(root);
    root.reset(env);
    return s;
}

// A graph read back holds what fillGraph put in.
inline void expectFilledGraph(const KVORAGraphTestNode &n) {
    EXPECT_EQ(n.ivCount, -300);
    EXPECT_EQ(n.ivReal, 0.125);
    EXPECT_TRUE(n.ivFlag);
    EXPECT_EQ(n.ivChar, '\n');
    EXPECT_EQ(n.ivBig, UINT64_MAX);
    EXPECT_EQ(n.ivSigned, INT64_MIN);
    EXPECT_EQ(n.ivName, kName);
    ASSERT_NE(n.ivLeaf.get(), nullptr);
    EXPECT_EQ(n.ivLeaf->ivValue, 64);
    EXPECT_EQ(n.ivLeaf->ivLabel, "owned");
    EXPECT_EQ(n.ivNoLeaf.get(), nullptr);
    ASSERT_EQ(n.ivValues.getSize(), 3);
    EXPECT_EQ(n.ivValues[1], 1.5);
    EXPECT_EQ(n.ivValues[2], -2.25);
    EXPECT_EQ(n.ivValues[3], 1e300);
    ASSERT_EQ(n.ivLeaves.getSize(), 3);
    ASSERT_NE(n.ivLeaves[1].get(), nullptr);
    EXPECT_EQ(n.ivLeaves[1]->ivLabel, "one");
    EXPECT_EQ(n.ivLeaves[2].get(), nullptr);
    ASSERT_NE(n.ivLeaves[3].get(), nullptr);
    ASSERT_TRUE(n.ivLeaves[3]->getObjectType() == KVORAGraphTestBigLeaf::classType());
    EXPECT_EQ(n.ivLeaves[3]->ivValue, 3);
    EXPECT_EQ(static_cast<const KVORAGraphTestBigLeaf *>(n.ivLeaves[3].get())->ivExtra, INT64_MIN);
    ASSERT_EQ(n.ivEmbedded.getSize(), 2);
    EXPECT_EQ(n.ivEmbedded[1].ivValue, 11);
    EXPECT_EQ(n.ivEmbedded[2].ivLabel, "second");
    ASSERT_NE(n.ivChild.get(), nullptr);
    EXPECT_EQ(n.ivChild->ivCount, 7);
    EXPECT_EQ(n.ivChild->ivName, "child");
    EXPECT_EQ(n.ivChild->ivChild.get(), nullptr);
    EXPECT_EQ(n.ivChild->ivKept, 0);
    EXPECT_EQ(n.ivKept, 5);
}

}  // namespace graphtest
