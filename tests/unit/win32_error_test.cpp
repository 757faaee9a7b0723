#include "src/platform/win32_error.h"

#include <gtest/gtest.h>

namespace {

using Quorvel::Util::ThrowIfError;
using Quorvel::Util::Win32Error;

// The system's own text, asked for independently.
std::string SystemText(DWORD code) {
  char text[1024] = {};
  FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                 MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof(text), nullptr);
  return text;
}

constexpr DWORD kUnknownCode = 0x0FFFFFFF;

TEST(Win32Error, WithoutContextBeginsWithAColon) {
  const Win32Error error("", ERROR_FILE_NOT_FOUND);
  const std::string text = SystemText(ERROR_FILE_NOT_FOUND);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(error.what(), ": " + text);
}

TEST(Win32Error, KeepsTheSystemsLineEnd) {
  const std::string what = Win32Error("", ERROR_ACCESS_DENIED).what();
  ASSERT_GE(what.size(), 2u);
  EXPECT_EQ(what.substr(what.size() - 2), "\r\n");
}

TEST(Win32Error, BeginsWithItsContext) {
  EXPECT_EQ(Win32Error("RegOpenKeyExW", ERROR_ACCESS_DENIED).what(),
            "RegOpenKeyExW: " + SystemText(ERROR_ACCESS_DENIED));
}

TEST(Win32Error, OfAnUnknownCodeIsItsContextAlone) {
  ASSERT_EQ(SystemText(kUnknownCode), "");
  EXPECT_STREQ(Win32Error("", kUnknownCode).what(), "");
  EXPECT_STREQ(Win32Error("context", kUnknownCode).what(), "context");
}

TEST(Win32Error, AsksTheSystemOnce) {
  const Win32Error error("", ERROR_FILE_NOT_FOUND);
  const char* const first = error.what();
  EXPECT_EQ(error.what(), first);
}

TEST(Win32Error, ACopyHasTheCodeAndTheText) {
  const Win32Error error("", ERROR_FILE_NOT_FOUND);
  const std::string what = error.what();
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested.
  const Win32Error copy(error);
  EXPECT_EQ(copy.Code(), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(copy.what(), what);
}

TEST(ThrowIfError, LetsSuccessPass) { EXPECT_EQ(ThrowIfError(ERROR_SUCCESS), DWORD{0}); }

TEST(ThrowIfError, ThrowsAStandardExceptionWithTheCode) {
  try {
    ThrowIfError(ERROR_FILE_NOT_FOUND);
    FAIL() << "did not throw";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), ": " + SystemText(ERROR_FILE_NOT_FOUND));
  }
}

}  // namespace
