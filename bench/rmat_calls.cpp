// Inputs for bench/run, which times whole diffusion runs.
//
//   rmat_calls calls EDGES NODES SEED > calls.csv
//     A power-law directed call graph by recursive quadrant choice (R-MAT,
//     0.57/0.19/0.19/0.05), as caller,callee,weight lines. Node numbers are
//     scrambled over 1..NODES, so that the heavy callers are not all at the
//     front of the file, and weights are whole numbers 1..9.
//   rmat_calls seeds COUNT NODES SEED > seeds.txt
//     COUNT seed nodes: the images of the lowest R-MAT indices, which are
//     the best-connected nodes, so that a diffusion reaches far.
//   rmat_calls read FILE
//     Reads FILE front to back in windows of 200,000 bytes (the dataset
//     reader's window) and sums it as 8-byte reals, printing the seconds it
//     took: the floor that a pass over the same bytes is compared with.
//
// Deterministic for a given SEED; no library but the C++ one.
#include <chrono>
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
    if (argc == 3 && std::strcmp(argv[1], "read") == 0) return readFile(argv[2]);
    std::fprintf(stderr,
                 "usage: rmat_calls calls EDGES NODES SEED | seeds COUNT NODES SEED | read FILE\n");
    return 1;
}
