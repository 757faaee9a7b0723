#include "lab/mapi/buffers.h"

#include <windows.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "lab/com/runtime.h"

namespace lab {
namespace {

constexpr size_t kPage = 4096;
constexpr size_t kAlignment = 8;
constexpr size_t kArenaSize = size_t{1} << 30;
constexpr const char* kKindTexts[] = {"MAPI buffer", "row set", "row"};  // by BufferKind

constexpr size_t RoundUp(size_t size, size_t unit) { return (size + unit - 1) / unit * unit; }

// Hands out stretches of pages, each followed by one that stays inaccessible.
class Pages {
 public:
  // The start of `size` bytes' worth of committed pages. Throws std::bad_alloc.
  uint8_t* Take(size_t size) {
    if (free_ < size + kPage) Reserve(size + kPage);
    void* start = VirtualAlloc(next_, size, MEM_COMMIT, PAGE_READWRITE);
    if (!start) throw std::bad_alloc();
    next_ += size + kPage;
    free_ -= size + kPage;
    return static_cast<uint8_t*>(start);
  }

 private:
  void Reserve(size_t size) {
    const size_t whole = RoundUp(size, kArenaSize);
    void* arena = VirtualAlloc(nullptr, whole, MEM_RESERVE, PAGE_NOACCESS);
    if (!arena) throw std::bad_alloc();
    next_ = static_cast<uint8_t*>(arena);
    free_ = whole;
  }

  uint8_t* next_ = nullptr;
  size_t free_ = 0;
};

struct Buffer {
  uint8_t* pages = nullptr;
  size_t committed = 0;
  BufferKind kind = BufferKind::kPlain;
  std::vector<void*> children = {};
  bool isChild = false;
};

std::mutex g_mutex;  // guards what follows

// Neither is ever destroyed: see Runtime::Get.
Pages& AllPages() {
  static auto* const kPages = new Pages;
  return *kPages;
}

std::map<void*, Buffer>& Buffers() {
  static auto* const kBuffers = new std::map<void*, Buffer>;
  return *kBuffers;
}

void* Allocate(size_t size, Buffer buffer) {
  const size_t aligned = RoundUp(size, kAlignment);
  buffer.committed = aligned == 0 ? kPage : RoundUp(aligned, kPage);
  buffer.pages = AllPages().Take(buffer.committed);
  void* start = buffer.pages + buffer.committed - aligned;
  Buffers().emplace(start, std::move(buffer));
  return start;
}

Buffer* FindParent(void* address) {
  const auto found = Buffers().find(address);
  return found == Buffers().end() || found->second.isChild ? nullptr : &found->second;
}

void Drop(void* address) {
  const Buffer& buffer = Buffers()[address];
  VirtualFree(buffer.pages, buffer.committed, MEM_DECOMMIT);
  Buffers().erase(address);
}

}  // namespace

void* AllocateBuffer(size_t size, const std::string& madeBy, BufferKind kind) {
  const std::lock_guard lock(g_mutex);
  void* start = Allocate(size, {.kind = kind});
  Runtime::Get().Held().AddMemory(start, std::string(kKindTexts[static_cast<size_t>(kind)]) +
                                             " of " + std::to_string(size) + " bytes made by " +
                                             madeBy);
  return start;
}

void* AllocateMore(size_t size, void* parent) {
  const std::lock_guard lock(g_mutex);
  if (!FindParent(parent)) return nullptr;
  void* child = Allocate(size, {.isChild = true});
  FindParent(parent)->children.push_back(child);
  return child;
}

bool IsBuffer(void* buffer) {
  const std::lock_guard lock(g_mutex);
  return FindParent(buffer);
}

bool IsRowSet(void* buffer) {
  const std::lock_guard lock(g_mutex);
  const Buffer* found = FindParent(buffer);
  return found && found->kind == BufferKind::kRowSet;
}

bool FreeBuffer(void* buffer) {
  const std::lock_guard lock(g_mutex);
  const Buffer* found = FindParent(buffer);
  if (!found) return false;
  for (void* child : found->children) Drop(child);
  Drop(buffer);
  Runtime::Get().Held().RemoveMemory(buffer);
  return true;
}

}  // namespace lab
