// The formats of the console's lines, held against their arguments when the program is compiled.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <type_traits>

// What a conversion takes, and what an argument is.
enum class FormatKind { kWideText, kNarrowText, kInteger32, kInteger64, kOther };

// Of several faults the first.
enum class FormatFault { kNone, kConversion, kTooFewArguments, kTooManyArguments, kKind };

template <typename T, typename... Types>
constexpr bool kIsOneOf = (std::is_same_v<T, Types> || ...);

// Integers smaller than an int become one on their way to the formatter. A class is nothing that a
// format takes: a string gives its c_str().
template <typename T>
constexpr FormatKind FormatKindOf() {
  static_assert(sizeof(long) == sizeof(int));
  if constexpr (kIsOneOf<T, const wchar_t*, wchar_t*>) {
    return FormatKind::kWideText;
  } else if constexpr (kIsOneOf<T, const char*, char*>) {
    return FormatKind::kNarrowText;
  } else if constexpr (kIsOneOf<T, short, unsigned short, int, unsigned, long, unsigned long>) {
    return FormatKind::kInteger32;
  } else if constexpr (kIsOneOf<T, long long, unsigned long long>) {
    return FormatKind::kInteger64;
  } else {
    return FormatKind::kOther;
  }
}

// Takes a conversion, its percent sign already gone, from the front of `rest` and returns what it
// formats: kOther for one that no line uses. Flags and a width may stand in it, a precision not.
constexpr FormatKind TakeConversion(std::wstring_view& rest) {
  struct Conversion {
    std::wstring_view text;
    FormatKind kind;
  };
  constexpr Conversion kConversions[] = {
      {L"s", FormatKind::kWideText},    {L"ls", FormatKind::kWideText},
      {L"hs", FormatKind::kNarrowText}, {L"d", FormatKind::kInteger32},
      {L"x", FormatKind::kInteger32},   {L"I64d", FormatKind::kInteger64}};
  rest.remove_prefix(std::min(rest.find_first_not_of(L"-+ #0123456789"), rest.size()));
  for (const Conversion& conversion : kConversions) {
    if (!rest.starts_with(conversion.text)) continue;
    rest.remove_prefix(conversion.text.size());
    return conversion.kind;
  }
  return FormatKind::kOther;
}

// What is wrong with the format `rest` for arguments of these kinds.
constexpr FormatFault FaultOfFormat(std::wstring_view rest,
                                    std::initializer_list<FormatKind> arguments) {
  const FormatKind* argument = arguments.begin();
  for (size_t at = rest.find(L'%'); at != rest.npos; at = rest.find(L'%')) {
    rest.remove_prefix(at + 1);
    if (rest.starts_with(L'%')) {
      rest.remove_prefix(1);
      continue;
    }
    const FormatKind kind = TakeConversion(rest);
    if (kind == FormatKind::kOther) return FormatFault::kConversion;
    if (argument == arguments.end()) return FormatFault::kTooFewArguments;
    if (*argument++ != kind) return FormatFault::kKind;
  }
  return argument == arguments.end() ? FormatFault::kNone : FormatFault::kTooManyArguments;
}

// A constant text that becomes a LineFormat without the check, whatever the arguments.
struct UncheckedFormat {
  const wchar_t* text;
};

// A constant text with the conversions for arguments of these types, no more and no fewer. With
// another one the compiler stops at the line below that says what is wrong.
template <typename... Arguments>
class LineFormat {
 public:
  consteval LineFormat(const wchar_t* text) : text_(text) {
    switch (FaultOfFormat(text, {FormatKindOf<Arguments>()...})) {
      case FormatFault::kNone:
        break;
      case FormatFault::kConversion:
        throw "The format has a conversion that is none of %s %ls %hs %d %x %I64d %%";
      case FormatFault::kTooFewArguments:
        throw "The format has more conversions than there are arguments";
      case FormatFault::kTooManyArguments:
        throw "The format has fewer conversions than there are arguments";
      case FormatFault::kKind:
        throw "An argument is of another kind than its conversion; a string needs its c_str()";
    }
  }
  consteval LineFormat(UncheckedFormat format) : text_(format.text) {}

  constexpr const wchar_t* Text() const { return text_; }

 private:
  const wchar_t* text_;
};
