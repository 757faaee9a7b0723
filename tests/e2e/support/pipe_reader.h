#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "src/platform/handle.h"

namespace e2e {

// Collects, on a thread of its own, everything that comes out of a pipe until its writers are gone.
class PipeReader {
 public:
  explicit PipeReader(platform::KernelHandle pipe);
  ~PipeReader();
  PipeReader(const PipeReader&) = delete;
  PipeReader& operator=(const PipeReader&) = delete;

  std::string Collected() const;

  // Waits until `text` was read; false when the writers are gone or the time is over without it.
  bool WaitFor(std::string_view text, std::chrono::milliseconds timeout) const;

  // Waits until the writers are gone; false when the time is over.
  bool WaitForEnd(std::chrono::milliseconds timeout) const;

 private:
  void ReadAll();

  platform::KernelHandle pipe_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::string collected_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace e2e
