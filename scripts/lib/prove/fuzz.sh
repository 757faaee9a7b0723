#!/usr/bin/env bash
# Builds the fuzz targets for this machine and runs each for a time; prints a line "TARGET RUNS EDGES"
# for each. What it finds stays in BUILD_DIR/findings, and the exit code tells of it.
# usage: scripts/lib/prove/fuzz.sh BUILD_DIR SECONDS_PER_TARGET SEED [TARGET]...     (default: all)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

(($# >= 3)) || die "usage: fuzz.sh BUILD_DIR SECONDS_PER_TARGET SEED [TARGET]..."
build_dir=$1 seconds=$2 seed=$3
targets=("${@:4}")
sources=$repo_root/tests/fuzz

build_targets() {
  step "building the fuzz targets"
  cmake -G Ninja -DCMAKE_CXX_COMPILER=clang++ -S "$sources" -B "$build_dir" >/dev/null &&
    cmake --build "$build_dir" ${targets:+--target "${targets[@]}"} >&2 ||
    die "the fuzz targets cannot be built; scripts/setup check prove installs what it takes"
}

# Runs one target on its regression inputs, on what earlier runs have kept, and on what it thinks of.
run_target() {
  local name=$1 log=$build_dir/logs/$1.log runs edges status=0
  mkdir -p "$build_dir/corpus/$name"
  "$build_dir/$name" -max_total_time="$seconds" -seed="$seed" -timeout=60 -rss_limit_mb=4096 \
    -print_final_stats=1 -artifact_prefix="$build_dir/findings/$name-" "$build_dir/corpus/$name" \
    "$sources/corpus/$name" >"$log" 2>&1 </dev/null || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  edges=$(grep -oE ' cov: [0-9]+' "$log" | tail -n 1 | grep -oE '[0-9]+') || true
  printf '%s %s %s\n' "$name" "${runs:-0}" "${edges:-0}"
  ((status == 0)) || tail -n 60 "$log" >&2
  return "$status"
}

build_targets
mkdir -p "$build_dir/logs" "$build_dir/findings"
((${#targets[@]})) || mapfile -t targets < <(cd "$sources" && printf '%s\n' *_fuzz.cpp | sed 's/\.cpp$//')
export -f run_target
export build_dir seconds seed sources
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run_target {}' ||
  die "findings: $(ls "$build_dir/findings")"
