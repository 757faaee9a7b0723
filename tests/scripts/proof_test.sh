#!/usr/bin/env bash
# docs/proof.md is of this version, and as `scripts/prove` has written it.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
document=${1:-$root/docs/proof.md}

fail() {
  printf '%s: %s\n' "${document##*/}" "$1" >&2
  exit 1
}

version=$(sed -n 's/^project(qrvadmin VERSION \([^ ]*\).*/\1/p' "$root/CMakeLists.txt")
grep -qF "What was proved of qrvadmin $version, by" "$document" || fail "is not of version $version: run scripts/prove"

# The last two lines are an empty one and the sum of what stands above them.
sum=$(head -n -2 "$document" | sha256sum)
[[ $(tail -n 1 "$document") == "<!-- sha256 ${sum%% *} -->" ]] || fail "was changed by hand: run scripts/prove report"
