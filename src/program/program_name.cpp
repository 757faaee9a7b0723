#include "src/program/program_name.h"

#include <string_view>

#include "src/platform/text.h"

std::wstring ProgramShortName(const wchar_t* firstArgument) {
  // What a buffer of MAX_PATH characters holds beside the terminator.
  constexpr size_t kLongestName = 259;
  const std::wstring_view fileName = platform::FileNamePart(firstArgument).substr(0, kLongestName);
  return std::wstring(fileName.substr(0, fileName.rfind(L'.')));
}
