#!/usr/bin/env bash
# On a terminal the program writes characters to the console instead of bytes to a file: all of its
# output must show there, whatever characters are in it.
# usage: scripts/lab-exec --host tests/e2e/terminal_test.sh LAB_BINARIES
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/support/terminal.sh"

lab_binaries=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

test_usage_is_shown_to_its_end() {
  local output
  output=$(on_terminal "$lab_binaries/qrvadmin.exe" -findUsers </dev/null)
  expect_line 'qrvadmin -findUsers -p profileName -e email1 email2 ... [-v]' "$output"
  expect_line '        -v      Show verbose output.' "$output"
}

# The name is in the first line; a stream that fails at it would swallow all that follows.
test_characters_beyond_latin_1_are_shown() {
  local output name=$'adm\u00fcn\u4e2d\u03a9'
  cp "$lab_binaries/qrvadmin.exe" "$directory/$name.exe"
  cp "$lab_binaries/mapi32.dll" "$directory"
  output=$(on_terminal "$directory/$name.exe" -findUsers </dev/null)
  expect_line "$name -findUsers -p profileName -e email1 email2 ... [-v]" "$output"
  expect_line '        -v      Show verbose output.' "$output"
}

test_usage_is_shown_to_its_end
test_characters_beyond_latin_1_are_shown
finish
