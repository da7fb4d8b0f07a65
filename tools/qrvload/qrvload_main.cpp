// Entry point of qrvload, the companion loader that turns CSV files into the
// engine's binary input dataset and shows datasets back as text.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "qrvload_commands.h"
#include "qrvload_fail.h"

namespace {
const char *kUsage =
    "usage:\n"
    "  qrvload graph EDGES.csv OUT       edges caller,callee,weight to a DIF dataset\n"
    "  qrvload neighbours ADJ.csv OUT    lines node,n1,n2,... (or node,neighbour with --edges) to a CGA dataset\n"
    "  qrvload table DATA.csv OUT --line-number COL [--target COL] [--categorical COL,...]\n"
    "  qrvload dump DATASET [--rows A:B] print a dataset as CSV (rows A to B-1, from 0)\n"
    "  qrvload dump DATASET --edges      a graph or neighbours dataset back to its edges, rows checked\n"
    "  qrvload info DATASET              columns, rows, bytes and pieces of a dataset\n"
    "options of the loads:\n"
    "  --pieces N | --piece-bytes B      write pieces OUT.0, OUT.1, ... of whole rows\n"
    "  --memory SIZE                     sort budget of graph and neighbours (default 512M)\n"
    "  --temp-dir DIR                    where sort runs go (default: beside OUT)\n"
    "  --targets FILE                    neighbours: node,target lines for the closing records (default 0)\n"
    "exit status: 0 done, 1 usage or system error, 2 bad input (nothing is written)\n";
}  // namespace

int main(int argc, char **argv) {
    if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? kExitUsage : 0;
    }
    std::string cmd = argv[1];
    std::vector<std::string> args(argv + 2, argv + argc);
    if (cmd == "graph") return qrvCommandGraph(args);
    if (cmd == "neighbours" || cmd == "neighbors") return qrvCommandNeighbours(args);
    if (cmd == "table") return qrvCommandTable(args);
    if (cmd == "dump") return qrvCommandDump(args);
    if (cmd == "info") return qrvCommandInfo(args);
    qrvloadFail(kExitUsage, "unknown command \"" + cmd + "\"\n" + kUsage);
}
