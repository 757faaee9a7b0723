// Any command line: the tool takes from it the command and the switches that the rules say, shows a
// help screen where they say so, and comes to its end.
#include "tests/e2e/usage_text.h"
#include "tests/proof/hostile.h"

namespace e2e {
namespace {

// What a command line asks for, by the rules.
struct Asked {
  const CommandWord* command = nullptr;
  bool help = false;
  bool verbose = false;
  bool usage = false;  // shown for want of a value
};

bool HasSwitch(std::wstring_view command, std::wstring_view word) {
  struct Row {
    const wchar_t* command;
    std::wstring_view switches;
  };
  constexpr Row kRows[] = {{L"-checkQsf", L"-p -e -c -v"},
                           {L"-compactQsf", L"-p -e -c -v"},
                           {L"-purgeQsf", L"-f -c -v"},
                           {L"-listAgents", L"-s -v"},
                           {L"-assignAgents", L"-p -b -n -e -c -v"},
                           {L"-listServers", L"-c"},
                           {L"-findUsers", L"-p -e -v"}};
  if (word.size() != 2 || word[0] != L'-') return false;
  return std::any_of(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return row.command == command && row.switches.find(word) != std::wstring_view::npos;
  });
}

// Of every command but the scan, whose switches are its own.
void ReadSwitches(const Words& words, Asked* asked) {
  const std::wstring command = asked->command->word;
  std::wstring required;
  size_t listed = 0;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::wstring& word = words[i];
    if (!HasSwitch(command, word)) continue;
    const bool isLast = i + 1 == words.size();
    if (word == L"-v") asked->verbose = true;
    if ((word == L"-p" || word == L"-s") && !isLast)
      required = words[++i];
    else if ((word == L"-b" || word == L"-n") && !isLast)
      ++i;
    else if (word == L"-e" && command != L"-assignAgents") {
      for (; i + 1 < words.size() && !words[i + 1].starts_with(L'-'); ++i) ++listed;
    }
  }
  const bool needsValue = command != L"-purgeQsf" && command != L"-listServers";
  asked->usage = (needsValue && required.empty()) || (command == L"-findUsers" && listed == 0);
  if (command == L"-listAgents" && !words.empty() && words.back() == L"-s") asked->usage = true;
}

Asked Read(const Words& words) {
  Asked asked;
  for (const CommandWord& command : CommandWords()) {
    const bool stands = std::any_of(words.begin(), words.end(), [&](const std::wstring& word) {
      return word != L"-h" && lab::EqualsFolded(word, command.word);
    });
    if (stands && !asked.command) asked.command = &command;
  }
  asked.help = std::count(words.begin(), words.end(), L"-h") > 0;
  const bool isScan = asked.command && std::wstring_view(asked.command->word) == L"-scanQsf";
  if (asked.command && !asked.help && !isScan) ReadSwitches(words, &asked);
  return asked;
}

// What the scan's own reading of its switches comes to.
enum class ScanSwitches { kHelp, kFault, kRun };

ScanSwitches ReadScan(const Words& words, bool* verbose) {
  std::wstring profile;
  bool scans = false;
  bool deletes = false;
  if (words.empty()) return ScanSwitches::kHelp;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::wstring& word = words[i];
    if (lab::EqualsFolded(word, L"-scanQsf") || word == L"-r" || word == L"-m" || word == L"-c")
      continue;
    if (word == L"-h") return ScanSwitches::kHelp;
    if (word == L"-v") {
      *verbose = true;
    } else if (word == L"-p" || word == L"-d") {
      const bool isOther = word == L"-p" ? deletes : scans;
      if (isOther || i + 1 == words.size()) return ScanSwitches::kFault;
      (word == L"-p" ? scans : deletes) = true;
      profile = words[++i];
    } else {
      return ScanSwitches::kFault;
    }
  }
  return profile.empty() ? ScanSwitches::kFault : ScanSwitches::kRun;
}

class HostileCommandLineTest : public HostileTest {
 protected:
  void SetUp() override {
    HostileTest::SetUp();
    AddRoot();
    AddEmbedded(L"bob", Add(L"ann"));
    AddUser(L"ann");
    CopyShippedProgram(Directory(), L"qsfscan.exe");
  }

  static std::wstring Word(proof::Random& random) {
    switch (random.Below(10)) {
      case 0:
      case 1:
      case 2:
        return Spelled(random, CommandWords()[random.Below(8)].word);
      case 3:
      case 4:
      case 5:
        return random.Pick<const wchar_t*>({L"-p", L"-e", L"-v", L"-v", L"-c", L"-f", L"-s", L"-b",
                                            L"-n", L"-d", L"-r", L"-m", L"-h", L"-H", L"-P", L"--",
                                            L"-", L"/v"});
      case 6:
      case 7:
        return random.Pick<const wchar_t*>({L"", L"Main", L"ann", L"@", L" ", L"-1", L"401",
                                            L"0x10", L"99999999999999999999", L"\\", L"\"",
                                            L"\\\\\"", L"nobody"});
      case 8:
        return random.AnyText(40);
      default:
        return random.OneIn(4) ? random.Text(4000 + random.Below(2000)) : random.AnyText(4097);
    }
  }

