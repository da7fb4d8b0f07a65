// The loader's sub-commands: three loads (graph, neighbours, table) that turn
// CSV into the engine's dataset, and two readers (dump, info) that turn a
// dataset back into text. The loads that need rows grouped by node go
// through the external sort, so input order and input size don't matter.
#include "qrvload_commands.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "qrvload_csv.h"
#include "qrvload_dataset.h"
#include "qrvload_fail.h"
#include "qrvload_options.h"
#include "qrvload_sort.h"

namespace {
constexpr uint64_t kDefaultMemory = 512ULL << 20;
constexpr uint64_t kMinMemory = 64ULL << 10;
constexpr double kFooterWeight = 7788.0;  // the engine closes a caller's row on exactly this

const std::vector<std::string> kLoadValues{"memory", "pieces", "piece-bytes", "temp-dir"};

void needPositional(const QrvOptions &o, size_t n, const char *usage) {
    if (o.positional.size() != n) qrvloadFail(kExitUsage, std::string("usage: ") + usage);
}

std::string sortStem(const QrvOptions &o, const std::string &out) {
    std::string tag = ".qrvload-tmp-" + std::to_string(::getpid()) + "-sort";
    if (!o.has("temp-dir")) return out + tag;
    size_t slash = out.rfind('/');
    return o.get("temp-dir") + "/" + (slash == std::string::npos ? out : out.substr(slash + 1)) + tag;
}

uint64_t memoryBudget(const QrvOptions &o) {
    uint64_t m = o.size("memory", kDefaultMemory);
    if (m < kMinMemory) qrvloadFail(kExitUsage, "--memory must be at least 64K");
    return m;
}

// The first non-blank line is a header when its first field is not a number.
bool looksLikeHeader(const QrvCsvReader &r, bool &first) {
    if (!first) return false;
    first = false;
    double v;
    return r.fieldCount() > 0 && !qrvParseReal(r.field(0), v);
}

// A line of the --targets file: node, target, and the line it came from, so
// that a fault found only later (a node listed twice, a node without a row)
// is still reported on its line.
struct QrvTarget {
    uint64_t node;
    double value;
    uint64_t line;
};

// Stops on the given line of a file read before: reads up to it again so
// that the message can show the line itself.
[[noreturn]] void failOnLine(const std::string &path, uint64_t line, const std::string &reason) {
    {
        QrvCsvReader r(path);
        while (r.next())
            if (r.lineNumber() == line) r.fail(reason);
    }
    qrvloadFail(kExitBadInput, path + ", line " + std::to_string(line) + ": " + reason);
}

// The whole targets file, sorted by node, each node once. It is held in
// memory (24 bytes a line); the rows are then matched to it by a cursor.
std::vector<QrvTarget> readTargets(const std::string &path) {
    std::vector<QrvTarget> targets;
    {
        QrvCsvReader r(path);
        bool first = true;
        while (r.next()) {
            if (looksLikeHeader(r, first)) continue;
            if (r.fieldCount() != 2) r.fail("expected 2 fields node,target, found " + std::to_string(r.fieldCount()));
            QrvTarget t{qrvNodeField(r, 0, "node"), 0.0, r.lineNumber()};
            if (!qrvParseReal(r.field(1), t.value)) r.fail("target is not a finite number");
            targets.push_back(t);
        }
    }
    std::sort(targets.begin(), targets.end(), [](const QrvTarget &a, const QrvTarget &b) {
        return a.node != b.node ? a.node < b.node : a.line < b.line;
    });
    // Of all repeated nodes, the repeat that comes first in the file.
    size_t worst = 0;
    for (size_t i = 1; i < targets.size(); ++i)
        if (targets[i].node == targets[i - 1].node && (worst == 0 || targets[i].line < targets[worst].line)) worst = i;
    if (worst != 0)
        failOnLine(path, targets[worst].line,
                   "node " + std::to_string(targets[worst].node) + " is listed twice, first on line " +
                       std::to_string(targets[worst - 1].line));
    return targets;
}

void reportLoad(const std::string &out, const QrvDatasetWriter &w, const char *what, uint64_t groups, uint64_t items,
                size_t runs = 0) {
    std::printf("qrvload: wrote %s: %llu rows, %llu %s, %llu records, %zu file%s\n", out.c_str(),
                static_cast<unsigned long long>(w.rows()), static_cast<unsigned long long>(groups), what,
                static_cast<unsigned long long>(items), w.dataFiles().size(), w.dataFiles().size() == 1 ? "" : "s");
    if (runs > 0) std::printf("qrvload: sorted on disk in %zu runs\n", runs);
    if (w.rows() == 0 && w.dataFiles().size() > 1)
        std::fprintf(stderr, "qrvload: warning: the dataset is empty; the engine refuses empty pieces\n");
}
}  // namespace

