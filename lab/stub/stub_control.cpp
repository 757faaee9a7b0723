#include "lab/stub/stub_control.h"

#include <windows.h>

#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kKeptSuffix[] = L".qrvlab-original";
// Kept instead of the original where there was no file to keep.
constexpr wchar_t kNothingSuffix[] = L".qrvlab-nothing";

bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool Remove(const std::wstring& path) { return DeleteFileW(path.c_str()) || !Exists(path); }

// Moves the original aside unless that was done before. It is moved and not copied: the file may
// have other names, under which it must stay what it is.
bool Keep(const std::wstring& path) {
  const std::wstring kept = path + kKeptSuffix;
  if (Exists(kept) || Exists(path + kNothingSuffix)) return true;
  return Exists(path) ? MoveFileW(path.c_str(), kept.c_str()) != FALSE
                      : WriteWholeFile(path + kNothingSuffix, {});
}

bool Restore(const std::wstring& path) {
  const std::wstring kept = path + kKeptSuffix;
  if (Exists(kept)) {
    return MoveFileExW(kept.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
  }
  return !Exists(path + kNothingSuffix) || (Remove(path) && Remove(path + kNothingSuffix));
}

}  // namespace

std::wstring StubPath(StubPlace place) {
  wchar_t directory[MAX_PATH] = L"";
  GetSystemDirectoryW(directory, MAX_PATH);
  const wchar_t* name = place == StubPlace::kMapistub ? L"\\mapistub.dll" : L"\\mapi32.dll";
  return directory + std::wstring(name);
}

bool SetStub(StubPlace place, StubState state, const std::wstring& program) {
  const std::wstring path = StubPath(place);
  if (state == StubState::kOriginal) return Restore(path);
  if (!Keep(path) || !Remove(path)) return false;
  return state == StubState::kAbsent || CopyFileW(program.c_str(), path.c_str(), TRUE);
}

StubGuard::StubGuard(StubPlace place, StubState state, const std::wstring& program)
    : place_(place), done_(SetStub(place, state, program)) {}

StubGuard::~StubGuard() { SetStub(place_, StubState::kOriginal); }

}  // namespace lab
