// What the provider has handed out and not got back: objects, rows, accessors, memory.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace lab {

// Threads may share it. There is one in a process and it is never destroyed.
class Accounting {
 public:
  explicit Accounting(std::wstring journal) : journal_(std::move(journal)) {}

  // Counts an object, a row or an accessor and gives it its number, which no other has.
  uint32_t Add(std::string what);
  void Remove(uint32_t number);
  // The same for a thing that can no longer be given back: journals it as a leak.
  void Lose(uint32_t number);

  // Counts memory that the client has to free: a CoTaskMemAlloc block or a BSTR.
  void AddMemory(const void* block, std::string what);
  // A block is freed; `address` may be up to a BSTR's header before it.
  void RemoveMemory(const void* address);

  // Watches the calling thread's COM and the process's allocator from now on. What is left when
  // the thread's last CoUninitialize begins is journalled.
  void Watch();

  // Journals everything that is left and has not been journalled yet. At the end of the process,
  // when a thread may have died with the lock, it gives up rather than wait.
  void Report();

  void Leak(const std::string& text);
  void Unexpected(const std::string& text);

 private:
  const std::wstring journal_;
  std::mutex mutex_;
  std::map<uint32_t, std::string> things_;
  std::map<uintptr_t, std::string> memory_;
  std::set<DWORD> threads_;
  uint32_t last_ = 0;
  bool watching_ = false;
};

}  // namespace lab
