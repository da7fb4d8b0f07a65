#!/bin/sh
# Loader benchmark, not part of the test suite: makes an unsorted edge list of
# the given size, loads it with "qrvload graph" under /usr/bin/time -v, and
# prints edges per second and peak memory against the sort budget.
#
#   bench/qrvload_bench.sh [EDGES] [MEMORY] [WORKDIR]
#   defaults: 50000000 edges, 512M budget, a fresh directory under /tmp
#   QRVLOAD=path/to/qrvload overrides build/qrvload.
set -eu

edges=${1:-50000000}
memory=${2:-512M}
here=$(cd "$(dirname "$0")/.." && pwd)
qrvload=${QRVLOAD:-$here/build/qrvload}
work=${3:-$(mktemp -d /tmp/qrvload_bench.XXXXXX)}
[ -x "$qrvload" ] || { echo "no $qrvload; build first" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "needs /usr/bin/time" >&2; exit 1; }
mkdir -p "$work"

# About 16 edges per caller, callers and callees drawn at random: the input
# order has nothing to do with the grouping the loader must produce.
callers=$((edges / 16 + 1))
echo "generating $edges edges in $work/edges.csv ..."
awk -v n="$edges" -v c="$callers" 'BEGIN {
    srand(20261122);
    print "caller,callee,weight";
    for (i = 0; i < n; i++)
        printf "%d,%d,%.3f\n", int(rand() * c) + 1, int(rand() * 1000000000) + 1, rand() * 10;
}' > "$work/edges.csv"
ls -l "$work/edges.csv"

echo "loading with --memory $memory ..."
/usr/bin/time -v "$qrvload" graph "$work/edges.csv" "$work/graph" --memory "$memory" \
    > "$work/load.out" 2> "$work/time.txt" || { cat "$work/load.out" "$work/time.txt" >&2; exit 1; }
cat "$work/load.out"

awk -v n="$edges" -v budget="$memory" '
    /Elapsed \(wall clock\)/ {
        t = $NF; k = split(t, p, ":"); s = 0;
        for (i = 1; i <= k; i++) s = s * 60 + p[i];
    }
    /Maximum resident set size/ { rss = $NF }
    END {
        printf "edges:           %d\n", n;
        printf "wall seconds:    %.2f\n", s;
        printf "edges per second: %.0f\n", (s > 0 ? n / s : 0);
        printf "peak memory:     %.1f MiB (budget %s, limit budget + 100 MiB)\n", rss / 1024, budget;
    }' "$work/time.txt"
echo "(files left in $work; remove with: rm -r $work)"
