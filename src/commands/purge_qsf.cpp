#include "src/commands/purge_qsf.h"

#include <string_view>

#include "src/commands/store_cache.h"
#include "src/frontend/console.h"
#include "src/frontend/user_break.h"
#include "src/guards/mapi_frame.h"
#include "src/guards/switches.h"
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

// Each path stands as key and value.
using Paths = std::map<std::string, std::string>;

// Up to and including the last backslash; the whole path when it has none.
std::string DirectoryPart(const std::string& path) {
  const size_t backslash = path.rfind('\\');
  return backslash == std::string::npos ? path : path.substr(0, backslash + 1);
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

void PrintSize(const WIN32_FIND_DATAA& entry) {
  const auto size =
      static_cast<std::int64_t>((std::uint64_t{entry.nFileSizeHigh} << 32) | entry.nFileSizeLow);
  PrintLine(L"Size: %I64d KB", size / 1024);
}

void PrintLastAccess(const WIN32_FIND_DATAA& entry) {
  FILETIME local = {};
  SYSTEMTIME time = {};
  FileTimeToLocalFileTime(&entry.ftLastAccessTime, &local);
  FileTimeToSystemTime(&local, &time);
  PrintLine(L"Last access time: %04d-%02d-%02d %02d:%02d:%02d", time.wYear, time.wMonth, time.wDay,
            time.wHour, time.wMinute, time.wSecond);
}

// Lists, and with `force` deletes, every file whose name begins like that of the store file `path`
// (lower case) without its extension: the file itself and what the connector keeps beside it, but
// other stores' files too when their names begin so (ann.qsf takes anna.qsf along).
void DeleteQsfFileSet(const std::string& path, std::uint32_t force) {
  const std::string directory = DirectoryPart(path);
  const size_t extension = path.rfind(".qsf");
  if (extension == std::string::npos) return;
  const std::string stem = path.substr(0, extension);
  // A name that the ANSI code page cannot hold comes with question marks, and as a pattern would
  // take files of other names.
  if (platform::FileNamePart(std::string_view(stem)).find_first_of("?*") != std::string::npos) {
    return;
  }
  for (FileSearch search(stem + "*"); search.Found(); search.Next()) {
    if (platform::IsDirectory(search.Entry())) continue;
    const std::string file = directory + search.Entry().cFileName;
    PrintLine(L"Deleting: %s", platform::FromCodePage(file, CP_ACP).c_str());
    if (force) DeleteFileA(file.c_str());
  }
}

void PurgeFile(const std::string& path, const WIN32_FIND_DATAA& entry, std::uint32_t force) {
  const std::wstring name =
      platform::FromCodePage(platform::FileNamePart(std::string_view(path)), CP_ACP);
  PrintLine(L"Unused Qsf: '%s'", name.c_str());
  PrintSize(entry);
  PrintLastAccess(entry);
  DeleteQsfFileSet(path, force);
  PrintLine(L" ");
}

// Answers whether paths are in use. A directory's files come mostly in the order of their paths,
// and the one behind the last answer then needs no search.
class InUseLookup {
 public:
  explicit InUseLookup(const Paths& paths) : paths_(paths), next_(paths.begin()) {}

  bool Contains(const std::string& path) {
    if (next_ == paths_.end() || next_->first != path) next_ = paths_.lower_bound(path);
    if (next_ == paths_.end() || next_->first != path) return false;
    ++next_;
    return true;
  }

 private:
  const Paths& paths_;
  Paths::const_iterator next_;
};

void PurgeDirectories(const Paths& searchDirs, const Paths& inUseQsfPaths, std::uint32_t force) {
  bool found = false;
  for (const auto& [directory, sameDirectory] : searchDirs) {
    if (PurgeDirectory(directory, inUseQsfPaths, force)) found = true;
    // On purpose inside the loop: said once for each directory until something turns up.
    if (!found) PrintLine(L"No unused QSFs found");
  }
}

}  // namespace

bool PurgeDirectory(const std::string& directory,
                    const std::map<std::string, std::string>& inUseQsfPaths, std::uint32_t force) {
  bool found = false;
  InUseLookup inUse(inUseQsfPaths);
  // The directory is that of a path in use, and in lower case already.
  std::string path = directory;
  for (FileSearch search(directory + "*.qsf"); search.Found(); search.Next()) {
    if (platform::IsDirectory(search.Entry())) continue;
    std::string name = search.Entry().cFileName;
    platform::LowerAscii(name);
    path.replace(directory.size(), std::string::npos, name);
    if (inUse.Contains(path)) continue;
    found = true;
    PurgeFile(path, search.Entry(), force);
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
  // Nothing is deleted before every profile has been read: a file of one that cannot be read would
  // be taken for unused.
  for (const SRow& row : profiles.rows.Rows()) {
    if (FAILED(hr)) break;
    hr = CollectInUse(ProfileName(row), inUseQsfPaths, searchDirs);
  }
  // On purpose without CoUninitialize: only a run that got this far ends COM.
  if (FAILED(hr)) return hr;
  PurgeDirectories(searchDirs, inUseQsfPaths, force);
  CoUninitialize();
  return hr;
}
