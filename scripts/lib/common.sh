# shellcheck shell=bash
# Sourced by the scripts: where things lie and how a script speaks.

repo_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
build_root=$repo_root/build

# Says what a long step does, on standard error so that a program's own output stays pure.
step() {
  printf '==> %s\n' "$*" >&2
}

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# Whether the folder of the preset `$1` was configured to its end, from this place, and as strictly as
# QRV_WARNINGS_AS_ERRORS asks.
is_configured() {
  local cache=$build_root/$1/CMakeCache.txt
  [[ -f $build_root/$1/build.ninja ]] &&
    grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$repo_root" "$cache" 2>/dev/null &&
    { [[ -z ${QRV_WARNINGS_AS_ERRORS:-} ]] ||
      grep -qxF "QRV_WARNINGS_AS_ERRORS:BOOL=$QRV_WARNINGS_AS_ERRORS" "$cache"; }
}

# What is left of a configuration that is none is of no use: it is made from nothing.
configure() {
  is_configured "$1" && return
  step "configuring $1"
  cmake --fresh --preset "$1" ${QRV_WARNINGS_AS_ERRORS:+"-DQRV_WARNINGS_AS_ERRORS=$QRV_WARNINGS_AS_ERRORS"} \
    >/dev/null || die "configuring $1 failed; when it is not the sources, remove build/$1 and try again"
}
