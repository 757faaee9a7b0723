#include "lab/common/text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <span>

#include "src/platform/handle.h"

namespace lab {
namespace {

using platform::KernelHandle;

std::string ToMultiByte(UINT codePage, std::wstring_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(codePage, 0, text.data(), length, result.data(), size, nullptr, nullptr);
  return result;
}

std::wstring ToWide(UINT codePage, std::string_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0);
  std::wstring result(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(codePage, 0, text.data(), length, result.data(), size);
  return result;
}

template <class Char>
Char Fold(Char c) {
  return c >= Char{'A'} && c <= Char{'Z'} ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <class Char>
std::basic_string<Char> FoldText(std::basic_string_view<Char> text) {
  std::basic_string<Char> result(text);
  for (Char& c : result) c = Fold(c);
  return result;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = Fold(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// What is escaped by a letter, and the letters.
constexpr std::string_view kEscaped = "\"\\\r\n\t";
constexpr std::string_view kLetters = "\"\\rnt";

// Resolves the escape whose backslash stands at `*at`, and moves `*at` to its last character.
char Unescape(std::string_view line, size_t* at) {
  if (*at + 1 >= line.size()) return '\\';
  const char letter = line[++*at];
  if (letter == 'x' && *at + 2 < line.size()) {
    const int high = HexDigit(line[*at + 1]);
    const int low = HexDigit(line[*at + 2]);
    *at += 2;
    return static_cast<char>(high * 16 + low);
  }
  const size_t known = kLetters.find(letter);
  return known != std::string_view::npos ? kEscaped[known] : letter;
}

KernelHandle OpenFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
  return platform::TakeFileHandle(CreateFileW(path.c_str(), access, share, nullptr, disposition,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

std::string Utf8FromWide(std::wstring_view text) { return ToMultiByte(CP_UTF8, text); }
std::wstring WideFromUtf8(std::string_view text) { return ToWide(CP_UTF8, text); }
std::string NarrowFromWide(std::wstring_view text) { return ToMultiByte(CP_ACP, text); }
std::wstring WideFromNarrow(std::string_view text) { return ToWide(CP_ACP, text); }

std::wstring FoldAscii(std::wstring_view text) { return FoldText(text); }
std::string FoldAscii(std::string_view text) { return FoldText(text); }
bool EqualsFolded(std::wstring_view left, std::wstring_view right) {
  return FoldText(left) == FoldText(right);
}
bool EqualsFolded(std::string_view left, std::string_view right) {
  return FoldText(left) == FoldText(right);
}
bool ContainsFolded(std::wstring_view text, std::wstring_view piece) {
  return FoldText(text).find(FoldText(piece)) != std::wstring::npos;
}

std::string HexFromBytes(const void* data, size_t size) {
  std::string result;
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (const uint8_t byte : std::span(bytes, size)) {
    for (const int digit : {byte >> 4, byte & 15}) result += "0123456789abcdef"[digit];
  }
  return result;
}

std::string HexFromBytes(const Bytes& bytes) { return HexFromBytes(bytes.data(), bytes.size()); }

std::optional<Bytes> BytesFromHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Bytes result;
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    result.push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return result;
}

std::string HexNumber(uint64_t number) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(number));
  return text;
}

std::string HexResult(uint32_t result) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08x", result);
  return text;
}

std::string Quote(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    const size_t escape = kEscaped.find(c);
    if (escape != std::string_view::npos) {
      result += std::string("\\") + kLetters[escape];
    } else if (static_cast<unsigned char>(c) < 0x20) {
      result += "\\x" + HexFromBytes(&c, 1);
    } else {
      result += c;
    }
  }
  return result + '"';
}

std::vector<std::string> SplitQuoted(std::string_view line) {
  std::vector<std::string> pieces;
  bool inPiece = false;
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (!quoted && (c == ' ' || c == '\t')) {
      inPiece = false;
      continue;
    }
    if (!inPiece) pieces.emplace_back();
    inPiece = true;
    if (c == '"') {
      quoted = !quoted;
    } else {
      pieces.back() += quoted && c == '\\' ? Unescape(line, &i) : c;
    }
  }
  return pieces;
}

std::vector<std::string> Split(std::string_view text, char end) {
  std::vector<std::string> pieces;
  while (!text.empty()) {
    const size_t size = std::min(text.find(end), text.size());
    pieces.emplace_back(text.substr(0, size));
    text.remove_prefix(std::min(size + 1, text.size()));
  }
  return pieces;
}

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines = Split(text, '\n');
  for (std::string& line : lines) {
    if (line.ends_with('\r')) line.pop_back();
  }
  return lines;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path) {
  const KernelHandle file = OpenFile(
      path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING);
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.Get(), &size)) return std::nullopt;
  std::string data(static_cast<size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  if (!ReadFile(file.Get(), data.data(), static_cast<DWORD>(data.size()), &read, nullptr)) {
    return std::nullopt;
  }
  data.resize(read);
  return data;
}

bool WriteWholeFile(const std::wstring& path, std::string_view data) {
  // Opened, not created anew: a file that others hold open keeps its identity.
  const KernelHandle file =
      OpenFile(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
  DWORD written = 0;
  return file &&
         WriteFile(file.Get(), data.data(), static_cast<DWORD>(data.size()), &written, nullptr) &&
         SetEndOfFile(file.Get());
}

std::wstring DirectoryOf(const std::wstring& path) {
  const size_t slash = path.rfind(L'\\');
  return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

}  // namespace lab