int qrvCommandGraph(const std::vector<std::string> &args) {
    QrvOptions o(args, kLoadValues, {});
    needPositional(o, 2, "qrvload graph EDGES.csv OUT [--memory SIZE] [--pieces N | --piece-bytes B]");
    const std::string &in = o.positional[0], &out = o.positional[1];
    QrvExternalSorter sorter(memoryBudget(o), sortStem(o, out));
    {
        QrvCsvReader r(in);
        bool first = true;
        while (r.next()) {
            if (looksLikeHeader(r, first)) continue;
            if (r.fieldCount() != 3)
                r.fail("expected 3 fields caller,callee,weight, found " + std::to_string(r.fieldCount()));
            QrvSortRecord rec;
            rec.key = qrvNodeField(r, 0, "caller");
            rec.sub = qrvNodeField(r, 1, "callee");
            if (!qrvParseReal(r.field(2), rec.value)) r.fail("weight is not a finite number");
            sorter.add(rec);
        }
    }
    sorter.finish();

    // Per caller: header (callee 0, weight = its callee count, patched once
    // known), the edges, and the footer (callee 0, weight 7788).
    QrvDatasetWriter w(out, {{"caller", false, QrvPurpose::LineNumber},
                             {"callee", false, QrvPurpose::Explanatory},
                             {"weight", false, QrvPurpose::Explanatory}},
                       o.pieces());
    QrvSortRecord rec;
    uint64_t caller = 0, headerRow = 0, callees = 0, callers = 0;
    double row[3];
    auto closeRow = [&]() {
        w.patch(headerRow, 2, static_cast<double>(callees));
        row[0] = static_cast<double>(caller), row[1] = 0.0, row[2] = kFooterWeight;
        w.writeRow(row);
    };
    while (sorter.next(rec)) {
        if (rec.key != caller) {
            if (caller != 0) closeRow();
            caller = rec.key;
            callees = 0;
            ++callers;
            headerRow = w.rows();
            row[0] = static_cast<double>(caller), row[1] = 0.0, row[2] = 0.0;
            w.writeRow(row);
        }
        row[0] = static_cast<double>(rec.key), row[1] = static_cast<double>(rec.sub), row[2] = rec.value;
        w.writeRow(row);
        ++callees;
    }
    if (caller != 0) closeRow();
    w.commit();
    reportLoad(out, w, "callers", callers, sorter.recordCount(), sorter.runsWritten());
    return 0;
}

