// What -purgeQsf prints, as its tests write and compare it.
#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/files.h"
#include "lab/common/text.h"
#include "tests/e2e/support/output.h"

namespace e2e {

inline constexpr char kNothingUnused[] = "No unused QSFs found";
inline constexpr std::string_view kDeleting = "Deleting: ";

// How many minutes local time is behind UTC at the moment.
inline int64_t BiasOfToday() {
  TIME_ZONE_INFORMATION zone = {};
  switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_DAYLIGHT:
      return zone.Bias + zone.DaylightBias;
    case TIME_ZONE_ID_STANDARD:
      return zone.Bias + zone.StandardBias;
    default:
      return zone.Bias;
  }
}

// `time` as the listing shows it: in local time, by the rule that holds today.
inline std::string LocalTimeText(const lab::UtcTime& time) {
  using namespace std::chrono;
  const sys_days utcDay = year(time.year) / month(time.month) / day(time.day);
  const sys_seconds local =
      utcDay + hours(time.hour) + minutes(time.minute - BiasOfToday()) + seconds(time.second);
  const sys_days localDay = floor<days>(local);
  const year_month_day date(localDay);
  const hh_mm_ss clock(local - localDay);
  const auto narrow = [](auto number) { return static_cast<uint16_t>(number); };
  return lab::FormatUtcTime(
      {narrow(static_cast<int>(date.year())), narrow(static_cast<unsigned>(date.month())),
       narrow(static_cast<unsigned>(date.day())), narrow(clock.hours().count()),
       narrow(clock.minutes().count()), narrow(clock.seconds().count())});
}

// What is listed of one unused file.
struct UnusedFile {
  std::string name;
  int64_t kilobytes = 0;
  std::string lastAccess;
  Strings deleted;  // whole paths
};

inline std::string Block(const UnusedFile& file) {
  Strings lines = {"Unused Qsf: '" + file.name + "'",
                   "Size: " + std::to_string(file.kilobytes) + " KB",
                   "Last access time: " + file.lastAccess};
  for (const std::string& path : file.deleted) lines.push_back(std::string(kDeleting) + path);
  lines.push_back(" ");
  return Text(lines);
}

// `output` with each row of "Deleting:" lines in byte order: a folder's order is nobody's promise.
inline std::string SortDeleting(std::string_view output) {
  Strings lines = Lines(output);
  const auto isDeleting = [](const std::string& line) { return line.starts_with(kDeleting); };
  for (auto first = lines.begin(); first != lines.end();) {
    const auto last = std::find_if_not(first, lines.end(), isDeleting);
    std::sort(first, last);
    first = last == lines.end() ? last : last + 1;
  }
  return Text(lines);
}

// The output cut behind each separator line, in byte order, for several unused files of one folder.
inline Strings SortedBlocks(std::string_view output) {
  Strings blocks(1);
  for (const std::string& line : Lines(SortDeleting(output))) {
    blocks.back() += Text({line});
    if (line == " ") blocks.emplace_back();
  }
  if (blocks.back().empty()) blocks.pop_back();
  std::sort(blocks.begin(), blocks.end());
  return blocks;
}

}  // namespace e2e
