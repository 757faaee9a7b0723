// Store files of the lab's tests.
#pragma once

#include <windows.h>

#include <string>

#include "lab/common/qsf_file.h"

namespace lab {

// A path in the temporary folder that no other process uses.
inline std::wstring TemporaryPath(const std::wstring& name) {
  wchar_t directory[MAX_PATH] = L"";
  GetTempPathW(MAX_PATH, directory);
  return directory + std::to_wstring(GetCurrentProcessId()) + name;
}

// A file that goes away, with its backup; at first there is none.
class TemporaryFile {
 public:
  TemporaryFile() { Delete(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { Delete(); }

  const std::wstring& Path() const { return path_; }

 private:
  void Delete() const {
    DeleteFileW(path_.c_str());
    DeleteFileW((path_.substr(0, path_.size() - 3) + L"bak").c_str());
  }

  const std::wstring path_ = TemporaryPath(L"ann.qsf");
};

// A store file with two messages and some free space.
class StoreFile : public TemporaryFile {
 public:
  StoreFile() {
    QsfContent content;
    content.main.owner = L"ann@example.com";
    content.messageSizes = {512, 512};
    content.freeBytes = 4096;
    WriteQsf(Path(), content);
  }
  explicit StoreFile(QsfDamage damage) : StoreFile() { DamageQsf(Path(), damage); }
};

}  // namespace lab
