// External sort of (key, sub, value) records, the loader's way to group edges
// by their first node whatever the input order. Records gather in one buffer
// of at most the memory budget; a full buffer is sorted and spilled to a run
// file; the runs are merged, several rounds when there are more of them than
// the budget can give read buffers to. Peak memory stays at the budget plus a
// few fixed buffers.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

struct QrvSortRecord {
    uint64_t key;
    uint64_t sub;
    double value;
};

inline bool operator<(const QrvSortRecord &a, const QrvSortRecord &b) {
    if (a.key != b.key) return a.key < b.key;
    if (a.sub != b.sub) return a.sub < b.sub;
    return a.value < b.value;
}

class QrvExternalSorter {
public:
    // tempStem: path prefix of the run files, which are removed on every exit.
    QrvExternalSorter(uint64_t memoryBytes, const std::string &tempStem);
    ~QrvExternalSorter();
    QrvExternalSorter(const QrvExternalSorter &) = delete;
    QrvExternalSorter &operator=(const QrvExternalSorter &) = delete;

    void add(const QrvSortRecord &r) {
        if (buffer_.size() == capacity_) spill();
        buffer_.push_back(r);
    }
    // Ends the input; afterwards next() gives all records in ascending order.
    void finish();
    bool next(QrvSortRecord &r);

    uint64_t recordCount() const { return count_; }
    size_t runsWritten() const { return runsWritten_; }

private:
    struct Run;
    void spill();
    std::string newRunPath();
    void mergeInto(std::vector<std::string> &inputs, size_t first, size_t count, const std::string &out);
    void openFinalMerge();
    bool popMerged(QrvSortRecord &r);

    uint64_t memory_;
    std::string stem_;
    size_t capacity_;
    std::vector<QrvSortRecord> buffer_;
    std::vector<std::string> runs_;
    size_t runSerial_ = 0;
    size_t runsWritten_ = 0;
    uint64_t count_ = 0;
    bool inMemory_ = false;
    size_t memPos_ = 0;
    std::vector<Run *> open_;     // runs of the final merge
    std::vector<size_t> heap_;    // indexes into open_, smallest head on top
};
