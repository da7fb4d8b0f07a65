// The engine's binary input dataset as the loader writes and reads it back:
// a text ".info" file of one "name type purpose" line per column, and rows of
// little-endian 8-byte reals, in one file or in pieces OUT.0, OUT.1, ... that
// each hold whole rows. The writer streams rows through one buffer into a
// temporary file and only at commit splits, names and describes the result,
// so that a load that stops half-way leaves no dataset behind.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

constexpr double kQrvMissing = -99999.0;

enum class QrvPurpose { Explanatory, Target, LineNumber };

struct QrvColumn {
    std::string name;
    bool categorical = false;
    QrvPurpose purpose = QrvPurpose::Explanatory;
};

// How the rows are laid into files: one file, N pieces of near-equal row
// counts, or pieces of at most B bytes (rounded down to whole rows).
struct QrvPieceSpec {
    enum Kind { Single, Count, Bytes } kind = Single;
    uint64_t amount = 0;
};

// The ".info" text for the columns.
std::string qrvInfoText(const std::vector<QrvColumn> &columns);

class QrvDatasetWriter {
public:
    QrvDatasetWriter(const std::string &out, std::vector<QrvColumn> columns, QrvPieceSpec pieces);
    ~QrvDatasetWriter();
    QrvDatasetWriter(const QrvDatasetWriter &) = delete;
    QrvDatasetWriter &operator=(const QrvDatasetWriter &) = delete;

    // One row of exactly columnCount() values.
    void writeRow(const double *values) {
        if (fill_ + rowBytes_ > buf_.size()) flush();
        unsigned char *p = buf_.data() + fill_;
        for (size_t c = 0; c < columns_.size(); ++c) putReal(p + 8 * c, values[c]);
        fill_ += rowBytes_;
        ++rows_;
    }
    // Overwrites one value of an already written row (a group's header, whose
    // count is known only once the group has been read).
    void patch(uint64_t row, size_t column, double value);

    uint64_t rows() const { return rows_; }
    size_t columnCount() const { return columns_.size(); }
    // Writes the pieces and the ".info" file under their final names.
    void commit();
    // Names of the data files written by commit.
    const std::vector<std::string> &dataFiles() const { return finalFiles_; }

    static void putReal(unsigned char *p, double v);

private:
    void flush();

    std::string out_;
    std::vector<QrvColumn> columns_;
    QrvPieceSpec pieces_;
    size_t rowBytes_;
    std::string tmpData_, tmpInfo_;
    int fd_ = -1;  // raw descriptor: no second buffer between flush() and patch()
    std::vector<unsigned char> buf_;
    size_t fill_ = 0;
    uint64_t flushedBytes_ = 0;
    uint64_t rows_ = 0;
    bool committed_ = false;
    std::vector<std::string> finalFiles_;
};

// A dataset opened for reading: its columns and its data files in order.
struct QrvDatasetInfo {
    std::vector<QrvColumn> columns;
    bool pieces = false;
    std::vector<std::string> files;
    std::vector<uint64_t> sizes;
    uint64_t totalBytes = 0;
    uint64_t rows = 0;
    size_t rowBytes() const { return 8 * columns.size(); }
};

// Reads and checks the ".info" file and the data files' sizes as the engine
// will see them; any fault ends the tool with status 2.
QrvDatasetInfo qrvOpenDataset(const std::string &path);
double qrvGetReal(const unsigned char *p);
const char *qrvPurposeWord(QrvPurpose p);
