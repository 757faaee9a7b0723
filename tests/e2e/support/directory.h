#pragma once

#include <filesystem>
#include <string>

namespace e2e {

// Where the test program, the lab's DLLs and a copy of the shipped executable lie.
std::filesystem::path LabBinaries();

// The executable under test.
std::filesystem::path ShippedProgram();

// A new directory that is gone, with everything in it, when the object is.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Copies the shipped executable as `name` and the lab's mapi32.dll beside it into `directory`;
// returns the copy's path.
std::filesystem::path CopyShippedProgram(const std::filesystem::path& directory,
                                         const std::wstring& name);

}  // namespace e2e
