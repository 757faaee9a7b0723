#include "lab/common/text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace lab {
namespace {

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

template <class Char>
bool EqualFolded(std::basic_string_view<Char> left, std::basic_string_view<Char> right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](Char a, Char b) { return Fold(a) == Fold(b); });
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = Fold(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

struct Escape {
  char plain;
  char letter;
};
constexpr Escape kEscapes[] = {{'"', '"'}, {'\\', '\\'}, {'\r', 'r'}, {'\n', 'n'}, {'\t', 't'}};

void AppendEscaped(std::string* text, char c) {
  for (const Escape& escape : kEscapes) {
    if (escape.plain == c) {
      *text += '\\';
      *text += escape.letter;
      return;
    }
  }
  if (static_cast<unsigned char>(c) < 0x20) {
    *text += "\\x" + HexFromBytes(&c, 1);
  } else {
    *text += c;
  }
}

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
  for (const Escape& escape : kEscapes) {
    if (escape.letter == letter) return escape.plain;
  }
  return letter;
}

class FileHandle {
 public:
  FileHandle(const std::wstring& path, DWORD access, DWORD share, DWORD disposition)
      : handle_(CreateFileW(path.c_str(), access, share, nullptr, disposition,
                            FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle() {
    if (Valid()) CloseHandle(handle_);
  }
  bool Valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace

std::string Utf8FromWide(std::wstring_view text) { return ToMultiByte(CP_UTF8, text); }
std::wstring WideFromUtf8(std::string_view text) { return ToWide(CP_UTF8, text); }
std::string NarrowFromWide(std::wstring_view text) { return ToMultiByte(CP_ACP, text); }
std::wstring WideFromNarrow(std::string_view text) { return ToWide(CP_ACP, text); }

std::wstring FoldAscii(std::wstring_view text) { return FoldText(text); }
std::string FoldAscii(std::string_view text) { return FoldText(text); }
bool EqualsFolded(std::wstring_view left, std::wstring_view right) {
  return EqualFolded(left, right);
}
bool EqualsFolded(std::string_view left, std::string_view right) {
  return EqualFolded(left, right);
}

std::string HexFromBytes(const void* data, size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const auto* bytes = static_cast<const uint8_t*>(data);
  std::string result;
  result.reserve(size * 2);
  for (size_t i = 0; i < size; ++i) {
    result += kDigits[bytes[i] >> 4];
    result += kDigits[bytes[i] & 15];
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

std::optional<uint32_t> ParseNumber(std::string_view text) {
  const bool hex = text.size() > 2 && text[0] == '0' && Fold(text[1]) == 'x';
  if (hex) text.remove_prefix(2);
  if (text.empty()) return std::nullopt;
  uint64_t number = 0;
  for (char c : text) {
    const int digit = HexDigit(c);
    if (digit < 0 || (!hex && digit > 9)) return std::nullopt;
    number = number * (hex ? 16 : 10) + static_cast<unsigned>(digit);
    if (number > UINT32_MAX) return std::nullopt;
  }
  return static_cast<uint32_t>(number);
}

std::string Quote(std::string_view text) {
  std::string result = "\"";
  for (char c : text) AppendEscaped(&result, c);
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

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path) {
  FileHandle file(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  OPEN_EXISTING);
  LARGE_INTEGER size{};
  if (!file.Valid() || !GetFileSizeEx(file.Get(), &size)) return std::nullopt;
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
  FileHandle file(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
  DWORD written = 0;
  return file.Valid() &&
         WriteFile(file.Get(), data.data(), static_cast<DWORD>(data.size()), &written, nullptr) &&
         SetEndOfFile(file.Get());
}

std::wstring DirectoryOf(const std::wstring& path) {
  const size_t slash = path.rfind(L'\\');
  return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

}  // namespace lab
