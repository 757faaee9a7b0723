#!/usr/bin/env bash
# qrvrun on a terminal: its lines and the tool's are shown there, those too that come after the Ctrl+C
# it has sent the tool, and nobody else on the terminal gets that one.
# usage: scripts/lab-exec --host tests/e2e/run_terminal_test.sh LAB_BINARIES
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/support/terminal.sh"

lab_binaries=$1
directory=$(mktemp -d)
folder=Z:${directory//\//\\}
log=$directory/run.log
address=$'m\u00fcller\ud55c\uae00@example.com'
mkdir "$directory/lab"
export QRVLAB_DIR="$folder\\lab"

labctl() {
  wine "$lab_binaries/labctl.exe" "$@" </dev/null >/dev/null 2>&1
}

make_installation() {
  labctl drop Main || true
  labctl root Main "$address" "$folder\\bes.qsf"
}

remove_installation() {
  labctl drop Main || true
  rm -rf "$directory"
}

# A batch file as an administrator has it, with the line `$1`.
write_batch() {
  printf '@echo off\r\n%s\r\necho code %%errorlevel%%, goes on\r\n' "$1" >"$directory/night.cmd"
}

test_a_batch_file_goes_on_after_the_time_ran_out() {
  local output line
  write_batch "\"Z:${lab_binaries//\//\\}\\qrvrun.exe\" -timeout 0.1 -checkQsf -p Main"
  output=$(on_terminal cmd /c "$folder\\night.cmd" </dev/null) || true
  for line in "Checking store for '$address'" '*User Break' 'All stores are OK' 'Done' \
    'qrvrun: exit code 3, time ran out' 'code 3, goes on'; do
    expect_line "$line" "$output"
  done
}

# Types Ctrl+C when the tool has begun with a store.
press_ctrl_c() {
  local tries
  for ((tries = 0; tries < 300; tries++)); do
    ! grep -qs 'Checking store' "$log" || break
    sleep 0.1
  done
  printf '\003'
  # The terminal ends with its input.
  for ((tries = 0; tries < 300; tries++)); do
    ! grep -qs 'exit code' "$log" || break
    sleep 0.1
  done
}

# Here qrvrun is alone on its console, and cannot come back to it: Wine makes none on a terminal that is
# there already. The log has all.
test_ctrl_c_reaches_the_tool_once() {
  press_ctrl_c | on_terminal "$lab_binaries/qrvrun.exe" -log "$folder\\run.log" \
    -checkQsf -p Main >/dev/null || true
  expect_equal 1 "$(grep -c '\*User Break' "$log")"
  expect_equal 1 "$(grep -c 'All stores are OK' "$log")"
  expect_equal 1 "$(grep -c 'qrvrun: exit code 4, Ctrl+C' "$log")"
}

trap remove_installation EXIT
make_installation
test_a_batch_file_goes_on_after_the_time_ran_out
test_ctrl_c_reaches_the_tool_once
finish
