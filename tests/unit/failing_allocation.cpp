#include "tests/unit/failing_allocation.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kNone = SIZE_MAX;

// The size from which on the next allocation fails.
std::atomic<std::size_t> failingSize = kNone;

}  // namespace

FailingAllocation::FailingAllocation(std::size_t size) { failingSize = size; }
FailingAllocation::~FailingAllocation() { failingSize = kNone; }

// These take the place of the library's in the whole program.

void* operator new(std::size_t size) {
  const bool fails = size >= failingSize;
  if (fails) failingSize = kNone;
  void* const memory = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
