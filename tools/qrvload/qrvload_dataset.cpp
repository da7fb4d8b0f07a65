// Dataset writer and reader; see qrvload_dataset.h.
#include "qrvload_dataset.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qrvload_fail.h"

namespace {
constexpr size_t kWriteBuffer = 4 << 20;

bool exists(const std::string &p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0;
}

bool regularFileSize(const std::string &p, uint64_t &size) {
    struct stat st;
    if (stat(p.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    size = static_cast<uint64_t>(st.st_size);
    return true;
}

void copyRange(int from, uint64_t offset, uint64_t length, const std::string &to, std::vector<unsigned char> &buf) {
    int fd = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) qrvloadFail(kExitUsage, "cannot write " + to + ": " + std::strerror(errno));
    while (length > 0) {
        size_t n = static_cast<size_t>(std::min<uint64_t>(length, buf.size()));
        ssize_t got = ::pread(from, buf.data(), n, static_cast<off_t>(offset));
        if (got <= 0) qrvloadFail(kExitUsage, "read error while splitting into " + to);
        if (::write(fd, buf.data(), static_cast<size_t>(got)) != got)
            qrvloadFail(kExitUsage, "cannot write " + to + " (disk full?)");
        offset += static_cast<uint64_t>(got);
        length -= static_cast<uint64_t>(got);
    }
    if (::close(fd) != 0) qrvloadFail(kExitUsage, "cannot write " + to);
}

void renameInto(const std::string &from, const std::string &to) {
    if (std::rename(from.c_str(), to.c_str()) != 0)
        qrvloadFail(kExitUsage, "cannot rename " + from + " to " + to + ": " + std::strerror(errno));
    qrvloadForgetTemp(from);
}
}  // namespace

const char *qrvPurposeWord(QrvPurpose p) {
    switch (p) {
    case QrvPurpose::Explanatory: return "Explanatory";
    case QrvPurpose::Target: return "Target";
    case QrvPurpose::LineNumber: return "LineNumber";
    }
    return "";
}

std::string qrvInfoText(const std::vector<QrvColumn> &columns) {
    std::string text;
    for (const QrvColumn &c : columns) {
        text += c.name;
        text += c.categorical ? " Categorical " : " Numeric ";
        text += qrvPurposeWord(c.purpose);
        text += '\n';  // the engine drops a last line without one
    }
    return text;
}

void QrvDatasetWriter::putReal(unsigned char *p, double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(bits >> (8 * i));
}

double qrvGetReal(const unsigned char *p) {
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits |= static_cast<uint64_t>(p[i]) << (8 * i);
    double v;
    std::memcpy(&v, &bits, 8);
    return v;
}

QrvDatasetWriter::QrvDatasetWriter(const std::string &out, std::vector<QrvColumn> columns, QrvPieceSpec pieces)
    : out_(out), columns_(std::move(columns)), pieces_(pieces), rowBytes_(8 * columns_.size()) {
    std::string tag = ".qrvload-tmp-" + std::to_string(::getpid());
    tmpData_ = out_ + tag;
    tmpInfo_ = out_ + tag + ".info";
    qrvloadRegisterTemp(tmpData_);
    fd_ = ::open(tmpData_.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    if (fd_ < 0) qrvloadFail(kExitUsage, "cannot write " + tmpData_ + ": " + std::strerror(errno));
    size_t rowsPerBuffer = std::max<size_t>(1, kWriteBuffer / rowBytes_);
    buf_.resize(rowsPerBuffer * rowBytes_);
}

QrvDatasetWriter::~QrvDatasetWriter() {
    if (fd_ >= 0) ::close(fd_);
    if (!committed_) {
        std::remove(tmpData_.c_str());
        qrvloadForgetTemp(tmpData_);
    }
}

void QrvDatasetWriter::flush() {
    if (fill_ == 0) return;
    size_t done = 0;
    while (done < fill_) {
        ssize_t n = ::write(fd_, buf_.data() + done, fill_ - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) qrvloadFail(kExitUsage, "cannot write " + tmpData_ + " (disk full?)");
        done += static_cast<size_t>(n);
    }
    flushedBytes_ += fill_;
    fill_ = 0;
}

void QrvDatasetWriter::patch(uint64_t row, size_t column, double value) {
    uint64_t offset = row * rowBytes_ + 8 * column;
    if (offset >= flushedBytes_) {
        putReal(buf_.data() + (offset - flushedBytes_), value);
        return;
    }
    unsigned char bytes[8];
    putReal(bytes, value);
    if (::pwrite(fd_, bytes, 8, static_cast<off_t>(offset)) != 8)
        qrvloadFail(kExitUsage, "cannot write " + tmpData_);
}

void QrvDatasetWriter::commit() {
    flush();

    // Piece boundaries, in rows.
    std::vector<uint64_t> bounds{0};
    if (pieces_.kind == QrvPieceSpec::Count) {
        for (uint64_t i = 1; i <= pieces_.amount; ++i) bounds.push_back(rows_ / pieces_.amount * i + std::min(i, rows_ % pieces_.amount));
    } else if (pieces_.kind == QrvPieceSpec::Bytes) {
        uint64_t per = std::max<uint64_t>(1, pieces_.amount / rowBytes_);
        do bounds.push_back(std::min(rows_, bounds.back() + per));
        while (bounds.back() < rows_);
    }

    FILE *info = std::fopen(tmpInfo_.c_str(), "wb");
    qrvloadRegisterTemp(tmpInfo_);
    std::string infoText = qrvInfoText(columns_);
    if (!info || std::fwrite(infoText.data(), 1, infoText.size(), info) != infoText.size() || std::fclose(info) != 0)
        qrvloadFail(kExitUsage, "cannot write " + tmpInfo_);

    std::vector<std::string> tmpPieces;
    if (pieces_.kind != QrvPieceSpec::Single) {
        // Copy pieces from the last to the first and cut the temporary file
        // behind each: the disk never holds the data twice.
        std::vector<unsigned char> copyBuf(kWriteBuffer);
        size_t n = bounds.size() - 1;
        tmpPieces.resize(n);
        for (size_t i = n; i-- > 1;) {
            tmpPieces[i] = tmpData_ + "." + std::to_string(i);
            qrvloadRegisterTemp(tmpPieces[i]);
            copyRange(fd_, bounds[i] * rowBytes_, (bounds[i + 1] - bounds[i]) * rowBytes_, tmpPieces[i], copyBuf);
            if (::ftruncate(fd_, static_cast<off_t>(bounds[i] * rowBytes_)) != 0)
                qrvloadFail(kExitUsage, "cannot truncate " + tmpData_);
        }
        tmpPieces[0] = tmpData_;
    }
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) qrvloadFail(kExitUsage, "cannot write " + tmpData_ + " (disk full?)");

    // Replace whatever dataset stood under this name, single or in pieces.
    if (pieces_.kind == QrvPieceSpec::Single) {
        renameInto(tmpData_, out_);
        finalFiles_.push_back(out_);
    } else {
        uint64_t size;
        if (regularFileSize(out_, size)) std::remove(out_.c_str());
        for (size_t i = 0; i < tmpPieces.size(); ++i) {
            std::string name = out_ + "." + std::to_string(i);
            renameInto(tmpPieces[i], name);
            finalFiles_.push_back(name);
        }
    }
    for (size_t i = pieces_.kind == QrvPieceSpec::Single ? 0 : tmpPieces.size();; ++i) {
        std::string stale = out_ + "." + std::to_string(i);
        if (!exists(stale)) break;
        std::remove(stale.c_str());
    }
    renameInto(tmpInfo_, out_ + ".info");
    committed_ = true;
}

QrvDatasetInfo qrvOpenDataset(const std::string &path) {
    QrvDatasetInfo d;
    std::string infoPath = path + ".info";
    FILE *f = std::fopen(infoPath.c_str(), "rb");
    if (!f) qrvloadFail(kExitBadInput, "cannot open " + infoPath + ": " + std::strerror(errno));
    std::string text;
    char chunk[4096];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) text.append(chunk, got);
    std::fclose(f);
    if (text.empty()) qrvloadFail(kExitBadInput, infoPath + ": no columns");
    if (text.back() != '\n') qrvloadFail(kExitBadInput, infoPath + ": the last line has no line feed, the engine would lose it");
    size_t lineNo = 0;
    for (size_t pos = 0; pos < text.size();) {
        size_t nl = text.find('\n', pos);
        std::string line = text.substr(pos, nl - pos);
        pos = nl + 1;
        ++lineNo;
        if (line.size() + 1 > 1000) qrvloadFail(kExitBadInput, infoPath + ", line " + std::to_string(lineNo) + ": longer than 999 characters");
        std::vector<std::string> words;
        for (size_t i = 0; i < line.size();) {
            while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
            size_t s = i;
            while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
            if (i > s) words.push_back(line.substr(s, i - s));
        }
        std::string where = infoPath + ", line " + std::to_string(lineNo) + ": ";
        if (words.size() < 3) qrvloadFail(kExitBadInput, where + "expected \"name type purpose\": \"" + line + "\"");
        QrvColumn c;
        c.name = words[0];
        if (words[1] == "Categorical") c.categorical = true;
        else if (words[1] != "Numeric") qrvloadFail(kExitBadInput, where + "unknown type \"" + words[1] + "\"");
        if (words[2] == "Explanatory") c.purpose = QrvPurpose::Explanatory;
        else if (words[2] == "Target") c.purpose = QrvPurpose::Target;
        else if (words[2] == "LineNumber") c.purpose = QrvPurpose::LineNumber;
        else qrvloadFail(kExitBadInput, where + "unknown purpose \"" + words[2] + "\"");
        d.columns.push_back(c);
    }
    uint64_t size;
    if (regularFileSize(path, size)) {
        d.files.push_back(path);
        d.sizes.push_back(size);
    } else {
        d.pieces = true;
        for (size_t i = 0;; ++i) {
            std::string piece = path + "." + std::to_string(i);
            if (!regularFileSize(piece, size)) break;
            d.files.push_back(piece);
            d.sizes.push_back(size);
        }
        if (d.files.empty()) qrvloadFail(kExitBadInput, "no data file " + path + " and no pieces " + path + ".0, ...");
    }
    for (size_t i = 0; i < d.files.size(); ++i) {
        if (d.sizes[i] % d.rowBytes() != 0)
            qrvloadFail(kExitBadInput, d.files[i] + ": " + std::to_string(d.sizes[i]) + " bytes is not a whole number of " +
                                           std::to_string(d.rowBytes()) + "-byte rows");
        d.totalBytes += d.sizes[i];
    }
    d.rows = d.totalBytes / d.rowBytes();
    return d;
}
