#include "lab/common/files.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "lab/common/text.h"

namespace lab {
namespace {

constexpr std::wstring_view kStoreExtension = L".qsf";

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, HandleCloser>;

Handle OpenForChange(const std::wstring& path, DWORD access, DWORD disposition) {
  HANDLE handle = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

bool EndAt(HANDLE file, uint64_t size) {
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  return SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file);
}

}  // namespace

bool WriteFileOfSize(const std::wstring& path, uint64_t size) {
  const Handle file = OpenForChange(path, GENERIC_WRITE, CREATE_ALWAYS);
  if (!file) return false;
  // Where this is refused the file system either needs no telling or has no such files.
  DWORD returned = 0;
  DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
  return EndAt(file.get(), size);
}

std::string FormatUtcTime(const UtcTime& time) {
  char text[64];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text;
}

std::optional<UtcTime> ParseUtcTime(std::string_view text) {
  unsigned parts[6] = {};
  const std::string whole(text);
  if (std::sscanf(whole.c_str(), "%4u-%2u-%2u %2u:%2u:%2u", &parts[0], &parts[1], &parts[2],
                  &parts[3], &parts[4], &parts[5]) != 6) {
    return std::nullopt;
  }
  UtcTime time;
  uint16_t* const fields[] = {&time.year, &time.month,  &time.day,
                              &time.hour, &time.minute, &time.second};
  for (size_t i = 0; i < std::size(fields); ++i) *fields[i] = static_cast<uint16_t>(parts[i]);
  return FormatUtcTime(time) == whole ? std::optional(time) : std::nullopt;
}

bool SetLastAccess(const std::wstring& path, const UtcTime& time) {
  SYSTEMTIME system{};
  system.wYear = time.year;
  system.wMonth = time.month;
  system.wDay = time.day;
  system.wHour = time.hour;
  system.wMinute = time.minute;
  system.wSecond = time.second;
  FILETIME access{};
  if (!SystemTimeToFileTime(&system, &access)) return false;
  const Handle file = OpenForChange(path, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
  return file && SetFileTime(file.get(), nullptr, &access, nullptr);
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

std::wstring CompanionPath(const std::wstring& storeFile, std::wstring_view suffix) {
  const bool hasExtension = FoldAscii(storeFile).ends_with(kStoreExtension);
  const size_t stem = storeFile.size() - (hasExtension ? kStoreExtension.size() : 0);
  return storeFile.substr(0, stem) + std::wstring(suffix);
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
    if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.push_back(found.cFileName);
  } while (FindNextFileW(search, &found));
  FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace lab
