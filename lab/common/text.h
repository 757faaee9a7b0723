// Text and bytes: what the lab's files and journal are written in.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

using Bytes = std::vector<uint8_t>;

// UTF-16 <-> UTF-8. Broken sequences become U+FFFD; nothing throws but std::bad_alloc.
std::string Utf8FromWide(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

// Between UTF-16 and the process's ANSI code page; a character that the code page lacks becomes
// '?'.
std::string NarrowFromWide(std::wstring_view text);
std::wstring WideFromNarrow(std::string_view text);

// Folds A to Z and leaves every other character as it is, which is how addresses are compared.
std::wstring FoldAscii(std::wstring_view text);
std::string FoldAscii(std::string_view text);
bool EqualsFolded(std::wstring_view left, std::wstring_view right);
bool EqualsFolded(std::string_view left, std::string_view right);
bool ContainsFolded(std::wstring_view text, std::wstring_view piece);

// A value that has a name, in tables of such.
template <class Type>
struct NamedValue {
  Type value;
  const char* name;
};

// The value of that name, in any case of A to Z; none when there is no such name.
template <class Type, size_t kCount>
std::optional<Type> ValueNamed(const NamedValue<Type> (&names)[kCount], std::string_view name) {
  for (const NamedValue<Type>& known : names) {
    if (EqualsFolded(name, known.name)) return known.value;
  }
  return std::nullopt;
}

// The name of the value; null when it has none.
template <class Type, size_t kCount, class Value>
const char* NameOf(const NamedValue<Type> (&names)[kCount], const Value& value) {
  for (const NamedValue<Type>& known : names) {
    if (value == known.value) return known.name;
  }
  return nullptr;
}

// Lower-case hexadecimal digits, two for each byte.
std::string HexFromBytes(const void* data, size_t size);
std::string HexFromBytes(const Bytes& bytes);
// The reverse; none when `text` has an odd length or a character that is no hexadecimal digit.
std::optional<Bytes> BytesFromHex(std::string_view text);

// "0x1f": as many digits as there must be, or the eight of an HRESULT.
std::string HexNumber(uint64_t number);
std::string HexResult(uint32_t result);

// An unsigned number, decimal or hexadecimal with "0x"; none when `text` is anything else.
template <class Number = uint32_t>
std::optional<Number> ParseNumber(std::string_view text) {
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  if (hex) text.remove_prefix(2);
  Number number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number, hex ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

// `text` in double quotes with \" \\ \r \n \t escaped, and \xNN for other control characters.
std::string Quote(std::string_view text);

// Cuts `line` at blanks; a double-quoted stretch, which may follow "name=", is one piece with its
// escapes resolved and without the quotes.
std::vector<std::string> SplitQuoted(std::string_view line);

// The pieces of `text` that each end at `end`, without it; behind the last one it may lack.
std::vector<std::string> Split(std::string_view text, char end);
// The lines of `text` without their ends (LF or CR LF).
std::vector<std::string> SplitLines(std::string_view text);

// The whole file, which may be open elsewhere; none when it cannot be opened.
std::optional<std::string> ReadWholeFile(const std::wstring& path);
// Replaces or creates the file; false (GetLastError tells) when that fails.
bool WriteWholeFile(const std::wstring& path, std::string_view data);

// The part before the last backslash, without it; empty when there is none.
std::wstring DirectoryOf(const std::wstring& path);

}  // namespace lab
