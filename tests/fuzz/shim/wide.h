// Included ahead of everything in the native build of the fuzz targets, where wchar_t has the 2
// bytes that it has on Windows (-fshort-wchar) and the C library's wide functions, which count in
// 4, do not serve: wide.cpp has those that the sources and the standard library's headers call.
#pragma once

#include <cstddef>
// Defined by the first header of the library: whether its own instances of the templates serve,
// which have wide characters of 4 bytes.
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

int _wtoi(const wchar_t* text);
int _wcsicmp(const wchar_t* left, const wchar_t* right);
// Of a pattern's numbers, %d, and its plain characters.
int _snwscanf(const wchar_t* text, size_t length, const wchar_t* pattern, ...);
// Of the formats that std::to_wstring has, and of %x.
int _snwprintf_s(wchar_t* target, size_t size, size_t count, const wchar_t* format, ...);
inline constexpr size_t _TRUNCATE = static_cast<size_t>(-1);

// A long has 8 bytes here, which that header refuses. No line takes one: LONG is an int here.
#define static_assert(...)
#include "src/console/console_format.h"
#undef static_assert
