#include "lab/com/runtime.h"

#include <atomic>

#include "lab/common/lab_config.h"

namespace lab {
namespace {

std::atomic<Runtime*> g_runtime;

}  // namespace

Runtime& Runtime::Get() {
  static auto* const kRuntime = new Runtime;
  g_runtime = kRuntime;
  return *kRuntime;
}

Runtime* Runtime::Existing() { return g_runtime; }

Runtime::Runtime()
    : journal_(JournalPath()), faults_(FaultPlan::Load(LabDirectory())), account_(journal_) {}

std::optional<uint32_t> Runtime::Planned(std::string_view operation, std::wstring_view match) {
  const FaultInjector::Answer answer = faults_.NextValue(operation, match);
  if (answer.milliseconds != 0) Sleep(answer.milliseconds);
  return answer.fails ? std::optional(answer.result) : std::nullopt;
}

void Runtime::Unexpected(const std::string& text) const {
  AppendJournalNote(journal_, JournalEntry::Kind::kUnexpected, text);
}

}  // namespace lab
