#include "lab/common/lab_config.h"

#include "lab/common/lab_value.h"

namespace lab {
namespace {

constexpr wchar_t kVariable[] = L"QRVLAB_DIR";
constexpr wchar_t kDirectoryValue[] = L"Directory";

}  // namespace

std::wstring LabDirectory() {
  std::wstring directory = ReadLabValue(kVariable, kDirectoryValue);
  while (!directory.empty() && (directory.back() == L'\\' || directory.back() == L'/')) {
    directory.pop_back();
  }
  return directory;
}

bool SetLabDirectory(const std::wstring& directory) {
  return WriteLabValue(kDirectoryValue, directory);
}

std::wstring JournalPath(const std::wstring& directory) {
  return directory.empty() ? std::wstring() : directory + L"\\journal.txt";
}

}  // namespace lab
