#include "lab/com/account.h"

#include "lab/com/object.h"
#include "lab/common/journal.h"

namespace lab {

uint32_t Account::Add(const char* what, const ObjectCore* object) {
  const std::lock_guard lock(mutex_);
  things_[++last_] = {what, object};
  return last_;
}

void Account::Remove(uint32_t number) {
  const std::lock_guard lock(mutex_);
  things_.erase(number);
}

void Account::Lose(uint32_t number) {
  const std::lock_guard lock(mutex_);
  const auto lost = things_.extract(number);
  if (lost) Leak(Describe(number, lost.mapped()));
}

void Account::AddMemory(const void* block, std::string what) {
  const std::lock_guard lock(mutex_);
  memory_[block] = std::move(what);
}

void Account::RemoveMemory(const void* block) {
  const std::lock_guard lock(mutex_);
  memory_.erase(block);
}

void Account::Report(const char* when) {
  const std::lock_guard lock(mutex_);
  ReportLeft(when);
}

void Account::ReportAtTheEnd() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock) ReportLeft("at the end of the process");
}

void Account::ReportLeft(const char* when) {
  const auto leak = [&](const std::string& what) { Leak(what + ", " + when); };
  for (const auto& [number, thing] : things_) leak(Describe(number, thing));
  for (const auto& [address, what] : memory_) leak(what);
  things_.clear();
  memory_.clear();
}

std::string Account::Describe(uint32_t number, const Thing& thing) {
  if (!thing.object) return std::string(thing.what) + " #" + std::to_string(number);
  return thing.object->Describe() + ", " + std::to_string(thing.object->References()) +
         " references";
}

void Account::Leak(const std::string& text) const {
  AppendJournalNote(journal_, JournalEntry::Kind::kLeak, text);
}

}  // namespace lab
