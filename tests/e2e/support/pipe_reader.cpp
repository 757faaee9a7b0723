#include "tests/e2e/support/pipe_reader.h"

#include <array>
#include <utility>

namespace e2e {

PipeReader::PipeReader(platform::KernelHandle pipe)
    : pipe_(std::move(pipe)), thread_(&PipeReader::ReadAll, this) {}

PipeReader::~PipeReader() { thread_.join(); }

std::string PipeReader::Collected() const {
  const std::lock_guard lock(mutex_);
  return collected_;
}

bool PipeReader::WaitFor(std::string_view text, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  const auto found = [&] { return collected_.find(text) != std::string::npos; };
  changed_.wait_for(lock, timeout, [&] { return ended_ || found(); });
  return found();
}

bool PipeReader::WaitForEnd(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return ended_; });
}

void PipeReader::ReadAll() {
  std::array<char, 4096> buffer;
  DWORD size = 0;
  while (ReadFile(pipe_.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr)) {
    const std::lock_guard lock(mutex_);
    collected_.append(buffer.data(), size);
    changed_.notify_all();
  }
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

}  // namespace e2e
