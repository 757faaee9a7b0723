#include "lab/common/dialog_record.h"

#include <algorithm>

#include "lab/common/text.h"

namespace lab {
namespace {

constexpr char kShown[] = "DialogShown";
constexpr char kEnded[] = "Dialog";
constexpr NamedValue<bool> kKinds[] = {{true, "dialog"}, {false, "window"}};
constexpr NamedValue<DialogEnd> kEnds[] = {{DialogEnd::kByItself, "itself"},
                                           {DialogEnd::kClosedFromOutside, "outside"}};

JournalEntry Entry(const DialogRecord& record, const char* call) {
  return {.startMicros = record.shownMicros,
          .endMicros = record.shownMicros,
          .call = call,
          .arguments = {{"store", Utf8FromWide(record.store)},
                        {"title", Utf8FromWide(record.title)},
                        {"kind", NameOf(kKinds, record.isDialog)},
                        {"window", HexNumber(record.window)}}};
}

DialogRecord ShownRecord(const JournalEntry& entry) {
  return {.store = WideFromUtf8(entry.Argument("store")),
          .title = WideFromUtf8(entry.Argument("title")),
          .isDialog = ValueNamed(kKinds, entry.Argument("kind")).value_or(false),
          .window = ParseNumber<uint64_t>(entry.Argument("window")).value_or(0),
          .processId = entry.processId,
          .threadId = entry.threadId,
          .shownMicros = entry.startMicros};
}

bool AreOfOneWindow(const DialogRecord& a, const DialogRecord& b) {
  return a.window == b.window && a.processId == b.processId && a.threadId == b.threadId &&
         a.shownMicros == b.shownMicros;
}

void NoteEnd(const JournalEntry& ended, std::vector<DialogRecord>* records) {
  const DialogRecord shown = ShownRecord(ended);
  const auto found =
      std::find_if(records->begin(), records->end(),
                   [&](const DialogRecord& record) { return AreOfOneWindow(record, shown); });
  if (found == records->end()) return;
  found->endedMicros = ended.endMicros;
  for (const std::string& time : Split(ended.Argument("closes"), ',')) {
    found->closeMicros.push_back(ParseNumber<uint64_t>(time).value_or(0));
  }
  found->end = ValueNamed(kEnds, ended.Argument("ended")).value_or(DialogEnd::kByItself);
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
  std::string closes;
  for (const uint64_t time : record.closeMicros) {
    closes += (closes.empty() ? "" : ",") + std::to_string(time);
  }
  entry.arguments.emplace_back("closes", closes);
  entry.arguments.emplace_back("ended", NameOf(kEnds, record.end));
  return entry;
}

std::vector<DialogRecord> Dialogs(const std::vector<JournalEntry>& journal) {
  std::vector<DialogRecord> records;
  for (const JournalEntry& entry : journal) {
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
  return Utf8FromWide(record.store) + "  " + NameOf(kKinds, record.isDialog) + " " +
         Quote(Utf8FromWide(record.title)) + " on thread " + std::to_string(record.threadId) +
         " of process " + std::to_string(record.processId) + ", " + DescribeEnd(record);
}

}  // namespace lab
