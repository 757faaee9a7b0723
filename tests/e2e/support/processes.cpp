#include "tests/e2e/support/processes.h"

#include <tlhelp32.h>

#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace e2e {

std::vector<DWORD> ProcessesOf(std::wstring_view fileName) {
  std::vector<DWORD> ids;
  const auto snapshot = platform::TakeFileHandle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W process = {};
  process.dwSize = sizeof(process);
  for (BOOL more = Process32FirstW(snapshot.Get(), &process); more;
       more = Process32NextW(snapshot.Get(), &process)) {
    if (lab::EqualsFolded(process.szExeFile, fileName)) ids.push_back(process.th32ProcessID);
  }
  return ids;
}

}  // namespace e2e
