// What the journal tells of the windows that the lab's parts show: a line "DialogShown" when one
// appears and a line "Dialog" when it is gone.
//
//   <shown> <shown> <process> <thread> DialogShown #0 n=0 store=... title=... kind=... window=...
//   <shown> <ended> <process> <thread> Dialog #0 n=0 store=... title=... kind=... window=...
//       closes=<time>,<time>... ended=<outside|itself>
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/common/journal.h"

namespace lab {

enum class DialogEnd {
  kStillShown,         // or the process ended with it
  kByItself,           // its time was over
  kClosedFromOutside,  // by WM_CLOSE or a button
};

struct DialogRecord {
  std::wstring store = {};  // the address of the mailbox that it is about
  std::wstring title = {};
  bool isDialog = true;  // false: a top-level window of another class
  uint64_t window = 0;   // its handle
  uint32_t processId = 0;
  uint32_t threadId = 0;
  uint64_t shownMicros = 0;
  uint64_t endedMicros = 0;
  std::vector<uint64_t> closeMicros =
      {};  // when WM_CLOSE came, also those that it took no notice of
  DialogEnd end = DialogEnd::kStillShown;
};

// The two lines.
JournalEntry DialogShownEntry(const DialogRecord& record);
JournalEntry DialogEndedEntry(const DialogRecord& record);

// Every window of the journal, in the order in which they were shown.
std::vector<DialogRecord> Dialogs(const std::vector<JournalEntry>& journal);
// Those about the store of `address`, compared without the case of A to Z.
std::vector<DialogRecord> DialogsOf(const std::vector<JournalEntry>& journal,
                                    std::wstring_view address);

// One line for people.
std::string DescribeDialog(const DialogRecord& record);

}  // namespace lab
