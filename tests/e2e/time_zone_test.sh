#!/usr/bin/env bash
# -purgeQsf shows last access times in local time, by the offset that holds today: a winter's and a
# summer's time are moved alike.
# usage: scripts/lab-exec --host tests/e2e/time_zone_test.sh LAB_BINARIES
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/support/terminal.sh"

lab_binaries=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

labctl() {
  wine "$lab_binaries/labctl.exe" "$@" >/dev/null
}

# Two unused files, last read in winter and in summer.
make_installation() {
  local folder="Z:${directory//\//\\}"
  labctl secondary Main ann@example.com "$folder\\ann.qsf"
  labctl file "$folder\\summer.qsf" 0
  labctl file "$folder\\winter.qsf" 0
  labctl accessed "$folder\\summer.qsf" "2023-07-31 20:10:30"
  labctl accessed "$folder\\winter.qsf" "2024-01-31 20:10:30"
}

# What is shown of the summer's and the winter's file in the time zone `$1`, one line each.
shown_in() {
  TZ=$1 wine "$lab_binaries/qrvadmin.exe" -purgeQsf | tr -d '\r' |
    sed -n 's/^Last access time: //p' | sort
}

test_utc() {
  expect_equal $'2023-07-31 20:10:30\n2024-01-31 20:10:30' "$(shown_in UTC)"
}

test_a_zone_without_daylight_saving() {
  expect_equal $'2023-08-01 01:40:30\n2024-02-01 01:40:30' "$(shown_in Asia/Kolkata)"
  expect_equal $'2023-07-31 10:10:30\n2024-01-31 10:10:30' "$(shown_in Pacific/Honolulu)"
}

# Which of the two offsets it is depends on the day of the test.
test_both_times_move_by_the_offset_of_today() {
  local offset
  case $(TZ=Europe/Berlin date +%z) in
    +0100) offset=21 ;;
    *) offset=22 ;;
  esac
  expect_equal "2023-07-31 $offset:10:30
2024-01-31 $offset:10:30" "$(shown_in Europe/Berlin)"
}

make_installation
test_utc
test_a_zone_without_daylight_saving
test_both_times_move_by_the_offset_of_today
labctl drop Main
finish
