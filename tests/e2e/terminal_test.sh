#!/usr/bin/env bash
# On a terminal the program writes characters to the console instead of bytes to a file: all of its
# output must show there, whatever characters are in it.
# usage: scripts/lab-exec --host tests/e2e/terminal_test.sh LAB_BINARIES
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/support/terminal.sh"

lab_binaries=$1
directory=$(mktemp -d)
profile=$'\u00dcser\u4e2d'
trap 'labctl drop "$profile" || true; rm -rf "$directory"' EXIT

labctl() {
  wine "$lab_binaries/labctl.exe" "$@" </dev/null >/dev/null 2>&1
}

admin_on_terminal() {
  on_terminal "$lab_binaries/qrvadmin.exe" "$@" </dev/null
}

test_usage_is_shown_to_its_end() {
  local output
  output=$(admin_on_terminal -findUsers)
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

test_a_profile_of_any_letters_is_shown() {
  expect_line "No .qsf files associated with [$profile] profile" \
    "$(admin_on_terminal -scanQsf -p "$profile")"
}

test_addresses_of_any_letters_are_shown_with_all_behind_them() {
  local output folder=Z:${directory//\//\\}
  labctl secondary "$profile" $'\u0436\u4e2d@example.com' "$folder\\one.qsf"
  labctl secondary "$profile" 'bob@example.com' "$folder\\two.qsf"
  output=$(admin_on_terminal -findUsers -v -p "$profile" -e $'\u4e2d' bob)
  expect_line $'Email: \u0436\u4e2d@example.com' "$output"
  expect_line 'QSF: one.qsf' "$output"
  expect_line 'Email: bob@example.com' "$output"
  expect_line 'QSF: two.qsf' "$output"
  expect_line 'Exiting.' "$output"
}

test_the_longest_line_is_shown_whole() {
  local note='NOTE: This command can only check for unused QSFs within the current Windows user'"'"'s MAPI profiles.'
  note+=' Be careful when storing QSFs in a common location which is used by multiple Windows users.'
  expect_line "$note" "$(admin_on_terminal -h -purgeQsf)"
}

test_usage_is_shown_to_its_end
test_characters_beyond_latin_1_are_shown
test_a_profile_of_any_letters_is_shown
test_addresses_of_any_letters_are_shown_with_all_behind_them
test_the_longest_line_is_shown_whole
finish
