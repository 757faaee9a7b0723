#include "src/commands/unused_files.h"

#include <windows.h>

#include <string_view>

#include "src/console/console.h"
#include "src/platform/file_path.h"
#include "src/platform/file_search.h"
#include "src/platform/text.h"

namespace {

using platform::FileSearch;

constexpr std::wstring_view kExtension = L".qsf";

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
