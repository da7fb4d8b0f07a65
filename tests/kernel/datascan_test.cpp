// The data-scan protocol between processes: serial numbers and their table,
// the sign rule of the merge number by writing mode, a result going from a
// "worker" stream back into the master's object of the right serial number,
// pairwise merging of two result streams, and each assertion of the merges on
// a stream that breaks it. Also the begin/end rule of the multi-scan objects.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kernel/kvora_datascan.h"
#include "kernel/kvora_datascanglobalvars.h"
#include "kernel/kvora_multiscan.h"
#include "util/kvora_binobjreader.h"
#include "util/kvora_binobjwriter.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

// ---- test classes ----

// Counts records and sums their partitions; merging adds the other's counts.
class KVORAScanTestCounter : public KVORADataScan {
    KVORA_OBJECT_DECL(KVORAScanTestCounter)
public:
    int64_t ivCount = 0;
    int64_t ivSum = 0;
    int32_t ivReports = 1;  // whether it has scan results
    int32_t ivMerges = 0;   // not streamed: merges seen by this object

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void merge(KVORADataScan *other, KVORA_ENV env) override {
        const KVORAScanTestCounter *o = static_cast<const KVORAScanTestCounter *>(other);
        ivCount += o->ivCount;
        ivSum += o->ivSum;
        ++ivMerges;
    }
    int32_t hasScanResults() const override { return ivReports; }
    KVORAUpdateFunc getUpdateFunction() const override { return &count; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }

    static void count(KVORADataScan *object, int32_t partition, KVORA_ENV env) {
        KVORAScanTestCounter *c = static_cast<KVORAScanTestCounter *>(object);
        ++c->ivCount;
        c->ivSum += partition;
    }
};

KVORA_OBJECT_IMPL(KVORAScanTestCounter, KVORADataScan, 3)
KVORA_MEMBER_KEYWORD(KVORAScanTestCounter, ivCount, 1)
KVORA_MEMBER_KEYWORD(KVORAScanTestCounter, ivSum, 2)
KVORA_MEMBER_KEYWORD(KVORAScanTestCounter, ivReports, 3)

void KVORAScanTestCounter::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORADataScan::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(r, KVORA_KWD(ivSum), ivSum, env);
    kvoraRead(r, KVORA_KWD(ivReports), ivReports, env);
}

void KVORAScanTestCounter::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORADataScan::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(w, KVORA_KWD(ivSum), ivSum, env);
    kvoraWrite(w, KVORA_KWD(ivReports), ivReports, env);
}

// A holder that may report nothing itself but passes the call to its child.
class KVORAScanTestHolder : public KVORADataScan {
    KVORA_OBJECT_DECL(KVORAScanTestHolder)
public:
    KVORAOwnPtr<KVORAScanTestCounter> ivChild;
    int32_t ivReports = 0;

    int32_t hasScanResults() const override { return ivReports; }
    void writeSubScanResults(KVORAObjWriter &w, const KVORAKeyword &keyword, KVORA_ENV env) const override {
        if (ivChild.get() != nullptr) ivChild->writeScanResult(w, keyword, env);
    }
    void releasePrimitive(KVORA_ENV env) override {
        ivChild.reset(env);
        KVORADataScan::releasePrimitive(env);
    }
    KVORAUpdateFunc getUpdateFunction() const override { return nullptr; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }
};

KVORA_OBJECT_IMPL(KVORAScanTestHolder, KVORADataScan, 0)

// A multi-scan whose primitives answer what the test sets and count calls.
class KVORAScanTestMulti : public KVORAMultiScan {
    KVORA_OBJECT_DECL(KVORAScanTestMulti)
public:
    int32_t ivBeginAnswer = 1;
    int32_t ivEndAnswer = 1;
    int32_t ivBegins = 0;
    int32_t ivEnds = 0;
    int32_t beginDataScanPrimitive(KVORA_ENV env) override {
        ++ivBegins;
        return ivBeginAnswer;
    }
    int32_t endDataScanPrimitive(int32_t flag, KVORA_ENV env) override {
        ++ivEnds;
        return ivEndAnswer;
    }
    KVORAUpdateFunc getUpdateFunction() const override { return ivScanInProgress ? &KVORAScanTestCounter::count : nullptr; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }
};

KVORA_OBJECT_IMPL(KVORAScanTestMulti, KVORAMultiScan, 0)

