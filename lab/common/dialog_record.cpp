#include "lab/common/dialog_record.h"

#include <algorithm>
#include <cstdlib>

#include "lab/common/text.h"

namespace lab {
namespace {

constexpr char kShown[] = "DialogShown";
constexpr char kEnded[] = "Dialog";
constexpr char kDialogKind[] = "dialog";
constexpr char kWindowKind[] = "window";
constexpr char kOutside[] = "outside";
constexpr char kItself[] = "itself";

JournalEntry Entry(const DialogRecord& record, const char* call) {
  JournalEntry entry;
  entry.call = call;
  entry.startMicros = entry.endMicros = record.shownMicros;
  entry.arguments = {{"store", Utf8FromWide(record.store)},
                     {"title", Utf8FromWide(record.title)},
                     {"kind", record.isDialog ? kDialogKind : kWindowKind},
                     {"window", HexNumber(record.window)}};
  return entry;
}

std::string JoinTimes(const std::vector<uint64_t>& times) {
  std::string text;
  for (uint64_t time : times) text += (text.empty() ? "" : ",") + std::to_string(time);
  return text;
}

std::vector<uint64_t> SplitTimes(const std::string& text) {
  std::vector<uint64_t> times;
  for (size_t at = 0; at < text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    times.push_back(std::strtoull(text.substr(at, comma - at).c_str(), nullptr, 10));
    at = comma + 1;
  }
  return times;
}

DialogRecord ShownRecord(const JournalEntry& entry) {
  DialogRecord record;
  record.store = WideFromUtf8(entry.Argument("store"));
  record.title = WideFromUtf8(entry.Argument("title"));
  record.isDialog = entry.Argument("kind") == kDialogKind;
  record.window = std::strtoull(entry.Argument("window").c_str(), nullptr, 16);
  record.processId = entry.processId;
  record.threadId = entry.threadId;
  record.shownMicros = entry.startMicros;
  return record;
}

bool IsOf(const DialogRecord& record, const JournalEntry& ended) {
  return record.processId == ended.processId && record.threadId == ended.threadId &&
         record.shownMicros == ended.startMicros &&
         record.window == std::strtoull(ended.Argument("window").c_str(), nullptr, 16);
}

void NoteEnd(const JournalEntry& ended, std::vector<DialogRecord>* records) {
  const auto found = std::find_if(records->begin(), records->end(),
                                  [&](const DialogRecord& record) { return IsOf(record, ended); });
  if (found == records->end()) return;
  found->endedMicros = ended.endMicros;
  found->closeMicros = SplitTimes(ended.Argument("closes"));
  found->end =
      ended.Argument("ended") == kOutside ? DialogEnd::kClosedFromOutside : DialogEnd::kByItself;
}

std::string DescribeEnd(const DialogRecord& record) {
  if (record.end == DialogEnd::kStillShown) return "still shown";
  const bool closed = record.end == DialogEnd::kClosedFromOutside;
  const uint64_t shownFor = (record.endedMicros - record.shownMicros) / 1000;
  return (closed ? "closed from outside after " : "ended by itself after ") +
         std::to_string(shownFor) + " ms, " + std::to_string(record.closeMicros.size()) +
         " WM_CLOSE";
}

}  // namespace

JournalEntry DialogShownEntry(const DialogRecord& record) { return Entry(record, kShown); }

JournalEntry DialogEndedEntry(const DialogRecord& record) {
  JournalEntry entry = Entry(record, kEnded);
  entry.endMicros = record.endedMicros;
  entry.arguments.emplace_back("closes", JoinTimes(record.closeMicros));
  entry.arguments.emplace_back("ended",
                               record.end == DialogEnd::kClosedFromOutside ? kOutside : kItself);
  return entry;
}

std::vector<DialogRecord> Dialogs(const std::vector<JournalEntry>& journal) {
  std::vector<DialogRecord> records;
  for (const JournalEntry& entry : journal) {
    if (entry.kind != JournalEntry::Kind::kCall) continue;
    if (entry.call == kShown) records.push_back(ShownRecord(entry));
    if (entry.call == kEnded) NoteEnd(entry, &records);
  }
  return records;
}

std::vector<DialogRecord> DialogsOf(const std::vector<JournalEntry>& journal,
                                    std::wstring_view address) {
  std::vector<DialogRecord> records = Dialogs(journal);
  std::erase_if(records,
                [&](const DialogRecord& record) { return !EqualsFolded(record.store, address); });
  return records;
}

std::string DescribeDialog(const DialogRecord& record) {
  return Utf8FromWide(record.store) + "  " + (record.isDialog ? "dialog" : "window") + " " +
         Quote(Utf8FromWide(record.title)) + " on thread " + std::to_string(record.threadId) +
         " of process " + std::to_string(record.processId) + ", " + DescribeEnd(record);
}

}  // namespace lab
