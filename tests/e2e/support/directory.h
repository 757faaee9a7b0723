#pragma once

#include <filesystem>
#include <string>

namespace e2e {

// Where the test program, the lab's DLLs and a copy of the shipped executable lie.
std::filesystem::path LabBinaries();

// The executable under test.
std::filesystem::path ShippedProgram();

// Copies the shipped executable as `name` and the lab's mapi32.dll beside it into `directory`;
// returns the copy's path.
std::filesystem::path CopyShippedProgram(const std::filesystem::path& directory,
                                         const std::wstring& name);

}  // namespace e2e
