// What the tests of -checkQsf share: an installation to check, the command's lines, and, by the
// journal, which thread did what.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/text.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {

inline constexpr char kAllOk[] = "All stores are OK";
inline constexpr char kShuttingDown[] = "Shutting down stores...";
inline constexpr char kDone[] = "Done";

inline std::string CheckingLine(size_t count) {
  return "CheckQsf: Checking " + std::to_string(count) + " MAPI stores...";
}
inline std::string StoreLine(std::wstring_view address) {
  return "Checking store for '" + Utf8FromWide(address) + "'";
}
inline std::string LogonFailedLine(std::wstring_view address, uint32_t result) {
  return "CheckQsf: Logon failed for '" + Utf8FromWide(address) + "' : " + lab::HexNumber(result);
}
inline std::string LogonToStoresFailedLine(uint32_t result) {
  return "CheckQsf: LogonToStores failed : " + lab::HexNumber(result);
}
// A worker's line: "StoreLogonThread: <what> for user '<address>' : <result>".
inline std::string WorkerLine(std::string_view what, std::wstring_view address, uint32_t result) {
  return "StoreLogonThread: " + std::string(what) + " for user '" + Utf8FromWide(address) +
         "' : " + lab::HexNumber(result);
}

// The lines of `output` that workers print, in byte order; and all others, as they were printed.
inline bool IsWorkerLine(const std::string& line) { return line.starts_with("StoreLogonThread: "); }
inline Strings WorkerLines(std::string_view output) {
  Strings lines = SortedLines(output);
  std::erase_if(lines, [](const std::string& line) { return !IsWorkerLine(line); });
  return lines;
}
inline Strings MainLines(std::string_view output) {
  Strings lines = Lines(output);
  std::erase_if(lines, IsWorkerLine);
  return lines;
}

class CheckQsfFrame : public LabTest {
 protected:
  using Entries = std::vector<lab::JournalEntry>;

  static constexpr wchar_t kRootAddress[] = L"bes@example.com";

  // <prefix>01@example.com and so on.
  std::vector<std::wstring> AddStores(const std::wstring& prefix, size_t count) {
    std::vector<std::wstring> addresses;
    for (size_t i = 1; i <= count; ++i) {
      const std::wstring number = (i < 10 ? L"0" : L"") + std::to_wstring(i);
      addresses.push_back(prefix + number + L"@example.com");
      Add(addresses.back());
    }
    return addresses;
  }

  RunResult Check(const Words& more = {}) { return RunAdmin(Arguments(more)); }
  RunningProgram StartCheck(const Words& more = {}) { return StartAdmin(Arguments(more)); }

  // The journalled calls of one name, of the main thread or of the workers.
  Entries MainCalls(std::string_view call) const { return CallsOn(call, false); }
  Entries WorkerCalls(std::string_view call) const { return CallsOn(call, true); }

  // Each worker's calls, those of workers without a job too.
  std::map<uint32_t, Entries> CallsByWorker() const {
    std::map<uint32_t, Entries> threads;
    const Entries journal = Journal();
    const lab::JournalEntry first = FirstOf(journal);
    for (const lab::JournalEntry& entry : journal) {
      if (IsWorkerCall(entry, first)) threads[entry.threadId].push_back(entry);
    }
    return threads;
  }

  // The mailbox that each worker opened last: the results of these jobs do not count.
  std::set<std::string> LastMailboxes() const {
    std::map<uint32_t, std::string> last;
    for (const lab::JournalEntry& entry : Calls("IExchangeManageStore::CreateStoreEntryID")) {
      last[entry.threadId] = entry.Argument("mailbox");
    }
    std::set<std::string> mailboxes;
    for (const auto& [thread, mailbox] : last) mailboxes.insert(mailbox);
    return mailboxes;
  }

  // How long the main thread went on after the last worker had ended, up to the end of its MAPI.
  std::chrono::microseconds TimeBehindWorkers() const {
    uint64_t end = 0;
    for (const auto& entry : WorkerCalls("MAPIUninitialize")) end = std::max(end, entry.endMicros);
    const uint64_t last = MainCalls("MAPIUninitialize").at(0).startMicros;
    return std::chrono::microseconds(last - end);
  }
  void ExpectPause() const {
    EXPECT_GE(TimeBehindWorkers(), std::chrono::seconds(10));
    EXPECT_LT(TimeBehindWorkers(), std::chrono::seconds(15));
  }
  void ExpectNoPause() const { EXPECT_LT(TimeBehindWorkers(), std::chrono::seconds(8)); }

 private:
  static Words Arguments(const Words& more) { return "-checkQsf -p Main" + more; }

  // The main thread initialises MAPI before anything else is journalled. Another process may write
  // too: the controller service.
  static lab::JournalEntry FirstOf(const Entries& journal) {
    return lab::CallsOf(journal, "MAPIInitialize").at(0);
  }
  static bool IsWorkerCall(const lab::JournalEntry& entry, const lab::JournalEntry& first) {
    return entry.kind == lab::JournalEntry::Kind::kCall && entry.processId == first.processId &&
           entry.threadId != first.threadId;
  }

  Entries CallsOn(std::string_view call, bool ofWorkers) const {
    const Entries journal = Journal();
    Entries calls = lab::CallsOf(journal, call);
    if (calls.empty()) return calls;
    const lab::JournalEntry first = FirstOf(journal);
    std::erase_if(calls,
                  [&](const auto& entry) { return IsWorkerCall(entry, first) != ofWorkers; });
    return calls;
  }
};

}  // namespace e2e
