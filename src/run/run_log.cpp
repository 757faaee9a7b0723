#include "src/run/run_log.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "src/platform/text.h"

namespace {

std::int64_t Ticks(const FILETIME& time) {
  return static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
}

}  // namespace

std::wstring LocalTimeText(const FILETIME& utc) {
  SYSTEMTIME utcTime = {};
  SYSTEMTIME time = {};
  FILETIME local = {};
  FileTimeToSystemTime(&utc, &utcTime);
  SystemTimeToTzSpecificLocalTime(nullptr, &utcTime, &time);
  SystemTimeToFileTime(&time, &local);
  // The times of day have milliseconds only, and so the difference is off by less than one.
  constexpr std::int64_t kTicksPerMinute = 600'000'000;
  const double minutes = static_cast<double>(Ticks(local) - Ticks(utc)) / kTicksPerMinute;
  const int offset = static_cast<int>(std::lround(minutes));

  std::array<wchar_t, 40> text = {};
  _snwprintf_s(text.data(), text.size(), _TRUNCATE,
               L"%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02d:%02d", time.wYear, time.wMonth, time.wDay,
               time.wHour, time.wMinute, time.wSecond, time.wMilliseconds, offset < 0 ? L'-' : L'+',
               std::abs(offset) / 60, std::abs(offset) % 60);
  return text.data();
}

DWORD RunLog::Open(const std::wstring& path) {
  file_ = platform::TakeFileHandle(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file_ ? ERROR_SUCCESS : GetLastError();
}

void RunLog::Write(std::wstring_view line) {
  if (!file_ || error_ != ERROR_SUCCESS) return;
  FILETIME now = {};
  GetSystemTimeAsFileTime(&now);
  const std::wstring text = LocalTimeText(now).append(L" ").append(line).append(L"\r\n");
  // In one piece, so that lines of two runs never mix.
  const std::string bytes = platform::ToCodePage(text, CP_UTF8).value_or("");
  DWORD written = 0;
  if (!WriteFile(file_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    error_ = GetLastError();
  } else if (written != bytes.size()) {
    error_ = ERROR_DISK_FULL;
  }
}
