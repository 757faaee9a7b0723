// The store files of a profile whose sections hold anything.
#include "src/scan/qsf_paths.h"

#include "src/console/user_break.h"
#include "tests/fuzz/registry_fuzz.h"

namespace {

constexpr const wchar_t* kRoots[] = {
    L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles\\",
    L"Software\\Microsoft\\Office\\16.0\\Outlook\\Profiles\\"};

bool IsService(const shim::Value& value, const std::wstring& name) {
  return value.type == REG_BINARY && value.bytes == fuzz::BytesOf(name + L'\0');
}

bool IsMarked(const shim::Values& values) {
  const auto found = values.find(L"00036689");
  return found != values.end() && found->second.bytes.size() >= 4 &&
         (found->second.bytes[3] & 0x80) != 0;
}

// What a section gives; empty when nothing.
std::wstring PathIn(const shim::Values& values, bool rootOnly, bool markedOnly) {
  const auto name = values.find(L"001f3d09");
  if (name == values.end()) return {};
  const bool matches =
      IsService(name->second, L"LSMS") || (!rootOnly && IsService(name->second, L"LSMS_Secondary"));
  if (!matches || (markedOnly && !IsMarked(values))) return {};
  const auto path = values.find(L"001f6700");
  return path == values.end() ? L"" : fuzz::TextIn(path->second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::registry.clear();
  shim::lines.clear();
  const uint8_t options = input.Byte();
  const bool rootOnly = options & 1;
  const bool markedOnly = options & 2;
  VerboseOutput = options & 4 ? 1 : 0;
  const bool isNew = options & 8;
  if (isNew) {
    shim::registry[L"Outlook.Application\\CurVer"][L""] = {
        REG_SZ, fuzz::BytesOf(L"Outlook.Application.16")};
  }
  const std::wstring profile = kRoots[isNew] + std::wstring(L"Main");
  std::vector<std::wstring> expected;
  const bool exists = options & 16;
  if (exists) shim::registry[profile];
  for (int i = 0; exists && !input.IsEmpty() && i < 10; ++i) {
    shim::Values& section =
        shim::registry[profile + L"\\" + std::wstring(1 + input.Below(200), L'a' + i)];
    const uint8_t has = input.Byte();
    if (has & 1)
      section[L"001f3d09"] = fuzz::AnyValue(input, {L"LSMS", L"LSMS_Secondary", L"lsms"});
    if (has & 2) section[L"00036689"] = {REG_DWORD, input.Bytes(input.Below(9))};
    if (has & 4) section[L"001f6700"] = fuzz::AnyValue(input, {L"C:\\qsf\\ann.qsf", L""});
  }
  for (const auto& [path, values] : shim::registry) {
    if (!path.starts_with(profile + L"\\")) continue;
    const std::wstring found = PathIn(values, rootOnly, markedOnly);
    if (!found.empty()) expected.push_back(found);
  }
  CLAIM(getQsfPaths(L"Main", rootOnly, markedOnly) == expected);
  CLAIM(shim::lines.size() == (VerboseOutput && !exists ? 1U : 0U));
  return 0;
}
