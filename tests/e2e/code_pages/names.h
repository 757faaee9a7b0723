// Names in the letters of the ANSI code page under which a test runs.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace e2e {

// A name as somebody wrote it, and the same with a to z in place of A to Z and nothing else
// changed.
struct Name {
  std::wstring written;
  std::wstring folded;
};

struct Letters {
  std::wstring word;       // small letters
  Name capitals;           // of the script and of A to Z
  std::vector<Name> hard;  // their bytes are easily taken for something else
};

// A word that none of the code pages has, and what a program gets to read that asks for bytes.
inline constexpr wchar_t kLacking[] = L"\ud55c\uae00";
inline constexpr wchar_t kLackingShown[] = L"??";

// Bytes that are a capital letter's or a small one's, or no letter's, in neighbouring code pages.
inline Letters WesternLetters() {
  return {L"m\u00fcller",
          {L"M\u00dcLLER.K", L"m\u00dcller.k"},
          {{L"\u00c0Z\u00df", L"\u00c0z\u00df"}, {L"\u00ffA\u017d", L"\u00ffa\u017d"}}};
}

inline Letters CyrillicLetters() {
  return {L"\u0438\u0432\u0430\u043d",
          {L"\u0418\u0412\u0410\u041d.K", L"\u0418\u0412\u0410\u041d.k"},
          {{L"\u0403Z\u042f", L"\u0403z\u042f"}, {L"\u044fA", L"\u044fa"}}};
}

// Characters of two bytes. The second one is a backslash in the first two lines, then A and a bar,
// then @ and a. Behind them capital letters beside characters of one byte, a backslash's, and those
// whose second byte begins a character elsewhere.
inline Letters JapaneseLetters() {
  return {L"\u30bd\u8868",
          {L"\u30a2\u0411\uff2b.K", L"\u30a2\u0411\uff2b.k"},
          {{L"\u30bd", L"\u30bd"},
           {L"\u8868", L"\u8868"},
           {L"\u30a2\u30dd", L"\u30a2\u30dd"},
           {L"\u30a1\u30c2", L"\u30a1\u30c2"},
           {L"\u30bdABC", L"\u30bdabc"},
           {L"\uff71A", L"\uff71a"},
           {L"\uff41Z", L"\uff41z"},
           {L"Z\uff41", L"z\uff41"}}};
}

inline Letters LettersOfCodePage() {
  switch (GetACP()) {
    case 1251:
      return CyrillicLetters();
    case 932:
      return JapaneseLetters();
    default:
      return WesternLetters();
  }
}

}  // namespace e2e
