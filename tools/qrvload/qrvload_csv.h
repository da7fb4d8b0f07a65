// Line-by-line CSV reading for the loader. Input files can hold hundreds of
// millions of lines, so the reader hands out views into one reused buffer and
// the field list is reused from line to line: nothing is allocated per line
// once the buffer has grown to the longest line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

class QrvCsvReader {
public:
    // "-" reads standard input. A file that cannot be opened ends the tool.
    explicit QrvCsvReader(const std::string &path);
    ~QrvCsvReader();
    QrvCsvReader(const QrvCsvReader &) = delete;
    QrvCsvReader &operator=(const QrvCsvReader &) = delete;

    // Next non-blank line, split at commas; false at end of input. Fields are
    // trimmed of blanks and tabs; a field in double quotes loses its quotes
    // (commas inside quotes don't split).
    bool next();

    size_t fieldCount() const { return fields_.size(); }
    std::string_view field(size_t i) const { return fields_[i]; }
    // The field with doubled quotes turned into one; for names, not per record.
    std::string fieldText(size_t i) const;
    uint64_t lineNumber() const { return lineNumber_; }
    const char *lineText() const { return line_; }
    size_t lineLength() const { return lineLength_; }
    const std::string &path() const { return path_; }

    // Stops the tool on the current line with the given reason.
    [[noreturn]] void fail(const std::string &reason) const;

private:
    bool fill();
    void split();

    std::string path_;
    FILE *file_ = nullptr;
    bool ownsFile_ = false;
    std::vector<char> buf_;
    size_t begin_ = 0, end_ = 0;
    bool eof_ = false;
    const char *line_ = nullptr;
    size_t lineLength_ = 0;
    uint64_t lineNumber_ = 0;
    std::vector<std::string_view> fields_;
};

// Number parsing for the loader's inputs. Node numbers must survive a trip
// through an 8-byte real, so they are limited to 2^53.
enum class QrvNodeParse { Ok, Empty, NotANumber, Negative, Zero, TooLarge };
constexpr uint64_t kQrvMaxNode = 9007199254740992ULL;  // 2^53

QrvNodeParse qrvParseNode(std::string_view text, uint64_t &node);
// A finite real written in full; false for empty text, trailing text, nan, inf.
bool qrvParseReal(std::string_view text, double &value);
// Text of a node refusal, for messages.
const char *qrvNodeProblem(QrvNodeParse p);
// Parses the node in field i of the reader's line, or stops with its reason.
uint64_t qrvNodeField(const QrvCsvReader &reader, size_t i, const char *what);