int qrvCommandNeighbours(const std::vector<std::string> &args) {
    std::vector<std::string> allowed = kLoadValues;
    allowed.push_back("targets");
    QrvOptions o(args, allowed, {"edges"});
    needPositional(o, 2,
                   "qrvload neighbours ADJ.csv OUT [--edges] [--targets FILE] [--memory SIZE] "
                   "[--pieces N | --piece-bytes B]");
    const std::string &in = o.positional[0], &out = o.positional[1];
    const bool edges = o.has("edges");
    const std::string targetsPath = o.get("targets");
    // Read first: a bad targets file stops the load before the sort.
    const std::vector<QrvTarget> targets = o.has("targets") ? readTargets(targetsPath) : std::vector<QrvTarget>();
    QrvExternalSorter sorter(memoryBudget(o), sortStem(o, out));
    {
        QrvCsvReader r(in);
        bool first = true;
        while (r.next()) {
            if (looksLikeHeader(r, first)) continue;
            QrvSortRecord rec{0, 0, 0.0};
            rec.key = qrvNodeField(r, 0, "node");
            if (edges) {
                if (r.fieldCount() != 2) r.fail("expected 2 fields node,neighbour, found " + std::to_string(r.fieldCount()));
                rec.sub = qrvNodeField(r, 1, "neighbour");
                sorter.add(rec);
                continue;
            }
            size_t n = r.fieldCount();
            while (n > 1 && r.field(n - 1).empty()) --n;  // trailing commas
            if (n == 1) {
                sorter.add(rec);  // sub 0: a node without neighbours still gets its row
                continue;
            }
            for (size_t i = 1; i < n; ++i) {
                rec.sub = qrvNodeField(r, i, "neighbour");
                sorter.add(rec);
            }
        }
    }
    sorter.finish();

    // Per node: header (column 0, value = row length), entries (column j,
    // value = j-th neighbour, ascending, each once), closing record (column
    // length + 1, value = the node's target, 0 when not given). Nodes and
    // targets both come in ascending order, so one cursor walks the targets;
    // a target it steps over belongs to a node that has no row.
    QrvDatasetWriter w(out, {{"node", false, QrvPurpose::LineNumber},
                             {"column", false, QrvPurpose::Explanatory},
                             {"value", false, QrvPurpose::Explanatory}},
                       o.pieces());
    QrvSortRecord rec;
    uint64_t node = 0, headerRow = 0, length = 0, last = 0, nodes = 0, entries = 0;
    size_t cursor = 0;
    double target = 0.0;
    double row[3];
    auto noRow = [&](const QrvTarget &t) {
        failOnLine(targetsPath, t.line, "node " + std::to_string(t.node) + " has a target but no line in " + in);
    };
    auto targetOf = [&](uint64_t n) {
        if (cursor < targets.size() && targets[cursor].node < n) noRow(targets[cursor]);
        if (cursor < targets.size() && targets[cursor].node == n) return targets[cursor++].value;
        return 0.0;
    };
    auto closeRow = [&]() {
        w.patch(headerRow, 2, static_cast<double>(length));
        row[0] = static_cast<double>(node), row[1] = static_cast<double>(length + 1), row[2] = target;
        w.writeRow(row);
    };
    while (sorter.next(rec)) {
        if (rec.key != node) {
            if (node != 0) closeRow();
            node = rec.key;
            target = targetOf(node);
            length = 0;
            last = 0;
            ++nodes;
            headerRow = w.rows();
            row[0] = static_cast<double>(node), row[1] = 0.0, row[2] = 0.0;
            w.writeRow(row);
        }
        if (rec.sub == 0 || rec.sub == last) continue;
        last = rec.sub;
        ++length;
        ++entries;
        row[0] = static_cast<double>(node), row[1] = static_cast<double>(length), row[2] = static_cast<double>(rec.sub);
        w.writeRow(row);
    }
    if (node != 0) closeRow();
    if (cursor < targets.size()) noRow(targets[cursor]);
    w.commit();
    reportLoad(out, w, "nodes", nodes, entries, sorter.runsWritten());
    return 0;
}

