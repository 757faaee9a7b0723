#!/usr/bin/env bash
# scripts/build in a tree of its own, with a `cmake` that writes down how it was called: what it does
# with a build folder that was left half-made, moved, or configured to let warnings pass.
# usage: tests/scripts/build_test.sh
set -euo pipefail

scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../scripts" && pwd)
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
tree=$place/tree
calls=$place/calls
failures=0
unset QRV_WARNINGS_AS_ERRORS

mkdir -p "$tree/scripts/lib" "$place/bin"
cp "$scripts/build" "$tree/scripts"
cp "$scripts/lib/common.sh" "$tree/scripts/lib"
ln -s "$(type -P true)" "$tree/scripts/setup"
export PATH=$place/bin:$PATH calls

# Leaves what CMake leaves: the last of several settings counts, and the option is off by itself.
cat >"$place/bin/cmake" <<'END'
#!/usr/bin/env bash
printf '%s\n' "$*" >>"$calls"
[[ ${broken:-} != "$1" ]] || exit 1
[[ $1 != --build ]] || exit 0
mkdir -p build/release
touch build/release/build.ninja
printf '%s\n' "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "QRV_WARNINGS_AS_ERRORS:BOOL=OFF" |
  if [[ $* == *-DQRV_WARNINGS_AS_ERRORS=ON* ]]; then sed 's/OFF$/ON/'; else cat; fi \
    >build/release/CMakeCache.txt
END
chmod +x "$place/bin/cmake"

# Builds, and compares the calls with those given.
expect_calls() {
  local what=$1
  : >"$calls"
  "$tree/scripts/build" 2>/dev/null || true
  diff <(printf '%s\n' "${@:2}") "$calls" || fail "$what"
}

# Builds, and looks for the advice on standard error.
expect_advice() {
  local said
  if said=$(broken=$2 "$tree/scripts/build" 2>&1); then fail "$1: success"; fi
  [[ $said == *'remove build/release and try again'* ]] || fail "$1: $said"
}

fail() {
  printf 'FAILED: %s\n' "$1"
  failures=$((failures + 1))
}

fresh='--fresh --preset release'
build='--build --preset release'

expect_calls 'a folder that is not there' "$fresh" "$build"
expect_calls 'a folder that is as it should be' "$build"
rm "$tree/build/release/CMakeCache.txt"
expect_calls 'a folder whose cache is gone' "$fresh" "$build"
rm "$tree/build/release/build.ninja"
expect_calls 'a folder that was never configured to the end' "$fresh" "$build"
mv "$tree" "$tree-moved"
tree+=-moved
expect_calls 'a folder that was moved' "$fresh" "$build"
ln -s "$tree" "$place/link"
tree=$place/link expect_calls 'a folder that is reached by a link' "$build"
QRV_WARNINGS_AS_ERRORS=ON expect_calls 'warnings that passed are to stop the build' \
  "$fresh -DQRV_WARNINGS_AS_ERRORS=ON" "$build"
expect_calls 'warnings that stop the build go on doing so' "$build"
expect_advice 'a build that fails' --build
rm "$tree/build/release/build.ninja"
expect_advice 'a configuration that fails' --fresh
((!failures))
