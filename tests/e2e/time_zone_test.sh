#!/usr/bin/env bash
# -purgeQsf shows last access times in local time, by the offset that holds today: a winter's and a
# summer's time are moved alike. The log of an unattended run has local time and its offset.
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

# The day, the hour and the offset of the time in the time zone `$1`: as a log's first line has them,
# and as this machine has them.
logged_in() {
  rm -f "$directory/night.log"
  TZ=$1 wine "$lab_binaries/qrvrun.exe" -log "Z:${directory//\//\\}\\night.log" -purgeQsf >/dev/null
  sed -nE '1s/^([-0-9]+T[0-9]{2}):[0-9:.]+([+-][0-9]{2}:[0-9]{2}) .*/\1 \2/p' "$directory/night.log"
}
hour_in() {
  TZ=$1 date +'%Y-%m-%dT%H %:z'
}

# The hour may end meanwhile.
test_a_log_has_local_time_and_its_offset() {
  local zone before logged
  for zone in UTC Asia/Kolkata Pacific/Honolulu Europe/Berlin; do
    before=$(hour_in "$zone")
    logged=$(logged_in "$zone")
    [[ $logged == "$before" ]] || expect_equal "$(hour_in "$zone")" "$logged"
  done
  [[ $(logged_in Asia/Kolkata) == *' +05:30' ]] || expect_equal '+05:30' "$(logged_in Asia/Kolkata)"
  [[ $(logged_in Pacific/Honolulu) == *' -10:00' ]] ||
    expect_equal '-10:00' "$(logged_in Pacific/Honolulu)"
}

make_installation
test_utc
test_a_zone_without_daylight_saving
test_both_times_move_by_the_offset_of_today
test_a_log_has_local_time_and_its_offset
labctl drop Main
finish
