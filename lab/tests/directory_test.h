// The frame of tests that have a lab directory of their own, which is gone afterwards.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"

class DirectoryTest : public ::testing::Test {
 protected:
  DirectoryTest() {
    std::filesystem::create_directory(directory_);
    SetEnvironmentVariableW(L"QRVLAB_DIR", directory_.c_str());
  }
  ~DirectoryTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  std::wstring FilePath(const wchar_t* name) const { return directory_ + L'\\' + name; }

  std::vector<lab::JournalEntry> Journal() const {
    return lab::ReadJournal(lab::JournalPath(directory_));
  }

  const std::wstring directory_ = (std::filesystem::temp_directory_path() /
                                   (L"qrvlab" + std::to_wstring(GetCurrentProcessId())))
                                      .wstring();
};
