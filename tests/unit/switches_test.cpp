#include "src/frame/switches.h"

#include <gtest/gtest.h>

namespace {

// A command line whose first element is the program.
class CommandLine {
 public:
  explicit CommandLine(std::initializer_list<const wchar_t*> arguments) {
    for (const wchar_t* argument : arguments) texts_.emplace_back(argument);
    for (std::wstring& text : texts_) pointers_.push_back(text.data());
  }
  int Count() const { return static_cast<int>(pointers_.size()); }
  wchar_t** Values() { return pointers_.data(); }

 private:
  std::vector<std::wstring> texts_;
  std::vector<wchar_t*> pointers_;
};

struct Values {
  std::wstring profile;
  std::vector<std::wstring> emails;
  bool restart = false;
  std::uint32_t verbose = 0;
};

Values Scan(std::initializer_list<const wchar_t*> arguments) {
  CommandLine line(arguments);
  Values values;
  ReadSwitches(line.Count(), line.Values(),
               {{L"-p", &values.profile},
                {L"-e", &values.emails},
                {L"-c", &values.restart},
                {L"-v", &values.verbose}});
  return values;
}

using List = std::vector<std::wstring>;

TEST(ReadSwitches, WithoutArgumentsLeavesEverything) {
  const Values values = Scan({L"qrvadmin"});
  EXPECT_EQ(values.profile, L"");
  EXPECT_TRUE(values.emails.empty());
  EXPECT_FALSE(values.restart);
  EXPECT_EQ(values.verbose, 0u);
}

TEST(ReadSwitches, WithoutEvenAProgramNameDoesNothing) { EXPECT_EQ(Scan({}).profile, L""); }

TEST(ReadSwitches, AListEndsAtTheNextSwitchWhichIsThenLookedAt) {
  const Values values =
      Scan({L"qrvadmin", L"-checkQsf", L"-p", L"Outlook", L"-e", L"first", L"second", L"-v"});
  EXPECT_EQ(values.profile, L"Outlook");
  EXPECT_EQ(values.emails, (List{L"first", L"second"}));
  EXPECT_EQ(values.verbose, 1u);
}

TEST(ReadSwitches, AListEndsAtALoneDashAndHoldsEmptyArguments) {
  EXPECT_EQ(Scan({L"q", L"-e", L"", L"a", L"-", L"b"}).emails, (List{L"", L"a"}));
}

TEST(ReadSwitches, AnEmptyListIsEmpty) {
  EXPECT_TRUE(Scan({L"q", L"-e"}).emails.empty());
  EXPECT_TRUE(Scan({L"q", L"-e", L"-c"}).emails.empty());
  EXPECT_TRUE(Scan({L"q", L"-e", L"-c"}).restart);
}

TEST(ReadSwitches, SeveralListsAreJoined) {
  EXPECT_EQ(Scan({L"q", L"-e", L"a", L"-c", L"-e", L"b"}).emails, (List{L"a", L"b"}));
}

TEST(ReadSwitches, AValueIsTakenAsItStandsAndIsNoSwitchItself) {
  const Values values = Scan({L"q", L"-p", L"-c"});
  EXPECT_EQ(values.profile, L"-c");
  EXPECT_FALSE(values.restart);
  EXPECT_EQ(Scan({L"q", L"-p", L"-v"}).verbose, 0u);
}

TEST(ReadSwitches, AMissingValueAtTheEndLeavesTheTarget) {
  EXPECT_EQ(Scan({L"q", L"-p"}).profile, L"");
  EXPECT_EQ(Scan({L"q", L"-p", L"A", L"-p"}).profile, L"A");
}

TEST(ReadSwitches, TheLastOfSeveralValuesCounts) {
  EXPECT_EQ(Scan({L"q", L"-p", L"A", L"-p", L"B"}).profile, L"B");
}

TEST(ReadSwitches, MatchesWholeArgumentsWithTheirLetterCase) {
  const Values values = Scan({L"q", L"-P", L"A", L"-pA", L"-V", L"-vv", L"/v", L"-C"});
  EXPECT_EQ(values.profile, L"");
  EXPECT_EQ(values.verbose, 0u);
  EXPECT_FALSE(values.restart);
}

TEST(ReadSwitches, PassesOverWhatItDoesNotKnow) {
  const Values values = Scan({L"q", L"-unknown", L"word", L"-p", L"A", L"-x", L"-c"});
  EXPECT_EQ(values.profile, L"A");
  EXPECT_TRUE(values.restart);
}

TEST(ReadSwitches, TheProgramsOwnNameIsNoSwitch) { EXPECT_FALSE(Scan({L"-c", L"x"}).restart); }

TEST(ReadSwitches, TakesArgumentsOfAnyLength) {
  const std::wstring longName(5000, L'n');
  EXPECT_EQ(Scan({L"q", L"-p", longName.c_str()}).profile, longName);
}

std::uint32_t ScanNumber(std::initializer_list<const wchar_t*> arguments) {
  CommandLine line(arguments);
  BoundedNumber number{.fallback = 200, .limit = 400};
  ReadSwitches(line.Count(), line.Values(), {{L"-b", &number}});
  return number.Value();
}

TEST(BoundedNumber, TakesNumbersUpToTheLimit) {
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"0"}), 0u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"17"}), 17u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"400"}), 400u);
}

TEST(BoundedNumber, FallsBackBeyondTheLimitAndBelowZero) {
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"401"}), 200u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"2147483647"}), 200u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"-5"}), 200u);
}

TEST(BoundedNumber, FallsBackWithoutAValue) {
  EXPECT_EQ(ScanNumber({L"q"}), 200u);
  EXPECT_EQ(ScanNumber({L"q", L"-b"}), 200u);
}

TEST(BoundedNumber, ReadsTextAsZero) {
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"abc"}), 0u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L""}), 0u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"-n"}), 0u);
}

TEST(BoundedNumber, ReadsLeadingDigits) { EXPECT_EQ(ScanNumber({L"q", L"-b", L"12x"}), 12u); }

TEST(BoundedNumber, TheLastOfSeveralCounts) {
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"7", L"-b", L"8"}), 8u);
  EXPECT_EQ(ScanNumber({L"q", L"-b", L"7", L"-b", L"999"}), 200u);
}

}  // namespace
