// The journal: one line for each call that crosses the boundary between a program and the lab.
//
//   <start> <end> <process> <thread> <call> #<object> n=<number> <name>=<value>... =0x<result>
//   <time> <time> <process> <thread> LEAK <text>
//   <time> <time> <process> <thread> UNEXPECTED <text>
//
// Times are microseconds of the performance counter, the same clock in every process. The object is
// the number of the interface's object, 0 for an exported function. n is the number by which a
// fault rule "* <n>" reaches the call, 0 when no rule can. Strings stand in double quotes, flags
// are hexadecimal with 0x, binary values are hexadecimal digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lab {

struct JournalEntry {
  enum class Kind { kCall, kLeak, kUnexpected };

  Kind kind = Kind::kCall;
  uint64_t startMicros = 0;
  uint64_t endMicros = 0;
  uint32_t processId = 0;
  uint32_t threadId = 0;
  std::string call = {};  // "IMsgServiceAdmin::OpenProfileSection"; empty for the other kinds
  uint32_t object = 0;    // number of the called object, 0 for a function
  uint32_t ordinal = 0;   // the n of a fault rule "* <n>"
  // Arguments in the order written, values as text without quotes.
  std::vector<std::pair<std::string, std::string>> arguments = {};
  uint32_t result = 0;    // HRESULT, or what the call returns
  std::string text = {};  // what was leaked or not expected

  // The value of the argument `name`, or an empty string.
  std::string Argument(std::string_view name) const;
};

// The performance counter in microseconds.
uint64_t NowMicros();

// Appends `entry` to the file at `path` as one line. Any number of threads and processes may append
// to one file at once. Process and thread are the caller's, whatever `entry` says. Does nothing
// when `path` is empty; a file that cannot be written is passed over in silence.
void AppendJournal(const std::wstring& path, const JournalEntry& entry);
// The same for what takes no time: it is entered as of now.
void AppendJournalNow(const std::wstring& path, JournalEntry entry);

// Appends a LEAK or an UNEXPECTED line.
void AppendJournalNote(const std::wstring& path, JournalEntry::Kind kind, std::string_view text);

// One line as it stands in the file, without its end, and back. A line that is none gives false.
std::string FormatJournalLine(const JournalEntry& entry);
bool ParseJournalLine(std::string_view line, JournalEntry* entry);

// Every line of the file in the order written; empty when the file does not exist.
std::vector<JournalEntry> ReadJournal(const std::wstring& path);

// Questions that tests ask of a journal. The results are in the journal's order.
std::vector<JournalEntry> CallsOf(const std::vector<JournalEntry>& journal, std::string_view call);
std::vector<std::string> Leaks(const std::vector<JournalEntry>& journal);
std::vector<std::string> UnexpectedCalls(const std::vector<JournalEntry>& journal);

// How many calls of `call` were in flight at once at the most, by their start and end times.
size_t MaxInFlight(const std::vector<JournalEntry>& journal, std::string_view call);

// The highest n of the journal: how many calls a sweep of "* <n>" rules has to fail.
uint32_t CountFaultableCalls(const std::vector<JournalEntry>& journal);

}  // namespace lab
