// A small object graph for the object-stream targets: every member kind the
// streams carry (numbers, truth values, characters, strings, owned objects and
// none, arrays of values, of owners and of embedded objects, a derived class,
// recursion), so that a mutated stream can reach every read path.
#pragma once

#include <cstdint>

#include "util/kvora_array.h"
#include "util/kvora_objio.h"

class KVORADataPoint;

class KVORAFuzzLeaf : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAFuzzLeaf)
public:
    int32_t ivValue = 0;
    KV2AscString ivLabel;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

class KVORAFuzzBigLeaf : public KVORAFuzzLeaf {
    KVORA_OBJECT_DECL(KVORAFuzzBigLeaf)
public:
    int64_t ivExtra = 0;
    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
};

class KVORAFuzzNode : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAFuzzNode)
public:
    int32_t ivCount = 0;
    double ivReal = 0.0;
    bool ivFlag = false;
    char ivChar = 0;
    uint64_t ivBig = 0;
    int64_t ivSigned = 0;
    KV2AscString ivName;
    KVORAOwnPtr<KVORAFuzzLeaf> ivLeaf;
    KVORAOwnPtr<KVORAFuzzLeaf> ivNoLeaf;
    KVORAXaRay<double, 1> ivValues;
    KVORAXaRay<KVORAOwnPtr<KVORAFuzzLeaf>, 1> ivLeaves;
    KVORAArray<KVORAFuzzLeaf> ivEmbedded;
    KVORAOwnPtr<KVORAFuzzNode> ivChild;

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
};

// Fills a node with one of each kind, for the seed streams.
void kvoraFuzzFillGraph(KVORAFuzzNode &n, KVORA_ENV env);

// A data point with a numeric and a categorical field, for the seed streams.
void kvoraFuzzFillDataPoint(KVORAOwnPtr<KVORADataPoint> &point, KVORA_ENV env);
