#include <gtest/gtest.h>

#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/mapi_holder.h"

namespace e2e {
namespace {

RunningProgram StartHolder(const std::filesystem::path& directory, const std::wstring& programName,
                           const std::vector<std::wstring>& modules) {
  RunOptions options;
  options.program = directory / programName;
  options.detached = true;
  options.timeout = std::chrono::seconds(110);
  std::filesystem::copy_file(LabBinaries() / L"mapi_holder.exe", options.program);
  std::vector<std::wstring> paths;
  for (const std::wstring& module : modules) {
    paths.push_back(directory / module);
    std::filesystem::copy_file(LabBinaries() / L"held_module.dll", paths.back());
  }
  return RunningProgram::Start(paths, options);
}

}  // namespace

MapiHolder::MapiHolder(const std::wstring& programName, const std::vector<std::wstring>& modules)
    : program_(StartHolder(directory_.Path(), programName, modules)) {
  EXPECT_TRUE(program_.WaitForOutput("ready"));
}

void MapiHolder::Quit() { program_.Wait(); }

}  // namespace e2e
