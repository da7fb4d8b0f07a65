// CSV line reader and number parsing; see qrvload_csv.h.
#include "qrvload_csv.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "qrvload_fail.h"

namespace {
constexpr size_t kReadChunk = 1 << 20;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view trim(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && (isBlank(s.back()) || s.back() == '\r')) s.remove_suffix(1);
    return s;
}
}  // namespace

QrvCsvReader::QrvCsvReader(const std::string &path) : path_(path), buf_(kReadChunk) {
    if (path == "-") {
        file_ = stdin;
    } else {
        file_ = std::fopen(path.c_str(), "rb");
        ownsFile_ = true;
        if (!file_) qrvloadFail(kExitUsage, "cannot open input file " + path + ": " + std::strerror(errno));
    }
    fields_.reserve(64);
}

QrvCsvReader::~QrvCsvReader() {
    if (ownsFile_ && file_) std::fclose(file_);
}

bool QrvCsvReader::fill() {
    if (eof_) return false;
    if (begin_ > 0) {
        std::memmove(buf_.data(), buf_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == buf_.size()) buf_.resize(buf_.size() * 2);  // a line longer than the buffer
    size_t got = std::fread(buf_.data() + end_, 1, buf_.size() - end_, file_);
    if (got == 0) {
        if (std::ferror(file_)) qrvloadFail(kExitUsage, "read error on " + path_);
        eof_ = true;
        return false;
    }
    end_ += got;
    return true;
}

bool QrvCsvReader::next() {
    for (;;) {
        size_t scanFrom = begin_;
        const char *nl = nullptr;
        for (;;) {
            nl = static_cast<const char *>(std::memchr(buf_.data() + scanFrom, '\n', end_ - scanFrom));
            if (nl) break;
            size_t scanned = end_ - begin_;
            if (!fill()) break;
            scanFrom = begin_ + scanned;
        }
        if (!nl && begin_ == end_) return false;
        size_t stop = nl ? static_cast<size_t>(nl - buf_.data()) : end_;
        line_ = buf_.data() + begin_;
        lineLength_ = stop - begin_;
        begin_ = nl ? stop + 1 : end_;
        ++lineNumber_;
        if (lineNumber_ == 1 && lineLength_ >= 3 && std::memcmp(line_, "\xEF\xBB\xBF", 3) == 0) {
            line_ += 3;  // a byte-order mark from a spreadsheet export
            lineLength_ -= 3;
        }
        if (lineLength_ > 0 && line_[lineLength_ - 1] == '\r') --lineLength_;
        if (trim(std::string_view(line_, lineLength_)).empty()) continue;
        split();
        return true;
    }
}

void QrvCsvReader::split() {
    fields_.clear();
    const char *p = line_;
    const char *e = line_ + lineLength_;
    for (;;) {
        const char *q = p;
        while (q < e && isBlank(*q)) ++q;
        if (q < e && *q == '"') {
            const char *start = ++q;
            while (q < e) {
                if (*q == '"') {
                    if (q + 1 < e && q[1] == '"') { q += 2; continue; }
                    break;
                }
                ++q;
            }
            if (q >= e) fail("unterminated quoted field");
            fields_.emplace_back(start, static_cast<size_t>(q - start));
            ++q;
            while (q < e && isBlank(*q)) ++q;
            if (q < e && *q != ',') fail("text after a quoted field");
        } else {
            const char *start = p;
            while (q < e && *q != ',') ++q;
            fields_.push_back(trim(std::string_view(start, static_cast<size_t>(q - start))));
        }
        if (q >= e) break;
        p = q + 1;  // past the comma
        if (p == e) {  // a trailing comma ends with an empty field
            fields_.emplace_back();
            break;
        }
    }
}

std::string QrvCsvReader::fieldText(size_t i) const {
    std::string out;
    std::string_view f = fields_[i];
    for (size_t k = 0; k < f.size(); ++k) {
        out.push_back(f[k]);
        if (f[k] == '"' && k + 1 < f.size() && f[k + 1] == '"') ++k;
    }
    return out;
}

void QrvCsvReader::fail(const std::string &reason) const {
    qrvloadBadLine(path_, lineNumber_, reason, line_, lineLength_);
}

QrvNodeParse qrvParseNode(std::string_view text, uint64_t &node) {
    if (text.empty()) return QrvNodeParse::Empty;
    if (text.front() == '+') text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') {
        double v;
        return qrvParseReal(text, v) ? QrvNodeParse::Negative : QrvNodeParse::NotANumber;
    }
    const char *b = text.data();
    const char *e = b + text.size();
    auto r = std::from_chars(b, e, node);
    if (r.ec == std::errc::result_out_of_range) return QrvNodeParse::TooLarge;
    if (r.ec != std::errc() || r.ptr != e) return QrvNodeParse::NotANumber;
    if (node == 0) return QrvNodeParse::Zero;
    if (node > kQrvMaxNode) return QrvNodeParse::TooLarge;
    return QrvNodeParse::Ok;
}

bool qrvParseReal(std::string_view text, double &value) {
    if (text.empty()) return false;
    if (text.front() == '+') text.remove_prefix(1);
    const char *b = text.data();
    const char *e = b + text.size();
    auto r = std::from_chars(b, e, value);
    return r.ec == std::errc() && r.ptr == e && std::isfinite(value);
}

const char *qrvNodeProblem(QrvNodeParse p) {
    switch (p) {
    case QrvNodeParse::Ok: return "";
    case QrvNodeParse::Empty: return "is empty";
    case QrvNodeParse::NotANumber: return "is not a whole number";
    case QrvNodeParse::Negative: return "is negative";
    case QrvNodeParse::Zero: return "is 0, which marks header records";
    case QrvNodeParse::TooLarge: return "is above 2^53 and would not survive as an 8-byte real";
    }
    return "";
}

uint64_t qrvNodeField(const QrvCsvReader &reader, size_t i, const char *what) {
    uint64_t node = 0;
    QrvNodeParse p = qrvParseNode(reader.field(i), node);
    if (p != QrvNodeParse::Ok) reader.fail(std::string(what) + " " + qrvNodeProblem(p));
    return node;
}
