#!/bin/bash
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for N
# seconds (first argument, default 60) on its seed corpus, printing the
# executions and findings of every target. Findings (crash inputs) are kept
# in build-fuzz/fuzz/findings/<target>/, the grown corpus in
# build-fuzz/fuzz/work/<target>/.
set -u
seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-fuzz
# Every fuzz/fuzz_<name>.cpp is a target.
targets=$(cd "$root/fuzz" && ls fuzz_*.cpp | sed 's/^fuzz_//; s/\.cpp$//')

if ! command -v clang++ >/dev/null 2>&1; then
  echo "fuzz: clang++ not found; skipped"
  exit 0
fi
probe=$(mktemp -d)
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char *, unsigned long) { return 0; }' >"$probe/t.cpp"
if ! clang++ -fsanitize=fuzzer,address,undefined "$probe/t.cpp" -o "$probe/t" >/dev/null 2>&1; then
  rm -rf "$probe"
  echo "fuzz: the libFuzzer runtime of clang is missing; skipped"
  exit 0
fi
rm -rf "$probe"

cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVK_FUZZ=ON -DVK_BENCH=OFF >/dev/null || exit 1
cmake --build "$build" -j2 --target fuzz_corpus $(for t in $targets; do echo "fuzz_$t"; done) >/dev/null || {
  echo "fuzz: build failed"
  exit 1
}

total=0
executions=0
for t in $targets; do
  work=$build/fuzz/work/$t
  findings=$build/fuzz/findings/$t
  log=$build/fuzz/$t.log
  rm -rf "$findings"
  mkdir -p "$work" "$findings"
  # Generated seeds, committed seeds, or both.
  seeds=""
  for d in "$build/fuzz/corpus/$t" "$root/fuzz/seeds/$t"; do
    [ -d "$d" ] && seeds="$seeds $d"
  done
  "$build/fuzz/fuzz_$t" "$work" $seeds -max_total_time="$seconds" -rss_limit_mb=1024 \
    -artifact_prefix="$findings/" -print_final_stats=1 >"$log" 2>&1
  status=$?
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | tail -1 | grep -o '[0-9]*$')
  found=$(find "$findings" -type f | wc -l)
  # A run that ended badly without leaving an input counts as one finding.
  [ "$status" -ne 0 ] && [ "$found" -eq 0 ] && found=1
  total=$((total + found))
  executions=$((executions + ${execs:-0}))
  echo "fuzz_$t: ${execs:-?} executions in ${seconds}s, corpus $(ls "$work" | wc -l) inputs, $found findings (exit $status, log $log)"
done
echo "fuzz: $executions executions in all, $total findings"
[ "$total" -eq 0 ]
