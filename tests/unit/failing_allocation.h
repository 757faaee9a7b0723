// Memory that runs out where a test wants it.
#pragma once

#include <cstddef>

// While it lives, the first allocation by operator new of at least `size` bytes fails; those behind
// it succeed again.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t size);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};
