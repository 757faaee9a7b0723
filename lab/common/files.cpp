#include "lab/common/files.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstdio>

#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace lab {
namespace {

constexpr std::wstring_view kStoreExtension = L".qsf";

platform::KernelHandle OpenForChange(const std::wstring& path, DWORD access, DWORD disposition) {
  return platform::TakeFileHandle(CreateFileW(path.c_str(), access,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool EndAt(HANDLE file, uint64_t size) {
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  return SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file);
}

// "C:\qsf\ann.idx" for "C:\qsf\ann.qsf" and ".idx".
std::wstring CompanionPath(const std::wstring& storeFile, std::wstring_view suffix) {
  const bool hasExtension = FoldAscii(storeFile).ends_with(kStoreExtension);
  const size_t stem = storeFile.size() - (hasExtension ? kStoreExtension.size() : 0);
  return storeFile.substr(0, stem) + std::wstring(suffix);
}

}  // namespace

bool WriteFileOfSize(const std::wstring& path, uint64_t size) {
  const platform::KernelHandle file = OpenForChange(path, GENERIC_WRITE, CREATE_ALWAYS);
  if (!file) return false;
  // Where this is refused the file system either needs no telling or has no such files.
  DWORD returned = 0;
  DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
  return EndAt(file.Get(), size);
}

std::string FormatUtcTime(const UtcTime& time) {
  char text[64];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text;
}

std::optional<UtcTime> ParseUtcTime(std::string_view text) {
  const std::string whole(text);
  UtcTime time;
  std::sscanf(whole.c_str(), "%4hu-%2hu-%2hu %2hu:%2hu:%2hu", &time.year, &time.month, &time.day,
              &time.hour, &time.minute, &time.second);
  return FormatUtcTime(time) == whole ? std::optional(time) : std::nullopt;
}

bool SetLastAccess(const std::wstring& path, const UtcTime& time) {
  const SYSTEMTIME system = {.wYear = time.year,
                             .wMonth = time.month,
                             .wDayOfWeek = 0,
                             .wDay = time.day,
                             .wHour = time.hour,
                             .wMinute = time.minute,
                             .wSecond = time.second,
                             .wMilliseconds = 0};
  FILETIME access{};
  if (!SystemTimeToFileTime(&system, &access)) return false;
  const platform::KernelHandle file = OpenForChange(path, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
  return file && SetFileTime(file.Get(), nullptr, &access, nullptr);
}

std::optional<UtcTime> LastAccess(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  SYSTEMTIME system{};
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) ||
      !FileTimeToSystemTime(&data.ftLastAccessTime, &system)) {
    return std::nullopt;
  }
  return UtcTime{system.wYear, system.wMonth,  system.wDay,
                 system.wHour, system.wMinute, system.wSecond};
}

std::vector<std::wstring> WriteCompanions(const std::wstring& storeFile,
                                          const std::vector<std::wstring>& suffixes) {
  std::vector<std::wstring> paths;
  for (const std::wstring& suffix : suffixes) {
    const std::wstring path = CompanionPath(storeFile, suffix);
    if (WriteWholeFile(path, "beside " + Utf8FromWide(storeFile) + "\r\n")) paths.push_back(path);
  }
  return paths;
}

std::vector<std::wstring> FilesIn(const std::wstring& directory) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW((directory + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.emplace_back(found.cFileName);
  } while (FindNextFileW(search, &found));
  FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace lab