int qrvCommandTable(const std::vector<std::string> &args) {
    QrvOptions o(args, {"line-number", "target", "categorical", "pieces", "piece-bytes"}, {});
    const char *usage = "qrvload table DATA.csv OUT --line-number COL [--target COL] [--categorical COL,...] "
                        "[--pieces N | --piece-bytes B]";
    needPositional(o, 2, usage);
    if (!o.has("line-number")) qrvloadFail(kExitUsage, std::string("usage: ") + usage);
    const std::string &in = o.positional[0], &out = o.positional[1];
    QrvCsvReader r(in);
    if (!r.next()) qrvloadFail(kExitBadInput, in + ": empty, a table needs a header line of column names");

    std::vector<QrvColumn> cols;
    for (size_t i = 0; i < r.fieldCount(); ++i) {
        QrvColumn c;
        c.name = r.fieldText(i);
        if (c.name.empty()) r.fail("column " + std::to_string(i + 1) + " has no name");
        if (c.name.find_first_of(" \t") != std::string::npos)
            r.fail("column name \"" + c.name + "\" has a blank, which the .info file cannot hold");
        if (c.name.size() > 900) r.fail("column name longer than 900 characters");
        for (const QrvColumn &p : cols)
            if (p.name == c.name) r.fail("column name \"" + c.name + "\" appears twice");
        {
            double v;
            if (qrvParseReal(c.name, v)) r.fail("the first line must name the columns; \"" + c.name + "\" is a number");
        }
        cols.push_back(c);
    }
    auto find = [&](const std::string &name) -> size_t {
        for (size_t i = 0; i < cols.size(); ++i)
            if (cols[i].name == name) return i;
        qrvloadFail(kExitUsage, "no column \"" + name + "\" in " + in);
    };
    size_t lineCol = find(o.get("line-number"));
    cols[lineCol].purpose = QrvPurpose::LineNumber;
    if (o.has("target")) {
        size_t t = find(o.get("target"));
        if (t == lineCol) qrvloadFail(kExitUsage, "the line-number column cannot be the target");
        cols[t].purpose = QrvPurpose::Target;
    }
    if (o.has("categorical")) {
        std::string list = o.get("categorical");
        for (size_t pos = 0; pos <= list.size();) {
            size_t comma = list.find(',', pos);
            if (comma == std::string::npos) comma = list.size();
            size_t c = find(list.substr(pos, comma - pos));
            if (c == lineCol) qrvloadFail(kExitUsage, "the line-number column cannot be categorical");
            cols[c].categorical = true;
            pos = comma + 1;
        }
    }

    QrvDatasetWriter w(out, cols, o.pieces());
    std::vector<double> row(cols.size());
    std::vector<std::string> problems(cols.size());
    for (size_t i = 0; i < cols.size(); ++i)
        problems[i] = "column " + cols[i].name + (cols[i].categorical ? " holds no number code (categories are stored as numbers)"
                                                                      : " is not a finite number");
    while (r.next()) {
        if (r.fieldCount() != cols.size())
            r.fail("expected " + std::to_string(cols.size()) + " fields, found " + std::to_string(r.fieldCount()));
        for (size_t i = 0; i < cols.size(); ++i) {
            std::string_view f = r.field(i);
            if (i == lineCol) {
                row[i] = static_cast<double>(qrvNodeField(r, i, cols[i].name.c_str()));
            } else if (f.empty()) {
                row[i] = kQrvMissing;
            } else if (!qrvParseReal(f, row[i])) {
                r.fail(problems[i]);
            }
        }
        w.writeRow(row.data());
    }
    w.commit();
    reportLoad(out, w, "columns", cols.size(), w.rows());
    return 0;
}

namespace {
// Text of a value for CSV: whole numbers as integers, others in the shortest
// form that reads back to the same double, missing as an empty cell.
size_t formatValue(double v, char *buf) {
    if (v == kQrvMissing) return 0;
    if (std::fabs(v) < 9007199254740992.0 && v == std::trunc(v)) {
        return static_cast<size_t>(std::to_chars(buf, buf + 32, static_cast<int64_t>(v)).ptr - buf);
    }
    return static_cast<size_t>(std::to_chars(buf, buf + 32, v).ptr - buf);
}

void parseRange(const std::string &text, uint64_t rows, uint64_t &from, uint64_t &to) {
    size_t colon = text.find(':');
    if (colon == std::string::npos) qrvloadFail(kExitUsage, "--rows wants A:B (rows A to B-1, from 0), not \"" + text + "\"");
    auto num = [&](const std::string &s, uint64_t fallback) {
        if (s.empty()) return fallback;
        uint64_t n = 0;
        auto r = std::from_chars(s.data(), s.data() + s.size(), n);
        if (r.ec != std::errc() || r.ptr != s.data() + s.size())
            qrvloadFail(kExitUsage, "--rows wants A:B (rows A to B-1, from 0), not \"" + text + "\"");
        return n;
    };
    from = std::min(num(text.substr(0, colon), 0), rows);
    to = std::min(num(text.substr(colon + 1), rows), rows);
    if (to < from) to = from;
}
}  // namespace

