#include "src/run/good_lines.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "src/program/dispatch.h"
#include "tests/unit/captured_output.h"
#include "tests/unit/source_formats.h"

namespace {

using enum ToolCommand;

constexpr ToolCommand kCommands[] = {kCheckQsf,   kScanQsf,      kCompactQsf,  kPurgeQsf,
                                     kListAgents, kAssignAgents, kListServers, kFindUsers};

using CommandSet = std::set<ToolCommand>;

CommandSet AllBut(const CommandSet& others) {
  CommandSet set(std::begin(kCommands), std::end(kCommands));
  for (const ToolCommand other : others) set.erase(other);
  return set;
}

// The commands of which `line` is a good line.
CommandSet GoodFor(std::wstring_view line) {
  CommandSet commands;
  for (const ToolCommand command : kCommands) {
    if (IsGoodLine(command, line)) commands.insert(command);
  }
  return commands;
}

TEST(HasForm, WithoutASignIsTheLineItself) {
  EXPECT_TRUE(HasForm(L"Done", L"Done"));
  EXPECT_FALSE(HasForm(L"Done.", L"Done"));
  EXPECT_FALSE(HasForm(L"Don", L"Done"));
  EXPECT_FALSE(HasForm(L"done", L"Done"));
  EXPECT_FALSE(HasForm(L" Done", L"Done"));
  EXPECT_FALSE(HasForm(L"", L"Done"));
  EXPECT_TRUE(HasForm(L"", L""));
  EXPECT_FALSE(HasForm(L" ", L""));
}

TEST(HasForm, ANumberIsDigitsWithOrWithoutASignAhead) {
  for (const wchar_t* number : {L"0", L"7", L"007", L"2147483647", L"-1", L"9223372036854775807"}) {
    EXPECT_TRUE(HasForm(std::wstring(L"Users: ") + number, L"Users: #")) << number;
    EXPECT_TRUE(HasForm(std::wstring(L"Size: ") + number + L" KB", L"Size: # KB")) << number;
  }
  for (const wchar_t* other : {L"", L"-", L"--1", L"+1", L" 1", L"1 ", L"1.5", L"0x1", L"a", L"1a",
                               L"#", L"\u0661", L"\uff11"}) {
    EXPECT_FALSE(HasForm(std::wstring(L"Users: ") + other, L"Users: #")) << other;
    EXPECT_FALSE(HasForm(std::wstring(L"Size: ") + other + L" KB", L"Size: # KB")) << other;
  }
}

TEST(HasForm, SeveralNumbersStandEachInItsPlace) {
  EXPECT_TRUE(HasForm(L"2026-11-21 23:05:09", L"#-#-# #:#:#"));
  EXPECT_TRUE(HasForm(L"Assigned 1 of 20 users ...", L"Assigned # of # users ..."));
  EXPECT_FALSE(HasForm(L"2026-11 23:05:09", L"#-#-# #:#:#"));
  EXPECT_FALSE(HasForm(L"2026-11-21-09 23:05", L"#-#-# #:#:#"));
  EXPECT_FALSE(HasForm(L"Assigned 1 of users ...", L"Assigned # of # users ..."));
}

TEST(HasForm, ANumberAboveZeroIsNeitherZeroNorLess) {
  EXPECT_TRUE(HasForm(L"1 stores", L"+ stores"));
  EXPECT_TRUE(HasForm(L"10 stores", L"+ stores"));
  EXPECT_TRUE(HasForm(L"4294967295 stores", L"+ stores"));
  for (const wchar_t* other : {L"0", L"-1", L"-0", L"00", L"01", L"", L"-", L"+1", L"x"}) {
    EXPECT_FALSE(HasForm(std::wstring(other) + L" stores", L"+ stores")) << other;
  }
}

TEST(HasForm, AStarIsAnyText) {
  for (const wchar_t* text : {L"", L" ", L"ann@example.com", L"'", L"''", L"*", L"a'b", L"]",
                              L"\u9648\u4f1f", L"\xd83d\xde00"}) {
    EXPECT_TRUE(HasForm(std::wstring(L"store '") + text + L"'", L"store '*'")) << text;
    EXPECT_TRUE(HasForm(std::wstring(L"compacting ") + text, L"compacting *")) << text;
    EXPECT_TRUE(HasForm(text, L"*")) << text;
  }
  EXPECT_FALSE(HasForm(L"store 'ann", L"store '*'"));
  EXPECT_FALSE(HasForm(L"store ann'", L"store '*'"));
  EXPECT_FALSE(HasForm(L"store 'ann'.", L"store '*'"));
  EXPECT_FALSE(HasForm(L"Store 'ann'", L"store '*'"));
  EXPECT_FALSE(HasForm(L"compacting", L"compacting *"));
}

TEST(HasForm, WhatStandsAheadOfAStarAndBehindItDoesNotShareCharacters) {
  EXPECT_FALSE(HasForm(L"store '", L"store '*'"));
  EXPECT_FALSE(HasForm(L"[", L"[*["));
  EXPECT_TRUE(HasForm(L"[[", L"[*["));
}

// A line with that beginning that has so many characters, and an end that no form has.
std::wstring LongLine(const std::wstring& beginning, size_t length) {
  return beginning + std::wstring(length - beginning.size(), L'n');
}

TEST(HasForm, ALineThatMayHaveBeenCutCountsByItsBeginning) {
  EXPECT_TRUE(HasForm(LongLine(L"store '", 254), L"store '*'"));
  EXPECT_FALSE(HasForm(LongLine(L"Store '", 254), L"store '*'"));
  EXPECT_FALSE(HasForm(LongLine(L"store ", 254), L"store '*'"));
}

TEST(HasForm, ALineOfAnotherLengthHasNotBeenCut) {
  for (const size_t length : {size_t{100}, size_t{253}, size_t{255}, size_t{508}}) {
    EXPECT_FALSE(HasForm(LongLine(L"store '", length), L"store '*'")) << length;
    EXPECT_TRUE(HasForm(LongLine(L"store '", length - 1) + L"'", L"store '*'")) << length;
  }
}

TEST(HasForm, ALineOfNumbersIsNeverCut) {
  EXPECT_FALSE(HasForm(L"Size: " + std::wstring(248, L'1'), L"Size: # KB"));
  EXPECT_TRUE(HasForm(L"Size: " + std::wstring(245, L'1') + L" KB", L"Size: # KB"));
}

TEST(CommandOf, WithoutACommandWordIsNone) {
  for (const std::vector<std::wstring>& arguments : {std::vector<std::wstring>{},
                                                     {L""},
                                                     {L"-h"},
                                                     {L"checkQsf"},
                                                     {L"--checkQsf"},
                                                     {L"/checkQsf"},
                                                     {L"-checkQsfs"},
                                                     {L"-check"},
                                                     {L"-checkQsf "},
                                                     {L"-p", L"Outlook"}}) {
    EXPECT_EQ(CommandOf(arguments), kNone) << ::testing::PrintToString(arguments);
  }
}

TEST(CommandOf, AWordCountsInAnyLetterCaseAndAnywhere) {
  EXPECT_EQ(CommandOf(std::vector<std::wstring>{L"-checkQsf"}), kCheckQsf);
  EXPECT_EQ(CommandOf(std::vector<std::wstring>{L"-CHECKQSF"}), kCheckQsf);
  EXPECT_EQ(CommandOf(std::vector<std::wstring>{L"-v", L"-p", L"-purgeqsf"}), kPurgeQsf);
  EXPECT_EQ(CommandOf(std::vector<std::wstring>{L"-h", L"-FINDusers", L"-v"}), kFindUsers);
}

// What the tool prints for these arguments. Those that let it do work are not for here.
std::wstring ToolOutput(std::vector<std::wstring> arguments) {
  std::vector<wchar_t*> pointers;
  pointers.reserve(arguments.size());
  for (std::wstring& argument : arguments) pointers.push_back(argument.data());
  const CapturedOutput output;
  Dispatch(static_cast<int>(pointers.size()), pointers.data(), L"qrvadmin");
  return output.Text();
}

std::wstring FirstLine(const std::wstring& text) { return text.substr(0, text.find(L'\n')); }

// The tool's command words, in the order of its own screen, which is that of their priority.
std::vector<std::wstring> CommandWords() {
  constexpr std::wstring_view kRow = L"\tqrvadmin -h ";
  std::wistringstream screen(ToolOutput({L"qrvadmin"}));
  std::vector<std::wstring> words;
  for (std::wstring line; std::getline(screen, line);) {
    if (!line.starts_with(kRow)) continue;
    line.erase(0, kRow.size());
    words.push_back(line.substr(0, line.find(L' ')));
  }
  return words;
}

TEST(CommandOf, KnowsTheToolsCommandsInTheirOrder) {
  const std::vector<std::wstring> words = CommandWords();
  ASSERT_EQ(words.size(), std::size(kCommands));
  ASSERT_EQ(static_cast<size_t>(kNone), words.size());
  for (size_t i = 0; i < words.size(); ++i) {
    EXPECT_EQ(CommandOf(std::vector<std::wstring>{words[i]}), kCommands[i]) << words[i];
    EXPECT_EQ(static_cast<size_t>(kCommands[i]), i);
  }
}

TEST(CommandOf, OfSeveralWordsTheToolsChoiceIsTaken) {
  const std::vector<std::wstring> words = CommandWords();
  for (const std::wstring& first : words) {
    for (const std::wstring& second : words) {
      const std::vector<std::wstring> arguments = {first, second};
      const auto command = static_cast<size_t>(CommandOf(arguments));
      ASSERT_LT(command, words.size());
      EXPECT_EQ(ToolOutput({L"qrvadmin", L"-h", first, second}),
                ToolOutput({L"qrvadmin", L"-h", words[command]}));
    }
  }
}

TEST(GoodLines, ACheckOfNoStoresIsNotGood) {
  EXPECT_TRUE(IsGoodLine(kCheckQsf, L"CheckQsf: Checking 1 MAPI stores..."));
  EXPECT_TRUE(IsGoodLine(kCheckQsf, L"CheckQsf: Checking 1234 MAPI stores..."));
  EXPECT_FALSE(IsGoodLine(kCheckQsf, L"CheckQsf: Checking 0 MAPI stores..."));
}

TEST(GoodLines, AServiceInAnyStateButRunningIsNotGood) {
  const auto line = [](int state) {
    return L"ServiceStartSvc. Service is already running, currentState=" + std::to_wstring(state) +
           L")";
  };
  EXPECT_EQ(GoodFor(line(SERVICE_RUNNING)), AllBut({kListAgents, kListServers, kFindUsers}));
  for (const int state : {0, 1, 2, 3, 5, 6, 7, 14, 44}) {
    EXPECT_EQ(GoodFor(line(state)), CommandSet()) << state;
  }
}

TEST(GoodLines, NoMarkedFilesAreGoodAndNoFilesAreNot) {
  EXPECT_TRUE(
      IsGoodLine(kScanQsf, L"No .qsf files have been marked as corrupt with [Outlook] profile"));
  EXPECT_FALSE(IsGoodLine(kScanQsf, L"No .qsf files associated with [Outlook] profile"));
}

TEST(GoodLines, ALineIsGoodForItsOwnCommandsOnly) {
  EXPECT_EQ(GoodFor(L"Done"), (CommandSet{kCheckQsf, kAssignAgents}));
  EXPECT_EQ(GoodFor(L"All stores are OK"), CommandSet{kCheckQsf});
  EXPECT_EQ(GoodFor(L"Checking store for 'ann'"), CommandSet{kCheckQsf});
  EXPECT_EQ(GoodFor(L"Creating store for 'ann'"), CommandSet{kAssignAgents});
  EXPECT_EQ(GoodFor(L"scanning C:\\a.qsf"), CommandSet{kScanQsf});
  EXPECT_EQ(GoodFor(L"Compacting done"), CommandSet{kCompactQsf});
  EXPECT_EQ(GoodFor(L"Deleting: C:\\a.qsf"), CommandSet{kPurgeQsf});
  EXPECT_EQ(GoodFor(L"AgentId: -1"), CommandSet{kListAgents});
  EXPECT_EQ(GoodFor(L"Users: 0"), (CommandSet{kListAgents, kListServers}));
  EXPECT_EQ(GoodFor(L"Email: ann"), CommandSet{kFindUsers});
  EXPECT_EQ(GoodFor(L"Exiting."), AllBut({}));
  EXPECT_FALSE(IsGoodLine(kNone, L"Exiting."));
}

TEST(GoodLines, AnEmptyLineIsNotGood) { EXPECT_EQ(GoodFor(L""), CommandSet()); }

TEST(GoodLines, ACutLineIsGoodByItsBeginning) {
  EXPECT_EQ(GoodFor(LongLine(L"Checking store for '", 254)), CommandSet{kCheckQsf});
  EXPECT_EQ(GoodFor(LongLine(L"Checking store for '", 253)), CommandSet());
  EXPECT_EQ(GoodFor(LongLine(L"CheckQsf: Logon failed for '", 254)), CommandSet());
}

TEST(NotRunLines, AreWholeLines) {
  constexpr wchar_t kInUse[] =
      L"MAPI is in use. Please close the following applications and try again:";
  EXPECT_STREQ(ReasonNotRun(kInUse), L"MAPI is in use");
  EXPECT_STREQ(ReasonNotRun(L"Failed to initialize MAPI. are you using the right 64/32 bitness?"),
               L"MAPI cannot be initialized");
  EXPECT_EQ(ReasonNotRun(std::wstring(kInUse) + L" "), nullptr);
  EXPECT_EQ(ReasonNotRun(L"MAPI is in use."), nullptr);
  EXPECT_EQ(ReasonNotRun(L"qrvadmin"), nullptr);
  EXPECT_EQ(ReasonNotRun(L""), nullptr);
  EXPECT_EQ(ReasonNotRun(L"Done"), nullptr);
}

TEST(NotRunLines, AreGoodForNoCommand) {
  for (const std::wstring_view line : NotRunLines()) {
    EXPECT_EQ(GoodFor(line), CommandSet()) << std::wstring(line);
  }
}

// The first lines of the screens that the tool shows instead of working.
std::set<std::wstring> ScreenHeads() {
  std::set<std::wstring> heads = {FirstLine(ToolOutput({L"qrvadmin"})),
                                  FirstLine(ToolOutput({L"qrvadmin", L"-scanQsf", L"-wrong"}))};
  for (const std::wstring& word : CommandWords()) {
    heads.insert(FirstLine(ToolOutput({L"qrvadmin", L"-h", word})));
  }
  return heads;
}

TEST(NotRunLines, AreTheHeadsOfTheToolsScreensAndWhatItSaysOfMapi) {
  const std::set<std::wstring> heads = ScreenHeads();
  EXPECT_EQ(heads.size(), std::size(kCommands) + 2);
  for (const std::wstring& head : heads) EXPECT_STREQ(ReasonNotRun(head), L"a help screen") << head;
  std::set<std::wstring> others;
  for (const std::wstring_view line : NotRunLines()) {
    if (!heads.contains(std::wstring(line))) others.emplace(line);
  }
  EXPECT_EQ(others,
            (std::set<std::wstring>{
                L"Failed to initialize MAPI. are you using the right 64/32 bitness?",
                L"MAPI is in use. Please close the following applications and try again:"}));
}

// What stands in a format's place in a line, one character at a time.
enum class PieceKind { kCharacter, kNumber, kText, kOther };

struct Piece {
  PieceKind kind;
  wchar_t character = L'\0';
};

std::vector<Piece> PiecesOf(std::wstring_view format) {
  constexpr std::wstring_view kFlagsAndWidth = L"-+ #0123456789";
  struct Conversion {
    std::wstring_view text;
    PieceKind kind;
  };
  constexpr Conversion kConversions[] = {{L"s", PieceKind::kText},      {L"ls", PieceKind::kText},
                                         {L"hs", PieceKind::kText},     {L"d", PieceKind::kNumber},
                                         {L"I64d", PieceKind::kNumber}, {L"x", PieceKind::kOther}};
  std::vector<Piece> pieces;
  while (!format.empty()) {
    if (format[0] != L'%' || format.starts_with(L"%%")) {
      pieces.push_back({PieceKind::kCharacter, format[0]});
      format.remove_prefix(format[0] == L'%' ? 2 : 1);
      continue;
    }
    format.remove_prefix(std::min(format.find_first_not_of(kFlagsAndWidth, 1), format.size()));
    const auto* const conversion = std::find_if(
        std::begin(kConversions), std::end(kConversions),
        [&](const Conversion& candidate) { return format.starts_with(candidate.text); });
    if (conversion == std::end(kConversions)) {
      ADD_FAILURE() << "an unknown conversion: %" << std::wstring(format);
      return pieces;
    }
    pieces.push_back({conversion->kind});
    format.remove_prefix(conversion->text.size());
  }
  return pieces;
}

bool IsDigit(wchar_t character) { return character >= L'0' && character <= L'9'; }

// Whether a form is that of a format's lines: all of them, or those with one number, or those with
// numbers above zero.
bool Belongs(LineForm form, const std::wstring& format) {
  constexpr std::wstring_view kSigns = L"#+*";
  for (const Piece& piece : PiecesOf(format)) {
    if (form.empty()) return false;
    const wchar_t next = form[0];
    form.remove_prefix(1);
    switch (piece.kind) {
      case PieceKind::kCharacter:
        if (next != piece.character || kSigns.find(next) != kSigns.npos) return false;
        break;
      case PieceKind::kText:
        if (next != L'*') return false;
        break;
      case PieceKind::kNumber:
        if (next != L'#' && next != L'+' && !IsDigit(next)) return false;
        while (IsDigit(next) && !form.empty() && IsDigit(form[0])) form.remove_prefix(1);
        break;
      case PieceKind::kOther:
        return false;
    }
  }
  return form.empty();
}

TEST(Belongs, ComparesAFormWithAFormat) {
  EXPECT_TRUE(Belongs(L"Done", L"Done"));
  EXPECT_FALSE(Belongs(L"Done", L"Done."));
  EXPECT_FALSE(Belongs(L"Done.", L"Done"));
  EXPECT_TRUE(Belongs(L"a * b", L"a %s b"));
  EXPECT_TRUE(Belongs(L"a * b", L"a %-20ls b"));
  EXPECT_FALSE(Belongs(L"a # b", L"a %s b"));
  EXPECT_FALSE(Belongs(L"a text b", L"a %s b"));
  EXPECT_TRUE(Belongs(L"a # b", L"a %04d b"));
  EXPECT_TRUE(Belongs(L"a + b", L"a %I64d b"));
  EXPECT_TRUE(Belongs(L"a 42 b", L"a %d b"));
  EXPECT_FALSE(Belongs(L"a * b", L"a %d b"));
  EXPECT_FALSE(Belongs(L"a x b", L"a %d b"));
  EXPECT_FALSE(Belongs(L"*", L"%#010x"));
  EXPECT_FALSE(Belongs(L"#", L"%x"));
  EXPECT_TRUE(Belongs(L"100%", L"100%%"));
  EXPECT_FALSE(Belongs(L"*", L"*"));
  EXPECT_FALSE(Belongs(L"#", L"#"));
}

// A line of the format, with texts that could be anybody's.
std::wstring SampleOf(const std::wstring& format) {
  std::wstring line;
  for (const Piece& piece : PiecesOf(format)) {
    switch (piece.kind) {
      case PieceKind::kCharacter:
        line += piece.character;
        break;
      case PieceKind::kNumber:
        line += L"4";
        break;
      case PieceKind::kText:
        line += L"J\u00f6rg O'Neil [1]";
        break;
      case PieceKind::kOther:
        line += L"8004010f";
        break;
    }
  }
  return line;
}

// Which commands print good lines, by the files that print them.
struct Printer {
  std::string file;
  CommandSet commands;
  // The only format for which it holds; every one when it is empty.
  std::wstring format{};
};

const std::vector<Printer>& Printers() {
  static const std::vector<Printer> kPrinters = {
      // -listServers has no verbose output.
      {"besdb/bes_database.cpp", {kListAgents, kAssignAgents}},
      {"commands/agent_batches.cpp", {kAssignAgents}},
      {"commands/assign_agents.cpp", {kAssignAgents}},
      {"commands/check_qsf.cpp", {kCheckQsf}},
      {"commands/compact_qsf.cpp", {kCompactQsf}},
      {"commands/find_users.cpp", {kFindUsers}},
      {"commands/list_agents.cpp", {kListAgents}},
      {"commands/list_servers.cpp", {kListServers}},
      {"commands/purge_qsf.cpp", {kPurgeQsf}},
      {"commands/scan_qsf.cpp", {kScanQsf}},
      {"commands/unused_files.cpp", {kPurgeQsf}},
      // The commands on the database alone leave Ctrl+C to the system.
      {"console/user_break.cpp", AllBut({kListAgents, kListServers})},
      {"frame/controller_service.cpp", AllBut({kListAgents, kListServers, kFindUsers})},
      {"frame/mapi_frame.cpp", AllBut({kListAgents, kListServers, kFindUsers})},
      {"program/program.cpp", AllBut({})},
      {"scan/mapi_module.cpp", {kScanQsf}},
      {"scan/repair_tool.cpp", {kScanQsf}},
      {"stores/store_logon.cpp", {kCheckQsf}, L"Checking store for '%s'"},
      {"stores/store_logon.cpp", {kAssignAgents}, L"Creating store for '%s'"},
  };
  return kPrinters;
}

// The commands that print a line of this format when all goes well.
CommandSet PrintersOf(const SourceText& source) {
  for (const Printer& printer : Printers()) {
    if (printer.file == source.first && (printer.format.empty() || printer.format == source.second))
      return printer.commands;
  }
  ADD_FAILURE() << source.first << " prints, of a good run, " << source.second
                << "\nwhich commands do so must stand in Printers()";
  return {};
}

// The formats that are of no good run, by the files that print them. Whoever adds a line to the
// tool puts its format here, or its form into the table of good lines.
const std::map<std::string, std::vector<std::wstring>>& Trouble() {
  static const std::map<std::string, std::vector<std::wstring>> kTrouble = {
      {"besdb/bes_database.cpp",
       {L"%hs: Connect failed : 0x%x", L"%hs: Failed to execute SQL : 0x%x",
        L"%hs: MoveFirst failed : 0x%x", L"%hs: MoveNext failed : 0x%x", L"%hs: NULL user name",
        L"%hs: column count check failed",
        L"CBESDatabase::Connect: GetConnectionString failed : 0x%x",
        L"CBESDatabase::Connect: OpenFromInitializationString failed : 0x%x",
        L"CBESDatabase::Connect: Session open failed : 0x%x",
        L"CBESDatabase::CountServerUsers: Failed to read COUNT column",
        L"CBESDatabase::Execute: Connect failed : 0x%x",
        L"CBESDatabase::Execute: Failed to execute SQL : 0x%x",
        L"CBESDatabase::GetConnectionString: Unable to read BES Database properties : 0x%x",
        L"CBESDatabase::GetServerUserNamesByAgentId: Failed to read AgentId column",
        L"CBESDatabase::GetServers: Failed to read Id column",
        L"CBESDatabase::GetServers: NULL server name"}},
      {"commands/agent_batches.cpp", {L"AssignUsersToAgents: Failed to execute SQL : 0x%x"}},
      {"commands/assign_agents.cpp",
       {L"AssignUsersToAgents: CoInitialize failed : 0x%x",
        L"AssignUsersToAgents: Failed to create MAPI stores : 0x%x",
        L"AssignUsersToAgents: GetComputerNameEx failed : 0x%x",
        L"AssignUsersToAgents: GetServerUserNames failed : 0x%x",
        L"AssignUsersToAgents: LogonToStores failed : 0x%x",
        L"AssignUsersToAgents: StoreManager::LoadCache failed : 0x%x"}},
      {"commands/check_qsf.cpp",
       {L"CheckQsf: Logon failed for '%s' : 0x%x", L"CheckQsf: LogonToStores failed : 0x%x"}},
      {"commands/compact_qsf.cpp",
       {L"Compact failed for '%s' : 0x%x", L"CompactQsf: CoInitialize failed : 0x%x"}},
      {"commands/compact_thread.cpp", {L"CompactQsfThread: lpvCompactQsfThreadParams i NULL"}},
      {"commands/embedded_stores.cpp", {L"Serious error: *** Embedded store not found ***"}},
      {"commands/find_users.cpp", {L"Serious error: *** Parent store not found for '%s' ***"}},
      {"commands/list_agents.cpp",
       {L"qrvAdminListAgents: CoInitialize failed : 0x%x",
        L"qrvAdminListAgents: GetServerUserNamesByAgentId failed : 0x%x"}},
      {"commands/list_servers.cpp", {L"qrvAdminListServers: CoInitialize failed : 0x%x"}},
      {"commands/purge_qsf.cpp",
       {L"PurgeQsf: CoInitialize failed : 0x%x", L"PurgeQsf: GetProfileTable failed : 0x%x",
        L"PurgeQsf: HrQueryAllRows failed : 0x%x",
        L"PurgeQsf: storeManager LoadCache failed : 0x%x"}},
      {"commands/scan_qsf.cpp",
       {L"Are you sure you want to delete [%s] ([y]es/[n]o/[c]ancel)?",
        L"No .qsf files associated with [%s] profile", L"delete operation cancelled",
        L"deleting %s", L"file delete done.", L"file delete error.", L"file scan error.",
        L"illegal value"}},
      {"commands/server_lookup.cpp",
       {L"%hs: Failed to find server '%s'", L"%hs: GetServers failed : 0x%x"}},
      {"commands/store_cache.cpp", {L"%hs: storeManager LoadCache failed : 0x%x"}},
      {"frame/controller_service.cpp",
       {L"ServiceStartSvc. OpenSCManager failed (%d)", L"ServiceStartSvc. OpenService failed (%d)",
        L"ServiceStartSvc. QueryServiceStatusEx failed (%d)",
        L"ServiceStartSvc. StartService failed (%d)"}},
      {"program/program.cpp", {L"Failed to initialize critical section"}},
      {"scan/qsf_paths.cpp",
       {L"getQsfPaths. opening key %ls returned error %#010x", L"getQsfPaths: caught %s"}},
      {"scan/repair_tool.cpp",
       {L"CheckRepairQsf. Process failed to create.exiting", L"CheckRepairQsf. ScanPST Error: %s",
        L"CheckRepairQsf. ScanPST was not loaded or terminated. another ScanPST running?",
        L"CheckRepairQsf. clicking the cancel button",
        L"CheckRepairQsf. did not find edit control. there was an error. clicking OK",
        L"CheckRepairQsf. finding the cancel button"}},
      {"stores/cache_loader.cpp",
       {L"CStoreManager::LoadCache: AdminProviders failed : 0x%x",
        L"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store '%s' : 0x%x",
        L"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store '%s' : 0x%x",
        L"CStoreManager::LoadCache: GetMsgServiceTable failed : 0x%x",
        L"CStoreManager::LoadCache: GetProviderTable failed : 0x%x",
        L"CStoreManager::LoadCache: HrQueryAllRows on MsgServiceTable failed : 0x%x",
        L"CStoreManager::LoadCache: HrQueryAllRows on provider table failed : 0x%x",
        L"CStoreManager::LoadCache: OpenProfileSection on parent provider UID failed : 0x%x",
        L"CStoreManager::LoadCache: OpenProfileSection on provider table failed : 0x%x",
        L"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index %d",
        L"CStoreManager::LoadCache: Restrict on MsgServiceTable failed : 0x%x",
        L"CStoreManager::LoadCache: Restrict on provider table failed : 0x%x",
        L"DeleteMsgService : 0x%x", L"Deleting orphan embedded store.",
        L"Serious error: *** Parent store not found for '%s' ***"}},
      {"stores/profile_admin.cpp",
       {L"%hs: AdminServices failed : 0x%x", L"%hs: MAPIAdminProfiles failed : 0x%x"}},
      {"stores/store_logon.cpp",
       {L"CStoreManager::LogonToStores: Failed query IExchangeManageStore interface : 0x%x",
        L"CStoreManager::LogonToStores: Failed to find default store",
        L"CStoreManager::LogonToStores: Failed to open default store : 0x%x",
        L"CStoreManager::LogonToStores: GetMsgStoresTable failed : 0x%x",
        L"CStoreManager::LogonToStores: HrQueryAllRows on MsgServiceTable failed : 0x%x",
        L"CStoreManager::LogonToStores: MAPILogonEx failed : 0x%x",
        L"Error WaitForMultipleObjects returned : 0x%x", L"Failed to CreateThread : 0x%x"}},
      {"stores/store_logon_worker.cpp",
       {L"StoreLogonThread: Failed query IExchangeManageStore interface : 0x%x",
        L"StoreLogonThread: Failed to CreateStoreEntryID for user '%s' : 0x%x",
        L"StoreLogonThread: Failed to get BlackBerryHandHeldInfo contents table for user '%s' : "
        L"0x%x",
        L"StoreLogonThread: Failed to open BlackBerryHandHeldInfo folder for user '%s' : 0x%x",
        L"StoreLogonThread: Failed to open BlackBerryMsgOnDeviceSearchFolder folder for user '%s' "
        L": 0x%x",
        L"StoreLogonThread: Failed to open delegate store for user '%s' : 0x%x",
        L"StoreLogonThread: Failed to open root folder for user '%s' : 0x%x",
        L"StoreLogonThread: MAPILogonEx failed : 0x%x",
        L"StoreLogonThread: lpvStoreLogonThreadParams is NULL"}},
  };
  return kTrouble;
}

// Those of runs that did not come about. The first line of each is in NotRunLines().
const std::map<std::string, std::vector<std::wstring>>& NotRun() {
  static const std::map<std::string, std::vector<std::wstring>> kNotRun = {
      {"frame/mapi_frame.cpp",
       {L"Failed to initialize MAPI. are you using the right 64/32 bitness?"}},
      {"frame/mapi_in_use.cpp",
       {L"%s", L"MAPI is in use. Please close the following applications and try again:"}},
      {"program/general_help.cpp", {L"\t%s %-20s %s"}},
  };
  return kNotRun;
}

std::set<SourceText> Flat(const std::map<std::string, std::vector<std::wstring>>& byFile) {
  std::set<SourceText> flat;
  for (const auto& [file, formats] : byFile) {
    for (const std::wstring& format : formats) {
      EXPECT_TRUE(flat.emplace(file, format).second) << file << " twice: " << format;
    }
  }
  return flat;
}

// Fails with each element that only one of the two has.
template <typename Set>
void ExpectEqual(const Set& actual, const char* whenMissing, const Set& expected,
                 const char* whenNew) {
  std::vector<SourceText> onlyExpected;
  std::vector<SourceText> onlyActual;
  std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                      std::back_inserter(onlyExpected));
  std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                      std::back_inserter(onlyActual));
  for (const auto& [file, text] : onlyExpected) {
    ADD_FAILURE() << whenMissing << ": src/" << file << ": " << text;
  }
  for (const auto& [file, text] : onlyActual) {
    ADD_FAILURE() << whenNew << ": src/" << file << ": " << text;
  }
}

