// Inputs for bench/run, which times whole diffusion and group analysis runs.
//
//   rmat_calls calls EDGES NODES SEED > calls.csv
//     A power-law directed call graph by recursive quadrant choice (R-MAT,
//     0.57/0.19/0.19/0.05), as caller,callee,weight lines. Node numbers are
//     scrambled over 1..NODES, so that the heavy callers are not all at the
//     front of the file, and weights are whole numbers 1..9.
//   rmat_calls seeds COUNT NODES SEED > seeds.txt
//     COUNT seed nodes: the images of the lowest R-MAT indices, which are
//     the best-connected nodes, so that a diffusion reaches far.
//   rmat_calls groups NODES ENTRIES SEED [NOISE] > adjacency.csv
//     A community graph as node,n1,n2,... lines: nodes 1..NODES, shuffled,
//     fall into planted groups of 5 to 200 nodes (sizes log-uniform, so
//     small groups are the many), and ENTRIES neighbour entries in all are
//     spread over the nodes, 1 to 2*ENTRIES/NODES-1 each. A fraction NOISE
//     (default 0.1) of a node's neighbours are drawn from the whole graph,
//     the rest from its own group; a node never names itself or a neighbour
//     twice, so a load keeps exactly ENTRIES entries.
//   rmat_calls read FILE
//     Reads FILE front to back in windows of 200,000 bytes (the dataset
//     reader's window) and sums it as 8-byte reals, printing the seconds it
//     took: the floor that a pass over the same bytes is compared with.
//
// Deterministic for a given SEED; no library but the C++ one.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Rng {
    uint64_t state;
    uint64_t next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    double unit() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }
};

// Scrambles an R-MAT index into 1..nodes. Collisions only merge nodes,
// which keeps the degree distribution heavy-tailed.
uint64_t nodeOf(uint64_t index, uint64_t nodes)
{
    Rng r{index * 0x2545F4914F6CDD1Dull + 12345};
    return r.next() % nodes + 1;
}

int scaleOf(uint64_t nodes)
{
    int scale = 1;
    while ((uint64_t(1) << scale) < nodes) ++scale;
    return scale;
}

int calls(uint64_t edges, uint64_t nodes, uint64_t seed)
{
    Rng rng{seed};
    const int scale = scaleOf(nodes);
    std::vector<char> out;
    out.reserve(1 << 20);
    const char header[] = "caller,callee,weight\n";
    out.insert(out.end(), header, header + sizeof header - 1);
    char line[64];
    for (uint64_t e = 0; e < edges; ++e) {
        uint64_t row = 0, col = 0;
        for (int bit = 0; bit < scale; ++bit) {
            const double p = rng.unit();
            row <<= 1;
            col <<= 1;
            if (p < 0.57) {
            } else if (p < 0.76) {
                col |= 1;
            } else if (p < 0.95) {
                row |= 1;
            } else {
                row |= 1;
                col |= 1;
            }
        }
        const int n = std::snprintf(line, sizeof line, "%llu,%llu,%d\n",
                                    static_cast<unsigned long long>(nodeOf(row, nodes)),
                                    static_cast<unsigned long long>(nodeOf(col, nodes)),
                                    static_cast<int>(rng.next() % 9) + 1);
        out.insert(out.end(), line, line + n);
        if (out.size() > (1 << 20) - 64) {
            if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size()) return 1;
            out.clear();
        }
    }
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size()) return 1;
    return std::fflush(stdout) == 0 ? 0 : 1;
}

// Planted groups: a shuffled numbering cut into consecutive runs of 5 to
// 200 nodes; the last run takes what is left, at most 204 nodes.
struct Groups {
    std::vector<uint32_t> member;  // nodes by group, group after group
    std::vector<uint32_t> first;   // group g is member[first[g], first[g + 1])
    std::vector<uint32_t> groupOf; // by node number
};

Groups plantGroups(uint32_t nodes, Rng &rng)
{
    Groups g;
    g.member.resize(nodes);
    for (uint32_t i = 0; i < nodes; ++i) g.member[i] = i + 1;
    for (uint32_t i = nodes; i > 1; --i) std::swap(g.member[i - 1], g.member[rng.next() % i]);
    g.groupOf.assign(static_cast<size_t>(nodes) + 1, 0);
    uint32_t at = 0;
    while (at < nodes) {
        uint32_t size = static_cast<uint32_t>(5.0 * std::pow(40.0, rng.unit()));
        if (nodes - at < size + 5) size = nodes - at;
        g.first.push_back(at);
        for (uint32_t i = at; i < at + size; ++i) g.groupOf[g.member[i]] = static_cast<uint32_t>(g.first.size() - 1);
        at += size;
    }
    g.first.push_back(nodes);
    return g;
}