namespace {

template <class F>
std::string writeStream(int32_t mode, F f)
{
    KVORAEnv *env = nullptr;
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, mode);
        f(writer, env);
    }
    return ss.str();
}

// Runs f; answers the failure output if it ended in the assertion throw, else "".
std::string failureOf(const std::function<void(KVORA_ENV)> &f, bool *threw = nullptr)
{
    KVORAEnv *env = nullptr;
    testing::internal::CaptureStderr();
    bool failed = false;
    try {
        f(env);
    } catch (int) {
        failed = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    if (threw != nullptr) *threw = failed;
    return failed ? err : std::string();
}

void mergeIntoObjects(const std::string &bytes, KVORA_ENV env)
{
    std::stringstream ss(bytes);
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    mergeScanResultsIntoObjects(reader, KVORA_KWD(ScanResult), env);
}

std::string mergeStreams(const std::string &a, const std::string &b, KVORA_ENV env)
{
    std::stringstream sa(a), sb(b), out;
    KVOStreamBlobReader blobA(&sa), blobB(&sb);
    KVORABinObjReader readerA(&blobA), readerB(&blobB);
    {
        KVOStreamBlobWriter blobW(&out);
        KVORABinObjWriter writer(&blobW, 2);
        mergeScanResultStreams(readerA, readerB, writer, KVORA_KWD(ScanResult), env);
    }
    return out.str();
}

// A "worker" copy: the master's object as distribute writes it (mode 0),
// read into a fresh object of this process.
void distributeInto(const KVORAScanTestCounter &master, KVORAOwnPtr<KVORAScanTestCounter> &copy, KVORA_ENV env)
{
    std::string bytes = writeStream(0, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, master, e); });
    std::stringstream ss(bytes);
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    copy.reset(new KVORAScanTestCounter(), env);
    kvoraRead(reader, *copy, env);
}