class ToolLinesTest : public ::testing::Test {
 protected:
  // Read once for all tests.
  static const SourceFormats& Found() {
    static const SourceFormats kFound = ReadSourceFormats(QRV_SOURCE_DIRECTORY, "run");
    return kFound;
  }

  // The forms of good lines that belong to a format.
  static std::set<std::wstring> GoodFormsOf(const std::wstring& format) {
    std::set<std::wstring> forms;
    for (const ToolCommand command : kCommands) {
      for (const LineForm form : GoodForms(command)) {
        if (Belongs(form, format)) forms.emplace(form);
      }
    }
    return forms;
  }
};

TEST_F(ToolLinesTest, EachIsGoodOrTroubleOrOfARunThatDidNotComeAbout) {
  std::set<SourceText> notGood;
  for (const SourceText& source : Found().lines) {
    if (GoodFormsOf(source.second).empty()) notGood.insert(source);
  }
  std::set<SourceText> known = Flat(Trouble());
  for (const SourceText& source : Flat(NotRun())) {
    EXPECT_TRUE(known.insert(source).second) << "in both lists: " << source.second;
  }
  known.emplace("console/user_break.cpp", kUserBreakLine);
  ExpectEqual(notGood, "listed as not good, but good, or no longer printed", known,
              "printed, but neither good nor listed");
}

