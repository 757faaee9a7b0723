// mapistub.dll of the lab, for the system directory.
#include <windows.h>

#include <algorithm>
#include <string>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/stub/stub_plan.h"

namespace {

// The file that this library was loaded from: it serves under another name as well.
std::string ModulePath() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&ModulePath), &module);
  wchar_t path[MAX_PATH] = L"";
  GetModuleFileNameW(module, path, MAX_PATH);
  return lab::Utf8FromWide(path);
}

std::string Shown(const char* text) { return text ? text : "NULL"; }

void Journal(const char* component, const char* qualifier, DWORD size, BOOL install,
             const lab::StubRule& answer) {
  lab::AppendJournalNow(lab::JournalPath(), {.call = "FGetComponentPath",
                                             .arguments = {{"module", ModulePath()},
                                                           {"component", Shown(component)},
                                                           {"qualifier", Shown(qualifier)},
                                                           {"size", std::to_string(size)},
                                                           {"install", std::to_string(install)}},
                                             .result = answer.succeeds ? 1u : 0u});
}

void CopyBounded(const std::string& text, char* buffer, DWORD size) {
  if (!buffer || size == 0) return;
  const size_t length = std::min<size_t>(text.size(), size - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = '\0';
}

}  // namespace

extern "C" __declspec(dllexport) BOOL WINAPI
    FGetComponentPath(const char* component, const char* qualifier, char* path, DWORD size,
                      BOOL install) {
  const lab::StubRule answer = lab::StubPlan::Load(lab::LabDirectory()).For(qualifier);
  Journal(component, qualifier, size, install, answer);
  if (answer.path) CopyBounded(*answer.path, path, size);
  return answer.succeeds ? TRUE : FALSE;
}
