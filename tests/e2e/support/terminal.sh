# shellcheck shell=bash
# Sourced by tests that run Windows programs on a pseudo-terminal. Needs a Wine prefix in the
# environment, as `scripts/lab-exec --host` gives it.

failures=0

# Runs a program on a terminal of 250 columns, wide enough for any line, and prints what the terminal
# would show: without control sequences and carriage returns. What comes on standard input is typed.
on_terminal() {
  local command
  printf -v command '%q ' wine "$@"
  script -qec "stty cols 250 rows 50; $command" /dev/null |
    sed -u -e 's/\x1b\[[0-9;?]*[A-Za-z]//g' -e 's/\x1b\][^\x07]*\x07//g' -e 's/\r//g'
}

# Fails the test unless the text `$2` has a line that is exactly `$1`.
expect_line() {
  if ! grep -qxF -- "$1" <<<"$2"; then
    printf 'missing line: %s\nin:\n%s\n' "$1" "$2"
    failures=$((failures + 1))
  fi
}

# Fails the test unless `$1` equals `$2`.
expect_equal() {
  if [[ $1 != "$2" ]]; then
    printf 'expected:\n%s\nbut got:\n%s\n' "$1" "$2"
    failures=$((failures + 1))
  fi
}

# Ends the test script.
finish() {
  if ((failures)); then
    printf '%d failures\n' "$failures"
    exit 1
  fi
}
