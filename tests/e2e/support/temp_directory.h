#pragma once

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <system_error>

namespace e2e {

// A new directory that is gone, with everything in it, when the object is.
class TempDirectory {
 public:
  TempDirectory() : path_(std::filesystem::temp_directory_path() / NewName()) {
    std::filesystem::create_directories(path_);
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& Path() const { return path_; }

 private:
  static std::string NewName() {
    static std::atomic<int> counter = 0;
    return "qrv-test-" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(GetTickCount64()) + "-" + std::to_string(counter++);
  }

  const std::filesystem::path path_;
};

}  // namespace e2e
