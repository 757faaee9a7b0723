#!/usr/bin/env bash
# The program must take its MAPI functions from mapi32.dll by ordinal, exactly these: the exports'
# names differ between implementations of MAPI, their numbers do not.
# usage: tests/e2e/import_table_test.sh OBJDUMP PROGRAM.EXE
set -euo pipefail

objdump=$1
program=$2
expected='11 17 19 21 23 75 135 140'

# Prints the ordinal of each import from mapi32.dll, or the name where it is by name.
mapi_imports() {
  local ordinal name
  "$objdump" -p "$program" | awk '
    /DLL Name:/ { inside = tolower($3) == "mapi32.dll"; next }
    NF == 0 { inside = 0 }
    inside && $1 ~ /^[0-9a-f]+$/ { print $2, $3 }' |
    while read -r ordinal name; do
      if [[ $name == '<none>' ]]; then
        printf '%d\n' "$((16#$ordinal))"
      else
        printf '%s\n' "$name"
      fi
    done
}

actual=$(mapi_imports | sort -n | paste -sd ' ')
if [[ $actual != "$expected" ]]; then
  printf 'imports from mapi32.dll:\n  expected %s\n  found    %s\n' "$expected" "$actual"
  exit 1
fi