  // In letters of any case, now and then with one that another script has for it.
  static std::wstring Spelled(proof::Random& random, std::wstring word) {
    const uint32_t manner = random.Below(8);
    for (wchar_t& c : word) {
      if (manner < 3 && random.OneIn(2) && c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - 32);
      if (manner == 3 && (c == L's' || c == L'S')) c = L'\u017F';
      if (manner == 4 && (c == L'k' || c == L'K')) c = L'\u212A';
      if (manner == 5 && c == L'i') c = L'\u0131';
    }
    if (manner == 6) word = std::wstring(1, L'\u2013') + word.substr(1);
    return word;
  }

  // As long as a command line can be, in one word or in many.
  static Words Longest(proof::Random& random) {
    Words words = {L"-findUsers", L"-v", L"-p", L"Main", L"-e"};
    const size_t length = 32767 - 300 - random.Below(3);
    if (random.OneIn(2))
      words.push_back(std::wstring(length, L'x'));
    else
      words.insert(words.end(), length / 2, L"x");
    return words;
  }

  static Words AnyWords(proof::Random& random) {
    if (random.OneIn(60)) return Longest(random);
    Words words;
    const uint32_t count = random.OneIn(20) ? random.Below(100) : random.Below(8);
    size_t length = 0;
    while (words.size() < count && length < 12000) {
      words.push_back(Word(random));
      length += 2 * words.back().size() + 3;
      if (random.OneIn(8)) words.push_back(words.back());
    }
    // The repair tool is another test's: here nothing starts it.
    const bool runsScan = std::any_of(words.begin(), words.end(), [](const std::wstring& word) {
      return lab::EqualsFolded(word, L"-scanQsf");
    });
    if (runsScan)
      std::replace(words.begin(), words.end(), std::wstring(L"-p"), std::wstring(L"-d"));
    return words;
  }

  HostileCase AdminCase(proof::Random& random) const {
    HostileCase made;
    made.arguments = AnyWords(random);
    made.options.programName = L"qrvadmin.exe";
    made.options.input = "n\nn\nx\nc\n";
    made.shown = Shown(made.arguments);
    const Asked asked = Read(made.arguments);
    made.judge = [asked, words = made.arguments](const RunResult& result) {
      const bool isScan = asked.command && std::wstring_view(asked.command->word) == L"-scanQsf";
      if (!asked.command) {
        EXPECT_EQ(result.output, GeneralUsage());
      } else if (asked.help || asked.usage) {
        EXPECT_EQ(result.output,
                  asked.command->usage("qrvadmin") + (asked.verbose ? "Exiting.\r\n" : ""));
      } else if (isScan) {
        ExpectScan(words, ScanQsfUsage(), result);
      } else {
        ExpectKnownLines(result);
        if (asked.verbose) ExpectLast(result, "Exiting.");
      }
    };
    return made;
  }

  HostileCase UtilityCase(proof::Random& random) const {
    HostileCase made;
    made.options.program = Directory() / L"qsfscan.exe";
    made.options.programName = L"C:\\tools\\qsfscan.exe";
    made.options.input = "n\nn\nx\nc\n";
    made.arguments = AnyWords(random);
    std::replace(made.arguments.begin(), made.arguments.end(), std::wstring(L"-p"),
                 std::wstring(L"-d"));
    made.shown = "qsfscan" + Shown(made.arguments);
    bool verbose = false;
    made.exitCode = ReadScan(made.arguments, &verbose) == ScanSwitches::kFault ? 1 : 0;
    made.judge = [words = made.arguments](const RunResult& result) {
      ExpectScan(words, QsfScanUsage(), result);
    };
    return made;
  }

  static void ExpectScan(const Words& words, const std::string& usage, const RunResult& result) {
    bool verbose = false;
    const ScanSwitches read = ReadScan(words, &verbose);
    const std::string end = verbose ? "Exiting.\r\n" : "";
    if (read == ScanSwitches::kHelp) {
      EXPECT_EQ(result.output, usage + end);
    } else if (read == ScanSwitches::kFault) {
      EXPECT_EQ(result.output, SwitchError() + usage + end);
    } else {
      ExpectKnownLines(result);
      if (verbose) ExpectLast(result, "Exiting.");
    }
  }
};

TEST_P(HostileCommandLineTest, IsReadByTheRules) {
  RunCases("command lines", 1200, 48, [this](proof::Random& random, uint32_t index) {
    return index % 8 == 7 ? UtilityCase(random) : AdminCase(random);
  });
}

INSTANTIATE_TEST_SUITE_P(, HostileCommandLineTest, ::testing::Range(0U, 4U), kByShare);

}  // namespace
}  // namespace e2e
