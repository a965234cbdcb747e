#!/usr/bin/env bash
# Fuzzes every parser of outside input with libFuzzer, on all cores.
#
#   scripts/fuzz.sh [--save-corpus] [MINUTES] [TARGET...]
#
# MINUTES (default 60; decimals allowed) is the time in all, shared equally
# by the targets run: an hour gives each of the five targets 12 minutes.
# TARGETs are among: database sql plist_xml plist_binary preferences (all
# by default). Each target runs with -fork=<cores>, starting from its corpus
# in fuzz/corpus/<target>/ and the findings kept under tests/, and adds what
# it finds to a working corpus in build/fuzz/runs/<target>/ that later runs
# start from too. --save-corpus then merges that back, minimised, into
# fuzz/corpus/<target>/.
#
# At the end a table gives each target's time, executions, the coverage of
# its working corpus (edges and features, as libFuzzer counts them), the
# size of that corpus and its findings. Every finding - a crash, sanitizer report, failed
# check, leak, timeout or runaway memory - is copied under its libFuzzer
# name (crash-<sha1>, ...) into the target's folder of findings, which the
# ordinary tests replay; the script then exits with status 1.
set -euo pipefail
cd "$(dirname "$0")/.."

all_targets=(database sql plist_xml plist_binary preferences)
declare -A findings_dir=(
  [database]=tests/sqlite2/hostile
  [sql]=tests/sqlite2/hostile_sql
  [plist_xml]=tests/platform/hostile_plists
  [plist_binary]=tests/platform/hostile_plists
  [preferences]=tests/platform/hostile_preferences
)
# Long enough for every structure the parser knows, short enough to keep
# the corpus small and each run quick.
declare -A max_len=([database]=16384 [sql]=1024 [plist_xml]=8192 [plist_binary]=4096
  [preferences]=8192)
declare -A dictionary=([database]=fuzz/database.dict [sql]=fuzz/sql.dict [plist_xml]=fuzz/plist_xml.dict
  [plist_binary]=fuzz/plist_binary.dict [preferences]=fuzz/plist_xml.dict)

usage() {
  awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0" >&2
  exit 2
}

save_corpus=false
minutes=60
targets=()
for arg in "$@"; do
  case $arg in
    --save-corpus) save_corpus=true ;;
    -h | --help) usage ;;
    *[!0-9.]* | '') [[ -v "findings_dir[$arg]" ]] || usage; targets+=("$arg") ;;
    *) minutes=$arg ;;
  esac
done
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")
seconds=$(awk -v m="$minutes" -v n=${#targets[@]} 'BEGIN { s = int(m * 60 / n); print s < 1 ? 1 : s }')
cores=$(nproc)

bash scripts/install-deps.sh
build=build/fuzz
echo "=== $build"
CC=clang CXX=clang++ cmake -S . -B $build -DQBFA_WERROR=ON -DQBFA_BUILD_FUZZ=ON >/dev/null
cmake --build $build -j"$cores" --target "${targets[@]/%/_fuzzer}"

# The checks write their files in a scratch folder per process: in memory
# where possible, since a file rewritten on disk for every input costs more
# than the parsing.
scratch_parent=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch_parent=/dev/shm
scratch=$(mktemp -d "$scratch_parent/qbfa-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

rows=()
new_findings=()
total_found=0
for target in "${targets[@]}"; do
  fuzzer=$build/fuzz/${target}_fuzzer
  run=$build/runs/$target
  rm -rf "$run/artifacts"
  mkdir -p "$run/corpus" "$run/artifacts" "${findings_dir[$target]}"
  limits=(-max_len="${max_len[$target]}" -timeout=10 -rss_limit_mb=2048)
  echo "=== $target: $seconds s on $cores cores, log in $run/log"
  started=$SECONDS
  # Fork mode goes on after a crash, collecting every finding of the run.
  # The working corpus comes first: libFuzzer adds what it finds there.
  TMPDIR=$scratch "$fuzzer" -fork="$cores" -ignore_crashes=1 -max_total_time="$seconds" \
    "${limits[@]}" -dict="${dictionary[$target]}" -artifact_prefix="$run/artifacts/" \
    "$run/corpus" "fuzz/corpus/$target" "${findings_dir[$target]}" >"$run/log" 2>&1 || true
  elapsed=$((SECONDS - started > 0 ? SECONDS - started : 1))

  # Executions from fork mode's last progress line, "#<runs>: cov: ...".
  runs=$(grep -E '^#[0-9]+: cov:' "$run/log" | tail -1 | sed -E 's/^#([0-9]+):.*/\1/')
  # Its coverage figures mix edges and features, so the corpus the run
  # leaves is read once more on its own: "INITED cov: <edges> ft:
  # <features> corp: <inputs>/<size> ...".
  read -r cov ft corp < <(TMPDIR=$scratch "$fuzzer" -runs=0 "${limits[@]}" "$run/corpus" 2>&1 |
    awk '/INITED/ { split($8, c, "/"); print $4, $6, c[1] }') || true
  found=0
  for artifact in "$run"/artifacts/{crash,leak,timeout,oom}-*; do
    [ -e "$artifact" ] || continue
    found=$((found + 1))
    kept=${findings_dir[$target]}/$(basename "$artifact")
    if [ ! -e "$kept" ]; then
      cp "$artifact" "$kept"
      new_findings+=("$kept")
    fi
  done
  total_found=$((total_found + found))
  rows+=("$target $elapsed ${runs:--} $((${runs:-0} / elapsed)) ${cov:--} ${ft:--} ${corp:--} $found")

  if $save_corpus; then
    merged=$run/merged
    rm -rf "$merged" && mkdir -p "$merged"
    # Edges alone, not how often each runs: the smallest set of inputs that
    # reaches all the code any of them reaches, which keeps the tree small.
    if TMPDIR=$scratch "$fuzzer" -merge=1 -use_counters=0 "${limits[@]}" "$merged" \
      "fuzz/corpus/$target" "$run/corpus" >"$run/merge.log" 2>&1; then
      rm -rf "fuzz/corpus/$target" && mv "$merged" "fuzz/corpus/$target"
    else
      echo "merge failed (see $run/merge.log): fuzz/corpus/$target left as it was"
    fi
  fi
done

echo
format='%-13s %8s %12s %8s %9s %9s %7s %9s\n'
# shellcheck disable=SC2059 # the format is the table's
printf "$format" target seconds executions exec/s coverage features corpus findings
for row in "${rows[@]}"; do
  # shellcheck disable=SC2059,SC2086 # one word per column
  printf "$format" $row
done
if [ $total_found -gt 0 ]; then
  echo
  echo "$total_found findings; new regression files (the tests replay them):"
  for f in "${new_findings[@]}"; do echo "  $f"; done
  exit 1
fi
