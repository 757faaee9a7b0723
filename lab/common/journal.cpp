#include "lab/common/journal.h"

#include <windows.h>

#include <algorithm>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"

namespace lab {
namespace {

// Appending is one write, but not everywhere is "write at the end" one step: the mutex makes it so
// for all processes of a session.
SessionMutex g_appendMutex(L"Local\\QrvLabJournal", 5000);

void AppendLine(const std::wstring& path, const std::string& line) {
  const SessionLock lock(g_appendMutex);
  const platform::KernelHandle file = platform::TakeFileHandle(CreateFileW(
      path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  if (file) WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

constexpr NamedValue<JournalEntry::Kind> kNotes[] = {
    {JournalEntry::Kind::kLeak, "LEAK"}, {JournalEntry::Kind::kUnexpected, "UNEXPECTED"}};

bool IsPlain(std::string_view value) {
  return !value.empty() && std::all_of(value.begin(), value.end(), [](unsigned char c) {
    return c > 0x20 && c < 0x7F && c != '"' && c != '\\' && c != '=';
  });
}

// Reads the numbers of a line's head into the entry.
bool ParseHead(const std::vector<std::string>& pieces, JournalEntry* entry) {
  if (pieces.size() < 5) return false;
  const auto start = ParseNumber<uint64_t>(pieces[0]);
  const auto end = ParseNumber<uint64_t>(pieces[1]);
  const auto process = ParseNumber(pieces[2]);
  const auto thread = ParseNumber(pieces[3]);
  if (!start || !end || !process || !thread) return false;
  *entry = {.startMicros = *start, .endMicros = *end, .processId = *process, .threadId = *thread};
  return true;
}

void ParseArgument(const std::string& piece, JournalEntry* entry) {
  const size_t equals = piece.find('=');
  if (equals == std::string::npos) {
    if (piece.starts_with('#')) entry->object = ParseNumber(piece.substr(1)).value_or(0);
    return;
  }
  const std::string name = piece.substr(0, equals);
  const std::string value = piece.substr(equals + 1);
  if (name.empty()) {
    entry->result = ParseNumber(value).value_or(0);
  } else if (name == "n") {
    entry->ordinal = ParseNumber(value).value_or(0);
  } else {
    entry->arguments.emplace_back(name, value);
  }
}

// The text behind the first five pieces, which hold no quotes.
std::string NoteText(std::string_view line) {
  for (int i = 0; i < 5; ++i) {
    const size_t blank = line.find(' ');
    if (blank == std::string_view::npos) return {};
    line.remove_prefix(blank + 1);
  }
  return std::string(line);
}

std::vector<std::string> Notes(const std::vector<JournalEntry>& journal, JournalEntry::Kind kind) {
  std::vector<std::string> texts;
  for (const JournalEntry& entry : journal) {
    if (entry.kind == kind) texts.push_back(entry.text);
  }
  return texts;
}

}  // namespace

std::string JournalEntry::Argument(std::string_view name) const {
  for (const auto& [key, value] : arguments) {
    if (key == name) return value;
  }
  return {};
}

uint64_t NowMicros() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER now;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&now);
  const auto ticks = static_cast<uint64_t>(now.QuadPart);
  const auto second = static_cast<uint64_t>(frequency.QuadPart);
  return ticks / second * 1000000 + ticks % second * 1000000 / second;
}

std::string FormatJournalLine(const JournalEntry& entry) {
  std::string line = std::to_string(entry.startMicros) + ' ' + std::to_string(entry.endMicros) +
                     ' ' + std::to_string(entry.processId) + ' ' + std::to_string(entry.threadId);
  if (entry.kind != JournalEntry::Kind::kCall) {
    return line + ' ' + NameOf(kNotes, entry.kind) + ' ' + entry.text;
  }
  line += ' ' + entry.call + " #" + std::to_string(entry.object) +
          " n=" + std::to_string(entry.ordinal);
  for (const auto& [name, value] : entry.arguments) {
    line += ' ' + name + '=' + (IsPlain(value) ? value : Quote(value));
  }
  return line + " =" + HexResult(entry.result);
}

bool ParseJournalLine(std::string_view line, JournalEntry* entry) {
  const std::vector<std::string> pieces = SplitQuoted(line);
  if (!ParseHead(pieces, entry)) return false;
  if (const auto note = ValueNamed(kNotes, pieces[4])) {
    entry->kind = *note;
    entry->text = NoteText(line);
    return true;
  }
  entry->call = pieces[4];
  for (size_t i = 5; i < pieces.size(); ++i) ParseArgument(pieces[i], entry);
  return true;
}

void AppendJournal(const std::wstring& path, const JournalEntry& entry) {
  if (path.empty()) return;
  JournalEntry own = entry;
  own.processId = GetCurrentProcessId();
  own.threadId = GetCurrentThreadId();
  AppendLine(path, FormatJournalLine(own) + "\r\n");
}

void AppendJournalNow(const std::wstring& path, JournalEntry entry) {
  entry.startMicros = entry.endMicros = NowMicros();
  AppendJournal(path, entry);
}

void AppendJournalNote(const std::wstring& path, JournalEntry::Kind kind, std::string_view text) {
  AppendJournalNow(path, {.kind = kind, .text = std::string(text)});
}

std::vector<JournalEntry> ReadJournal(const std::wstring& path) {
  std::vector<JournalEntry> journal;
  for (const std::string& line : SplitLines(ReadWholeFile(path).value_or(""))) {
    JournalEntry entry;
    if (ParseJournalLine(line, &entry)) journal.push_back(std::move(entry));
  }
  return journal;
}

std::vector<JournalEntry> CallsOf(const std::vector<JournalEntry>& journal, std::string_view call) {
  std::vector<JournalEntry> calls;
  for (const JournalEntry& entry : journal) {
    if (entry.call == call) calls.push_back(entry);
  }
  return calls;
}

std::vector<std::string> Leaks(const std::vector<JournalEntry>& journal) {
  return Notes(journal, JournalEntry::Kind::kLeak);
}

std::vector<std::string> UnexpectedCalls(const std::vector<JournalEntry>& journal) {
  return Notes(journal, JournalEntry::Kind::kUnexpected);
}

size_t MaxInFlight(const std::vector<JournalEntry>& journal, std::string_view call) {
  // An end sorts before a start at the same time: those two calls did not overlap.
  std::vector<std::pair<uint64_t, int>> events;
  for (const JournalEntry& entry : CallsOf(journal, call)) {
    events.emplace_back(entry.startMicros, 1);
    events.emplace_back(entry.endMicros, -1);
  }
  std::sort(events.begin(), events.end());
  int inFlight = 0;
  int most = 0;
  for (const auto& [time, step] : events) most = std::max(most, inFlight += step);
  return static_cast<size_t>(most);
}

uint32_t CountFaultableCalls(const std::vector<JournalEntry>& journal) {
  uint32_t highest = 0;
  for (const JournalEntry& entry : journal) highest = std::max(highest, entry.ordinal);
  return highest;
}

}  // namespace lab
