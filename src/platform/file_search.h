// The entries of a directory that match a pattern.
#pragma once

#include <windows.h>

#include <string>

namespace platform {

// A search over the entries; subdirectories, "." and ".." are among them. An entry matches by its
// own name or by its short (8.3) name, which may be quite another.
//
//   for (FileSearch search(pattern); search.Found(); search.Next()) Use(search.Entry());
class FileSearch {
 public:
  explicit FileSearch(const std::wstring& pattern)
      : search_(FindFirstFileW(pattern.c_str(), &entry_)),
        found_(search_ != INVALID_HANDLE_VALUE) {}
  ~FileSearch() {
    if (search_ != INVALID_HANDLE_VALUE) FindClose(search_);
  }
  FileSearch(const FileSearch&) = delete;
  FileSearch& operator=(const FileSearch&) = delete;

  // Whether there is a current entry: not when nothing matches, when the directory does not exist,
  // or after the last one.
  bool Found() const { return found_; }
  // The current entry, and the step to the next one. Only while there is one.
  const WIN32_FIND_DATAW& Entry() const { return entry_; }
  void Next() { found_ = FindNextFileW(search_, &entry_) != FALSE; }

 private:
  WIN32_FIND_DATAW entry_ = {};
  HANDLE search_;
  bool found_;
};

inline bool IsDirectory(const WIN32_FIND_DATAW& entry) {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace platform
