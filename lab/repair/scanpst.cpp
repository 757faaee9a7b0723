// SCANPST.EXE of the lab: the Inbox Repair tool, for the lab's store files.
#include <windows.h>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/repair/repair_tool.h"

namespace {

std::string CurrentDirectory() {
  std::wstring directory(GetCurrentDirectoryW(0, nullptr), L'\0');
  directory.resize(GetCurrentDirectoryW(static_cast<DWORD>(directory.size()), directory.data()));
  return lab::Utf8FromWide(directory);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  lab::JournalTool(
      "Start", 0,
      {{"command", lab::Utf8FromWide(GetCommandLineW())}, {"directory", CurrentDirectory()}});
  lab::RepairTool tool(lab::RepairPlan::Load(lab::LabDirectory()));
  const int exitCode = tool.Run();
  lab::JournalTool("Exit", 0, {}, static_cast<uint32_t>(exitCode));
  return exitCode;
}
