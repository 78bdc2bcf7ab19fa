#!/usr/bin/env bash
# Fuzzes the readers of foreign bytes and prints what came of it.
#
#   tools/fuzz.sh [seconds for each target, 60] [target...]
#   tools/fuzz.sh --runs N [target...]
#   tools/fuzz.sh --full [target...]
#
# A full run gives pure parsers ten million short inputs each and those with files, sockets or state
# one million; the other two give inputs of up to 4 KB. A target is the name of a file in tests/fuzz
# without "_fuzz.cc"; without one all are run. An input that breaks a law, crashes or hangs is kept
# in build-fuzz/findings/ beside what the target said of it; the status is then 1. WK_BUILD_FUZZ
# names another build directory, WK_FUZZ_JOBS how many targets run at a time (2).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${WK_BUILD_FUZZ:-$PWD/build-fuzz}
findings=$build/findings

# Each target, the millions of a full run and its longest input in bytes, the slowest first.
table=(
  config_profile:10:384 feed_links:10:256 url_filter:1:256 admin_request:1:512
  http_response:1:512 url_split:10:256 flash_links:10:256 script_links:10:256 cookie:10:256
  robots:10:256 html_links:10:256 url_entities:10:256 page_text:10:256 url_resolve:10:256
  cookie_date:10:64 pipeline_reply:1:64 flatsite_reader:1:512 plugin_reply:1:128
)

for source in tests/fuzz/*_fuzz.cc; do
  if [[ " ${table[*]}" != *" $(basename "$source" _fuzz.cc):"* ]]; then
    echo "the table lacks $source" >&2
    exit 2
  fi
done

limit=-max_total_time=60
if [ "${1:-}" = --full ]; then
  limit=full
  shift
elif [ "${1:-}" = --runs ]; then
  limit=-runs=${2:?how many runs?}
  shift 2
elif [[ ${1:-} =~ ^[0-9]+$ ]]; then
  limit=-max_total_time=$1
  shift
fi
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then targets=("${table[@]%%:*}"); fi

cmake --preset fuzz -B "$build" >/dev/null
cmake --build "$build" -j 2 --target "${targets[@]/%/_fuzz}" >&2
mkdir -p "$findings"
root=/tmp
if [ -w /dev/shm ]; then root=/dev/shm; fi
work=$(mktemp -d "$root/wk_fuzz_XXXXXX")
trap 'rm -rf "$work"' EXIT

# Turns each line of a seed file, which is one input with C escapes, into a file.
write_seeds() {
  local number=0 line
  while IFS= read -r line; do
    printf '%b' "$line" >"$2/seed-$((++number))"
  done <"$1"
}

run_target() {
  local target=$1 corpus=$work/$1/corpus log=$work/$1/log options=()
  local program=$build/tests/fuzz/${target}_fuzz seeds=tests/fuzz/seeds/$target row millions max_len
  row=$(printf '%s\n' "${table[@]}" | grep "^$target:")
  IFS=: read -r _ millions max_len <<<"$row"
  if [ "$limit" != full ]; then max_len=4096; fi
  mkdir -p "$corpus" "$work/$target/temp"
  if [ -f "$seeds.txt" ]; then write_seeds "$seeds.txt" "$corpus"; fi
  if [ -f "$seeds.dict" ]; then options+=(-dict="$seeds.dict"); fi
  # The program's own messages, many for each second, go nowhere. Freed memory is kept from being
  # given out again for some hundred inputs, which is long enough to catch who still uses it.
  ASAN_OPTIONS=malloc_context_size=2:quarantine_size_mb=16 TMPDIR=$work/$target/temp \
    "$program" "${limit/full/-runs=${millions}000000}" -max_len="$max_len" -timeout=25 \
    -rss_limit_mb=2560 -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$findings/$target-" \
    "${options[@]}" "$corpus" >"$log" 2>&1 || true
  local kept nb_findings=0 runs rate
  kept=$(sed -n 's/.*Test unit written to //p' "$log")
  if [ -n "$kept" ]; then
    nb_findings=1
    # Once more with its messages, for the broken law among them.
    (TMPDIR=$work/$target/temp timeout 60 "$program" "$kept" 2>&1 || true) | tail -c 20000 >"$kept.txt"
  elif ! grep -q '^Done ' "$log"; then
    nb_findings=1
    cp "$log" "$findings/$target.log"
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  printf '%-20s %12s %10s %9s\n' "$target" "${runs:-?}" "${rate:-?}" "$nb_findings" \
    >"$work/$target/row"
  cat "$work/$target/row"
}

printf '%-20s %12s %10s %9s\n' target executions exec/s findings
for target in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "${WK_FUZZ_JOBS:-2}" ]; do wait -n; done
  run_target "$target" &
done
wait
cat "$work"/*/row >"$work/rows"
awk '{ runs += $2; found += $4 } END { printf "%-20s %12d %10s %9d\n", "in all", runs, "", found }' \
  "$work/rows"
if awk '$4 != 0 { found = 1 } END { exit !found }' "$work/rows"; then
  echo "findings are kept in $findings"
  exit 1
fi