// A result stream holding (ScanResult, object) for each given object, in mode 2.
std::string resultsOf(std::initializer_list<const KVORADataScan *> objects)
{
    return writeStream(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
        for (const KVORADataScan *o : objects) o->writeScanResult(w, KVORA_KWD(ScanResult), e);
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
    std::string s = resultsOf({o.get()});
    o.reset(env);
    return s;
}

bool contains(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

}  // namespace

// ---- identity ----

TEST(DataScanIdentity, SerialNumbersCountUpAndTheTableFindsLiveObjectsOnly)
{
    KVORAEnv *env = nullptr;
    KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
    KVORAOwnPtr<KVORAScanTestCounter> a, b;
    a.reset(new KVORAScanTestCounter(), env);
    b.reset(new KVORAScanTestCounter(), env);
    EXPECT_EQ(b->ivSerialNumber, a->ivSerialNumber + 1);
    EXPECT_EQ(b->ivSerialNumber, vars->serialNumCounter);
    EXPECT_EQ(a->ivMergeWithSerialNumber, 0);
    EXPECT_EQ(vars->find(a->ivSerialNumber), a.get());
    EXPECT_EQ(vars->find(b->ivSerialNumber), b.get());

    const int32_t serialA = a->ivSerialNumber;
    a->ivUpdateFunc = &KVORAScanTestCounter::count;
    a->ivMergeWithSerialNumber = 9;
    a->ivMaxPartition = 4;
    a->releasePrimitive(env);
    EXPECT_EQ(vars->find(serialA), nullptr);
    EXPECT_EQ(a->ivSerialNumber, 0);
    EXPECT_EQ(a->ivMergeWithSerialNumber, 0);
    EXPECT_EQ(a->ivMaxPartition, 0);
    EXPECT_EQ(a->ivUpdateFunc, nullptr);
    EXPECT_EQ(vars->find(b->ivSerialNumber), b.get());  // the other stays
    a.reset(env);
    b.reset(env);
}

TEST(DataScanIdentity, TableKeepsTrackThroughGrowthAndRemovals)
{
    KVORAEnv *env = nullptr;
    KVORADataScanGlobalVars *vars = KVORADataScanGlobalVars::get(env);
    const uint32_t usedBefore = vars->ivSerialTable.getUsedCount();
    std::vector<KVORAOwnPtr<KVORAScanTestCounter>> objects(300);
    for (auto &o : objects) o.reset(new KVORAScanTestCounter(), env);
    std::vector<int32_t> serials;
    for (auto &o : objects) serials.push_back(o->ivSerialNumber);
    for (size_t i = 0; i < objects.size(); i += 2) objects[i].reset(env);
    EXPECT_EQ(vars->ivSerialTable.getUsedCount(), usedBefore + 150);
    for (size_t i = 0; i < objects.size(); ++i) {
        if (i % 2 == 0)
            EXPECT_EQ(vars->find(serials[i]), nullptr) << i;
        else
            EXPECT_EQ(vars->find(serials[i]), objects[i].get()) << i;
    }
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
    EXPECT_EQ(KVORADataScanGlobalVars::hashSerialNumber(1), 2165703038u);
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

    std::string err = failureOf([&](KVORA_ENV e) { b->transferFromPrimitive(a.get(), e); });
    EXPECT_TRUE(contains(err, "Program control should never reach this point")) << err;
    b->transferFromPrimitive(nullptr, env);  // nothing to move: no failure
    a.reset(env);
    b.reset(env);
}

// ---- the sign rule on the wire ----

TEST(DataScanStreams, DistributionRecordsTheMastersNumberAndResultsGoBackNegative)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> master, copy, copyOfCopy;
    master.reset(new KVORAScanTestCounter(), env);
    distributeInto(*master, copy, env);
    EXPECT_NE(copy->ivSerialNumber, master->ivSerialNumber);
    EXPECT_EQ(copy->ivMergeWithSerialNumber, master->ivSerialNumber);
    EXPECT_EQ(copy->ivUpdateFunc, &KVORAScanTestCounter::count);  // set anew after reading

    // Mode 2 writes the number negated; reading it keeps the sign.
    std::string result = writeStream(2, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, *copy, e); });
    copyOfCopy.reset(new KVORAScanTestCounter(), env);
    {
        std::stringstream ss(result);
        KVOStreamBlobReader blob(&ss);
        KVORABinObjReader reader(&blob);
        kvoraRead(reader, *copyOfCopy, env);
    }
    EXPECT_EQ(copyOfCopy->ivMergeWithSerialNumber, -master->ivSerialNumber);
    // Written again in mode 2 it stays negative, not flipped back.
    std::string again = writeStream(2, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, *copyOfCopy, e); });
    EXPECT_EQ(again, result);
    // Any other mode writes no number at all: the member keeps its value.
    std::string silent = writeStream(3, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, *copy, e); });
    copyOfCopy->ivMergeWithSerialNumber = 77;
    {
        std::stringstream ss(silent);
        KVOStreamBlobReader blob(&ss);
        KVORABinObjReader reader(&blob);
        kvoraRead(reader, *copyOfCopy, env);
    }
    EXPECT_EQ(copyOfCopy->ivMergeWithSerialNumber, 77);
    master.reset(env);
    copy.reset(env);
    copyOfCopy.reset(env);
}

TEST(DataScanStreams, WorkerResultLandsInTheMasterObjectOfItsSerialNumber)
{
    KVORAEnv *env = nullptr;
    // Two live objects on the master; the worker scans its share with copies.
    KVORAOwnPtr<KVORAScanTestCounter> first, second, w1, w2;
    first.reset(new KVORAScanTestCounter(), env);
    second.reset(new KVORAScanTestCounter(), env);
    first->ivCount = 10;   // the master's own share
    distributeInto(*first, w1, env);
    distributeInto(*second, w2, env);
    w1->ivCount = 0;
    w2->ivCount = 0;
    for (int32_t p = 3; p <= 5; ++p) w1->ivUpdateFunc(w1.get(), p, env);  // 3 records, partitions 3+4+5
    w2->ivUpdateFunc(w2.get(), 4, env);

    // The worker visits in the same order as every process: first, second.
    std::string stream = resultsOf({w1.get(), w2.get()});
    w1.reset(env);
    w2.reset(env);
    mergeIntoObjects(stream, env);
    EXPECT_EQ(first->ivCount, 13);
    EXPECT_EQ(first->ivSum, 12);
    EXPECT_EQ(second->ivCount, 1);
    EXPECT_EQ(second->ivSum, 4);
    EXPECT_EQ(first->ivMerges, 1);
    EXPECT_EQ(second->ivMerges, 1);
    first.reset(env);
    second.reset(env);
}

