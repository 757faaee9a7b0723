#include "src/commands/purge_qsf.h"

#include <string_view>
#include <vector>

#include "src/commands/store_cache.h"
#include "src/frontend/console.h"
#include "src/frontend/user_break.h"
#include "src/guards/mapi_frame.h"
#include "src/guards/switches.h"
#include "src/platform/file_path.h"
#include "src/platform/file_search.h"
#include "src/platform/mapi.h"
#include "src/platform/text.h"
#include "src/stores/profile_admin.h"

int qrvAdminPurgeQsf(int argc, wchar_t** argv) {
  std::uint32_t force = 0;
  bool restart = false;
  ScanSwitches(argc, argv, {{L"-f", &force}, {L"-c", &restart}, {L"-v", &VerboseOutput}});
  return RunExclusiveMapiCommand(
      {[&] { return PurgeQsf(force); }, [&](HRESULT) { return restart && force; }});
}

namespace {

using platform::ComPtr;
using platform::FileSearch;

constexpr const char* kFunction = "PurgeQsf";

constexpr std::wstring_view kExtension = L".qsf";

using Paths = InUseFiles::Paths;

// Up to and including the last backslash; the whole path when it has none.
std::string DirectoryPart(const std::string& path) {
  const size_t length = path.size() - platform::FileNamePart(path, CP_ACP).size();
  return length == 0 ? path : path.substr(0, length);
}

// A file's name as the system hands it out in the ANSI code page.
std::string AnsiText(std::wstring_view name) {
  return platform::ToCodePage(name, CP_ACP).value_or("");
}

// By its own name: a search finds others by their short names.
bool IsStoreFileName(std::wstring_view name) {
  if (name.size() < kExtension.size()) return false;
  std::wstring ending(name.substr(name.size() - kExtension.size()));
  platform::LowerAscii(ending);
  return ending == kExtension;
}

// The MAPI profiles of the current user. On purpose released only after COM has ended.
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

void PrintSize(const WIN32_FIND_DATAW& entry) {
  const auto size =
      static_cast<std::int64_t>((std::uint64_t{entry.nFileSizeHigh} << 32) | entry.nFileSizeLow);
  PrintLine(L"Size: %I64d KB", size / 1024);
}

void PrintLastAccess(const WIN32_FIND_DATAW& entry) {
  FILETIME local = {};
  SYSTEMTIME time = {};
  FileTimeToLocalFileTime(&entry.ftLastAccessTime, &local);
  FileTimeToSystemTime(&local, &time);
  PrintLine(L"Last access time: %04d-%02d-%02d %02d:%02d:%02d", time.wYear, time.wMonth, time.wDay,
            time.wHour, time.wMinute, time.wSecond);
}

// Whether the name is one that a path can give to the letter: not with a character that a path
// takes for something else, which a name has on a foreign file system.
bool IsPlainName(std::wstring_view name) {
  return name.find_first_of(L"\\/:*?\"<>|") == std::wstring_view::npos;
}

// Whether the ANSI code page can hold the name. One that it cannot comes out as another name: with
// question marks or with similar letters, a backslash among them.
bool IsExactInAnsi(std::wstring_view name) {
  return platform::FromCodePage(AnsiText(name), CP_ACP) == name;
}

bool MayBeDeleted(std::wstring_view name) { return IsPlainName(name) && IsExactInAnsi(name); }

// As the file system compares names.
bool BeginsWith(std::wstring_view name, std::wstring_view stem) {
  if (stem.empty()) return true;
  if (name.size() < stem.size()) return false;
  const int length = static_cast<int>(stem.size());
  return CompareStringOrdinal(name.data(), length, stem.data(), length, TRUE) == CSTR_EQUAL;
}

// Lists, and with `force` deletes, every file whose name begins like that of the store file `path`
// (lower case) without its extension: the file itself and what the connector keeps beside it, but
// other stores' files too when their names begin so (ann.qsf takes anna.qsf along). A path without
// a backslash names no directory to search.
void DeleteQsfFileSet(const std::string& path, std::uint32_t force) {
  const std::wstring file = platform::FromCodePage(path, CP_ACP);
  const std::wstring_view name = platform::FileNamePart(file);
  const std::wstring directory = file.substr(0, file.size() - name.size());
  if (directory.empty()) return;
  const std::wstring stem(name.substr(0, name.size() - kExtension.size()));
  const std::wstring folder = platform::VerbatimPath(directory);
  for (FileSearch search(folder + stem + L"*"); search.Found(); search.Next()) {
    const WIN32_FIND_DATAW& entry = search.Entry();
    if (platform::IsDirectory(entry) || !BeginsWith(entry.cFileName, stem) ||
        !MayBeDeleted(entry.cFileName)) {
      continue;
    }
    PrintLine(L"Deleting: %s", (directory + entry.cFileName).c_str());
    if (force) DeleteFileW((folder + entry.cFileName).c_str());
  }
}

// `path` is the entry's in the ANSI code page and in lower case.
void PurgeFile(const std::string& path, const WIN32_FIND_DATAW& entry, std::uint32_t force) {
  const std::wstring file = platform::FromCodePage(path, CP_ACP);
  PrintLine(L"Unused Qsf: '%s'", platform::FileNamePart(file).data());
  PrintSize(entry);
  PrintLastAccess(entry);
  if (MayBeDeleted(entry.cFileName)) DeleteQsfFileSet(path, force);
  PrintLine(L" ");
}

void PurgeDirectories(const Paths& searchDirs, const Paths& inUseQsfPaths, std::uint32_t force) {
  bool found = false;
  InUseFiles inUse(inUseQsfPaths);
  for (const auto& [directory, sameDirectory] : searchDirs) {
    if (PurgeDirectory(directory, inUse, force)) found = true;
    // On purpose inside the loop: said once for each directory until something turns up.
    if (!found) PrintLine(L"No unused QSFs found");
  }
}

}  // namespace

bool PurgeDirectory(const std::string& directory, InUseFiles& inUse, std::uint32_t force) {
  bool found = false;
  // The directory is that of a path in use, and in lower case already.
  std::string path = directory;
  const std::wstring folder = platform::VerbatimPath(platform::FromCodePage(directory, CP_ACP));
  for (FileSearch search(folder + L"*.qsf"); search.Found(); search.Next()) {
    const WIN32_FIND_DATAW& entry = search.Entry();
    if (platform::IsDirectory(entry) || !IsStoreFileName(entry.cFileName)) continue;
    std::string name = AnsiText(entry.cFileName);
    platform::LowerAscii(name, CP_ACP);
    path.replace(directory.size(), std::string::npos, name);
    if (inUse.ContainsPath(path) || inUse.ContainsFile(folder + entry.cFileName)) continue;
    found = true;
    PurgeFile(path, entry, force);
  }
  return found;
}

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
  // On purpose without CoUninitialize: only a run that got this far ends COM.
  if (FAILED(hr)) return hr;
  PurgeDirectories(searchDirs, inUseQsfPaths, force);
  CoUninitialize();
  return hr;
}
