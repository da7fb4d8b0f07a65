// End-to-end tests of the loader: CSV in, dataset bytes out, compared with
// rows worked out by hand from the dataset format (little-endian 8-byte
// reals, one ".info" line per column), and dump/info read back.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "qrv_run.h"

namespace {

using Rows = std::vector<std::vector<double>>;

std::string bytesOf(const Rows &rows) {
    std::string s;
    for (const auto &row : rows)
        for (double v : row) {
            uint64_t bits;
            std::memcpy(&bits, &v, 8);
            for (int i = 0; i < 8; ++i) s.push_back(static_cast<char>((bits >> (8 * i)) & 0xff));
        }
    return s;
}

std::set<std::string> listDir(const std::string &dir) {
    std::set<std::string> names;
    DIR *d = opendir(dir.c_str());
    while (dirent *e = readdir(d)) {
        std::string n = e->d_name;
        if (n[0] != '.') names.insert(n);  // the runner's own .stdout/.stderr
    }
    closedir(d);
    return names;
}

// A fresh directory per test, removed at the end unless the test failed.
struct Scratch {
    std::string path = qrvtest::makeTempDir("qrvload");
    ~Scratch() {
        if (!::testing::Test::HasFailure()) std::filesystem::remove_all(path);
    }
};

qrvtest::RunResult load(const std::string &dir, std::vector<std::string> args) {
    args.insert(args.begin(), qrvtest::qrvloadPath());
    qrvtest::RunOptions o;
    o.dir = dir;
    return qrvtest::run(args, o);
}

const char *kGraphInfo = "caller Numeric LineNumber\ncallee Numeric Explanatory\nweight Numeric Explanatory\n";
const char *kNeighboursInfo = "node Numeric LineNumber\ncolumn Numeric Explanatory\nvalue Numeric Explanatory\n";

// Edges of callers 5 and 3 interleaved; worked out: caller 3 first with one
// callee, then caller 5 with its callees ascending.
const char *kEdges = "caller,callee,weight\n5,7,1.5\n3,9,2\n5,2,0.25\n";
const Rows kGraphRows = {{3, 0, 1}, {3, 9, 2}, {3, 0, 7788}, {5, 0, 2}, {5, 2, 0.25}, {5, 7, 1.5}, {5, 0, 7788}};

}  // namespace

