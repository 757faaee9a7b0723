// The C library's wide functions for a wchar_t of 2 bytes. They are hidden: the shared libraries
// keep those for their own.
#include "tests/fuzz/shim/wide.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define OURS __attribute__((visibility("hidden")))

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }
wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; }

// The characters up to the first that is not ASCII.
std::string AsciiPart(const wchar_t* text) {
  std::string ascii;
  for (; *text && *text < 0x80; ++text) ascii += static_cast<char>(*text);
  return ascii;
}

// The characters of a number in front of `text`, without the blanks before it.
std::string NumberPart(const wchar_t* text) {
  while (IsBlank(*text)) ++text;
  const wchar_t* end = text + (*text == L'-' || *text == L'+' ? 1 : 0);
  while (*end >= L'0' && *end <= L'9') ++end;
  return AsciiPart(std::wstring(text, end).c_str());
}

}  // namespace

extern "C" {

OURS size_t wcslen(const wchar_t* text) {
  size_t length = 0;
  while (text[length]) ++length;
  return length;
}

OURS int wmemcmp(const wchar_t* left, const wchar_t* right, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  }
  return 0;
}

OURS int wcscmp(const wchar_t* left, const wchar_t* right) {
  while (*left && *left == *right) ++left, ++right;
  return *left < *right ? -1 : *left > *right;
}

OURS wchar_t* wmemcpy(wchar_t* target, const wchar_t* source, size_t count) {
  return static_cast<wchar_t*>(std::memcpy(target, source, count * sizeof(wchar_t)));
}

OURS wchar_t* wmemmove(wchar_t* target, const wchar_t* source, size_t count) {
  return static_cast<wchar_t*>(std::memmove(target, source, count * sizeof(wchar_t)));
}

OURS wchar_t* wmemset(wchar_t* target, wchar_t value, size_t count) {
  for (size_t i = 0; i < count; ++i) target[i] = value;
  return target;
}

OURS long long wcstoll(const wchar_t* text, wchar_t** end, int base) {
  const std::string ascii = AsciiPart(text);
  char* stop = nullptr;
  const long long number = std::strtoll(ascii.c_str(), &stop, base);
  if (end) *end = const_cast<wchar_t*>(text) + (stop - ascii.c_str());
  return number;
}

OURS double wcstod(const wchar_t* text, wchar_t** end) {
  const std::string ascii = AsciiPart(text);
  char* stop = nullptr;
  const double number = std::strtod(ascii.c_str(), &stop);
  if (end) *end = const_cast<wchar_t*>(text) + (stop - ascii.c_str());
  return number;
}

OURS int vswprintf(wchar_t* target, size_t size, const wchar_t* format, va_list arguments) {
  char narrow[64];
  const int length = std::vsnprintf(narrow, sizeof(narrow), AsciiPart(format).c_str(), arguments);
  if (length < 0 || static_cast<size_t>(length) >= size) return -1;
  std::copy_n(narrow, length + 1, target);
  return length;
}

}  // extern "C"

// The C library's header declares it twice, by names of C++ with this label.
extern "C" OURS const wchar_t* FindWide(const wchar_t*, wchar_t, size_t) __asm__("wmemchr");
extern "C" const wchar_t* FindWide(const wchar_t* text, wchar_t wanted, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (text[i] == wanted) return text + i;
  }
  return nullptr;
}

// As Microsoft's: what is out of range is the nearest number.
int _wtoi(const wchar_t* text) {
  const long long number = std::strtoll(NumberPart(text).c_str(), nullptr, 10);
  return static_cast<int>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

int _wcsicmp(const wchar_t* left, const wchar_t* right) {
  while (*left && Lower(*left) == Lower(*right)) ++left, ++right;
  return Lower(*left) - Lower(*right);
}

int _snwscanf(const wchar_t* text, size_t length, const wchar_t* pattern, ...) {
  const std::wstring given(text, length);
  const wchar_t* rest = given.c_str();
  int read = 0;
  va_list arguments;
  va_start(arguments, pattern);
  for (; *pattern; ++pattern) {
    if (*pattern != L'%') {
      if (*rest++ != *pattern) break;
      continue;
    }
    ++pattern;
    while (IsBlank(*rest)) ++rest;
    const std::string number = NumberPart(rest);
    if (number.empty() || number.back() < '0') break;
    *va_arg(arguments, int*) = _wtoi(rest);
    rest += number.size();
    ++read;
  }
  va_end(arguments);
  return read;
}

int _snwprintf_s(wchar_t* target, size_t size, size_t, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = vswprintf(target, size, format, arguments);
  va_end(arguments);
  return length;
}