TEST_F(ToolLinesTest, TheTableOfGoodOnesHasTheFormsThatTheToolPrintsForEachCommand) {
  std::map<std::wstring, CommandSet> printed;
  for (const SourceText& source : Found().lines) {
    for (const std::wstring& form : GoodFormsOf(source.second)) {
      printed[form].merge(PrintersOf(source));
    }
  }
  std::map<std::wstring, CommandSet> good;
  for (const ToolCommand command : kCommands) {
    for (const LineForm form : GoodForms(command)) {
      EXPECT_TRUE(good[std::wstring(form)].insert(command).second)
          << "twice: " << std::wstring(form);
    }
  }
  for (const auto& [form, commands] : good) EXPECT_EQ(commands, printed[form]) << form;
  EXPECT_EQ(good.size(), printed.size());
}

TEST_F(ToolLinesTest, EachIsGoodForTheCommandsThatPrintItOnly) {
  std::map<std::wstring, CommandSet> printers;
  for (const SourceText& source : Found().lines) {
    CommandSet& commands = printers[source.second];
    if (!GoodFormsOf(source.second).empty()) commands.merge(PrintersOf(source));
  }
  for (const auto& [format, commands] : printers) {
    EXPECT_EQ(GoodFor(SampleOf(format)), commands) << format;
  }
}

