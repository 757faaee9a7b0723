#include "lab/mapi/buffers.h"

#include <windows.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "lab/mapi/runtime.h"

namespace lab {
namespace {

constexpr size_t kPage = 4096;
constexpr size_t kAlignment = 8;
constexpr size_t kArenaSize = size_t{1} << 30;

constexpr size_t RoundUp(size_t size, size_t unit) { return (size + unit - 1) / unit * unit; }

// Hands out stretches of pages, each followed by one that stays inaccessible.
class Pages {
 public:
  // The start of `size` bytes' worth of committed pages. Throws std::bad_alloc.
  uint8_t* Take(size_t size) {
    if (free_ < size + kPage) Reserve(size + kPage);
    void* start = VirtualAlloc(next_, size, MEM_COMMIT, PAGE_READWRITE);
    if (start == nullptr) throw std::bad_alloc();
    next_ += size + kPage;
    free_ -= size + kPage;
    return static_cast<uint8_t*>(start);
  }

 private:
  void Reserve(size_t atLeast) {
    const size_t size = RoundUp(atLeast, kArenaSize);
    void* arena = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
    if (arena == nullptr) throw std::bad_alloc();
    next_ = static_cast<uint8_t*>(arena);
    free_ = size;
  }

  uint8_t* next_ = nullptr;
  size_t free_ = 0;
};

struct Buffer {
  uint8_t* pages = nullptr;
  size_t committed = 0;
  size_t size = 0;
  BufferKind kind = BufferKind::kPlain;
  std::string madeBy;
  std::vector<void*> children;
  bool isChild = false;
};

std::mutex g_mutex;
Pages* g_pages;
std::map<void*, Buffer>* g_buffers;  // neither is ever destroyed: see Runtime::Get

std::map<void*, Buffer>& Buffers() {
  if (g_buffers == nullptr) g_buffers = new std::map<void*, Buffer>;
  return *g_buffers;
}

void* Allocate(size_t size, Buffer buffer) {
  if (g_pages == nullptr) g_pages = new Pages;
  const size_t aligned = RoundUp(size, kAlignment);
  buffer.size = size;
  buffer.committed = aligned == 0 ? kPage : RoundUp(aligned, kPage);
  buffer.pages = g_pages->Take(buffer.committed);
  void* start = buffer.pages + buffer.committed - aligned;
  Buffers().emplace(start, std::move(buffer));
  return start;
}

Buffer* FindParent(void* address) {
  const auto found = Buffers().find(address);
  return found == Buffers().end() || found->second.isChild ? nullptr : &found->second;
}

void Decommit(const Buffer& buffer) { VirtualFree(buffer.pages, buffer.committed, MEM_DECOMMIT); }

const char* KindText(BufferKind kind) {
  static constexpr const char* kTexts[] = {"MAPI buffer", "row set", "row"};
  return kTexts[static_cast<size_t>(kind)];
}

}  // namespace

void* AllocateBuffer(size_t size, const std::string& madeBy, BufferKind kind) {
  std::lock_guard lock(g_mutex);
  Buffer buffer;
  buffer.kind = kind;
  buffer.madeBy = madeBy;
  return Allocate(size, std::move(buffer));
}

void* AllocateMore(size_t size, void* parent) {
  std::lock_guard lock(g_mutex);
  if (FindParent(parent) == nullptr) return nullptr;
  Buffer buffer;
  buffer.isChild = true;
  void* child = Allocate(size, std::move(buffer));
  FindParent(parent)->children.push_back(child);
  return child;
}

bool IsBuffer(void* buffer) {
  std::lock_guard lock(g_mutex);
  return FindParent(buffer) != nullptr;
}

bool IsRowSet(void* buffer) {
  std::lock_guard lock(g_mutex);
  const Buffer* found = FindParent(buffer);
  return found != nullptr && found->kind == BufferKind::kRowSet;
}

bool FreeBuffer(void* buffer) {
  std::lock_guard lock(g_mutex);
  const Buffer* found = FindParent(buffer);
  if (found == nullptr) return false;
  for (void* child : found->children) {
    Decommit(Buffers()[child]);
    Buffers().erase(child);
  }
  Decommit(*found);
  Buffers().erase(buffer);
  return true;
}

void ReportHeldBuffers(Runtime& runtime, const char* when) {
  std::unique_lock lock(g_mutex, std::try_to_lock);
  if (!lock.owns_lock()) return;
  for (const auto& [address, buffer] : Buffers()) {
    if (buffer.isChild) continue;
    runtime.Leak(std::string(KindText(buffer.kind)) + " of " + std::to_string(buffer.size) +
                 " bytes made by " + buffer.madeBy + ", " + when);
  }
  Buffers().clear();
}

}  // namespace lab
