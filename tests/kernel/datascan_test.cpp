// The data-scan protocol: serial numbers and their table, the sign of the
// merge number by writing mode, each refusal of a broken result stream, and
// the multi-scan begin/end rule. Results travelling the job tree are checked
// end to end by the tree probe on one to eight processes.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kernel/kvora_datascan.h"
#include "kernel/kvora_datascanglobalvars.h"
#include "kernel/kvora_multiscan.h"
#include "kernel_streams.h"
#include "util/kvora_debug.h"

using namespace kerneltest;


// Counts records; merging adds the other's count.
class KVORAScanTestCounter : public KVORADataScan {
    KVORA_OBJECT_DECL(KVORAScanTestCounter)
public:
    int64_t ivCount = 0;
    int32_t ivMerges = 0;   // not streamed: merges seen by this object

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void merge(KVORADataScan *other, KVORA_ENV env) override {
        ivCount += static_cast<const KVORAScanTestCounter *>(other)->ivCount;
        ++ivMerges;
    }
    int32_t hasScanResults() const override { return 1; }
    KVORAUpdateFunc getUpdateFunction() const override { return &count; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }

    static void count(KVORADataScan *object, int32_t, KVORA_ENV) { ++static_cast<KVORAScanTestCounter *>(object)->ivCount; }
};

KVORA_OBJECT_IMPL(KVORAScanTestCounter, KVORADataScan, 1)
KVORA_MEMBER_KEYWORD(KVORAScanTestCounter, ivCount, 1)

void KVORAScanTestCounter::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORADataScan::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);
}

void KVORAScanTestCounter::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORADataScan::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);
}

// A multi-scan whose primitives answer what the test sets and count calls.
class KVORAScanTestMulti : public KVORAMultiScan {
    KVORA_OBJECT_DECL(KVORAScanTestMulti)
public:
    int32_t ivBeginAnswer = 1, ivEndAnswer = 1, ivBegins = 0, ivEnds = 0;
    int32_t beginDataScanPrimitive(KVORA_ENV) override { return ++ivBegins, ivBeginAnswer; }
    int32_t endDataScanPrimitive(int32_t, KVORA_ENV) override { return ++ivEnds, ivEndAnswer; }
    KVORAUpdateFunc getUpdateFunction() const override { return ivScanInProgress ? &KVORAScanTestCounter::count : nullptr; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }
};

KVORA_OBJECT_IMPL(KVORAScanTestMulti, KVORAMultiScan, 0)

namespace {

void mergeIntoObjects(const std::string &bytes, KVORA_ENV env)
{
    Reader in(bytes);
    mergeScanResultsIntoObjects(in.reader, KVORA_KWD(ScanResult), env);
}

std::string mergeStreams(const std::string &a, const std::string &b, KVORA_ENV env)
{
    Reader ra(a), rb(b);
    return written(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
        mergeScanResultStreams(ra.reader, rb.reader, w, KVORA_KWD(ScanResult), e);
    });
}

// A result that claims to go back to `serial` (negative) or not (non-negative).
std::string resultClaiming(int32_t mergeNumber, int64_t count)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> o;
    o.reset(new KVORAScanTestCounter(), env);
    o->ivMergeWithSerialNumber = mergeNumber;
    o->ivCount = count;
    std::string s = written(2, [&](KVORAObjWriter &w, KVORA_ENV e) { o->writeScanResult(w, KVORA_KWD(ScanResult), e); });
    o.reset(env);
    return s;
}

}  // namespace


