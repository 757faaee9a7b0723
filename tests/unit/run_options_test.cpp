#include "src/run/run_options.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "tests/unit/captured_output.h"

namespace {

using List = std::vector<std::wstring>;

// Of a command line behind the program's own name.
ParsedOptions Parse(std::initializer_list<const wchar_t*> arguments) {
  std::vector<const wchar_t*> line = {L"qrvrun"};
  line.insert(line.end(), arguments);
  return ParseRunOptions(static_cast<int>(line.size()), line.data());
}

// What is wrong with a command line that is no help and no run.
std::wstring Fault(std::initializer_list<const wchar_t*> arguments) {
  const ParsedOptions parsed = Parse(arguments);
  EXPECT_FALSE(parsed.help);
  return parsed.fault;
}

// Of a command line in which nothing is wrong.
RunOptions Options(std::initializer_list<const wchar_t*> arguments) {
  const ParsedOptions parsed = Parse(arguments);
  EXPECT_FALSE(parsed.help);
  EXPECT_EQ(parsed.fault, L"");
  return parsed.options;
}

// The time limit that `minutes` stands for; nothing, and then a fault, when it stands for none.
std::optional<std::uint32_t> Limit(const wchar_t* minutes) {
  const ParsedOptions parsed = Parse({L"-timeout", minutes, L"-checkQsf"});
  EXPECT_EQ(parsed.fault.empty(), parsed.options.timeoutMilliseconds.has_value()) << minutes;
  return parsed.options.timeoutMilliseconds;
}

constexpr wchar_t kNoCommand[] = L"no command (-h shows help)";
constexpr wchar_t kWantsName[] = L"-log wants the name of a file";
constexpr wchar_t kWantsMinutes[] = L"-timeout wants minutes, above 0 and at most 10000";

TEST(RunOptions, WithoutArgumentsThereIsNoCommand) { EXPECT_EQ(Fault({}), kNoCommand); }

TEST(RunOptions, WithoutEvenAProgramNameThereIsNoCommand) {
  EXPECT_EQ(ParseRunOptions(0, nullptr).fault, kNoCommand);
}

TEST(RunOptions, SwitchesAloneAreNoCommand) {
  EXPECT_EQ(Fault({L"-quiet"}), kNoCommand);
  EXPECT_EQ(Fault({L"-log", L"run.log"}), kNoCommand);
  EXPECT_EQ(Fault({L"-timeout", L"5"}), kNoCommand);
  EXPECT_EQ(Fault({L"--"}), kNoCommand);
  EXPECT_EQ(Fault({L"-quiet", L"--"}), kNoCommand);
}

TEST(RunOptions, WithoutSwitchesAllArgumentsAreTheTools) {
  const RunOptions options = Options({L"-checkQsf", L"-p", L"Outlook", L"-v"});
  EXPECT_EQ(options.toolArguments, (List{L"-checkQsf", L"-p", L"Outlook", L"-v"}));
  EXPECT_EQ(options.logPath, L"");
  EXPECT_EQ(options.timeoutMilliseconds, std::nullopt);
  EXPECT_FALSE(options.quiet);
}

TEST(RunOptions, EachSwitchSetsItsOwnOptionAlone) {
  const RunOptions log = Options({L"-log", L"run.log", L"-purgeQsf"});
  EXPECT_EQ(log.logPath, L"run.log");
  EXPECT_EQ(log.timeoutMilliseconds, std::nullopt);
  EXPECT_FALSE(log.quiet);
  EXPECT_EQ(log.toolArguments, List{L"-purgeQsf"});

  const RunOptions timeout = Options({L"-timeout", L"5", L"-purgeQsf"});
  EXPECT_EQ(timeout.logPath, L"");
  EXPECT_EQ(timeout.timeoutMilliseconds, 300'000u);
  EXPECT_FALSE(timeout.quiet);
  EXPECT_EQ(timeout.toolArguments, List{L"-purgeQsf"});

  const RunOptions quiet = Options({L"-quiet", L"-purgeQsf"});
  EXPECT_EQ(quiet.logPath, L"");
  EXPECT_EQ(quiet.timeoutMilliseconds, std::nullopt);
  EXPECT_TRUE(quiet.quiet);
  EXPECT_EQ(quiet.toolArguments, List{L"-purgeQsf"});
}

TEST(RunOptions, SwitchesStandInAnyOrder) {
  const std::initializer_list<const wchar_t*> orders[] = {
      {L"-log", L"l", L"-timeout", L"2", L"-quiet", L"-checkQsf", L"-v"},
      {L"-quiet", L"-log", L"l", L"-timeout", L"2", L"-checkQsf", L"-v"},
      {L"-timeout", L"2", L"-quiet", L"-log", L"l", L"-checkQsf", L"-v"},
  };
  for (const auto& order : orders) {
    const RunOptions options = Options(order);
    EXPECT_EQ(options.logPath, L"l");
    EXPECT_EQ(options.timeoutMilliseconds, 120'000u);
    EXPECT_TRUE(options.quiet);
    EXPECT_EQ(options.toolArguments, (List{L"-checkQsf", L"-v"}));
  }
}

TEST(RunOptions, TheLastOfSeveralValuesCounts) {
  const RunOptions options = Options({L"-log", L"first", L"-timeout", L"1", L"-quiet", L"-quiet",
                                      L"-log", L"second", L"-timeout", L"3", L"-checkQsf"});
  EXPECT_EQ(options.logPath, L"second");
  EXPECT_EQ(options.timeoutMilliseconds, 180'000u);
  EXPECT_TRUE(options.quiet);
  EXPECT_EQ(options.toolArguments, List{L"-checkQsf"});
}

TEST(RunOptions, AWrongValueStaysAFaultWhateverFollows) {
  EXPECT_EQ(Fault({L"-timeout", L"x", L"-timeout", L"1", L"-checkQsf"}), kWantsMinutes);
  EXPECT_EQ(Fault({L"-log", L"", L"-log", L"run.log", L"-checkQsf"}), kWantsName);
  EXPECT_EQ(Fault({L"-timeout", L"x", L"-log"}), kWantsMinutes);
}

TEST(RunOptions, TheFirstArgumentThatIsNoSwitchBeginsTheTools) {
  const RunOptions options =
      Options({L"-quiet", L"-checkQsf", L"-log", L"x", L"-timeout", L"y", L"-quiet", L"--"});
  EXPECT_TRUE(options.quiet);
  EXPECT_EQ(options.logPath, L"");
  EXPECT_EQ(options.timeoutMilliseconds, std::nullopt);
  EXPECT_EQ(options.toolArguments,
            (List{L"-checkQsf", L"-log", L"x", L"-timeout", L"y", L"-quiet", L"--"}));
}

TEST(RunOptions, WhatOnlyLooksLikeASwitchIsTheTools) {
  for (const wchar_t* argument :
       {L"", L"-", L"---", L"-l", L"-logs", L"-log=x", L"-timeouts", L"-quiets", L"/quiet", L"log",
        L" -quiet", L"-quiet ", L"-v", L"command"}) {
    EXPECT_EQ(Options({argument, L"-checkQsf"}).toolArguments, (List{argument, L"-checkQsf"}));
  }
}

TEST(RunOptions, BehindTwoDashesEverythingIsTheTools) {
  EXPECT_EQ(Options({L"--", L"-log", L"-Quiet", L"-h", L"--"}).toolArguments,
            (List{L"-log", L"-Quiet", L"-h", L"--"}));
  const RunOptions options = Options({L"-quiet", L"--", L"-timeout", L"x"});
  EXPECT_TRUE(options.quiet);
  EXPECT_EQ(options.toolArguments, (List{L"-timeout", L"x"}));
}

TEST(RunOptions, ASwitchInAnotherLetterCaseIsAFault) {
  EXPECT_EQ(Fault({L"-Log", L"x", L"-checkQsf"}), L"the switch -Log is written -log");
  EXPECT_EQ(Fault({L"-TIMEOUT", L"1", L"-checkQsf"}), L"the switch -TIMEOUT is written -timeout");
  EXPECT_EQ(Fault({L"-quieT", L"-checkQsf"}), L"the switch -quieT is written -quiet");
  EXPECT_EQ(Fault({L"-H"}), L"the switch -H is written -h");
  EXPECT_EQ(Fault({L"-quiet", L"-LOG", L"x", L"-checkQsf"}), L"the switch -LOG is written -log");
}

TEST(RunOptions, LetterCaseBehindTheCommandIsTheToolsMatter) {
  EXPECT_EQ(Options({L"-CHECKQSF", L"-Quiet", L"-H"}).toolArguments,
            (List{L"-CHECKQSF", L"-Quiet", L"-H"}));
}

TEST(RunOptions, ALogWantsAName) {
  EXPECT_EQ(Fault({L"-log"}), kWantsName);
  EXPECT_EQ(Fault({L"-log", L""}), kWantsName);
  EXPECT_EQ(Fault({L"-log", L"", L"-checkQsf"}), kWantsName);
}

TEST(RunOptions, ALogsNameThatLooksLikeASwitchWasForgotten) {
  EXPECT_EQ(Fault({L"-log", L"-quiet", L"-checkQsf"}), kWantsName);
  EXPECT_EQ(Fault({L"-log", L"-checkQsf", L"-v"}), kWantsName);
  EXPECT_EQ(Fault({L"-log", L"--", L"-checkQsf"}), kWantsName);
  EXPECT_EQ(Fault({L"-log", L"-", L"-checkQsf"}), kWantsName);
}

TEST(RunOptions, ALogsNameIsTakenAsItStands) {
  for (const wchar_t* path : {L"C:\\logs\\run.log", L".\\-x", L" ", L"two words", L"/x",
                              L"\u0436\u4e2d\xd83d\xde00.log"}) {
    EXPECT_EQ(Options({L"-log", path, L"-checkQsf"}).logPath, path);
  }
}

TEST(RunOptions, ATimeLimitWantsAValue) {
  EXPECT_EQ(Fault({L"-timeout"}), kWantsMinutes);
  EXPECT_EQ(Fault({L"-timeout", L"", L"-checkQsf"}), kWantsMinutes);
  EXPECT_EQ(Fault({L"-timeout", L"-checkQsf"}), kWantsMinutes);
  EXPECT_EQ(Fault({L"-timeout", L"-quiet", L"-checkQsf"}), kWantsMinutes);
}

TEST(RunOptions, MinutesBecomeMilliseconds) {
  EXPECT_EQ(Limit(L"1"), 60'000u);
  EXPECT_EQ(Limit(L"90"), 5'400'000u);
  EXPECT_EQ(Limit(L"007"), 420'000u);
}

TEST(RunOptions, MinutesMayHaveDecimals) {
  EXPECT_EQ(Limit(L"0.5"), 30'000u);
  EXPECT_EQ(Limit(L"1.25"), 75'000u);
  EXPECT_EQ(Limit(L"0.1"), 6'000u);
  EXPECT_EQ(Limit(L"2.00"), 120'000u);
  EXPECT_EQ(Limit(L".5"), 30'000u);
  EXPECT_EQ(Limit(L"5."), 300'000u);
}

TEST(RunOptions, MillisecondsAreRoundedAndNeverNone) {
  EXPECT_EQ(Limit(L"0.00001"), 1u);
  EXPECT_EQ(Limit(L"0.000001"), 1u);
  EXPECT_EQ(Limit(L"0.00002"), 1u);
  EXPECT_EQ(Limit(L"0.00003"), 2u);
  EXPECT_EQ(Limit(L"0.33333"), 20'000u);
}

TEST(RunOptions, MinutesAreAtMostTenThousand) {
  EXPECT_EQ(Limit(L"9999.99"), 599'999'400u);
  EXPECT_EQ(Limit(L"10000"), 600'000'000u);
  EXPECT_EQ(Limit(L"10000.0"), 600'000'000u);
  EXPECT_EQ(Limit(L"10000.01"), std::nullopt);
  EXPECT_EQ(Limit(L"10001"), std::nullopt);
  EXPECT_EQ(Limit(L"71583"), std::nullopt);  // The first whose milliseconds take 33 bits.
  EXPECT_EQ(Limit(std::wstring(500, L'9').c_str()), std::nullopt);
}

TEST(RunOptions, MinutesAreAboveNone) {
  for (const wchar_t* none : {L"0", L"0.0", L"000", L".0", L"0."}) {
    EXPECT_EQ(Limit(none), std::nullopt) << none;
  }
}

TEST(RunOptions, OtherTextIsNoMinutes) {
  for (const wchar_t* nonsense :
       {L"",    L".",   L"..",       L"1.2.3",  L"1..2",   L"1,5",     L"1e3",  L"1E3",   L"+5",
        L"-1",  L"-0",  L" 5",       L"5 ",     L"5 0",    L"\t5",     L"5\n",  L"0x10",  L"0x1p3",
        L"nan", L"inf", L"infinity", L"NAN",    L"5m",     L"5min",    L"five", L"1'000", L"1_0",
        L"5%",  L"5f",  L"1:30",     L"\u0665", L"\uff15", L"1\u00a0", L"1/2",  L"(5)"}) {
    EXPECT_EQ(Limit(nonsense), std::nullopt) << nonsense;
  }
}

TEST(RunOptions, HelpIsTheFirstArgumentWhateverFollows) {
  EXPECT_TRUE(Parse({L"-h"}).help);
  EXPECT_EQ(Parse({L"-h"}).fault, L"");
  const ParsedOptions parsed = Parse({L"-h", L"-Log", L"-timeout", L"x", L"-checkQsf"});
  EXPECT_TRUE(parsed.help);
  EXPECT_EQ(parsed.fault, L"");
}

TEST(RunOptions, HelpBehindTheFirstArgumentIsTheTools) {
  EXPECT_EQ(Options({L"-quiet", L"-h", L"-checkQsf"}).toolArguments, (List{L"-h", L"-checkQsf"}));
  EXPECT_EQ(Options({L"-checkQsf", L"-h"}).toolArguments, (List{L"-checkQsf", L"-h"}));
  EXPECT_EQ(Options({L"--", L"-h"}).toolArguments, List{L"-h"});
}

TEST(RunOptions, ArgumentsOfAnyLengthPass) {
  const std::wstring longName(20000, L'n');
  const RunOptions options = Options({L"-log", longName.c_str(), longName.c_str()});
  EXPECT_EQ(options.logPath, longName);
  EXPECT_EQ(options.toolArguments, List{longName});
}

TEST(PrintRunHelp, NamesTheSwitchesAndTheExitCodes) {
  const CapturedOutput output;
  PrintRunHelp();
  EXPECT_EQ(
      output.Text(),
      L"qrvrun [-log file] [-timeout minutes] [-quiet] command [argument ...]\n"
      L"\n"
      L"Runs \"qrvadmin command [argument ...]\" unattended, and tells by its exit code how it "
      L"went.\n"
      L"\n"
      L"\t-log\tAppend all lines to this file, each with its time.\n"
      L"\t-timeout\tStop the run after so many minutes (decimals allowed).\n"
      L"\t-quiet\tDo not show the lines of qrvadmin.\n"
      L"\t--\tWhat follows is for qrvadmin, whatever it is.\n"
      L"\n"
      L"\t0\tGood: all lines are those of a good run, and none is missing.\n"
      L"\t1\tNot run: a help screen, MAPI is in use or cannot be had, or another qrvrun is at "
      L"work.\n"
      L"\t2\tTrouble: another line, or one that is missing.\n"
      L"\t3\tTime ran out.\n"
      L"\t4\tCtrl+C.\n"
      L"\t5\tqrvrun itself: its switches, its log, or qrvadmin.exe beside it.\n");
}

}  // namespace
