#!/usr/bin/env bash
# On a terminal the program writes characters to the console instead of bytes to a file: all of its
# output must show there, whatever characters are in it, under each ANSI code page.
# usage: scripts/lab-exec --host tests/e2e/terminal_test.sh LAB_BINARIES
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/support/terminal.sh"

# A word in the letters of the code page, and one that none of them has.
case ${QRV_LAB_CODE_PAGE:-1252} in
  1251) word=$'\u0438\u0432\u0430\u043d' ;;
  932) word=$'\u30bd\u8868' ;;
  *) word=$'m\u00fcller' ;;
esac
lacking=$'\ud55c\uae00'

lab_binaries=$1
directory=$(mktemp -d)
answered=$directory/answered
folder=Z:${directory//\//\\}
mkdir "$directory/lab"
export QRVLAB_DIR="$folder\\lab"
profile=$word$lacking

labctl() {
  wine "$lab_binaries/labctl.exe" "$@" </dev/null >/dev/null 2>&1
}

drop_profiles() {
  local name
  for name in "$profile" scanned orphans; do labctl drop "$name" || true; done
}

# Profiles may be left of a run that was killed. The desktop is held: one that the program started
# would keep its terminal.
make_installation() {
  drop_profiles
  wine "$lab_binaries/labctl.exe" desktop 120 </dev/null >/dev/null 2>&1 &
  desktop=$!
  labctl root "$profile" bes@example.com "$folder\\bes.qsf"
  labctl secondary "$profile" "$word$lacking@example.com" "$folder\\$word.qsf"
  labctl secondary "$profile" bob@example.com "$folder\\bob.qsf"
  labctl database SRV BES
  labctl server 7 "$word$lacking"
  labctl server 8 this
}

remove_installation() {
  { kill -KILL "$desktop" && wait "$desktop"; } 2>/dev/null || true
  drop_profiles
  wine reg delete 'HKLM\SOFTWARE\Research In Motion' /f </dev/null >/dev/null 2>&1 || true
  wine regsvr32 /s /u "Z:${lab_binaries//\//\\}\\sqloledb.dll" </dev/null >/dev/null 2>&1 || true
  rm -rf "$directory"
}

admin_on_terminal() {
  on_terminal "$lab_binaries/qrvadmin.exe" "$@" </dev/null
}

# Types "y" once the question is there, and again until it is taken: what is typed before the program
# reads is lost.
answer_when_asked() {
  local tries
  for ((tries = 0; tries < 100; tries++)); do
    ! grep -qs 'done\.' "$answered" || break
    ! grep -qs '\[c\]ancel' "$answered" || printf 'y\r' || break
    sleep 0.2
  done
}

test_usage_is_shown_to_its_end() {
  local output
  output=$(admin_on_terminal -findUsers)
  expect_line 'qrvadmin -findUsers -p profileName -e email1 email2 ... [-v]' "$output"
  expect_line '        -v      Show verbose output.' "$output"
}

# The name is in the first line; a stream that fails at it would swallow all that follows.
test_a_program_name_of_any_letters_is_shown() {
  local output name=$'adm\u00fcn\u4e2d\u03a9'$word$lacking
  cp "$lab_binaries/qrvadmin.exe" "$directory/$name.exe"
  cp "$lab_binaries/mapi32.dll" "$directory"
  output=$(on_terminal "$directory/$name.exe" -findUsers </dev/null)
  expect_line "$name -findUsers -p profileName -e email1 email2 ... [-v]" "$output"
  expect_line '        -v      Show verbose output.' "$output"
}

test_the_longest_line_is_shown_whole() {
  local note='NOTE: This command can only check for unused QSFs within the current Windows user'"'"'s MAPI profiles.'
  note+=' Be careful when storing QSFs in a common location which is used by multiple Windows users.'
  expect_line "$note" "$(admin_on_terminal -h -purgeQsf)"
}

test_addresses_and_files_are_shown_with_all_behind_them() {
  local output
  output=$(admin_on_terminal -findUsers -v -p "$profile" -e "$lacking" bob)
  expect_line "Email: $word$lacking@example.com" "$output"
  expect_line "QSF: $word.qsf" "$output"
  expect_line 'Email: bob@example.com' "$output"
  expect_line 'QSF: bob.qsf' "$output"
  expect_line 'Exiting.' "$output"
}

test_profiles_paths_and_the_question_are_shown() {
  local output file="$folder\\$lacking$word.qsf"
  expect_line "No .qsf files associated with [$profile-] profile" \
    "$(admin_on_terminal -scanQsf -p "$profile-")"
  labctl secondary scanned ann@example.com "$file"
  expect_line "scanning $file" "$(admin_on_terminal -scanQsf -p scanned)"
  answer_when_asked | on_terminal "$lab_binaries/qrvadmin.exe" -scanQsf -d scanned >"$answered"
  output=$(<"$answered")
  expect_line "deleting $file" "$output"
  expect_line "Are you sure you want to delete [$file] ([y]es/[n]o/[c]ancel)?" "$output"
  expect_line 'file delete done.' "$output"
  expect_equal no "$([[ -e $directory/$lacking$word.qsf ]] && echo yes || echo no)"
}

test_compacted_stores_are_shown() {
  expect_line "compacting $word$lacking@example.com" \
    "$(admin_on_terminal -compactQsf -p "$profile" -e "$word")"
}

test_servers_are_shown() {
  expect_line "MachineName: $word$lacking" "$(admin_on_terminal -listServers)"
  expect_line "qrvAdminListAgents: Failed to find server '$lacking$(tr a-z A-Z <<<"$word")'" \
    "$(admin_on_terminal -listAgents -s "$lacking$word")"
}

test_orphans_of_an_assignment_are_shown() {
  local output
  labctl orphan orphans "$word$lacking@example.com"
  output=$(admin_on_terminal -assignAgents -e -p orphans)
  expect_line "Serious error: *** Parent store not found for '$word$lacking@example.com' ***" \
    "$output"
  expect_line 'Done' "$output"
}

test_checked_stores_are_shown() {
  local output
  output=$(admin_on_terminal -checkQsf -p "$profile" -e "$word")
  expect_line "Checking store for '$word$lacking@example.com'" "$output"
  expect_line 'Shutting down stores...' "$output"
}

# A profile with a name that the code page lacks would end the command.
test_unused_files_are_shown() {
  local output
  drop_profiles
  labctl root scanned ann@example.com "$folder\\ann.qsf"
  labctl file "$folder\\${word}2.qsf" 0
  labctl file "$folder\\$lacking.qsf" 0
  output=$(admin_on_terminal -purgeQsf)
  expect_line "Unused Qsf: '${word}2.qsf'" "$output"
  expect_line "Deleting: $(tr A-Z a-z <<<"$folder")\\${word}2.qsf" "$output"
  expect_line "Unused Qsf: '??.qsf'" "$output"
}

trap remove_installation EXIT
make_installation
test_usage_is_shown_to_its_end
test_a_program_name_of_any_letters_is_shown
test_the_longest_line_is_shown_whole
test_addresses_and_files_are_shown_with_all_behind_them
test_profiles_paths_and_the_question_are_shown
test_compacted_stores_are_shown
test_servers_are_shown
test_orphans_of_an_assignment_are_shown
test_checked_stores_are_shown
test_unused_files_are_shown
finish