TEST(DataScanIdentity, SerialNumbersCountUpAndTheTableFindsLiveObjectsOnly)
{
    KVORAEnv *env = nullptr;
    KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
    const uint32_t usedBefore = vars->ivSerialTable.getUsedCount();
    // Enough objects to make the table grow; every other one is removed.
    std::vector<KVORAOwnPtr<KVORAScanTestCounter>> objects(300);
    for (auto &o : objects) o.reset(new KVORAScanTestCounter(), env);
    EXPECT_EQ(objects[1]->ivSerialNumber, objects[0]->ivSerialNumber + 1);
    EXPECT_EQ(objects[299]->ivSerialNumber, vars->serialNumCounter);
    std::vector<int32_t> serials;
    for (auto &o : objects) serials.push_back(o->ivSerialNumber);
    objects[1]->ivUpdateFunc = &KVORAScanTestCounter::count;
    objects[1]->ivMergeWithSerialNumber = 9;
    objects[1]->releasePrimitive(env);
    EXPECT_EQ(objects[1]->ivSerialNumber, 0);
    EXPECT_EQ(objects[1]->ivMergeWithSerialNumber, 0);
    EXPECT_EQ(objects[1]->ivUpdateFunc, nullptr);
    for (size_t i = 0; i < objects.size(); i += 2) objects[i].reset(env);
    EXPECT_EQ(vars->ivSerialTable.getUsedCount(), usedBefore + 149);
    for (size_t i = 0; i < objects.size(); ++i)
        EXPECT_EQ(vars->find(serials[i]), i % 2 == 0 || i == 1 ? nullptr : objects[i].get()) << i;
    // Freed entries are taken again by new objects.
    KVORAOwnPtr<KVORAScanTestCounter> fresh;
    fresh.reset(new KVORAScanTestCounter(), env);
    EXPECT_EQ(vars->find(fresh->ivSerialNumber), fresh.get());
    fresh.reset(env);
    for (auto &o : objects) o.reset(env);
    EXPECT_EQ(vars->ivSerialTable.getUsedCount(), usedBefore);
}

TEST(DataScanIdentity, SerialNumberHashWrapsIn32Bits)
{
    // 3519870697 - n * 1354167659, modulo 2^32.
    EXPECT_EQ(KVORADataScanGlobalVars::hashSerialNumber(0), 3519870697u);
    EXPECT_EQ(KVORADataScanGlobalVars::hashSerialNumber(4), 2398167357u);   // 4n = 5416670636 wraps
    EXPECT_EQ(KVORADataScanGlobalVars::hashSerialNumber(-1), 579071060u);   // the sum wraps
}

TEST(DataScanIdentity, CopyTakesFunctionsAndPartitionButKeepsItsNumbers)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> a, b;
    a.reset(new KVORAScanTestCounter(), env);
    b.reset(new KVORAScanTestCounter(), env);
    a->ivUpdateFunc = &KVORAScanTestCounter::count;
    a->ivMaxPartition = 7;
    a->ivMergeWithSerialNumber = 3;
    const int32_t serialB = b->ivSerialNumber;
    b->copyFromPrimitive(a.get(), env);
    EXPECT_EQ(b->ivUpdateFunc, &KVORAScanTestCounter::count);
    EXPECT_EQ(b->ivMaxPartition, 7);
    EXPECT_EQ(b->ivSerialNumber, serialB);
    EXPECT_EQ(b->ivMergeWithSerialNumber, 0);
    // Moving one into another is refused; moving nothing is not.
    EXPECT_TRUE(contains(failureOf([&](KVORA_ENV e) { b->transferFromPrimitive(a.get(), e); }),
                         "Program control should never reach this point"));
    b->transferFromPrimitive(nullptr, env);
    a.reset(env);
    b.reset(env);
}


TEST(DataScanStreams, DistributionRecordsTheMastersNumberAndResultsGoBackNegative)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> master, copy, copyOfCopy;
    master.reset(new KVORAScanTestCounter(), env);
    copy.reset(new KVORAScanTestCounter(), env);
    copyOfCopy.reset(new KVORAScanTestCounter(), env);
    readInto(streamed(*master), *copy, env);
    EXPECT_EQ(copy->ivMergeWithSerialNumber, master->ivSerialNumber);
    EXPECT_EQ(copy->ivUpdateFunc, &KVORAScanTestCounter::count);  // set anew after reading
    // Mode 2 writes the number negated; written again it stays negative.
    const std::string result = streamed(*copy, 2);
    readInto(result, *copyOfCopy, env);
    EXPECT_EQ(copyOfCopy->ivMergeWithSerialNumber, -master->ivSerialNumber);
    EXPECT_EQ(streamed(*copyOfCopy, 2), result);
    // Any other mode writes no number at all: the member keeps its value.
    copyOfCopy->ivMergeWithSerialNumber = 77;
    readInto(streamed(*copy, 3), *copyOfCopy, env);
    EXPECT_EQ(copyOfCopy->ivMergeWithSerialNumber, 77);
    master.reset(env);
    copy.reset(env);
    copyOfCopy.reset(env);
}


