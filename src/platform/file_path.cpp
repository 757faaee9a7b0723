#include "src/platform/file_path.h"

#include "src/platform/handle.h"

namespace platform {

std::wstring VerbatimPath(const std::wstring& path) {
  const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (size == 0) return path;
  std::wstring full(size, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  if (full.empty()) return path;
  if (full.starts_with(L"\\\\?\\") || full.starts_with(L"\\\\.\\")) return full;
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.substr(1);
  return L"\\\\?\\" + full;
}

std::optional<FileIdentity> IdentityIn(const BY_HANDLE_FILE_INFORMATION& information) {
  const auto index = (std::uint64_t{information.nFileIndexHigh} << 32) | information.nFileIndexLow;
  // With all bits set it stands for one that takes more than 64.
  if (index == 0 || index == UINT64_MAX) return std::nullopt;
  return FileIdentity{information.dwVolumeSerialNumber, index};
}

std::optional<FileIdentity> IdentityOf(const std::wstring& path) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const KernelHandle file = TakeFileHandle(CreateFileW(
      path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  BY_HANDLE_FILE_INFORMATION information = {};
  if (!file || !GetFileInformationByHandle(file.Get(), &information)) return std::nullopt;
  return IdentityIn(information);
}

}  // namespace platform
