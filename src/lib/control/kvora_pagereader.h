// The dataset's window on its file: 200,000 bytes read at a time by
// positional reads, the file opened and closed for every window so that no
// worker holds a file open while it computes. Windows follow records: a
// record that does not lie whole inside the window starts the next one, so
// a row is never split. The reader outlives datasets (the caller owns it and
// hands it to each new one), and keeps its window while the source stays the
// same file.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

class KVORAPageReader {
public:
    enum { WindowBytes = 200000 };
    // Which processes open the file together for a window: this one alone,
    // or all of them alike. Positional reads need no communicator; the flag
    // is kept because the scan types set it.
    enum { CommSelf = 0, CommWorld = 1 };

    KVORAPageReader() = default;
    ~KVORAPageReader();
    KVORAPageReader(const KVORAPageReader &) = delete;
    KVORAPageReader &operator=(const KVORAPageReader &) = delete;

    // Clears the window and frees the buffer.
    void reset();
    // The file the windows come from: one file, or the pieces stem.0, stem.1,
    // ... of the sizes given. A different source drops the window.
    void setSource(const std::string &fileName, int32_t multiFile, const std::vector<int64_t> &pieceSizes,
                   int64_t totalSize);
    void setCommFlag(int32_t flag) { ivCommFlag = flag; }
    int32_t getCommFlag() const { return ivCommFlag; }

    // Copies record `row` of `count` doubles (little-endian in the file) into
    // `out`. False when the record does not lie whole before the end of the data.
    bool readRecord(int64_t row, int32_t count, double *out) {
        passRecord(row);
        const int64_t bytes = static_cast<int64_t>(count) * 8;
        const int64_t offset = row * bytes;
        // A tail shorter than a record is not data.
        if (offset >= ivTotalSize || bytes > ivTotalSize - offset) return false;
        if (offset < ivWindowFirst || offset + bytes - 1 > ivWindowLast || ivBuffer == nullptr)
            refill(row, bytes, offset);
        copyOut(ivBuffer + (offset - ivWindowFirst), count, out);
        return true;
    }

    // The bytes of record `row` of `count` doubles when it lies whole in the
    // present window and before the end of the data, else null (readRecord
    // then refills). Looking costs nothing; a record taken this way is
    // passed with passRecord, which says what readRecord would have said.
    const char *recordInWindow(int64_t row, int32_t count) const {
        const int64_t bytes = static_cast<int64_t>(count) * 8;
        const int64_t offset = row * bytes;
        // A window never reaches past the end of the data (a new size is a
        // new source, which drops the window): a record inside it is data.
        if (ivBuffer == nullptr || offset < ivWindowFirst || offset + bytes - 1 > ivWindowLast) return nullptr;
        return ivBuffer + (offset - ivWindowFirst);
    }
    // The last record of `count` doubles that lies whole in the window: the
    // records from one that recordInWindow finds up to it all do.
    int64_t lastRecordInWindow(int32_t count) const {
        return (ivWindowLast + 1) / (static_cast<int64_t>(count) * 8) - 1;
    }
    static void passRecord(int64_t row) {
        if (row > 0 && row % 5000000 == 0) printRowNumber(row);
    }
    // The double at `bytes`, little-endian in the file.
    static double realAt(const char *bytes) {
        double value;
        copyOut(bytes, 1, &value);
        return value;
    }
    // `count` doubles from the file's byte order into `out`.
    static void copyOut(const char *bytes, int32_t count, double *out) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        copyOutSwapped(bytes, count, out);
#else
        std::memcpy(out, bytes, static_cast<size_t>(count) * 8);
#endif
    }

    int64_t getWindowFirst() const { return ivWindowFirst; }
    int64_t getWindowLast() const { return ivWindowLast; }
    int32_t getPieceIndex() const { return ivPieceIndex; }
    int64_t getRefillCount() const { return ivRefillCount; }

private:
    void refill(int64_t row, int64_t recordBytes, int64_t offset);
    static void printRowNumber(int64_t row);
    static void copyOutSwapped(const char *bytes, int32_t count, double *out);
    // Reads up to `length` bytes of `path` at `position` into the buffer;
    // a short read leaves zeros behind.
    void readWindow(const std::string &path, int64_t position, int64_t length);

    int64_t ivWindowFirst = 0;
    int64_t ivWindowLast = -1;
    char *ivBuffer = nullptr;
    int64_t ivBufferBytes = 0;
    int32_t ivPieceIndex = 0;
    int32_t ivCommFlag = CommSelf;

    std::string ivFileName;
    int32_t ivMultiFile = 0;
    std::vector<int64_t> ivPieceSizes;
    int64_t ivTotalSize = 0;
    int64_t ivRefillCount = 0;
};