TEST(DataScanMerge, SurplusResultsAreDroppedAndEmptyStreamsMergeToNothing)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> m;
    m.reset(new KVORAScanTestCounter(), env);
    const std::string one = resultClaiming(-m->ivSerialNumber, 1), two = resultClaiming(-m->ivSerialNumber, 20);
    mergeIntoObjects(mergeStreams(one, two + resultClaiming(-m->ivSerialNumber, 300), env), env);
    EXPECT_EQ(m->ivCount, 21);
    EXPECT_EQ(m->ivMerges, 1);  // the pair was folded before
    m.reset(env);
    EXPECT_EQ(mergeStreams("", "", env), "");
    EXPECT_EQ(failureOf([&](KVORA_ENV e) { mergeIntoObjects("", e); }), "(no failure)");
}

TEST(DataScanMerge, BrokenStreamsFailWithTheirAssertion)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> m1, m2;
    m1.reset(new KVORAScanTestCounter(), env);
    m2.reset(new KVORAScanTestCounter(), env);
    const std::string good1 = resultClaiming(-m1->ivSerialNumber, 1);
    const std::string good2 = resultClaiming(-m2->ivSerialNumber, 1);
    const std::string zero = resultClaiming(0, 1);  // 0 written in mode 2 stays 0
    // ScanResult followed by a null object (the empty type name).
    const std::string nullResult = written(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
        w.writeKeyword(KVORA_KWD(ScanResult), e);
        w.writeOwnedObject(nullptr, e);
    });
    const int32_t goneSerial = m2->ivSerialNumber;
    m2.reset(env);
    const char *const missing = "Missing data scan result object in input";
    const char *const notReturn = "Attempt to read/merge a non-return-data-scan-results object";
    const char *const notFound = "Cannot find corresponding data scan object";
    struct Case {
        std::string a, b;  // two streams to merge, or b empty: a into the objects
        const char *assertion;
        const char *cause;
    } cases[] = {
        {nullResult, good1, "ptrA != 0", missing},
        {good1, nullResult, "ptrB != 0", missing},
        {good1 + good2, good1, "", "Data scan result object expected in input"},
        {zero, good1, "ptrA->ivMergeWithSerialNumber < 0", notReturn},
        {good1, zero, "ptrB->ivMergeWithSerialNumber < 0", notReturn},
        {good1, good2, "ptrA->getMergeWithSerialNumber() == ptrB->getMergeWithSerialNumber()",
         "Serial number mismatch between input streams"},
        {nullResult, "", "resultPtr != 0", missing},
        {zero, "", "resultPtr->ivMergeWithSerialNumber < 0", notReturn},
        {resultClaiming(-2000000000, 1), "", "mergePtr != 0", notFound},  // never on this process
        {resultClaiming(-goneSerial, 1), "", "mergePtr != 0", notFound},  // its object is gone
    };
    for (const Case &c : cases) {
        std::string err = failureOf([&](KVORA_ENV e) {
            if (c.b.empty())
                mergeIntoObjects(c.a, e);
            else
                mergeStreams(c.a, c.b, e);
        });
        EXPECT_TRUE(contains(err, c.assertion) && contains(err, c.cause)) << c.cause << ": " << err;
    }
    // The failures destroyed their temporaries: nothing reached the master.
    EXPECT_EQ(m1->ivCount, 0);
    m1.reset(env);
}


TEST(MultiScan, BeginAndEndFollowTheInProgressFlag)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestMulti> m;
    m.reset(new KVORAScanTestMulti(), env);
    EXPECT_EQ(m->endDataScan(0, env), 1);  // end before begin: nothing, and done
    EXPECT_EQ(m->ivEnds, 0);
    m->ivBeginAnswer = 0;
    EXPECT_EQ(m->beginDataScan(env), 0);  // refused: idle, no results
    EXPECT_EQ(m->hasScanResults(), 0);
    m->ivBeginAnswer = 1;
    EXPECT_EQ(m->beginDataScan(env), 1);
    EXPECT_EQ(m->ivUpdateFunc, &KVORAScanTestCounter::count);  // set anew
    EXPECT_EQ(m->hasScanResults(), 1);
    EXPECT_EQ(m->beginDataScan(env), 1);  // a second begin does not reach the primitive
    EXPECT_EQ(m->ivBegins, 2);
    m->ivEndAnswer = 0;
    EXPECT_EQ(m->endDataScan(0, env), 0);  // a refused end keeps the scan going
    EXPECT_EQ(m->ivScanInProgress, 1);
    m->ivEndAnswer = 1;
    EXPECT_EQ(m->endDataScan(0, env), 1);
    EXPECT_EQ(m->ivScanInProgress, 0);
    EXPECT_EQ(m->ivUpdateFunc, nullptr);
    m.reset(env);
}
