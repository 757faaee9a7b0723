#include "src/commands/scan_qsf.h"

#include <windows.h>

#include <cwchar>
#include <iostream>
#include <span>
#include <string>
#include <vector>

#include "src/commands/help_screen.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
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

// Those not looked at yet.
using Arguments = std::span<wchar_t* const>;

enum class Parsed { kRun, kHelp, kError };

bool Is(const wchar_t* argument, const wchar_t* text) { return wcscmp(argument, text) == 0; }

// "-p" or "-d", whose mode excludes the other's: takes the profile's name. False when that is
// missing or the other mode was chosen before.
bool TakeProfile(Arguments& rest, bool& mode, bool otherMode, std::wstring& profileName) {
  if (rest.empty() || otherMode) return false;
  profileName = rest.front();
  rest = rest.subspan(1);
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
  Arguments rest(argv + 1, static_cast<size_t>(argc) - 1);
  while (!rest.empty()) {
    const wchar_t* const argument = rest.front();
    rest = rest.subspan(1);
    bool known = true;
    if (Is(argument, L"-h")) return Parsed::kHelp;
    if (Is(argument, L"-p")) {
      known = TakeProfile(rest, options.scan, options.deleteFiles, options.profileName);
    } else if (Is(argument, L"-d")) {
      known = TakeProfile(rest, options.deleteFiles, options.scan, options.profileName);
    } else if (_wcsicmp(argument, L"-scanQsf") != 0) {
      known = TakeFlag(argument, options);
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
      // Kept: "done" is said of a file that stays, too; console lines are an interface.
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

void PrintScanQsfUsage(const wchar_t* programName) {
  const bool standalone = IsStandaloneScanName(programName);
  if (standalone) {
    std::wcout << programName << L" utility" << std::endl;
    // Kept: "the the" is part of the text.
    PrintTexts({L"---------------",
                L"Utility program for scanning quorvel outlook profile stores using the the\n"
                L"Microsoft Outlook Inbox Repair tool (ScanPST.exe) that comes with outlook,",
                L"and for deleting the store qsf file in order to have it recreated by QRV.", L""});
    std::wcout << L"Usage: " << programName << L" [-h]";
  } else {
    std::wcout << programName << L" -scanQsf";
  }
  PrintTexts({L" [-p profile_name | -d profile_name] [-r] [-m] [-v]", L""});
  if (standalone) PrintTexts({L"\t-h\tShow this help screen."});
  PrintTexts(
      {L"\t-p\tThe profile name to be scanned.", L"\t-d\tThe profile store(s) to be deleted.",
       L"\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.",
       L"\t-m\tScan stores marked as corrupted for this profile."});
  if (!standalone) PrintTexts({kRestartOption});
  PrintTexts({kVerboseOption, L"", L"\tNOTE: -d and -p cannot be used together."});
}

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

}  // namespace

bool IsStandaloneScanName(const wchar_t* programName) {
  return _wcsicmp(programName, L"qsfscan") == 0;
}

extern const Command kScanQsf = {L"-scanQsf", L"Scan QSFs and correct errors", PrintScanQsfUsage,
                                 ScanQsfCommand};
