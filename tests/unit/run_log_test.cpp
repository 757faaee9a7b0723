#include "src/run/run_log.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "tests/e2e/support/temp_directory.h"

namespace {

constexpr std::int64_t kTicksPerMillisecond = 10'000;
constexpr std::int64_t kTicksPerMinute = 60'000 * kTicksPerMillisecond;

std::int64_t Ticks(const FILETIME& time) {
  return (static_cast<std::int64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

FILETIME FileTime(std::int64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

FILETIME FileTime(const SYSTEMTIME& time) {
  FILETIME result = {};
  EXPECT_TRUE(SystemTimeToFileTime(&time, &result));
  return result;
}

FILETIME Moment(WORD year, WORD month, WORD day, WORD hour) {
  SYSTEMTIME time = {};
  time.wYear = year;
  time.wMonth = month;
  time.wDay = day;
  time.wHour = hour;
  return FileTime(time);
}

// The parts of a time as the log has it.
struct LogTime {
  SYSTEMTIME local = {};
  int offsetMinutes = 0;
};

LogTime Parse(const std::wstring& text) {
  static const std::wregex kForm(
      L"(\\d{4})-(\\d\\d)-(\\d\\d)T(\\d\\d):(\\d\\d):(\\d\\d)\\.(\\d{3})([+-])(\\d\\d):(\\d\\d)");
  std::wsmatch match;
  if (!std::regex_match(text, match, kForm)) {
    ADD_FAILURE() << ::testing::PrintToString(text);
    return {};
  }
  const auto number = [&](size_t group) { return static_cast<WORD>(std::stoi(match.str(group))); };
  LogTime time;
  time.local.wYear = number(1);
  time.local.wMonth = number(2);
  time.local.wDay = number(3);
  time.local.wHour = number(4);
  time.local.wMinute = number(5);
  time.local.wSecond = number(6);
  time.local.wMilliseconds = number(7);
  time.offsetMinutes = (match.str(8) == L"-" ? -1 : 1) * (number(9) * 60 + number(10));
  return time;
}

// The moment that a time of the log stands for.
std::int64_t TicksOf(const LogTime& time) {
  return Ticks(FileTime(time.local)) - time.offsetMinutes * kTicksPerMinute;
}

TEST(LocalTimeText, StandsForTheMomentItWasMadeOf) {
  for (const WORD year : {WORD{1999}, WORD{2024}, WORD{2026}, WORD{2040}}) {
    for (WORD month = 1; month <= 12; ++month) {
      for (const WORD hour : {WORD{0}, WORD{1}, WORD{12}, WORD{23}}) {
        const FILETIME moment = Moment(year, month, 15, hour);
        EXPECT_EQ(TicksOf(Parse(LocalTimeText(moment))), Ticks(moment)) << year << ' ' << month;
      }
    }
  }
}

TEST(LocalTimeText, ShowsTheTimeOfTheSystemsZone) {
  for (const WORD month : {WORD{1}, WORD{7}}) {
    const FILETIME moment = Moment(2026, month, 3, 9);
    SYSTEMTIME utc = {};
    SYSTEMTIME local = {};
    ASSERT_TRUE(FileTimeToSystemTime(&moment, &utc));
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local));
    EXPECT_EQ(Ticks(FileTime(Parse(LocalTimeText(moment)).local)), Ticks(FileTime(local)));
  }
}

TEST(LocalTimeText, HasTheOffsetOfToday) {
  FILETIME now = {};
  GetSystemTimeAsFileTime(&now);
  TIME_ZONE_INFORMATION zone = {};
  const DWORD season = GetTimeZoneInformation(&zone);
  const LONG bias = zone.Bias + (season == TIME_ZONE_ID_DAYLIGHT   ? zone.DaylightBias
                                 : season == TIME_ZONE_ID_STANDARD ? zone.StandardBias
                                                                   : 0);
  EXPECT_EQ(Parse(LocalTimeText(now)).offsetMinutes, -bias);
}

TEST(LocalTimeText, KeepsTheMillisecondsAndNothingBelow) {
  const std::int64_t second = Ticks(Moment(2026, 11, 21, 22));
  for (const int milliseconds : {0, 1, 9, 10, 99, 100, 123, 999}) {
    for (const int ticks : {0, 1, 9999}) {
      const LogTime time =
          Parse(LocalTimeText(FileTime(second + milliseconds * kTicksPerMillisecond + ticks)));
      EXPECT_EQ(time.local.wMilliseconds, milliseconds);
      EXPECT_EQ(TicksOf(time), second + milliseconds * kTicksPerMillisecond);
    }
  }
}

class RunLogTest : public ::testing::Test {
 protected:
  std::wstring Path(const wchar_t* name) const { return (directory_ / name).wstring(); }

  static std::string Bytes(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // The lines of a log without their times. Each must be ended by CR LF and begin with its time.
  static std::vector<std::string> Lines(const std::wstring& path) {
    constexpr size_t kTimeLength = 30;
    const std::string bytes = Bytes(path);
    std::vector<std::string> lines;
    size_t begin = 0;
    while (begin < bytes.size()) {
      const size_t end = bytes.find("\r\n", begin);
      if (end == bytes.npos || end < begin + kTimeLength) {
        ADD_FAILURE() << bytes.substr(begin);
        break;
      }
      Parse(std::wstring(bytes.begin() + begin, bytes.begin() + begin + kTimeLength - 1));
      EXPECT_EQ(bytes[begin + kTimeLength - 1], ' ');
      lines.push_back(bytes.substr(begin + kTimeLength, end - begin - kTimeLength));
      begin = end + 2;
    }
    return lines;
  }

  const e2e::TempDirectory temporary_;
  const std::filesystem::path& directory_ = temporary_.Path();
  const std::wstring path_ = Path(L"run.log");
};

using List = std::vector<std::string>;

TEST_F(RunLogTest, ANewFileIsMadeEmpty) {
  RunLog log;
  EXPECT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_EQ(Bytes(path_), "");
}

TEST_F(RunLogTest, ALineIsInTheFileWhenItHasBeenWritten) {
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  log.Write(L"first");
  EXPECT_EQ(Lines(path_), List{"first"});
  log.Write(L"second");
  EXPECT_EQ(Lines(path_), (List{"first", "second"}));
  EXPECT_EQ(log.Error(), DWORD{ERROR_SUCCESS});
}

TEST_F(RunLogTest, ALineHasTheTimeAtWhichItWasWritten) {
  FILETIME before = {};
  FILETIME after = {};
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  GetSystemTimeAsFileTime(&before);
  log.Write(L"line");
  GetSystemTimeAsFileTime(&after);
  const std::string bytes = Bytes(path_);
  const std::int64_t written = TicksOf(Parse(std::wstring(bytes.begin(), bytes.begin() + 29)));
  EXPECT_LE(Ticks(before) - kTicksPerMillisecond, written);
  EXPECT_LE(written, Ticks(after));
}

TEST_F(RunLogTest, WhatWasInTheFileStays) {
  std::ofstream(std::filesystem::path(path_), std::ios::binary) << "of old\r\n";
  {
    RunLog log;
    ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
    log.Write(L"first run");
  }
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  log.Write(L"second run");
  const std::string bytes = Bytes(path_);
  ASSERT_TRUE(bytes.starts_with("of old\r\n")) << bytes;
  std::ofstream(std::filesystem::path(path_), std::ios::binary) << bytes.substr(8);
  EXPECT_EQ(Lines(path_), (List{"first run", "second run"}));
}

TEST_F(RunLogTest, LinesStandAsTheyAre) {
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  for (const wchar_t* line : {L"", L" ", L"\ttab", L"100%", L"%s %n", L"ends in blanks  "}) {
    log.Write(line);
  }
  EXPECT_EQ(Lines(path_), (List{"", " ", "\ttab", "100%", "%s %n", "ends in blanks  "}));
}

TEST_F(RunLogTest, NamesInAnyScriptAreUtf8WithoutAMark) {
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  log.Write(L"J\u00f6rg");
  log.Write(L"\u0410\u043d\u043d\u0430");
  log.Write(L"\u9648\u4f1f \u30cf\u30ca");
  log.Write(L"\u05d7\u05e0\u05d4 \u0645\u0646\u0649");
  log.Write(L"\xd83d\xde00");
  const List expected = {"J\xc3\xb6rg", "\xd0\x90\xd0\xbd\xd0\xbd\xd0\xb0",
                         "\xe9\x99\x88\xe4\xbc\x9f \xe3\x83\x8f\xe3\x83\x8a",
                         "\xd7\x97\xd7\xa0\xd7\x94 \xd9\x85\xd9\x86\xd9\x89", "\xf0\x9f\x98\x80"};
  EXPECT_EQ(Lines(path_), expected);
}

TEST_F(RunLogTest, HalfAPairOfSurrogatesCostsNoLine) {
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  log.Write(L"half \xd83d.");
  log.Write(L"\xde00 half");
  EXPECT_EQ(Lines(path_), (List{"half \xef\xbf\xbd.", "\xef\xbf\xbd half"}));
}

TEST_F(RunLogTest, LinesOfAnyLengthAreWhole) {
  RunLog log;
  ASSERT_EQ(log.Open(path_), DWORD{ERROR_SUCCESS});
  log.Write(std::wstring(100'000, L'\u4e2d'));
  log.Write(L"behind");
  const List lines = Lines(path_);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].size(), 300'000u);
  EXPECT_EQ(lines[1], "behind");
}

TEST_F(RunLogTest, TwoLogsOnOneFileWriteWholeLinesInTurn) {
  RunLog first;
  RunLog second;
  ASSERT_EQ(first.Open(path_), DWORD{ERROR_SUCCESS});
  ASSERT_EQ(second.Open(path_), DWORD{ERROR_SUCCESS});
  List expected;
  for (int i = 0; i < 20; ++i) {
    first.Write(L"first " + std::to_wstring(i));
    second.Write(L"second " + std::to_wstring(i));
    expected.push_back("first " + std::to_string(i));
    expected.push_back("second " + std::to_string(i));
  }
  EXPECT_EQ(Lines(path_), expected);
}

TEST_F(RunLogTest, WithoutAFileNothingIsWritten) {
  RunLog log;
  log.Write(L"line");
  EXPECT_EQ(log.Error(), DWORD{ERROR_SUCCESS});
}

TEST_F(RunLogTest, AFolderCannotBeOpened) {
  RunLog log;
  EXPECT_EQ(log.Open(directory_.wstring()), DWORD{ERROR_ACCESS_DENIED});
  log.Write(L"line");
  EXPECT_EQ(log.Error(), DWORD{ERROR_SUCCESS});
}

TEST_F(RunLogTest, AFileInAFolderThatIsNotThereCannotBeOpened) {
  RunLog log;
  EXPECT_EQ(log.Open(Path(L"missing\\run.log")), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_FALSE(std::filesystem::exists(directory_ / L"missing"));
}

TEST_F(RunLogTest, AFileThatAnotherHasForItselfCannotBeOpened) {
  const platform::KernelHandle own = platform::TakeFileHandle(
      CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr));
  ASSERT_TRUE(own);
  RunLog log;
  EXPECT_EQ(log.Open(path_), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(RunLogTest, AWriteThatFailsIsTheLast) {
  const std::wstring pipe = L"\\\\.\\pipe\\qrv-test-log-" + std::to_wstring(GetCurrentProcessId());
  const DWORD size = 65536;
  platform::KernelHandle reader = platform::TakeFileHandle(CreateNamedPipeW(
      pipe.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_NOWAIT, 1, size, size, 0, nullptr));
  ASSERT_TRUE(reader);
  RunLog log;
  ASSERT_EQ(log.Open(pipe), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(log.Error(), DWORD{ERROR_SUCCESS});
  reader = {};
  log.Write(L"read by nobody");
  const DWORD error = log.Error();
  EXPECT_NE(error, DWORD{ERROR_SUCCESS});
  SetLastError(ERROR_INVALID_DATA);
  log.Write(L"not even tried");
  EXPECT_EQ(log.Error(), error);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_DATA});
}

}  // namespace
