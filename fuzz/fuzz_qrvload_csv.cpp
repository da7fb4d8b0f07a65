// The loader's CSV input. First byte: 0 an edge list through the whole graph
// load, 1 a table through the table load (header names the columns "id",
// "t" and "k"), 2 the line reader alone with the node and real parsers on
// every field. The loads stop on bad lines through exit(), which the guard
// turns into a return; they write their dataset into the scratch directory.
// The graph load sorts in the smallest memory allowed: the default reserves
// far more than a fuzz input needs, at a cost on every run.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "qrvload_commands.h"
#include "qrvload_csv.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string in = qrvfuzz::writeScratch("in.csv", data + 1, size - 1);
    const std::string out = qrvfuzz::scratchDir() + "/out";
    switch (data[0] % 3) {
    case 0:
        qrvfuzz::run([&] { qrvCommandGraph({in, out, "--memory", "64K"}); });
        break;
    case 1:
        qrvfuzz::run([&] {
            qrvCommandTable({in, out, "--line-number", "id", "--target", "t", "--categorical", "k"});
        });
        break;
    default:
        qrvfuzz::run([&] {
            QrvCsvReader r(in);
            uint64_t node = 0;
            double value = 0.0;
            size_t seen = 0;
            while (r.next()) {
                for (size_t i = 0; i < r.fieldCount(); ++i) {
                    qrvParseNode(r.field(i), node);
                    qrvParseReal(r.field(i), value);
                    seen += r.fieldText(i).size();
                }
            }
            if (seen == static_cast<size_t>(-1)) qrvParseNode("", node);  // keeps the loop's results alive
        });
        break;
    }
    return 0;
}
