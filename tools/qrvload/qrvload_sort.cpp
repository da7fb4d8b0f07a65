// External sort; see qrvload_sort.h. Run files hold the records as raw bytes:
// they live only for one load, on one machine.
#include "qrvload_sort.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "qrvload_fail.h"

namespace {
constexpr size_t kRecordBytes = sizeof(QrvSortRecord);
constexpr uint64_t kMinReadBuffer = 16 << 10;
constexpr uint64_t kMaxReadBuffer = 4 << 20;
constexpr size_t kMaxFanIn = 256;
}  // namespace

// One run being read back through its own buffer.
struct QrvExternalSorter::Run {
    FILE *file = nullptr;
    std::string path;
    std::vector<QrvSortRecord> buf;
    size_t pos = 0, len = 0;

    Run(const std::string &p, size_t records) : path(p), buf(records) {
        file = std::fopen(p.c_str(), "rb");
        if (!file) qrvloadFail(kExitUsage, "cannot reopen sort run " + p + ": " + std::strerror(errno));
    }
    ~Run() {
        if (file) std::fclose(file);
    }
    bool refill() {
        len = std::fread(buf.data(), kRecordBytes, buf.size(), file);
        if (len == 0 && std::ferror(file)) qrvloadFail(kExitUsage, "read error on sort run " + path);
        pos = 0;
        return len > 0;
    }
    const QrvSortRecord &head() const { return buf[pos]; }
    bool advance() { return ++pos < len || refill(); }
};

QrvExternalSorter::QrvExternalSorter(uint64_t memoryBytes, const std::string &tempStem)
    : memory_(memoryBytes), stem_(tempStem) {
    capacity_ = static_cast<size_t>(std::max<uint64_t>(memoryBytes / kRecordBytes, 16));
    // Reserved, not touched: pages come in only as records arrive.
    buffer_.reserve(capacity_);
}

QrvExternalSorter::~QrvExternalSorter() {
    for (Run *r : open_) delete r;
    for (const std::string &p : runs_) {
        std::remove(p.c_str());
        qrvloadForgetTemp(p);
    }
}

std::string QrvExternalSorter::newRunPath() {
    std::string p = stem_ + ".run" + std::to_string(runSerial_++);
    qrvloadRegisterTemp(p);
    return p;
}

void QrvExternalSorter::spill() {
    std::sort(buffer_.begin(), buffer_.end());
    std::string p = newRunPath();
    FILE *f = std::fopen(p.c_str(), "wb");
    if (!f) qrvloadFail(kExitUsage, "cannot write sort run " + p + ": " + std::strerror(errno));
    runs_.push_back(p);
    if (std::fwrite(buffer_.data(), kRecordBytes, buffer_.size(), f) != buffer_.size() || std::fclose(f) != 0)
        qrvloadFail(kExitUsage, "cannot write sort run " + p + " (disk full?)");
    count_ += buffer_.size();
    buffer_.clear();
    ++runsWritten_;
}

void QrvExternalSorter::finish() {
    if (runs_.empty()) {
        std::sort(buffer_.begin(), buffer_.end());
        count_ += buffer_.size();
        inMemory_ = true;
        memPos_ = 0;
        return;
    }
    if (!buffer_.empty()) spill();
    std::vector<QrvSortRecord>().swap(buffer_);  // the merge has the whole budget
    // Merge rounds until one round can take all runs at once.
    const size_t fanIn = std::min<size_t>(kMaxFanIn, std::max<uint64_t>(2, memory_ / kMinReadBuffer - 1));
    while (runs_.size() > fanIn) {
        std::vector<std::string> merged;
        for (size_t first = 0; first < runs_.size(); first += fanIn) {
            size_t n = std::min(fanIn, runs_.size() - first);
            if (n == 1) {
                merged.push_back(runs_[first]);
                continue;
            }
            std::string out = newRunPath();
            mergeInto(runs_, first, n, out);
            merged.push_back(out);
        }
        runs_.swap(merged);
    }
    openFinalMerge();
}

void QrvExternalSorter::openFinalMerge() {
    uint64_t per = std::min(kMaxReadBuffer, std::max(kMinReadBuffer, memory_ / (runs_.size() + 1)));
    for (const std::string &p : runs_) {
        Run *r = new Run(p, static_cast<size_t>(per / kRecordBytes));
        open_.push_back(r);
        if (r->refill()) heap_.push_back(open_.size() - 1);
    }
    auto greater = [this](size_t a, size_t b) { return open_[b]->head() < open_[a]->head(); };
    std::make_heap(heap_.begin(), heap_.end(), greater);
}

bool QrvExternalSorter::popMerged(QrvSortRecord &r) {
    if (heap_.empty()) return false;
    auto greater = [this](size_t a, size_t b) { return open_[b]->head() < open_[a]->head(); };
    std::pop_heap(heap_.begin(), heap_.end(), greater);
    Run *run = open_[heap_.back()];
    r = run->head();
    if (run->advance()) {
        std::push_heap(heap_.begin(), heap_.end(), greater);
    } else {
        heap_.pop_back();
    }
    return true;
}

bool QrvExternalSorter::next(QrvSortRecord &r) {
    if (inMemory_) {
        if (memPos_ == buffer_.size()) return false;
        r = buffer_[memPos_++];
        return true;
    }
    return popMerged(r);
}

void QrvExternalSorter::mergeInto(std::vector<std::string> &inputs, size_t first, size_t count,
                                  const std::string &out) {
    QrvExternalSorter part(memory_, stem_);
    // The partial merge reuses the final-merge machinery on a subset of runs.
    part.runs_.assign(inputs.begin() + static_cast<std::ptrdiff_t>(first),
                      inputs.begin() + static_cast<std::ptrdiff_t>(first + count));
    part.openFinalMerge();
    FILE *f = std::fopen(out.c_str(), "wb");
    if (!f) qrvloadFail(kExitUsage, "cannot write sort run " + out + ": " + std::strerror(errno));
    std::vector<QrvSortRecord> outBuf(static_cast<size_t>(kMaxReadBuffer / kRecordBytes));
    size_t n = 0;
    QrvSortRecord r;
    while (part.popMerged(r)) {
        outBuf[n++] = r;
        if (n == outBuf.size()) {
            if (std::fwrite(outBuf.data(), kRecordBytes, n, f) != n) qrvloadFail(kExitUsage, "cannot write sort run " + out);
            n = 0;
        }
    }
    if (std::fwrite(outBuf.data(), kRecordBytes, n, f) != n || std::fclose(f) != 0)
        qrvloadFail(kExitUsage, "cannot write sort run " + out + " (disk full?)");
    // part's destructor removes the merged inputs.
}
