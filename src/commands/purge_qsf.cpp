// -purgeQsf: store files that no profile uses.
#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "src/commands/command.h"
#include "src/commands/help_screen.h"
#include "src/commands/in_use_files.h"
#include "src/commands/store_cache.h"
#include "src/commands/unused_files.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
#include "src/frame/switches.h"
#include "src/platform/mapi.h"
#include "src/platform/text.h"
#include "src/stores/profile_admin.h"

namespace {

using platform::ComPtr;

constexpr const char* kFunction = "PurgeQsf";

using Paths = InUseFiles::Paths;

// Up to and including the last backslash; the whole path when it has none.
std::string DirectoryPart(const std::string& path) {
  const size_t length = path.size() - platform::FileNamePart(path, CP_ACP).size();
  return length == 0 ? path : path.substr(0, length);
}

// The MAPI profiles of the current user. Kept: released only after the command has ended COM. They
// are MAPI's, which the frame around the command ends later still.
struct ProfileList {
  ComPtr<IProfAdmin> admin;
  ComPtr<IMAPITable> table;
  platform::RowSet rows;
};

HRESULT QueryProfiles(ProfileList& profiles) {
  HRESULT hr = OpenProfileAdmin(kFunction, profiles.admin);
  if (FAILED(hr)) return hr;
  hr = profiles.admin->GetProfileTable(0, &profiles.table);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetProfileTable failed : 0x%x", kFunction, hr);
    return hr;
  }
  auto columns = platform::MakePropTags(PR_DISPLAY_NAME_A);
  hr =
      HrQueryAllRows(profiles.table.Get(), columns.Get(), nullptr, nullptr, 0, profiles.rows.Put());
  if (FAILED(hr)) PrintLine(L"%hs: HrQueryAllRows failed : 0x%x", kFunction, hr);
  return hr;
}

// A row without a name gives an empty one, which no profile has: the run ends there.
std::wstring ProfileName(const SRow& row) {
  const SPropValue name = platform::PropertyAt(row, 0);
  if (name.ulPropTag != PR_DISPLAY_NAME_A) return {};
  return platform::FromCodePage(name.Value.lpszA, CP_THREAD_ACP);
}

// Of two profiles whose names the code page makes alike only one can be opened, so the other counts
// as one that cannot be read.
HRESULT CheckName(const std::wstring& profileName, std::vector<std::wstring>& earlierNames) {
  for (const std::wstring& name : earlierNames) {
    if (CompareStringOrdinal(name.c_str(), -1, profileName.c_str(), -1, TRUE) != CSTR_EQUAL) {
      continue;
    }
    PrintLine(L"%hs: storeManager LoadCache failed : 0x%x", kFunction, MAPI_E_NOT_FOUND);
    return MAPI_E_NOT_FOUND;
  }
  earlierNames.push_back(profileName);
  return S_OK;
}

// Adds what one profile uses.
HRESULT CollectInUse(const std::wstring& profileName, Paths& inUseQsfPaths, Paths& searchDirs) {
  CStoreManager storeManager;
  storeManager.ProfileName = profileName;
  InstallConsoleCtrlHandler();
  const HRESULT hr = LoadStoreCache(storeManager, kFunction);
  if (FAILED(hr)) return hr;
  Paths paths;
  storeManager.CollectQsfPaths(paths);
  for (const auto& [path, samePath] : paths) {
    inUseQsfPaths.emplace(path, path);
    const std::string directory = DirectoryPart(path);
    searchDirs.emplace(directory, directory);
  }
  return hr;
}

// Adds what every profile uses, and returns the last one's result, `hr` where there is none.
// Nothing is deleted before all have been read: a file of one that cannot be read would be taken
// for unused.
HRESULT CollectAllInUse(const ProfileList& profiles, HRESULT hr, Paths& inUseQsfPaths,
                        Paths& searchDirs) {
  std::vector<std::wstring> names;
  for (const SRow& row : profiles.rows.Rows()) {
    const std::wstring name = ProfileName(row);
    hr = CheckName(name, names);
    if (SUCCEEDED(hr)) hr = CollectInUse(name, inUseQsfPaths, searchDirs);
    if (FAILED(hr)) break;
  }
  return hr;
}

void PurgeDirectories(const Paths& searchDirs, const Paths& inUseQsfPaths, std::uint32_t force) {
  bool found = false;
  InUseFiles inUse(inUseQsfPaths);
  for (const auto& [directory, sameDirectory] : searchDirs) {
    if (PurgeDirectory(directory, inUse, force)) found = true;
    // Kept: inside the loop, so that it is said once for each directory until something turns up;
    // console lines are an interface.
    if (!found) PrintLine(L"No unused QSFs found");
  }
}

// Lists the store files that no MAPI profile of the current Windows user refers to, in every
// directory that holds one in use, with all files that belong to them; with `force` deletes them. A
// profile that cannot be read ends the command before any file is listed. Returns the failure that
// did, else the result of the last profile's load. MAPI must be initialised on the calling thread;
// after a failure COM stays initialised.
HRESULT PurgeQsf(std::uint32_t force) {
  HRESULT hr = CoInitialize(nullptr);
  if (FAILED(hr)) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", kFunction, hr);
    return hr;
  }
  ProfileList profiles;
  hr = QueryProfiles(profiles);
  Paths inUseQsfPaths;
  Paths searchDirs;
  if (SUCCEEDED(hr)) hr = CollectAllInUse(profiles, hr, inUseQsfPaths, searchDirs);
  // Kept: without CoUninitialize, which only a run that got this far calls. The process ends soon.
  if (FAILED(hr)) return hr;
  PurgeDirectories(searchDirs, inUseQsfPaths, force);
  CoUninitialize();
  return hr;
}

void PrintPurgeQsfUsage(const wchar_t* programName) {
  PrintUsage(
      programName, L" -purgeQsf [-f] [-v]",
      {L"\t-f\tForce a non dry run.", kRestartOption, kVerboseOption, L"",
       L"Unused QSFs are only deleted when the -f flag is used.", L"",
       L"NOTE: This command can only check for unused QSFs within the current Windows user's "
       L"MAPI profiles. Be careful when storing QSFs in a common location which is used by "
       L"multiple Windows users."});
}

int qrvAdminPurgeQsf(int argc, wchar_t** argv) {
  std::uint32_t force = 0;
  bool restart = false;
  ReadSwitches(argc, argv, {{L"-f", &force}, {L"-c", &restart}, {L"-v", &VerboseOutput}});
  return RunExclusiveMapiCommand(
      {[&] { return PurgeQsf(force); }, [&](HRESULT) { return restart && force; }});
}

}  // namespace

extern const Command kPurgeQsf = {
    L"-purgeQsf", L"Purge unused QSFs", PrintPurgeQsfUsage,
    [](int argc, wchar_t** argv, const wchar_t*) { return qrvAdminPurgeQsf(argc, argv); }};
