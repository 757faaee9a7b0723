// What a component has handed out and not got back: objects, handles, memory.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace lab {

class ObjectCore;

// Threads may share it. There is one in a process and it is never destroyed.
class Account {
 public:
  explicit Account(std::wstring journal) : journal_(std::move(journal)) {}

  // Counts a handle of the kind `what`, or an object, and gives it its number, which no other has.
  uint32_t Add(const char* what, const ObjectCore* object = nullptr);
  void Remove(uint32_t number);
  // The same for a handle that can no longer be given back: journals it as a leak.
  void Lose(uint32_t number);

  // Counts memory that the client has to free.
  void AddMemory(const void* block, std::string what);
  void RemoveMemory(const void* block);

  // Journals everything that is left as leaks, each once.
  void Report(const char* when);
  // The same at the end of the process: when a thread has died with the lock, it gives up rather
  // than wait.
  void ReportAtTheEnd();

  void Leak(const std::string& text) const;

 private:
  struct Thing {
    const char* what;
    const ObjectCore* object;  // null for a handle
  };

  static std::string Describe(uint32_t number, const Thing& thing);
  // With the mutex held.
  void ReportLeft(const char* when);

  const std::wstring journal_;
  std::mutex mutex_;
  std::map<uint32_t, Thing> things_;
  std::map<const void*, std::string> memory_;
  uint32_t last_ = 0;
};

}  // namespace lab