TEST_F(ToolLinesTest, OneOfARunThatDidNotComeAboutIsToldByItsFirstLine) {
  std::set<std::wstring> told;
  for (const SourceText& source : Flat(NotRun())) {
    if (ReasonNotRun(source.second)) told.insert(source.second);
  }
  EXPECT_EQ(told, (std::set<std::wstring>{
                      L"Failed to initialize MAPI. are you using the right 64/32 bitness?",
                      L"MAPI is in use. Please close the following applications and try again:"}));
  for (const SourceText& source : Flat(Trouble())) {
    EXPECT_EQ(ReasonNotRun(SampleOf(source.second)), nullptr) << source.second;
  }
}

TEST_F(ToolLinesTest, WhatIsStreamedIsOfHelpScreens) {
  const std::set<SourceText> expected = {
      {"commands/scan_qsf.cpp", L"%s -scanQsf"},
      {"commands/scan_qsf.cpp", L"%s utility\n"},
      {"commands/scan_qsf.cpp", L"Error in switches - use as described below.\n\n"},
      {"commands/scan_qsf.cpp", L"Usage: %s [-h]"},
      {"program/general_help.cpp", L"%s is used for administering a QRV installation.\n\n"},
      {"program/general_help.cpp", L"To obtain help for specific commands, enter:\n\n"},
  };
  ExpectEqual(Found().streamed, "no longer streamed", expected, "streamed");
}

