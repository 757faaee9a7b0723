#include "src/commands/in_use_files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/e2e/support/temp_directory.h"

namespace {

class InUseFilesTest : public ::testing::Test {
 protected:
  std::filesystem::path Make(const char* name) const {
    std::filesystem::path path = directory_ / name;
    std::ofstream(path) << "x";
    return path;
  }

  // In use under a spelling of its own.
  void Use(const char* name) {
    const std::string path = (directory_ / "." / name).string();
    paths_.emplace(path, path);
  }

  const e2e::TempDirectory temporary_;
  const std::filesystem::path& directory_ = temporary_.Path();
  InUseFiles::Paths paths_;
};

TEST_F(InUseFilesTest, PathsAreFoundInAnyOrder) {
  paths_ = {{"a", "a"}, {"b", "b"}, {"d", "d"}};
  InUseFiles files(paths_);
  for (const char* path : {"a", "b", "d", "a", "d", "b", "b"}) {
    EXPECT_TRUE(files.ContainsPath(path)) << path;
  }
  for (const char* path : {"", "c", "e", "A", "aa"}) EXPECT_FALSE(files.ContainsPath(path)) << path;
}

TEST_F(InUseFilesTest, FilesAreRecognisedByWhatTheyAre) {
  const auto ann = Make("ann.qsf");
  const auto bob = Make("bob.qsf");
  Use("ann.qsf");
  Use("gone.qsf");
  InUseFiles files(paths_);
  EXPECT_TRUE(files.ContainsFile(ann.wstring()));
  EXPECT_FALSE(files.ContainsFile(bob.wstring()));
  EXPECT_FALSE(files.ContainsFile((directory_ / "gone.qsf").wstring()));
}

TEST_F(InUseFilesTest, FilesAreLookedUpOnceAndOnlyWhenAFileIsAskedFor) {
  const auto ann = Make("ann.qsf");
  Use("ann.qsf");
  Use("late.qsf");
  InUseFiles files(paths_);
  EXPECT_FALSE(files.ContainsPath("other"));
  const auto late = Make("late.qsf");
  EXPECT_TRUE(files.ContainsFile(late.wstring()));
  std::filesystem::rename(late, directory_ / "moved.qsf");
  EXPECT_TRUE(files.ContainsFile((directory_ / "moved.qsf").wstring()));
  EXPECT_FALSE(files.ContainsFile(Make("late.qsf").wstring()));
}

TEST(FileIdentity, IsNotToldByEveryFileSystem) {
  BY_HANDLE_FILE_INFORMATION information = {};
  information.dwVolumeSerialNumber = 7;
  EXPECT_FALSE(platform::IdentityIn(information));
  information.nFileIndexHigh = 1;
  EXPECT_EQ(platform::IdentityIn(information), (platform::FileIdentity{7, 1ULL << 32}));
  information.nFileIndexLow = 2;
  EXPECT_EQ(platform::IdentityIn(information), (platform::FileIdentity{7, (1ULL << 32) + 2}));
  information.nFileIndexHigh = information.nFileIndexLow = 0xFFFFFFFF;
  EXPECT_FALSE(platform::IdentityIn(information));
  EXPECT_FALSE(platform::IdentityOf(L"nul"));
}

TEST(VerbatimPath, IsTakenToTheLetter) {
  EXPECT_EQ(platform::VerbatimPath(L"C:\\qsf\\.\\x\\..\\"), L"\\\\?\\C:\\qsf\\");
  EXPECT_EQ(platform::VerbatimPath(L"C:/qsf/ann"), L"\\\\?\\C:\\qsf\\ann");
  EXPECT_EQ(platform::VerbatimPath(L"\\\\server\\share\\qsf\\"),
            L"\\\\?\\UNC\\server\\share\\qsf\\");
  EXPECT_EQ(platform::VerbatimPath(L"\\\\?\\C:\\qsf\\. \\"), L"\\\\?\\C:\\qsf\\. \\");
  EXPECT_EQ(platform::VerbatimPath(L"\\\\.\\C:\\qsf\\"), L"\\\\.\\C:\\qsf\\");
  EXPECT_EQ(platform::VerbatimPath(L"qsf\\"),
            L"\\\\?\\" + (std::filesystem::current_path() / L"qsf\\").wstring());
  EXPECT_EQ(platform::VerbatimPath(L""), L"");
}

}  // namespace
