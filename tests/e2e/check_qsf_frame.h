// What the tests of -checkQsf share: an installation to check, the command's lines, and, by the
// journal, which thread did what.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {

inline constexpr char kAllOk[] = "All stores are OK";
inline constexpr char kShuttingDown[] = "Shutting down stores...";
inline constexpr char kDone[] = "Done";

inline std::string HexText(uint32_t result) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(result));
  return text;
}

inline std::string CheckingLine(size_t count) {
  return "CheckQsf: Checking " + std::to_string(count) + " MAPI stores...";
}
inline std::string StoreLine(std::wstring_view address) {
  return "Checking store for '" + ToUtf8(address) + "'";
}
inline std::string LogonFailedLine(std::wstring_view address, uint32_t result) {
  return "CheckQsf: Logon failed for '" + ToUtf8(address) + "' : " + HexText(result);
}
inline std::string LogonToStoresFailedLine(uint32_t result) {
  return "CheckQsf: LogonToStores failed : " + HexText(result);
}
// A worker's line: "StoreLogonThread: <what> for user '<address>' : <result>".
inline std::string WorkerLine(std::string_view what, std::wstring_view address, uint32_t result) {
  return "StoreLogonThread: " + std::string(what) + " for user '" + ToUtf8(address) +
         "' : " + HexText(result);
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

  // The root store, which is the profile's default store unless the options differ.
  lab::Service AddRoot(const lab::StoreOptions& options = {}) {
    return profile_.AddRootStore(kRootAddress, StorePath(L"root.qsf"), options);
  }

  lab::Service AddStore(const std::wstring& address, const lab::StoreOptions& options = {}) {
    files_[address] = StorePath(L"store" + std::to_wstring(files_.size()) + L".qsf");
    return profile_.AddSecondaryStore(address, FileOf(address), options);
  }

  // <prefix>01@example.com and so on.
  std::vector<std::wstring> AddStores(const std::wstring& prefix, size_t count) {
    std::vector<std::wstring> addresses;
    for (size_t i = 1; i <= count; ++i) {
      const std::wstring number = (i < 10 ? L"0" : L"") + std::to_wstring(i);
      addresses.push_back(prefix + number + L"@example.com");
      AddStore(addresses.back());
    }
    return addresses;
  }

  // Where AddStore put the store of `address`.
  const std::wstring& FileOf(const std::wstring& address) const { return files_.at(address); }

  RunResult Check(const Words& more = {}) { return RunAdmin(Arguments(more)); }
  RunningProgram StartCheck(const Words& more = {}) { return StartAdmin(Arguments(more)); }

  // The journalled calls of one name, of the main thread or of the workers.
  Entries MainCalls(std::string_view call) const { return CallsOn(call, false); }
  Entries WorkerCalls(std::string_view call) const { return CallsOn(call, true); }

  // Each worker's calls, those of workers without a job too.
  std::map<uint32_t, Entries> CallsByWorker() const {
    std::map<uint32_t, Entries> threads;
    const Entries journal = Journal();
    for (const lab::JournalEntry& entry : journal) {
      if (IsWorkerCall(entry, journal)) threads[entry.threadId].push_back(entry);
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

  lab::Profile profile_{L"Main"};

 private:
  static std::vector<std::wstring> Arguments(const Words& more) {
    return Words{L"-checkQsf", L"-p", L"Main"} + more;
  }

  // The main thread initialises MAPI before anything else is journalled. Another process may write
  // too: the controller service.
  static bool IsWorkerCall(const lab::JournalEntry& entry, const Entries& journal) {
    const lab::JournalEntry& first = lab::CallsOf(journal, "MAPIInitialize").at(0);
    return entry.kind == lab::JournalEntry::Kind::kCall && entry.processId == first.processId &&
           entry.threadId != first.threadId;
  }

  Entries CallsOn(std::string_view call, bool ofWorkers) const {
    const Entries journal = Journal();
    Entries calls = lab::CallsOf(journal, call);
    std::erase_if(calls,
                  [&](const auto& entry) { return IsWorkerCall(entry, journal) != ofWorkers; });
    return calls;
  }

  std::map<std::wstring, std::wstring> files_;
};

}  // namespace e2e