namespace {
// Buffered standard output for the row-by-row printers.
class QrvOut {
public:
    QrvOut() : buf_(1 << 20) {}
    ~QrvOut() { flush(); }
    void put(const char *p, size_t n) {
        if (fill_ + n > buf_.size()) flush();
        std::memcpy(buf_.data() + fill_, p, n);
        fill_ += n;
    }
    void put(const char *s) { put(s, std::strlen(s)); }
    void value(double v) { put(num_, formatValue(v, num_)); }
    void flush() {
        std::fwrite(buf_.data(), 1, fill_, stdout);
        fill_ = 0;
    }

private:
    std::vector<char> buf_;
    size_t fill_ = 0;
    char num_[40];
};

// Calls fn(row bytes, row index) for rows from to to-1, across pieces.
template <class Fn>
void forEachRow(const QrvDatasetInfo &d, uint64_t from, uint64_t to, Fn fn) {
    const size_t rowBytes = d.rowBytes();
    std::vector<unsigned char> in(std::max<size_t>(1, (1 << 20) / rowBytes) * rowBytes);
    uint64_t firstOfFile = 0;
    for (size_t f = 0; f < d.files.size() && firstOfFile < to; ++f) {
        uint64_t rowsHere = d.sizes[f] / rowBytes;
        uint64_t a = std::max(from, firstOfFile), b = std::min(to, firstOfFile + rowsHere);
        if (a < b) {
            int fd = ::open(d.files[f].c_str(), O_RDONLY);
            if (fd < 0) qrvloadFail(kExitBadInput, "cannot open " + d.files[f]);
            uint64_t offset = (a - firstOfFile) * rowBytes, left = (b - a) * rowBytes, index = a;
            while (left > 0) {
                size_t want = static_cast<size_t>(std::min<uint64_t>(left, in.size()));
                ssize_t got = ::pread(fd, in.data(), want, static_cast<off_t>(offset));
                if (got != static_cast<ssize_t>(want)) qrvloadFail(kExitBadInput, d.files[f] + ": shorter than its size");
                for (size_t p = 0; p < want; p += rowBytes) fn(in.data() + p, index++);
                offset += want;
                left -= want;
            }
            ::close(fd);
        }
        firstOfFile += rowsHere;
    }
}

bool hasColumns(const QrvDatasetInfo &d, const char *a, const char *b, const char *c) {
    return d.columns.size() == 3 && d.columns[0].name == a && d.columns[1].name == b && d.columns[2].name == c &&
           d.columns[0].purpose == QrvPurpose::LineNumber;
}

bool isCount(double v) { return v >= 0 && v < 9007199254740992.0 && v == std::trunc(v); }
bool isNode(double v) { return v >= 1 && v <= 9007199254740992.0 && v == std::trunc(v); }

[[noreturn]] void badRow(const std::string &dataset, uint64_t row, const std::string &why, const unsigned char *p) {
    char text[128];
    std::snprintf(text, sizeof text, "%.17g,%.17g,%.17g", qrvGetReal(p), qrvGetReal(p + 8), qrvGetReal(p + 16));
    qrvloadFail(kExitBadInput, dataset + ", row " + std::to_string(row) + ": " + why + ": " + text);
}

// A graph dataset back to its edges, checking each caller's row the way the
// diffusion scan reads it, and more strictly: the header's count must match.
void dumpGraphEdges(const std::string &name, const QrvDatasetInfo &d) {
    QrvOut out;
    out.put("caller,callee,weight\n");
    bool inRow = false;
    double caller = 0, previous = 0, announced = 0, seen = 0;
    forEachRow(d, 0, d.rows, [&](const unsigned char *p, uint64_t i) {
        double c = qrvGetReal(p), callee = qrvGetReal(p + 8), w = qrvGetReal(p + 16);
        if (!isNode(c)) badRow(name, i, "caller is not a node number", p);
        if (!inRow) {
            if (callee != 0) badRow(name, i, "expected a header record (callee 0)", p);
            if (!isCount(w)) badRow(name, i, "header weight is not a callee count", p);
            if (c <= previous) badRow(name, i, "callers are not in ascending order", p);
            inRow = true;
            caller = c, announced = w, seen = 0;
            return;
        }
        if (c != caller) badRow(name, i, "caller changed without a footer", p);
        if (callee == 0) {
            if (w != 7788.0) badRow(name, i, "callee 0 inside a row that is not a footer (weight 7788)", p);
            if (seen != announced) badRow(name, i, "footer after a different number of callees than the header says", p);
            inRow = false;
            previous = caller;
            return;
        }
        if (!isNode(callee)) badRow(name, i, "callee is not a node number", p);
        if (++seen > announced) badRow(name, i, "more callees than the header says", p);
        out.value(c), out.put(","), out.value(callee), out.put(","), out.value(w), out.put("\n");
    });
    if (inRow) qrvloadFail(kExitBadInput, name + ": the last caller's row has no footer");
}

// A neighbours dataset back to node,neighbour pairs, checking each row's
// header, entry columns 1..k and closing record.
void dumpNeighbourEdges(const std::string &name, const QrvDatasetInfo &d) {
    QrvOut out;
    out.put("node,neighbour\n");
    bool inRow = false;
    double node = 0, previous = 0, length = 0, seen = 0;
    forEachRow(d, 0, d.rows, [&](const unsigned char *p, uint64_t i) {
        double n = qrvGetReal(p), column = qrvGetReal(p + 8), v = qrvGetReal(p + 16);
        if (!isNode(n)) badRow(name, i, "node is not a node number", p);
        if (!inRow) {
            if (column != 0) badRow(name, i, "expected a header record (column 0)", p);
            if (!isCount(v)) badRow(name, i, "header value is not a row length", p);
            if (n <= previous) badRow(name, i, "nodes are not in ascending order", p);
            inRow = true;
            node = n, length = v, seen = 0;
            return;
        }
        if (n != node) badRow(name, i, "node changed before the closing record", p);
        if (seen == length) {
            if (column != length + 1) badRow(name, i, "expected the closing record (column length + 1)", p);
            inRow = false;
            previous = node;
            return;
        }
        if (column != seen + 1) badRow(name, i, "entry columns must run 1, 2, ...", p);
        if (!isNode(v)) badRow(name, i, "neighbour is not a node number", p);
        ++seen;
        out.value(n), out.put(","), out.value(v), out.put("\n");
    });
    if (inRow) qrvloadFail(kExitBadInput, name + ": the last node's row has no closing record");
}
}  // namespace

