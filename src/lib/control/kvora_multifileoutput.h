// Per-worker text files of numbers: each worker writes its share of a result
// to a file of its own, named after its rank, with no coordination and no
// merge step; the set of files is the result. Writing starts at the start of
// the file and never truncates, so an older, longer file keeps its tail
// behind the new text. The object is never carried by the object stream.
//
// Positional writes at a 64-bit file pointer replace the parallel file layer:
// each worker opens its own file on its own, so the effect is the same, and
// the object can be used (and tested) without a parallel job. Rows are
// formatted into a buffer of the object's own, written when it fills and at
// close: the file holds the same text, in a call per buffer, not per number.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORAMultifileOutput : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAMultifileOutput)
public:
    KVORAMultifileOutput();
    ~KVORAMultifileOutput() override;

    // Not carried, copied or moved: "Function/Feature not yet implemented".
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    // Closes the file if it is still open.
    void releasePrimitive(KVORA_ENV env) override;

    // Opens this worker's file: "_worker_" and the rank go before the last "."
    // of the name. Answers true whether or not the file could be opened.
    virtual int32_t open(const KV2AscString &fileName, KVORA_ENV env);
    virtual int32_t close(KVORA_ENV env);
    // One line: the elements of `values` (from 1), comma and tab between,
    // line feed after the last. An empty array writes nothing.
    virtual int32_t writeRow(const KVORAXaRay<double, 1> &values, KVORA_ENV env);

    // The worker's rank used in file names. By default it is the rank in the
    // parallel job if one is running, else 0; the job layer may set it.
    static void setWorkerRank(int32_t rank);
    static int32_t getWorkerRank();
    // `name` with "_worker_<rank>" before its last ".", or appended.
    static KV2AscString makeWorkerFileName(const KV2AscString &name, int32_t rank);
    // Appends one number by its pattern: no decimals when it equals its
    // floor, else six; ",\t" after it, or "\n" when `last`. Width 15.
    // Answers the number of characters written into `out` (room: kNumberRoom).
    static int32_t formatNumber(char *out, double value, int32_t last);
    // The longest number text: the 309 digits of the largest double, its
    // sign and the ",\t" after it, with room to spare.
    static constexpr int32_t kTextRoom = 384;
    static constexpr int32_t kNumberRoom = kTextRoom + 16;

private:
    void flushBuffer();

    int32_t ivFile;    // descriptor, -1 when closed
    int64_t ivOffset;  // the file pointer
    int32_t ivUsed;    // bytes waiting in ivBuffer
    char ivBuffer[1 << 16];
};
