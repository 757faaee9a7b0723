// The version that Outlook's registration names, whatever lies there.
#include "src/scan/outlook_version.h"

#include "tests/fuzz/registry_fuzz.h"

namespace {

// The number at the front of `text`, which loses it: blanks, a sign and digits.
bool TakeNumber(std::wstring_view& text, uint8_t& number) {
  while (!text.empty() && (text[0] == L' ' || (text[0] >= L'\t' && text[0] <= L'\r'))) {
    text.remove_prefix(1);
  }
  const bool isNegative = text.starts_with(L'-');
  if (isNegative || text.starts_with(L'+')) text.remove_prefix(1);
  if (text.empty() || text[0] < L'0' || text[0] > L'9') return false;
  int64_t value = 0;
  for (; !text.empty() && text[0] >= L'0' && text[0] <= L'9'; text.remove_prefix(1)) {
    value = std::min<int64_t>(value * 10 + (text[0] - L'0'), int64_t{1} << 40);
  }
  value = std::clamp<int64_t>(isNegative ? -value : value, INT32_MIN, INT32_MAX);
  number = static_cast<uint8_t>(value);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::registry.clear();
  const bool isRegistered = input.Byte() != 0;
  shim::Value value =
      fuzz::AnyValue(input, {L"Outlook.Application.16", L"outlook.APPLICATION.15.3",
                             L"Outlook.Application.", L"Outlook.Application.-1.+2"});
  if (input.Byte() & 1) {
    const std::vector<BYTE> front = fuzz::BytesOf(L"Outlook.Application.");
    value.bytes.insert(value.bytes.begin(), front.begin(), front.end());
  }
  if (isRegistered) shim::registry[L"Outlook.Application\\CurVer"][L""] = value;

  uint8_t expected[2] = {11, 0};
  std::wstring text = fuzz::TextIn(value);
  for (wchar_t& c : text) {
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - 32);
  }
  std::wstring_view rest = text;
  constexpr std::wstring_view kFront = L"OUTLOOK.APPLICATION.";
  if (isRegistered && value.type == REG_SZ && rest.starts_with(kFront)) {
    rest.remove_prefix(kFront.size());
    if (TakeNumber(rest, expected[0]) && rest.starts_with(L'.')) {
      rest.remove_prefix(1);
      TakeNumber(rest, expected[1]);
    }
  }
  uint8_t major = 0;
  uint8_t minor = 0;
  GetOutlookVersion(major, minor);
  CLAIM(major == expected[0] && minor == expected[1]);
  return 0;
}
