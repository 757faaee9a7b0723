#include "src/console/console.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <barrier>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/unit/captured_output.h"

namespace {

// Whether a format for arguments of these types has that fault.
template <typename... Arguments>
constexpr bool HasFault(FormatFault fault, const wchar_t* format) {
  return FaultOfFormat(format, {FormatKindOf<Arguments>()...}) == fault;
}

// Whether PrintLine takes `format` with arguments of these types.
template <typename... Arguments>
constexpr bool Takes(const wchar_t* format) {
  return HasFault<Arguments...>(FormatFault::kNone, format);
}

static_assert(Takes<>(L""));
static_assert(Takes<>(L"100%% %%d"));
static_assert(Takes<const wchar_t*, wchar_t*, const wchar_t*>(L"%s%ls, %-20s"));
static_assert(Takes<const char*, char*>(L"%hs: %8hs"));
static_assert(Takes<int, unsigned, HRESULT, DWORD, WORD>(L"%d %x %#010x %d %04d"));
static_assert(Takes<std::int64_t, std::uint64_t>(L"%I64d %I64d"));
static_assert(Takes<const char*, const wchar_t*, HRESULT>(L"%hs: '%s' 100%% : 0x%x"));

static_assert(HasFault<>(FormatFault::kTooFewArguments, L"%d"));
static_assert(HasFault<int>(FormatFault::kTooFewArguments, L"%d %d"));
static_assert(HasFault<int>(FormatFault::kTooFewArguments, L"%d%%%d"));
static_assert(HasFault<int>(FormatFault::kTooManyArguments, L""));
static_assert(HasFault<int>(FormatFault::kTooManyArguments, L"100%%d"));
static_assert(HasFault<int, int>(FormatFault::kTooManyArguments, L"%d"));

static_assert(HasFault<const char*>(FormatFault::kKind, L"%s"));
static_assert(HasFault<const char*>(FormatFault::kKind, L"%ls"));
static_assert(HasFault<const wchar_t*>(FormatFault::kKind, L"%hs"));
static_assert(HasFault<const wchar_t*, const char*>(FormatFault::kKind, L"%hs %s"));
static_assert(HasFault<std::wstring>(FormatFault::kKind, L"%s"));
static_assert(HasFault<std::string>(FormatFault::kKind, L"%hs"));
static_assert(HasFault<std::nullptr_t>(FormatFault::kKind, L"%s"));
static_assert(HasFault<int>(FormatFault::kKind, L"%s"));
static_assert(HasFault<const wchar_t*>(FormatFault::kKind, L"%d"));
static_assert(HasFault<std::int64_t>(FormatFault::kKind, L"%d"));
static_assert(HasFault<size_t>(FormatFault::kKind, L"%x"));
static_assert(HasFault<int>(FormatFault::kKind, L"%I64d"));
static_assert(HasFault<bool>(FormatFault::kKind, L"%d"));
static_assert(HasFault<wchar_t>(FormatFault::kKind, L"%d"));
static_assert(HasFault<double>(FormatFault::kKind, L"%d"));

static_assert(HasFault<>(FormatFault::kConversion, L"100%"));
static_assert(HasFault<>(FormatFault::kConversion, L"%-20"));
static_assert(HasFault<>(FormatFault::kConversion, L"100 % no"));
static_assert(HasFault<int*>(FormatFault::kConversion, L"%n"));
static_assert(HasFault<const char*>(FormatFault::kConversion, L"%In hs."));
static_assert(HasFault<int>(FormatFault::kConversion, L"%u"));
static_assert(HasFault<long long>(FormatFault::kConversion, L"%I64x"));
static_assert(HasFault<const wchar_t*>(FormatFault::kConversion, L"%S"));
static_assert(HasFault<const wchar_t*>(FormatFault::kConversion, L"%.3s"));
static_assert(HasFault<int, const wchar_t*>(FormatFault::kConversion, L"%*s"));
static_assert(HasFault<int>(FormatFault::kConversion, L"%hd"));

// Whether the literal is a LineFormat for arguments of these types.
template <const auto& kText, typename... Arguments>
concept Compiles = requires {
  typename std::bool_constant<(LineFormat<Arguments...>(kText), true)>;
};

constexpr wchar_t kWithNumber[] = L"%hs: 0x%x";
static_assert(Compiles<kWithNumber, const char*, HRESULT>);
static_assert(!Compiles<kWithNumber, const char*>);
static_assert(!Compiles<kWithNumber, const char*, HRESULT, int>);
static_assert(!Compiles<kWithNumber, const wchar_t*, HRESULT>);
constexpr wchar_t kStoring[] = L"%n";
static_assert(!Compiles<kStoring, int*>);
constexpr UncheckedFormat kUncheckedStoring = {kStoring};
static_assert(Compiles<kUncheckedStoring, int*>);

// The whole output of one PrintLine call.
template <typename... Arguments>
std::wstring Printed(LineFormat<std::type_identity_t<Arguments>...> format,
                     Arguments... arguments) {
  const CapturedOutput output;
  PrintLine(format, arguments...);
  return output.Text();
}

TEST(PrintLine, EndsEveryLine) { EXPECT_EQ(Printed(L"Done"), L"Done\n"); }

TEST(PrintLine, AnEmptyTextPrintsNothingAtAll) {
  EXPECT_EQ(Printed(L""), L"");
  EXPECT_EQ(Printed(L"%s", L""), L"");
}

TEST(PrintLine, ASingleBlankIsALine) { EXPECT_EQ(Printed(L" "), L" \n"); }

TEST(PrintLine, KeepsATrailingBlank) {
  EXPECT_EQ(Printed(L"Embedded stores: %s", L""), L"Embedded stores: \n");
}

TEST(PrintLine, TakesWideAndNarrowTexts) {
  EXPECT_EQ(Printed(L"%s|%hs|%ls", L"wide", "narrow", L"long"), L"wide|narrow|long\n");
}

TEST(PrintLine, FormatsNumbersAsTheMessagesNeedThem) {
  EXPECT_EQ(Printed(L"0x%x", E_FAIL), L"0x80004005\n");
  EXPECT_EQ(Printed(L"%d", 0xFFFFFFFFu), L"-1\n");
  EXPECT_EQ(Printed(L"%I64d KB", 5000000000LL), L"5000000000 KB\n");
  EXPECT_EQ(Printed(L"%04d-%02d", 7, 3), L"0007-03\n");
  EXPECT_EQ(Printed(L"%#010x", 2), L"0x00000002\n");
  EXPECT_EQ(Printed(L"\t%-20s|", L"-h -findUsers"), L"\t-h -findUsers       |\n");
}

TEST(PrintLine, Prints254CharactersWhole) {
  const std::wstring name(254, L'n');
  EXPECT_EQ(Printed(L"%s", name.c_str()), name + L"\n");
}

TEST(PrintLine, CutsLongerTextsTo254) {
  const std::wstring shown(254, L'n');
  EXPECT_EQ(Printed(L"%s", std::wstring(255, L'n').c_str()), shown + L"\n");
  EXPECT_EQ(Printed(L"%s", std::wstring(5000, L'n').c_str()), shown + L"\n");
  EXPECT_EQ(Printed(L"%s%hs", std::wstring(250, L'n').c_str(), "nnnnEND"), shown + L"\n");
}

TEST(PrintLine, ShowsANullText) {
  EXPECT_EQ(Printed(L"'%s'", static_cast<const wchar_t*>(nullptr)), L"'(null)'\n");
}

TEST(PrintLine, NeverStoresThroughAnArgument) {
  char name[] = "CheckRepairQsf";
  EXPECT_EQ(Printed(UncheckedFormat{L"%In hs."}, name), L"%In hs.\n");
  EXPECT_STREQ(name, "CheckRepairQsf");
  int stored = 42;
  EXPECT_EQ(Printed(UncheckedFormat{L"a%nb"}, &stored), L"a%nb\n");
  EXPECT_EQ(stored, 42);
}

TEST(PrintLine, APercentSignBeforeAnNIsNoStore) {
  EXPECT_EQ(Printed(L"%d%% no", 5), L"5% no\n");
  EXPECT_EQ(Printed(L"%dn", 5), L"5n\n");
}

TEST(PrintLine, ShowsLettersOfEveryScript) {
  EXPECT_EQ(Printed(L"%s", L"\u00E4\u03A9\u4E2D\U0001F600"), L"\u00E4\u03A9\u4E2D\U0001F600\n");
}

// Takes a while over each piece that it is given, so that whoever does not wait for the line's end
// gets its own in between.
class SlowOutput : public std::wstreambuf {
 public:
  SlowOutput() : previous_(std::wcout.rdbuf(this)) {}
  ~SlowOutput() override { std::wcout.rdbuf(previous_); }
  SlowOutput(const SlowOutput&) = delete;
  SlowOutput& operator=(const SlowOutput&) = delete;

