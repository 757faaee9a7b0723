# shellcheck shell=bash
# Sourced by the scripts: where things lie and how a script speaks.

repo_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build_root=$repo_root/build

# Says what a long step does, on standard error so that a program's own output stays pure.
step() {
  printf '==> %s\n' "$*" >&2
}

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}
