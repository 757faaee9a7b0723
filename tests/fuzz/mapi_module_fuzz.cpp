// Where Outlook's MAPI is said to lie, with any registration and any answer of the MAPI stub's.
#include "src/scan/mapi_module.h"

#include "src/console/user_break.h"
#include "tests/fuzz/registry_fuzz.h"

namespace {

// Of any length up to beyond every buffer's, which takes no input of that length.
std::vector<BYTE> AnyBytes(fuzz::Input& input) {
  const size_t size = input.Below(600);
  std::vector<BYTE> bytes = input.Bytes(std::min<size_t>(size, input.Byte()));
  bytes.resize(size, 'x');
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::registry.clear();
  shim::lines.clear();
  const uint8_t options = input.Byte();
  VerboseOutput = options & 1;
  shim::ansiCodePage = options & 2 ? 932 : 1252;
  if (options & 4) {
    shim::Values& client = shim::registry[L"Software\\Clients\\Mail\\Microsoft Outlook"];
    for (const wchar_t* name : {L"MSIApplicationLCID", L"MSIOfficeLCID", L"MSIComponentID"}) {
      if (input.Byte() & 1) client[name] = {input.Below(12), AnyBytes(input)};
    }
  }
  std::vector<std::string> answers(3);
  for (std::string& answer : answers) answer = input.Narrow(270);
  size_t asked = 0;
  std::string last;
  shim::componentPath = nullptr;
  if (options & 8) {
    shim::componentPath = [&](LPCSTR component, LPSTR qualifier, LPSTR path, DWORD room) {
      // Both are texts, to their terminators.
      CLAIM(std::strlen(component) <= 262);
      CLAIM(!qualifier || std::strlen(qualifier) <= 600);
      CLAIM(asked < answers.size());
      last = answers[asked++].substr(0, room);
      // A stub that fills all of the room leaves no terminator.
      std::copy_n(last.c_str(), std::min<size_t>(last.size() + 1, room), path);
      return BOOL{!last.empty()};
    };
  }

  const std::wstring path = GetMapiModuleFullPath();
  CLAIM(path.ends_with(L"\\mspst32.dll"));
  CLAIM(path.size() <= 260 + 13);
  CLAIM(shim::lines.size() == (VerboseOutput ? 4U : 0U));
  const bool isAnswered = asked > 0 && !last.empty();
  if (!isAnswered) CLAIM(path == L"C:\\windows\\system32\\mspst32.dll");
  return 0;
}