TEST(DataScanStreams, ObjectWithoutResultsStillPassesTheCallToItsChildren)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestHolder> holder;
    holder.reset(new KVORAScanTestHolder(), env);
    holder->ivChild.reset(new KVORAScanTestCounter(), env);
    holder->ivChild->ivMergeWithSerialNumber = 5;
    holder->ivChild->ivCount = 2;

    std::string stream = resultsOf({holder.get()});
    // One pair only: the child's, carrying -5.
    std::stringstream ss(stream);
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    ASSERT_TRUE(reader.keywordMatches(KVORA_KWD(ScanResult), env));
    KVORAOwnPtr<KVORADataScan> read;
    kvoraRead(reader, read, env);
    reader.clearKeyword();
    ASSERT_NE(read.get(), nullptr);
    EXPECT_TRUE(read->getObjectType() == KVORAScanTestCounter::classType());
    EXPECT_EQ(read->ivMergeWithSerialNumber, -5);
    EXPECT_EQ(read->getMergeWithSerialNumber(), 5);
    EXPECT_FALSE(reader.keywordMatches(KVORA_KWD(ScanResult), env));
    read.reset(env);

    // A holder that does report comes first, then its child.
    holder->ivReports = 1;
    holder->ivMergeWithSerialNumber = 6;
    std::string both = resultsOf({holder.get()});
    std::string holderAlone = writeStream(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
        w.writeKeyword(KVORA_KWD(ScanResult), e);
        w.writeOwnedObject(holder.get(), e);
    });
    std::string childAlone = resultsOf({holder->ivChild.get()});
    EXPECT_EQ(both, holderAlone + childAlone);
    holder.reset(env);
}

// ---- merging two result streams ----

TEST(DataScanMerge, TwoStreamsMergePairwiseAndFoldIntoTheMaster)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> m1, m2, a1, a2, b1, b2;
    m1.reset(new KVORAScanTestCounter(), env);
    m2.reset(new KVORAScanTestCounter(), env);
    distributeInto(*m1, a1, env);
    distributeInto(*m2, a2, env);
    distributeInto(*m1, b1, env);
    distributeInto(*m2, b2, env);
    a1->ivCount = 1;
    a2->ivCount = 20;
    b1->ivCount = 300;
    b2->ivCount = 4000;
    std::string streamA = resultsOf({a1.get(), a2.get()});
    std::string streamB = resultsOf({b1.get(), b2.get()});
    // B has a surplus result that is dropped silently.
    std::string streamBLonger = streamB + resultClaiming(-m1->ivSerialNumber, 50000);
    for (auto *p : {&a1, &a2, &b1, &b2}) p->reset(env);

    std::string merged = mergeStreams(streamA, streamBLonger, env);
    mergeIntoObjects(merged, env);
    EXPECT_EQ(m1->ivCount, 301);
    EXPECT_EQ(m2->ivCount, 4020);
    // One merge each on the master: the pairs were folded before.
    EXPECT_EQ(m1->ivMerges, 1);
    EXPECT_EQ(m2->ivMerges, 1);
    m1.reset(env);
    m2.reset(env);
}

TEST(DataScanMerge, EmptyStreamsMergeToNothing)
{
    KVORAEnv *env = nullptr;
    EXPECT_EQ(mergeStreams("", "", env), "");
    std::string err = failureOf([&](KVORA_ENV e) { mergeIntoObjects("", e); });
    EXPECT_EQ(err, "");
}