int qrvCommandDump(const std::vector<std::string> &args) {
    QrvOptions o(args, {"rows"}, {"edges"});
    needPositional(o, 1, "qrvload dump DATASET [--rows A:B | --edges]");
    const std::string &name = o.positional[0];
    QrvDatasetInfo d = qrvOpenDataset(name);
    if (o.has("edges")) {
        if (o.has("rows")) qrvloadFail(kExitUsage, "give --rows or --edges, not both");
        if (hasColumns(d, "caller", "callee", "weight")) dumpGraphEdges(name, d);
        else if (hasColumns(d, "node", "column", "value")) dumpNeighbourEdges(name, d);
        else qrvloadFail(kExitUsage, "--edges reads datasets made by qrvload graph or neighbours; " + name + " is neither");
        return std::fflush(stdout) == 0 ? 0 : kExitUsage;
    }
    uint64_t from = 0, to = d.rows;
    if (o.has("rows")) parseRange(o.get("rows"), d.rows, from, to);
    {
        QrvOut out;
        for (size_t c = 0; c < d.columns.size(); ++c) {
            if (c) out.put(",");
            out.put(d.columns[c].name.data(), d.columns[c].name.size());
        }
        out.put("\n");
        const size_t columns = d.columns.size();
        forEachRow(d, from, to, [&](const unsigned char *p, uint64_t) {
            for (size_t c = 0; c < columns; ++c) {
                if (c) out.put(",");
                out.value(qrvGetReal(p + 8 * c));
            }
            out.put("\n");
        });
    }
    return std::fflush(stdout) == 0 ? 0 : kExitUsage;
}

int qrvCommandInfo(const std::vector<std::string> &args) {
    QrvOptions o(args, {}, {});
    needPositional(o, 1, "qrvload info DATASET");
    QrvDatasetInfo d = qrvOpenDataset(o.positional[0]);
    std::printf("dataset: %s\ncolumns: %zu\n", o.positional[0].c_str(), d.columns.size());
    for (const QrvColumn &c : d.columns)
        std::printf("  %s %s %s\n", c.name.c_str(), c.categorical ? "Categorical" : "Numeric", qrvPurposeWord(c.purpose));
    std::printf("rows: %llu\nbytes: %llu\n", static_cast<unsigned long long>(d.rows),
                static_cast<unsigned long long>(d.totalBytes));
    if (!d.pieces) {
        std::printf("pieces: none, one file\n");
    } else {
        std::printf("pieces: %zu\n", d.files.size());
        for (size_t i = 0; i < d.files.size(); ++i)
            std::printf("  %s %llu\n", d.files[i].c_str(), static_cast<unsigned long long>(d.sizes[i]));
    }
    return 0;
}
