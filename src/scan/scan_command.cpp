#include "src/scan/scan_command.h"

#include <windows.h>

#include <cwchar>
#include <iostream>
#include <string>
#include <vector>

#include "src/frontend/console.h"
#include "src/frontend/usage.h"
#include "src/frontend/user_break.h"
#include "src/guards/mapi_frame.h"
#include "src/scan/mapi_module.h"
#include "src/scan/qsf_paths.h"
#include "src/scan/repair_tool.h"

namespace {

struct ScanOptions {
  std::wstring profileName;
  bool scan = false;         // "-p"
  bool deleteFiles = false;  // "-d"
  bool includeSecondary = true;
  bool markedOnly = false;
  bool restart = false;
};

enum class Parsed { kRun, kHelp, kError };

bool Is(const wchar_t* argument, const wchar_t* text) { return wcscmp(argument, text) == 0; }

// "-p" or "-d", whose mode excludes the other's: takes the profile's name. False when that is
// missing or the other mode was chosen before.
bool TakeProfile(int argc, wchar_t** argv, int& index, bool& mode, bool otherMode,
                 ScanOptions& options) {
  if (index + 1 >= argc || otherMode) return false;
  options.profileName = argv[++index];
  mode = true;
  return true;
}

// A switch without a value. False when it is none.
bool TakeFlag(const wchar_t* argument, ScanOptions& options) {
  if (Is(argument, L"-r")) {
    options.includeSecondary = false;
  } else if (Is(argument, L"-m")) {
    options.markedOnly = true;
  } else if (Is(argument, L"-v")) {
    VerboseOutput = 1;
  } else if (Is(argument, L"-c")) {
    options.restart = true;
  } else {
    return false;
  }
  return true;
}

// Stops at the first help switch and at the first error, whichever comes first.
Parsed ParseSwitches(int argc, wchar_t** argv, ScanOptions& options) {
  if (argc < 2) return Parsed::kHelp;
  for (int i = 1; i < argc; ++i) {
    bool known = true;
    if (Is(argv[i], L"-h")) return Parsed::kHelp;
    if (Is(argv[i], L"-p")) {
      known = TakeProfile(argc, argv, i, options.scan, options.deleteFiles, options);
    } else if (Is(argv[i], L"-d")) {
      known = TakeProfile(argc, argv, i, options.deleteFiles, options.scan, options);
    } else if (_wcsicmp(argv[i], L"-scanQsf") != 0) {
      known = TakeFlag(argv[i], options);
    }
    if (!known) return Parsed::kError;
  }
  return options.profileName.empty() ? Parsed::kError : Parsed::kRun;
}

bool ScanFile(const std::wstring& path) {
  PrintLine(L"scanning %s", path.c_str());
  if (CheckRepairQsf(path) == 0) {
    PrintLine(L"file scan error.");
    return false;
  }
  PrintLine(L"file scan done.");
  return true;
}

enum class DeleteAnswer { kYes, kNo, kCancel };

// Asks on the console whether to delete the file, until the answer begins with y, n or c. It reads
// one character: the rest of the line answers the next question. The end of the input counts as
// cancel.
DeleteAnswer ConfirmDelete(const std::wstring& path) {
  for (;;) {
    PrintText(L"Are you sure you want to delete [" + path + L"] ([y]es/[n]o/[c]ancel)?");
    wchar_t answer = L'\0';
    if (!(std::wcin >> answer)) return DeleteAnswer::kCancel;
    switch (answer) {
      case L'y':
        return DeleteAnswer::kYes;
      case L'n':
        return DeleteAnswer::kNo;
      case L'c':
        return DeleteAnswer::kCancel;
      default:
        PrintText(L"illegal value");
    }
  }
}

bool DeleteStoreFile(const std::wstring& path) {
  PrintLine(L"deleting %s", path.c_str());
  switch (ConfirmDelete(path)) {
    case DeleteAnswer::kYes:
      if (!DeleteFileW(path.c_str())) {
        PrintLine(L"file delete error.");
        return false;
      }
      break;
    case DeleteAnswer::kNo:
      // On purpose "done" is said of a file that stays, too.
      break;
    case DeleteAnswer::kCancel:
      if (VerboseOutput) PrintLine(L"delete operation cancelled");
      return false;
  }
  PrintLine(L"file delete done.");
  return true;
}

void PrintNoFiles(const ScanOptions& options) {
  if (options.markedOnly) {
    PrintLine(L"No .qsf files have been marked as corrupt with [%s] profile",
              options.profileName.c_str());
  } else {
    PrintLine(L"No .qsf files associated with [%s] profile", options.profileName.c_str());
  }
}

HRESULT ProcessStores(const ScanOptions& options) {
  const std::wstring providerPath = GetMapiModuleFullPath();
  if (VerboseOutput) PrintLine(L"Provider path: %s", providerPath.c_str());
  InstallConsoleCtrlHandler();
  const std::vector<std::wstring> paths =
      getQsfPaths(options.profileName, !options.includeSecondary, options.markedOnly);
  if (paths.empty()) PrintNoFiles(options);
  for (const std::wstring& path : paths) {
    if (UserBreakRequested()) break;
    const bool goOn = options.scan ? ScanFile(path) : DeleteStoreFile(path);
    if (!goOn) break;
  }
  return S_OK;
}

}  // namespace

int ScanQsfCommand(int argc, wchar_t** argv, const wchar_t* programName) {
  ScanOptions options;
  switch (ParseSwitches(argc, argv, options)) {
    case Parsed::kHelp:
      PrintScanQsfUsage(programName);
      return 0;
    case Parsed::kError:
      std::wcout << L"Error in switches - use as described below." << std::endl << std::endl;
      PrintScanQsfUsage(programName);
      return 1;
    case Parsed::kRun:
      break;
  }
  return RunExclusiveMapiCommand(
      {[&] { return ProcessStores(options); }, [&](HRESULT) { return options.restart; }});
}