TEST_F(ToolLinesTest, NothingElseLeadsToStandardOutput) {
  struct Way {
    std::string file;
    std::wstring name;
    int places;
  };
  const std::vector<Way> ways = {
      // The screens' functions, whose first lines are compared above, and their calls.
      {"commands/help_screen.cpp", L"PrintTexts", 2},
      {"commands/help_screen.cpp", L"PrintUsage", 1},
      {"commands/help_screen.cpp", L"wcout", 2},
      {"commands/help_screen.h", L"PrintTexts", 1},
      {"commands/help_screen.h", L"PrintUsage", 1},
      {"commands/assign_agents.cpp", L"PrintUsage", 1},
      {"commands/check_qsf.cpp", L"PrintUsage", 1},
      {"commands/compact_qsf.cpp", L"PrintUsage", 1},
      {"commands/find_users.cpp", L"PrintUsage", 1},
      {"commands/list_agents.cpp", L"PrintUsage", 1},
      {"commands/list_servers.cpp", L"PrintUsage", 1},
      {"commands/purge_qsf.cpp", L"PrintUsage", 1},
      {"commands/scan_qsf.cpp", L"PrintTexts", 6},
      // The functions for lines, and the stream below them.
      {"console/console.cpp", L"GetStdHandle", 1},
      {"console/console.cpp", L"PrintFormattedLine", 1},
      {"console/console.cpp", L"PrintText", 1},
      {"console/console.cpp", L"wcout", 3},
      {"console/console.h", L"PrintFormattedLine", 2},
      {"console/console.h", L"PrintLine", 1},
      {"console/console.h", L"PrintText", 1},
      {"console/console_stream.cpp", L"WriteConsoleW", 1},
      {"console/console_stream.cpp", L"WriteFile", 1},
      // A line's function of its own, whose calls are read.
      {"stores/cache_loader.cpp", L"Failed", 1},
      {"stores/cache_loader.cpp", L"PrintLine", 1},
      {"stores/cache_loader.h", L"Failed", 1},
  };
  std::multiset<SourceText> expected;
  for (const Way& way : ways) {
    for (int i = 0; i < way.places; ++i) expected.emplace(way.file, way.name);
  }
  ExpectEqual(Found().opaque, "no longer there", expected,
              "leads to standard output; what it prints cannot be read");
}

}  // namespace
