// A path in the form that the system takes to the letter, and what a file's identity is.
#include "src/platform/file_path.h"

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const BY_HANDLE_FILE_INFORMATION information = {input.Number(), input.Number(), input.Number()};
  const auto identity = platform::IdentityIn(information);
  const uint64_t index = uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
  CLAIM(identity.has_value() == (index + 1 > 1));
  if (identity) {
    CLAIM(identity->first == information.dwVolumeSerialNumber && identity->second == index);
  }

  const std::wstring path = input.Word({L"\\\\?\\C:\\a", L"\\\\.\\x", L"C:\\"}) +
                            input.Word({L"\\\\server\\share", L"\\", L"ann.qsf ", L"NUL"});
  const std::wstring verbatim = platform::VerbatimPath(path);
  if (path.empty()) {
    CLAIM(verbatim.empty());
    return 0;
  }
  CLAIM(verbatim.starts_with(L"\\\\?\\") || verbatim.starts_with(L"\\\\.\\"));
  // Nothing of it is lost.
  CLAIM(verbatim.ends_with(path.substr(path.starts_with(L"\\\\") ? 2 : 0)));
  CLAIM(platform::VerbatimPath(verbatim) == verbatim);
  CLAIM(!platform::IdentityOf(path));
  return 0;
}
