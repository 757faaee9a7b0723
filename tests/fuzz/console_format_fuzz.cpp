// Whether a format counts as one for its arguments: what takes other arguments than it says would
// read what is not there.
#include "src/console/console_format.h"

#include "tests/fuzz/fuzz.h"

namespace {

// The kinds that a format takes, read by hand; `refused` when it has what no line uses.
std::vector<FormatKind> KindsOf(const std::wstring& format, bool* refused) {
  std::vector<FormatKind> kinds;
  const auto at = [&](size_t i) { return i < format.size() ? format[i] : L'\0'; };
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != L'%') continue;
    ++i;
    if (at(i) == L'%') continue;
    while (std::wstring_view(L"-+ #0123456789").find(at(i)) != std::wstring_view::npos) ++i;
    if (at(i) == L's') {
      kinds.push_back(FormatKind::kWideText);
    } else if (at(i) == L'l' && at(i + 1) == L's') {
      kinds.push_back(FormatKind::kWideText);
      ++i;
    } else if (at(i) == L'h' && at(i + 1) == L's') {
      kinds.push_back(FormatKind::kNarrowText);
      ++i;
    } else if (at(i) == L'd' || at(i) == L'x') {
      kinds.push_back(FormatKind::kInteger32);
    } else if (std::wstring_view(format).substr(std::min(i, format.size())).starts_with(L"I64d")) {
      kinds.push_back(FormatKind::kInteger64);
      i += 3;
    } else {
      *refused = true;
      return kinds;
    }
  }
  return kinds;
}

FormatFault Fault(const std::wstring& format, const std::vector<FormatKind>& kinds) {
  switch (kinds.size()) {
    case 0:
      return FaultOfFormat(format, {});
    case 1:
      return FaultOfFormat(format, {kinds[0]});
    case 2:
      return FaultOfFormat(format, {kinds[0], kinds[1]});
    default:
      return FaultOfFormat(format, {kinds[0], kinds[1], kinds[2]});
  }
}

// The first fault that the arguments have: a kind, then one too few; the format's own comes where
// it stands.
FormatFault Expected(const std::vector<FormatKind>& wanted, bool refused,
                     const std::vector<FormatKind>& given) {
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (i == given.size()) return FormatFault::kTooFewArguments;
    if (wanted[i] != given[i]) return FormatFault::kKind;
  }
  if (refused) return FormatFault::kConversion;
  return wanted.size() < given.size() ? FormatFault::kTooManyArguments : FormatFault::kNone;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  std::vector<FormatKind> given(input.Below(4));
  for (FormatKind& kind : given) kind = static_cast<FormatKind>(input.Below(4));
  std::wstring format;
  while (!input.IsEmpty() && format.size() < 200) {
    format += input.Word({L"%", L"s", L"ls", L"hs", L"d", L"x", L"I64d", L"%%", L"-20", L"#010"});
  }
  bool refused = false;
  const std::vector<FormatKind> wanted = KindsOf(format, &refused);
  CLAIM(Fault(format, given) == Expected(wanted, refused, given));
  return 0;
}