  std::wstring Text() const { return text_; }

 protected:
  std::streamsize xsputn(const wchar_t* text, std::streamsize count) override {
    {
      const std::scoped_lock lock(mutex_);
      text_.append(text, static_cast<size_t>(count));
    }
    Sleep(1);
    return count;
  }
  int_type overflow(int_type letter) override {
    const wchar_t piece = traits_type::to_char_type(letter);
    xsputn(&piece, 1);
    return letter;
  }

 private:
  std::wstreambuf* const previous_;
  std::mutex mutex_;
  std::wstring text_;
};

// What threads print with `print` that begin together.
template <typename Print>
std::wstring PrintedByThreads(int threadCount, int lines, Print print) {
  const SlowOutput output;
  std::barrier start(threadCount);
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int line = 0; line < lines; ++line) print();
      });
    }
  }
  return output.Text();
}

std::wstring Repeated(int times, const std::wstring& line) {
  std::wstring text;
  for (int i = 0; i < times; ++i) text += line;
  return text;
}

TEST(PrintLine, LinesOfManyThreadsNeverMix) {
  EXPECT_EQ(PrintedByThreads(4, 25, [] { PrintLine(L"<%s>", L"line"); }),
            Repeated(100, L"<line>\n"));
}

TEST(PrintText, LinesOfManyThreadsNeverMix) {
  EXPECT_EQ(PrintedByThreads(4, 25, [] { PrintText(L"<text>"); }), Repeated(100, L"<text>\n"));
}

}  // namespace
