// The fuzz object graph; see fuzz_graph.h.
#include "fuzz_graph.h"

#include <cstdint>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_numfield.h"

KVORA_OBJECT_IMPL(KVORAFuzzLeaf, KVORAObject, 2)
KVORA_MEMBER_KEYWORD(KVORAFuzzLeaf, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORAFuzzLeaf, ivLabel, 2)

void KVORAFuzzLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(r, KVORA_KWD(ivLabel), ivLabel, env);
}

void KVORAFuzzLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(w, KVORA_KWD(ivLabel), ivLabel, env);
}

KVORA_OBJECT_IMPL(KVORAFuzzBigLeaf, KVORAFuzzLeaf, 1)
KVORA_MEMBER_KEYWORD(KVORAFuzzBigLeaf, ivExtra, 1)

void KVORAFuzzBigLeaf::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAFuzzLeaf::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivExtra), ivExtra, env);
}

void KVORAFuzzBigLeaf::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAFuzzLeaf::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivExtra), ivExtra, env);
}

KVORA_OBJECT_IMPL(KVORAFuzzNode, KVORAObject, 13)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivCount, 1)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivReal, 2)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivFlag, 3)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivChar, 4)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivBig, 5)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivSigned, 6)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivName, 7)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivLeaf, 8)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivNoLeaf, 9)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivValues, 10)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivLeaves, 11)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivEmbedded, 12)
KVORA_MEMBER_KEYWORD(KVORAFuzzNode, ivChild, 13)

void KVORAFuzzNode::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
    KVORAObject::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(r, KVORA_KWD(ivReal), ivReal, env);
    kvoraRead(r, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraRead(r, KVORA_KWD(ivChar), ivChar, env);
    kvoraRead(r, KVORA_KWD(ivBig), ivBig, env);
    kvoraRead(r, KVORA_KWD(ivSigned), ivSigned, env);
    kvoraRead(r, KVORA_KWD(ivName), ivName, env);
    kvoraRead(r, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraRead(r, KVORA_KWD(ivNoLeaf), ivNoLeaf, env);
    kvoraRead(r, KVORA_KWD(ivValues), ivValues, env);
    kvoraRead(r, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraRead(r, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraRead(r, KVORA_KWD(ivChild), ivChild, env);
}

void KVORAFuzzNode::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
    KVORAObject::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(w, KVORA_KWD(ivReal), ivReal, env);
    kvoraWrite(w, KVORA_KWD(ivFlag), ivFlag, env);
    kvoraWrite(w, KVORA_KWD(ivChar), ivChar, env);
    kvoraWrite(w, KVORA_KWD(ivBig), ivBig, env);
    kvoraWrite(w, KVORA_KWD(ivSigned), ivSigned, env);
    kvoraWrite(w, KVORA_KWD(ivName), ivName, env);
    kvoraWrite(w, KVORA_KWD(ivLeaf), ivLeaf, env);
    kvoraWrite(w, KVORA_KWD(ivNoLeaf), ivNoLeaf, env);
    kvoraWrite(w, KVORA_KWD(ivValues), ivValues, env);
    kvoraWrite(w, KVORA_KWD(ivLeaves), ivLeaves, env);
    kvoraWrite(w, KVORA_KWD(ivEmbedded), ivEmbedded, env);
    kvoraWrite(w, KVORA_KWD(ivChild), ivChild, env);
}

void KVORAFuzzNode::releasePrimitive(KVORA_ENV env) {
    ivLeaf.reset(env);
    ivNoLeaf.reset(env);
    ivValues.reset(env);
    for (int32_t i = 1; i <= ivLeaves.getSize(); ++i) ivLeaves[i].reset(env);
    ivLeaves.reset(env);
    ivEmbedded.reset(env);
    ivChild.reset(env);
    KVORAObject::releasePrimitive(env);
}

void kvoraFuzzFillGraph(KVORAFuzzNode &n, KVORA_ENV env) {
    n.ivCount = -300;
    n.ivReal = 0.1;
    n.ivFlag = true;
    n.ivChar = '"';
    n.ivBig = UINT64_MAX;
    n.ivSigned = INT64_MIN;
    n.ivName = "root \"quoted\" ^ \\ line\nbreak";
    n.ivLeaf.reset(new KVORAFuzzLeaf(), env);
    n.ivLeaf->ivValue = 64;
    n.ivLeaf->ivLabel = "owned";
    n.ivValues.setSize(3, env);
    n.ivValues[1] = 1.5;
    n.ivValues[2] = -1e308;
    n.ivValues[3] = 1e300;
    n.ivLeaves.setSize(3, env);
    n.ivLeaves[1].reset(new KVORAFuzzLeaf(), env);
    n.ivLeaves[1]->ivValue = 1;
    KVORAFuzzBigLeaf *big = new KVORAFuzzBigLeaf();
    big->ivValue = 2;
    big->ivExtra = INT64_MIN;
    n.ivLeaves[3].reset(big, env);
    n.ivEmbedded.setSize(2, env);
    n.ivEmbedded[1].ivValue = 11;
    n.ivEmbedded[2].ivLabel = "second";
    n.ivChild.reset(new KVORAFuzzNode(), env);
    n.ivChild->ivCount = 7;
}

void kvoraFuzzFillDataPoint(KVORAOwnPtr<KVORADataPoint> &point, KVORA_ENV env) {
    point.reset(new KVORADataPoint(), env);
    KVORANumField *num = new KVORANumField();
    num->ivName = "amount";
    num->ivAlias = "amt";
    num->ivPurpose = 2;
    KVORACatField *cat = new KVORACatField();
    cat->ivName = "kind";
    cat->ivAlias = "k";
    cat->ivPurpose = 1;
    KVORAOwnPtr<KVORAField> f1, f2;
    f1.reset(num, env);
    f2.reset(cat, env);
    point->addField(f1, env);
    point->addField(f2, env);
}