// Degrees of 1 to 2m-1 (m the mean), then nudged one at a time until they
// sum to `entries` exactly, none above the nodes there are to name.
std::vector<uint32_t> degrees(uint32_t nodes, uint64_t entries, Rng &rng)
{
    const uint64_t mean = entries / nodes > 0 ? entries / nodes : 1;
    std::vector<uint32_t> d(static_cast<size_t>(nodes) + 1, 0);
    uint64_t sum = 0;
    for (uint32_t n = 1; n <= nodes; ++n) {
        d[n] = static_cast<uint32_t>(1 + rng.next() % (2 * mean - 1));
        if (d[n] > nodes - 1) d[n] = nodes - 1;
        sum += d[n];
    }
    while (sum != entries) {
        const uint32_t n = static_cast<uint32_t>(rng.next() % nodes) + 1;
        if (sum < entries && d[n] < nodes - 1) {
            ++d[n];
            ++sum;
        } else if (sum > entries && d[n] > 1) {
            --d[n];
            --sum;
        }
    }
    return d;
}

int groups(uint64_t nodes64, uint64_t entries, uint64_t seed, double noise)
{
    if (nodes64 < 2 || nodes64 > 0xFFFFFFF0ull || entries < nodes64 || entries > nodes64 * (nodes64 - 1)) {
        std::fprintf(stderr, "groups: needs 2 <= NODES < 2^32 and NODES <= ENTRIES <= NODES*(NODES-1)\n");
        return 1;
    }
    const uint32_t nodes = static_cast<uint32_t>(nodes64);
    Rng rng{seed};
    const Groups g = plantGroups(nodes, rng);
    const std::vector<uint32_t> degree = degrees(nodes, entries, rng);
    std::vector<char> out;
    out.reserve(1 << 20);
    std::vector<uint32_t> named;
    char text[16];
    for (uint32_t n = 1; n <= nodes; ++n) {
        const uint32_t group = g.groupOf[n];
        const uint32_t from = g.first[group], size = g.first[group + 1] - from;
        named.clear();
        // Own-group names stop short of the group's other members; the rest
        // are noise, drawn from everyone.
        uint32_t inside = 0;
        for (uint32_t k = 0; k < degree[n]; ++k)
            if (rng.unit() >= noise) ++inside;
        if (inside > size - 1) inside = size - 1;
        while (named.size() < degree[n]) {
            const bool own = named.size() < inside;
            const uint32_t m = own ? g.member[from + rng.next() % size] : static_cast<uint32_t>(rng.next() % nodes) + 1;
            if (m == n || std::find(named.begin(), named.end(), m) != named.end()) continue;
            named.push_back(m);
        }
        int len = std::snprintf(text, sizeof text, "%u", n);
        out.insert(out.end(), text, text + len);
        for (uint32_t m : named) {
            len = std::snprintf(text, sizeof text, ",%u", m);
            out.insert(out.end(), text, text + len);
        }
        out.push_back('\n');
        if (out.size() > (1 << 20) - 4096) {
            if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size()) return 1;
            out.clear();
        }
    }
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size()) return 1;
    return std::fflush(stdout) == 0 ? 0 : 1;
}

int seeds(uint64_t count, uint64_t nodes)
{
    for (uint64_t i = 0; i < count; ++i)
        std::printf("%llu\n", static_cast<unsigned long long>(nodeOf(i, nodes)));
    return 0;
}

int readFile(const char *path)
{
    std::FILE *in = std::fopen(path, "rb");
    if (in == nullptr) {
        std::perror(path);
        return 1;
    }
    std::vector<char> window(200000);
    double sum = 0.0;
    const auto start = std::chrono::steady_clock::now();
    size_t got;
    while ((got = std::fread(window.data(), 1, window.size(), in)) > 0) {
        for (size_t at = 0; at + 8 <= got; at += 8) {
            double value;
            std::memcpy(&value, window.data() + at, 8);
            sum += value;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::fclose(in);
    // The sum is printed so that the reads cannot be left out.
    std::printf("%.6f %g\n", seconds, sum);
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc == 5 && std::strcmp(argv[1], "calls") == 0)
        return calls(std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10),
                     std::strtoull(argv[4], nullptr, 10));
    if (argc == 5 && std::strcmp(argv[1], "seeds") == 0)
        return seeds(std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10));
    if ((argc == 5 || argc == 6) && std::strcmp(argv[1], "groups") == 0)
        return groups(std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10),
                      std::strtoull(argv[4], nullptr, 10), argc == 6 ? std::strtod(argv[5], nullptr) : 0.1);
    if (argc == 3 && std::strcmp(argv[1], "read") == 0) return readFile(argv[2]);
    std::fprintf(stderr,
                 "usage: rmat_calls calls EDGES NODES SEED | seeds COUNT NODES SEED\n"
                 "       | groups NODES ENTRIES SEED [NOISE] | read FILE\n");
    return 1;
}