TEST(QrvloadGraph, GroupsUnsortedEdgesIntoHeaderEdgesFooterRows) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    qrvtest::writeFile(dir, "edges.csv", kEdges);
    auto r = load(dir, {"graph", "edges.csv", "g"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/g"), bytesOf(kGraphRows));
    EXPECT_EQ(qrvtest::readFile(dir + "/g.info"), kGraphInfo);
    EXPECT_EQ(listDir(dir), (std::set<std::string>{"edges.csv", "g", "g.info"}));

    // No header line, CRLF ends, blanks around fields, quotes, an empty line,
    // a duplicate edge (kept) and a weight in exponent form.
    qrvtest::writeFile(dir, "raw.csv", "8, 4 ,1e1\r\n\r\n\"8\",4,-0.5\r\n2,8,3\r\n");
    r = load(dir, {"graph", "raw.csv", "h"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/h"),
              bytesOf({{2, 0, 1}, {2, 8, 3}, {2, 0, 7788}, {8, 0, 2}, {8, 4, -0.5}, {8, 4, 10}, {8, 0, 7788}}));

    // A byte-order mark doesn't make the first edge a header; a header after
    // blank lines is still a header.
    const std::string oneEdge = bytesOf({{6, 0, 1}, {6, 1, 1}, {6, 0, 7788}});
    qrvtest::writeFile(dir, "bom.csv", "\xEF\xBB\xBF" "6,1,1\n");
    ASSERT_EQ(load(dir, {"graph", "bom.csv", "bom"}).status, 0);
    EXPECT_EQ(qrvtest::readFile(dir + "/bom"), oneEdge);
    qrvtest::writeFile(dir, "late.csv", "\n \ncaller,callee,weight\n6,1,1\n");
    ASSERT_EQ(load(dir, {"graph", "late.csv", "late"}).status, 0);
    EXPECT_EQ(qrvtest::readFile(dir + "/late"), oneEdge);

    // An input without edges gives an empty dataset, still with its columns.
    qrvtest::writeFile(dir, "none.csv", "caller,callee,weight\n");
    r = load(dir, {"graph", "none.csv", "e"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/e"), "");
    EXPECT_EQ(qrvtest::readFile(dir + "/e.info"), kGraphInfo);
}

TEST(QrvloadGraph, BadLineStopsWithStatus2AndLeavesNothingBehind) {
    struct Case {
        const char *line;
        const char *reason;
    };
    const Case cases[] = {
        {"4,5", "expected 3 fields"},
        {"4,5,1,2", "expected 3 fields"},
        {"4,5,abc", "weight is not a finite number"},
        {"4,5,nan", "weight is not a finite number"},
        {"4,5,", "weight is not a finite number"},
        {"0,5,1", "caller is 0"},
        {"4,0,1", "callee is 0"},
        {"-3,5,1", "caller is negative"},
        {"4,1.5,1", "callee is not a whole number"},
        {"4,x5,1", "callee is not a whole number"},
        {"9007199254740993,5,1", "caller is above 2^53"},
        {"99999999999999999999999,5,1", "caller is above 2^53"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        Scratch scratch;
        const std::string &dir = scratch.path;
        // The bad line is line 4; an earlier dataset of the same name survives.
        qrvtest::writeFile(dir, "edges.csv", std::string("caller,callee,weight\n1,2,1\n\n") + c.line + "\n7,8,1\n");
        qrvtest::writeFile(dir, "g", "old");
        qrvtest::writeFile(dir, "g.info", "old info\n");
        auto r = load(dir, {"graph", "edges.csv", "g", "--memory", "64K"});
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find("edges.csv, line 4"), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(std::string("\"") + c.line + "\""), std::string::npos) << r.err;
        EXPECT_EQ(listDir(dir), (std::set<std::string>{"edges.csv", "g", "g.info"}));
        EXPECT_EQ(qrvtest::readFile(dir + "/g"), "old");
    }
}

TEST(QrvloadGraph, ExternalSortAgreesWithTheGroupingRule) {
    // 200,000 edges in scrambled order, 4.8 MB of sort records: with 64K of
    // memory that is dozens of runs and several merge rounds. The output is
    // larger than the writer's buffer, so some caller's header is patched
    // after its row has left the buffer.
    Scratch scratch;
    const std::string &dir = scratch.path;
    struct Edge {
        uint64_t a, b;
        double w;
    };
    std::vector<Edge> edges;
    std::string csv;
    uint64_t x = 12345;
    for (int i = 0; i < 200000; ++i) {
        x = x * 6364136223846793005ULL + 1442695040888963407ULL;
        Edge e{(x >> 33) % 5000 + 1, (x >> 13) % 100000 + 1, static_cast<double>((x >> 40) % 1000) / 8.0};
        edges.push_back(e);
        csv += std::to_string(e.a) + "," + std::to_string(e.b) + "," + std::to_string(e.w) + "\n";
    }
    qrvtest::writeFile(dir, "edges.csv", csv);
    std::sort(edges.begin(), edges.end(), [](const Edge &p, const Edge &q) {
        return p.a != q.a ? p.a < q.a : p.b != q.b ? p.b < q.b : p.w < q.w;
    });
    Rows expected;
    for (size_t i = 0; i < edges.size();) {
        size_t j = i;
        while (j < edges.size() && edges[j].a == edges[i].a) ++j;
        double caller = static_cast<double>(edges[i].a);
        expected.push_back({caller, 0, static_cast<double>(j - i)});
        for (size_t k = i; k < j; ++k) expected.push_back({caller, static_cast<double>(edges[k].b), edges[k].w});
        expected.push_back({caller, 0, 7788});
        i = j;
    }
    std::string want = bytesOf(expected);
    std::string wantEdges = "caller,callee,weight\n";
    for (const Edge &e : edges) {
        char w[32];
        std::snprintf(w, sizeof w, "%g", e.w);  // eighths below 125: exact in %g
        wantEdges += std::to_string(e.a) + "," + std::to_string(e.b) + "," + w + "\n";
    }

    auto r = load(dir, {"graph", "edges.csv", "small", "--memory", "64K"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("sorted on disk in "), std::string::npos) << r.out;
    auto big = load(dir, {"graph", "edges.csv", "big"});
    ASSERT_EQ(big.status, 0) << big.err;
    EXPECT_EQ(big.out.find("sorted on disk"), std::string::npos) << big.out;
    EXPECT_TRUE(qrvtest::readFile(dir + "/small") == want);
    EXPECT_TRUE(qrvtest::readFile(dir + "/big") == want);
    // Sort runs elsewhere, and gone afterwards; a budget below 64K is refused.
    std::filesystem::create_directory(dir + "/runs");
    auto elsewhere = load(dir, {"graph", "edges.csv", "other", "--memory", "100K", "--temp-dir", "runs"});
    ASSERT_EQ(elsewhere.status, 0) << elsewhere.err;
    EXPECT_TRUE(qrvtest::readFile(dir + "/other") == want);
    EXPECT_TRUE(listDir(dir + "/runs").empty());
    EXPECT_EQ(load(dir, {"graph", "edges.csv", "x", "--memory", "1K"}).status, 1);
    std::filesystem::remove_all(dir + "/other");
    std::filesystem::remove_all(dir + "/other.info");
    std::filesystem::remove_all(dir + "/runs");

    // And back: the edges come out grouped and sorted, every one of them.
    auto dump = load(dir, {"dump", "small", "--edges"});
    ASSERT_EQ(dump.status, 0) << dump.err;
    EXPECT_TRUE(dump.out == wantEdges);
    EXPECT_EQ(qrvtest::splitLines(dump.out).size(), edges.size() + 1);
    // Sort runs are gone.
    EXPECT_EQ(listDir(dir), (std::set<std::string>{"edges.csv", "small", "small.info", "big", "big.info"}));
}

TEST(QrvloadPieces, PiecesHoldWholeRowsAndReplaceEarlierOnes) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    qrvtest::writeFile(dir, "edges.csv", kEdges);
    // 7 rows over 3 pieces: 3, 2, 2 rows.
    auto r = load(dir, {"graph", "edges.csv", "p", "--pieces", "3"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/p.0"), bytesOf({kGraphRows[0], kGraphRows[1], kGraphRows[2]}));
    EXPECT_EQ(qrvtest::readFile(dir + "/p.1"), bytesOf({kGraphRows[3], kGraphRows[4]}));
    EXPECT_EQ(qrvtest::readFile(dir + "/p.2"), bytesOf({kGraphRows[5], kGraphRows[6]}));
    EXPECT_EQ(qrvtest::readFile(dir + "/p.info"), kGraphInfo);
    EXPECT_FALSE(qrvtest::fileExists(dir + "/p"));

    // 50 bytes a piece is two 24-byte rows: 4 pieces, and the old p.2 would
    // otherwise shadow nothing but p.3 is new; a reload with 2 pieces must
    // leave no p.2 or p.3 for the engine to pick up.
    r = load(dir, {"graph", "edges.csv", "p", "--piece-bytes", "50"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/p.3"), bytesOf({kGraphRows[6]}));
    r = load(dir, {"graph", "edges.csv", "p", "--pieces", "2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/p.0") + qrvtest::readFile(dir + "/p.1"), bytesOf(kGraphRows));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/p.2"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/p.3"));

    // A piece size below one row still puts one row in each piece.
    r = load(dir, {"graph", "edges.csv", "q", "--piece-bytes", "1"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/q.6"), bytesOf({kGraphRows[6]}));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/q.7"));

    EXPECT_EQ(load(dir, {"graph", "edges.csv", "x", "--pieces", "0"}).status, 1);
    EXPECT_EQ(load(dir, {"graph", "edges.csv", "x", "--pieces", "2", "--piece-bytes", "8"}).status, 1);
}

TEST(QrvloadNeighbours, AdjacencyAndEdgeFormsGiveTheSameSparseRows) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    // Node 4 on two lines, a duplicate neighbour, a trailing comma, node 2
    // with no neighbours. Worked out: per node a header (column 0, length),
    // entries 1..length with the neighbours ascending, closing record
    // (column length + 1, target 0).
    qrvtest::writeFile(dir, "adj.csv", "node,neighbours\n4,9,2,\n2\n4,30,9\n");
    const Rows want = {{2, 0, 0}, {2, 1, 0},                                         //
                       {4, 0, 3}, {4, 1, 2}, {4, 2, 9}, {4, 3, 30}, {4, 4, 0}};
    auto r = load(dir, {"neighbours", "adj.csv", "n"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/n"), bytesOf(want));
    EXPECT_EQ(qrvtest::readFile(dir + "/n.info"), kNeighboursInfo);

    qrvtest::writeFile(dir, "edges.csv", "4,30\n4,9\n4,2\n4,9\n");
    r = load(dir, {"neighbours", "edges.csv", "m", "--edges"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/m"), bytesOf({want.begin() + 2, want.end()}));

    r = load(dir, {"dump", "n", "--edges"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "node,neighbour\n4,2\n4,9\n4,30\n");

    qrvtest::writeFile(dir, "bad.csv", "4,9\n5,0\n");
    r = load(dir, {"neighbours", "bad.csv", "b"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("bad.csv, line 2: neighbour is 0"), std::string::npos) << r.err;
    qrvtest::writeFile(dir, "bad2.csv", "4,9,3\n");
    r = load(dir, {"neighbours", "bad2.csv", "b", "--edges"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("bad2.csv, line 1: expected 2 fields"), std::string::npos) << r.err;
    EXPECT_FALSE(qrvtest::fileExists(dir + "/b"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/b.info"));
}

TEST(QrvloadNeighbours, TargetsLandInTheClosingRecords) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    // Nodes 2, 3, 4, 7; targets for 7 and 4 only, out of order. Worked out:
    // 4 closes with 0.5 and 7 with -1.25 at columns length + 1; 2 and 3,
    // not listed, close with 0.
    qrvtest::writeFile(dir, "adj.csv", "node,neighbours\n7,3\n2\n4,9,2\n3\n");
    qrvtest::writeFile(dir, "targets.csv", "node,target\n7,-1.25\n\n4, 0.5\n");
    const Rows want = {{2, 0, 0}, {2, 1, 0},                        //
                       {3, 0, 0}, {3, 1, 0},                        //
                       {4, 0, 2}, {4, 1, 2}, {4, 2, 9}, {4, 3, 0.5},  //
                       {7, 0, 1}, {7, 1, 3}, {7, 2, -1.25}};
    auto r = load(dir, {"neighbours", "adj.csv", "n", "--targets", "targets.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string got = qrvtest::readFile(dir + "/n");
    EXPECT_EQ(got, bytesOf(want));
    // The last record, byte by byte: 7.0 = 0x401C000000000000, 2.0 =
    // 0x4000000000000000, -1.25 = 0xBFF4000000000000, little-endian.
    ASSERT_EQ(got.size(), 11u * 24u);
    EXPECT_EQ(got.substr(10 * 24), std::string("\0\0\0\0\0\0\x1C\x40"
                                               "\0\0\0\0\0\0\x00\x40"
                                               "\0\0\0\0\0\0\xF4\xBF",
                                               24));
    // 4's closing record: 4.0 = 0x4010..., 3.0 = 0x4008..., 0.5 = 0x3FE0...
    EXPECT_EQ(got.substr(7 * 24, 24), std::string("\0\0\0\0\0\0\x10\x40"
                                                  "\0\0\0\0\0\0\x08\x40"
                                                  "\0\0\0\0\0\0\xE0\x3F",
                                                  24));
    EXPECT_EQ(listDir(dir), (std::set<std::string>{"adj.csv", "targets.csv", "n", "n.info"}));

    // The edge form, no header in the targets file, a target only for the
    // first node, through a small sort budget and in pieces: 3 rows of 3 for
    // node 4 closing with 1000, node 9's row closing with 0.
    qrvtest::writeFile(dir, "edges.csv", "9,4\n4,9\n4,2\n");
    qrvtest::writeFile(dir, "t2.csv", "4,1e3\n");
    r = load(dir, {"neighbours", "edges.csv", "m", "--edges", "--targets", "t2.csv", "--memory", "64K", "--pieces", "2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/m.0") + qrvtest::readFile(dir + "/m.1"),
              bytesOf({{4, 0, 2}, {4, 1, 2}, {4, 2, 9}, {4, 3, 1000}, {9, 0, 1}, {9, 1, 4}, {9, 2, 0}}));
    // Without the option every closing record holds 0.
    r = load(dir, {"neighbours", "edges.csv", "z", "--edges"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/z"),
              bytesOf({{4, 0, 2}, {4, 1, 2}, {4, 2, 9}, {4, 3, 0}, {9, 0, 1}, {9, 1, 4}, {9, 2, 0}}));
}

TEST(QrvloadNeighbours, BadTargetLineStopsWithStatus2AndLeavesNothingBehind) {
    struct Case {
        const char *line;
        const char *reason;
    };
    // Adjacency nodes are 2, 4 and 7; line 2 of the targets gives node 4.
    const Case cases[] = {
        {"4,1", "node 4 is listed twice, first on line 2"},
        {"1,1", "node 1 has a target but no line in adj.csv"},
        {"5,1", "node 5 has a target but no line in adj.csv"},
        {"9,1", "node 9 has a target but no line in adj.csv"},
        {"0,1", "node is 0"},
        {"-7,1", "node is negative"},
        {"x7,1", "node is not a whole number"},
        {"7.5,1", "node is not a whole number"},
        {"7,abc", "target is not a finite number"},
        {"7,inf", "target is not a finite number"},
        {"7,", "target is not a finite number"},
        {"7", "expected 2 fields node,target, found 1"},
        {"7,1,2", "expected 2 fields node,target, found 3"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        Scratch scratch;
        const std::string &dir = scratch.path;
        qrvtest::writeFile(dir, "adj.csv", "2,4\n4,2,7\n7,4\n");
        // The bad line is line 3, and a good one follows it; an earlier
        // dataset of the same name survives.
        qrvtest::writeFile(dir, "targets.csv", std::string("node,target\n4,0.5\n") + c.line + "\n2,1\n");
        qrvtest::writeFile(dir, "n", "old");
        qrvtest::writeFile(dir, "n.info", "old info\n");
        auto r = load(dir, {"neighbours", "adj.csv", "n", "--targets", "targets.csv", "--memory", "64K"});
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(std::string("targets.csv, line 3: ") + c.reason), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(std::string("\"") + c.line + "\""), std::string::npos) << r.err;
        EXPECT_EQ(listDir(dir), (std::set<std::string>{"adj.csv", "targets.csv", "n", "n.info"}));
        EXPECT_EQ(qrvtest::readFile(dir + "/n"), "old");
    }
}

TEST(QrvloadTable, DenseRowsWithMissingCellsAndColumnRoles) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    qrvtest::writeFile(dir, "t.csv", "id,colour,score,label\n7,3,0.5,1\n2,,-1e3,\n");
    auto r = load(dir, {"table", "t.csv", "t", "--line-number", "id", "--target", "label", "--categorical", "colour"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(qrvtest::readFile(dir + "/t"), bytesOf({{7, 3, 0.5, 1}, {2, -99999.0, -1000, -99999.0}}));
    EXPECT_EQ(qrvtest::readFile(dir + "/t.info"),
              "id Numeric LineNumber\ncolour Categorical Explanatory\nscore Numeric Explanatory\nlabel Numeric Target\n");

    struct Case {
        const char *csv;
        std::vector<std::string> extra;
        int status;
        const char *says;
    };
    const Case cases[] = {
        {"id,colour\n1,red\n", {"--categorical", "colour"}, 2, "line 2: column colour holds no number code"},
        {"id,x\n1,2,3\n", {}, 2, "line 2: expected 2 fields, found 3"},
        {"id,x\n,2\n", {}, 2, "line 2: id is empty"},
        {"id,my x\n1,2\n", {}, 2, "line 1: column name \"my x\" has a blank"},
        {"id,x,x\n1,2,3\n", {}, 2, "appears twice"},
        {"id,x\n1,2\n", {"--target", "y"}, 1, "no column \"y\""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.csv);
        qrvtest::writeFile(dir, "bad.csv", c.csv);
        std::vector<std::string> args{"table", "bad.csv", "b", "--line-number", "id"};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        r = load(dir, args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        EXPECT_FALSE(qrvtest::fileExists(dir + "/b.info"));
    }
}

TEST(QrvloadDump, GraphRoundTripsThroughDumpAndInfo) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    qrvtest::writeFile(dir, "edges.csv", kEdges);
    ASSERT_EQ(load(dir, {"graph", "edges.csv", "g"}).status, 0);
    ASSERT_EQ(load(dir, {"graph", "edges.csv", "p", "--pieces", "3"}).status, 0);
    const char *all = "caller,callee,weight\n3,0,1\n3,9,2\n3,0,7788\n5,0,2\n5,2,0.25\n5,7,1.5\n5,0,7788\n";
    auto r = load(dir, {"dump", "g"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, all);
    // The same through pieces, and a range that crosses from p.0 into p.1.
    EXPECT_EQ(load(dir, {"dump", "p"}).out, all);
    EXPECT_EQ(load(dir, {"dump", "p", "--rows", "2:5"}).out, "caller,callee,weight\n3,0,7788\n5,0,2\n5,2,0.25\n");
    EXPECT_EQ(load(dir, {"dump", "g", "--rows", "6:"}).out, "caller,callee,weight\n5,0,7788\n");

    r = load(dir, {"info", "p"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "dataset: p\ncolumns: 3\n  caller Numeric LineNumber\n  callee Numeric Explanatory\n"
              "  weight Numeric Explanatory\nrows: 7\nbytes: 168\npieces: 3\n  p.0 72\n  p.1 48\n  p.2 48\n");

    // A table's missing cells come back empty.
    qrvtest::writeFile(dir, "t.csv", "id,v\n7,\n8,1e300\n");
    ASSERT_EQ(load(dir, {"table", "t.csv", "t", "--line-number", "id"}).status, 0);
    EXPECT_EQ(load(dir, {"dump", "t"}).out, "id,v\n7,\n8,1e+300\n");
}

TEST(QrvloadDump, RefusesDatasetsTheEngineWouldMisread) {
    Scratch scratch;
    const std::string &dir = scratch.path;
    std::string rows = bytesOf({{1, 0, 0}, {1, 1, 0}});
    qrvtest::writeFile(dir, "d", rows + "x");  // a torn last row
    qrvtest::writeFile(dir, "d.info", kNeighboursInfo);
    auto r = load(dir, {"dump", "d"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("not a whole number of 24-byte rows"), std::string::npos) << r.err;

    qrvtest::writeFile(dir, "d", rows);
    qrvtest::writeFile(dir, "d.info", "node Numeric LineNumber\ncolumn Numeric Explanatory\nvalue Numeric Explanatory");
    r = load(dir, {"info", "d"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("no line feed"), std::string::npos) << r.err;

    // Row structure, checked by dump --edges: what the diffusion scan would
    // reject or misread.
    struct Broken {
        Rows rows;
        const char *says;
    };
    const Broken broken[] = {
        {{{3, 9, 2}}, "row 0: expected a header record"},
        {{{3, 0, 2}, {3, 9, 2}, {3, 0, 7788}}, "row 2: footer after a different number of callees"},
        {{{3, 0, 1}, {3, 9, 2}, {3, 8, 1}}, "row 2: more callees than the header says"},
        {{{3, 0, 1}, {4, 9, 2}}, "row 1: caller changed without a footer"},
        {{{3, 0, 1}, {3, 0, 5}}, "row 1: callee 0 inside a row"},
        {{{3, 0, 1}, {3, 9, 2}}, "the last caller's row has no footer"},
        {{{3, 0, 0}, {3, 0, 7788}, {3, 0, 0}, {3, 0, 7788}}, "row 2: callers are not in ascending order"},
    };
    for (const Broken &b : broken) {
        SCOPED_TRACE(b.says);
        qrvtest::writeFile(dir, "g", bytesOf(b.rows));
        qrvtest::writeFile(dir, "g.info", kGraphInfo);
        r = load(dir, {"dump", "g", "--edges"});
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(b.says), std::string::npos) << r.err;
    }
    qrvtest::writeFile(dir, "g", bytesOf({{4, 0, 2}, {4, 1, 7}, {4, 3, 8}}));
    qrvtest::writeFile(dir, "g.info", kNeighboursInfo);
    r = load(dir, {"dump", "g", "--edges"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("row 2: entry columns must run 1, 2, ..."), std::string::npos) << r.err;

    qrvtest::writeFile(dir, "d.info", "node Numeric Linenumber\n");
    EXPECT_EQ(load(dir, {"dump", "d"}).status, 2);
    qrvtest::writeFile(dir, "d.info", "node numeric LineNumber\n");
    EXPECT_EQ(load(dir, {"dump", "d"}).status, 2);
    EXPECT_EQ(load(dir, {"dump", "missing"}).status, 2);
}