TEST(DataScanMerge, BrokenStreamsFailWithTheirAssertion)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestCounter> m1, m2;
    m1.reset(new KVORAScanTestCounter(), env);
    m2.reset(new KVORAScanTestCounter(), env);
    const std::string good1 = resultClaiming(-m1->ivSerialNumber, 1);
    const std::string good2 = resultClaiming(-m2->ivSerialNumber, 1);
    // ScanResult followed by a null object (the empty type name).
    const std::string nullResult = writeStream(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
        w.writeKeyword(KVORA_KWD(ScanResult), e);
        w.writeOwnedObject(nullptr, e);
    });
    bool threw = false;

    std::string err = failureOf([&](KVORA_ENV e) { mergeStreams(nullResult, good1, e); }, &threw);
    EXPECT_TRUE(threw);
    EXPECT_TRUE(contains(err, "ptrA != 0") && contains(err, "Missing data scan result object in input")) << err;

    err = failureOf([&](KVORA_ENV e) { mergeStreams(good1, nullResult, e); });
    EXPECT_TRUE(contains(err, "ptrB != 0") && contains(err, "Missing data scan result object in input")) << err;

    err = failureOf([&](KVORA_ENV e) { mergeStreams(good1 + good2, good1, e); });
    EXPECT_TRUE(contains(err, "Data scan result object expected in input")) << err;

    // A merge number of 0 written in mode 2 stays 0 and fails the sign test.
    err = failureOf([&](KVORA_ENV e) { mergeStreams(resultClaiming(0, 1), good1, e); });
    EXPECT_TRUE(contains(err, "ptrA->ivMergeWithSerialNumber < 0") &&
                contains(err, "Attempt to read/merge a non-return-data-scan-results object")) << err;
    err = failureOf([&](KVORA_ENV e) { mergeStreams(good1, resultClaiming(0, 1), e); });
    EXPECT_TRUE(contains(err, "ptrB->ivMergeWithSerialNumber < 0")) << err;

    err = failureOf([&](KVORA_ENV e) { mergeStreams(good1, good2, e); });
    EXPECT_TRUE(contains(err, "ptrA->getMergeWithSerialNumber() == ptrB->getMergeWithSerialNumber()") &&
                contains(err, "Serial number mismatch between input streams")) << err;

    err = failureOf([&](KVORA_ENV e) { mergeIntoObjects(nullResult, e); });
    EXPECT_TRUE(contains(err, "resultPtr != 0") && contains(err, "Missing data scan result object in input")) << err;

    err = failureOf([&](KVORA_ENV e) { mergeIntoObjects(resultClaiming(0, 1), e); });
    EXPECT_TRUE(contains(err, "resultPtr->ivMergeWithSerialNumber < 0") &&
                contains(err, "Attempt to read/merge a non-return-data-scan-results object")) << err;

    // A number that was never on this process, and one whose object is gone.
    err = failureOf([&](KVORA_ENV e) { mergeIntoObjects(resultClaiming(-2000000000, 1), e); });
    EXPECT_TRUE(contains(err, "mergePtr != 0") && contains(err, "Cannot find corresponding data scan object")) << err;
    const int32_t goneSerial = m2->ivSerialNumber;
    m2.reset(env);
    err = failureOf([&](KVORA_ENV e) { mergeIntoObjects(resultClaiming(-goneSerial, 1), e); });
    EXPECT_TRUE(contains(err, "Cannot find corresponding data scan object")) << err;

    // The failures destroyed their temporaries: no owner complained.
    EXPECT_EQ(m1->ivCount, 0);
    m1.reset(env);
}

// ---- multi-scan ----

TEST(MultiScan, BeginAndEndFollowTheInProgressFlag)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAScanTestMulti> m;
    m.reset(new KVORAScanTestMulti(), env);

    // End before begin does nothing and says done.
    EXPECT_EQ(m->endDataScan(0, env), 1);
    EXPECT_EQ(m->ivEnds, 0);

    // A refused begin leaves it idle.
    m->ivBeginAnswer = 0;
    EXPECT_EQ(m->beginDataScan(env), 0);
    EXPECT_EQ(m->ivScanInProgress, 0);
    EXPECT_EQ(m->hasScanResults(), 0);

    m->ivBeginAnswer = 1;
    EXPECT_EQ(m->beginDataScan(env), 1);
    EXPECT_EQ(m->ivScanInProgress, 1);
    EXPECT_EQ(m->ivUpdateFunc, &KVORAScanTestCounter::count);  // set anew
    EXPECT_EQ(m->hasScanResults(), 1);
    // A second begin answers 1 and does not reach the primitive.
    EXPECT_EQ(m->beginDataScan(env), 1);
    EXPECT_EQ(m->ivBegins, 2);

    // An end that the primitive refuses keeps the scan going.
    m->ivEndAnswer = 0;
    EXPECT_EQ(m->endDataScan(0, env), 0);
    EXPECT_EQ(m->ivScanInProgress, 1);
    m->ivEndAnswer = 1;
    EXPECT_EQ(m->endDataScan(0, env), 1);
    EXPECT_EQ(m->ivScanInProgress, 0);
    EXPECT_EQ(m->ivUpdateFunc, nullptr);
    EXPECT_EQ(m->ivEnds, 2);

    m->ivScanInProgress = 1;
    m->releasePrimitive(env);
    EXPECT_EQ(m->ivScanInProgress, 0);
    m.reset(env);
}
