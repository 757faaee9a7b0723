// The frame of tests of -purgeQsf: a folder with store files in use and others.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/common/text.h"
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {

using Names = std::vector<std::wstring>;

// When the tests' unused files were last read, unless a test says otherwise.
inline constexpr lab::UtcTime kLongAgo = {2001, 2, 3, 4, 5, 6};

class PurgeQsfTest : public LabTest {
 protected:
  // A folder for store files; "qsf" is where most tests have theirs.
  std::wstring Folder(const std::wstring& name = L"qsf") const {
    std::wstring path = StorePath(name);
    CreateDirectoryW(path.c_str(), nullptr);
    return path;
  }
  std::wstring In(const std::wstring& file) const { return Folder() + L"\\" + file; }

  // Makes a profile, "Main" or another, refer to a store file, which is created.
  lab::Service Use(const std::wstring& path, const lab::StoreOptions& options = {}) {
    return UseIn(L"Main", path, options);
  }
  lab::Service UseIn(const std::wstring& profile, const std::wstring& path,
                     const lab::StoreOptions& options = {}) {
    return lab::Profile(profile).AddSecondaryStore(
        L"user" + std::to_wstring(++users_) + L"@example.com", path, options);
  }

  // Makes a profile refer by the path `stored` to a file that is there, or is not.
  void Spell(const std::wstring& stored, const std::wstring& profile = L"Main") {
    UseIn(profile, stored, {.withFile = false});
  }

  // A file that no profile refers to.
  static void Put(const std::wstring& path, uint64_t size = 0,
                  const lab::UtcTime& read = kLongAgo) {
    ASSERT_TRUE(lab::WriteFileOfSize(path, size)) << "error " << GetLastError();
    ASSERT_TRUE(lab::SetLastAccess(path, read)) << "error " << GetLastError();
  }
  void PutIn(const Names& files) const {
    for (const std::wstring& file : files) Put(In(file));
  }

  // What is listed of a file that Put made: its name in lower case, and what is deleted with it.
  static std::string Unused(const std::wstring& folder, const std::string& name,
                            const Strings& deleted) {
    UnusedFile file{name, 0, LocalTimeText(kLongAgo), {}};
    for (const std::string& each : deleted) {
      file.deleted.push_back(lab::FoldAscii(Utf8FromWide(folder)) + "\\" + each);
    }
    return Block(file);
  }
  std::string Unused(const std::string& name, const Strings& deleted) const {
    return Unused(Folder(), name, deleted);
  }

  Names Left() const { return lab::FilesIn(Folder()); }

  std::string Purge(const Words& more = {}, RunOptions options = {}) {
    return SortDeleting(Run("-purgeQsf" + more, std::move(options)));
  }

 private:
  int users_ = 0;
};

}  // namespace e2e
