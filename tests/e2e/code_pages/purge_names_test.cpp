// -purgeQsf and names of which the ANSI code page makes others: nothing goes for them, and nothing
// that is in use goes because of them.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/purge_lab_test.h"
#include "tests/e2e/support/named_case.h"

namespace e2e {
namespace {

// What the ANSI code page makes of a text.
std::wstring InAnsi(const std::wstring& text) {
  return lab::WideFromNarrow(lab::NarrowFromWide(text));
}

// As it is listed: what is behind the last backslash, one of the code page's making included.
std::string Listed(const std::wstring& name) {
  const std::wstring shown = lab::FoldAscii(InAnsi(name));
  return Utf8FromWide(shown.substr(shown.rfind(L'\\') + 1));
}

struct NameCase : NamedCase {
  const wchar_t* used;
  const wchar_t* unused;
};

class PurgeNameTest : public PurgeQsfTest, public ::testing::WithParamInterface<NameCase> {
 protected:
  // Files that nothing may touch: of the folder above, and of one inside.
  void PutOthers() {
    for (const std::wstring& path : Others()) Put(path);
  }
  std::vector<std::wstring> Others() const {
    const std::wstring inner = Folder(L"qsf\\inner");
    return {StorePath(L"old.qsf"), StorePath(L".qsf"), StorePath(L"ann.log"), inner + L"\\a.qsf",
            inner + L"\\.qsf"};
  }
  void ExpectOthersThere() const {
    for (const std::wstring& path : Others()) {
      EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES) << Utf8FromWide(path);
    }
  }
};

// The unused file goes where the code page holds its name, and stays where it does not.
TEST_P(PurgeNameTest, LeadsToNoOtherFile) {
  const std::wstring used = GetParam().used;
  const std::wstring unused = GetParam().unused;
  Use(In(used));
  PutOthers();
  PutIn({unused});
  const bool exact = InAnsi(unused) == unused;
  EXPECT_EQ(Purge("-f"), Unused(Listed(unused), exact ? Strings{Utf8FromWide(unused)} : Strings{}));
  Names left = {used};
  if (!exact) left.push_back(unused);
  std::sort(left.begin(), left.end());
  EXPECT_EQ(Left(), left);
  ExpectOthersThere();
}

INSTANTIATE_TEST_SUITE_P(
    Names, PurgeNameTest,
    ::testing::Values(NameCase{"LWithStroke", L"lukas.qsf", L"\u0142uk.qsf"},
                      NameCase{"AWithMacron", L"abc.qsf", L"\u0100b.qsf"},
                      NameCase{"Infinity", L"88.qsf", L"\u221e.qsf"},
                      NameCase{"ParentFolder", L"ann.qsf", L"..\uff3c.qsf"},
                      NameCase{"InnerFolder", L"ann.qsf", L"inner\uff3c.qsf"},
                      NameCase{"Yen", L"ann.qsf", L"inner\u00a5a.qsf"},
                      NameCase{"Wildcards", L"bes-old2.qsf", L"\uff1cold\uff1e.qsf"},
                      NameCase{"Quotes", L"bes.qsf", L"b\uff02.qsf"},
                      NameCase{"Star", L"bes.qsf", L"\uff0a.qsf"},
                      NameCase{"QuestionMarks", L"abc.qsf", L"\u0e01\u0e02\u0e03.qsf"},
                      NameCase{"SecondByteIsALetter", L"\u30c21.qsf", L"\u30a2.qsf"},
                      NameCase{"SecondByteIsABackslash", L"\u30bd1.qsf", L"\u8868\u30bd.qsf"}),
    kByName);

// A neighbour whose name only looks as if it began like that of the unused file.
TEST_F(PurgeNameTest, NeighboursAreTakenByTheirOwnNames) {
  Use(In(L"bes.qsf"));
  PutIn({L"luk.qsf", L"luk1.qsf", L"LUK.idx", L"\u0142uk.idx", L"luk\u0e01.idx"});
  const std::string output = Purge("-f");
  EXPECT_EQ(output.substr(0, output.find("Unused", 1)),
            Unused("luk.qsf", {"LUK.idx", "luk.qsf", "luk1.qsf"}));
  EXPECT_EQ(Left(), (Names{L"bes.qsf", L"luk\u0e01.idx", L"\u0142uk.idx"}));
}

// What a reader of bytes would make of a path, to whom the second byte of a character may look like
// a capital letter.
std::wstring FoldedByBytes(const std::wstring& path) {
  return lab::WideFromNarrow(lab::FoldAscii(lab::NarrowFromWide(path)));
}

TEST_F(PurgeNameTest, FoldersAndFilesKeepTheirLetters) {
  Strings expected;
  std::vector<std::wstring> others;
  for (const Name& name : LettersOfCodePage().hard) {
    const std::wstring folder = Folder(L"q" + name.written);
    Use(folder + L"\\used.qsf");
    Put(folder + L"\\" + name.written + L".QSF");
    expected.push_back(
        Unused(folder, Utf8FromWide(name.folded) + ".qsf", {Utf8FromWide(name.written) + ".QSF"}));
    const std::wstring other = FoldedByBytes(L"q" + name.written);
    if (other == lab::FoldAscii(L"q" + name.written)) continue;
    others.push_back(Folder(other) + L"\\old.qsf");
    Put(others.back());
  }
  EXPECT_EQ(SortedBlocks(Purge("-f")), Sorted(expected));
  EXPECT_EQ(others.empty(), GetACP() != 932);
  for (const std::wstring& path : others) {
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES) << Utf8FromWide(path);
  }
}

// The code page holds each of these in one script only; the file system takes both for one name.
struct LetterCase {
  unsigned codePage;
  const wchar_t* capital;
  const wchar_t* small;
};
constexpr LetterCase kLetters[] = {
    {1252, L"\u00c4", L"\u00e4"}, {1251, L"\u0416", L"\u0436"}, {932, L"\uff21", L"\uff41"}};

TEST_F(PurgeNameTest, CapitalsBeyondZAreTheSameFile) {
  const auto* const letters =
      std::find_if(std::begin(kLetters), std::end(kLetters),
                   [](const LetterCase& each) { return each.codePage == GetACP(); });
  ASSERT_NE(letters, std::end(kLetters));
  const std::wstring file = std::wstring(letters->small) + L"nn.qsf";
  PutIn({file, L"old.qsf"});
  Spell(In(std::wstring(letters->capital) + L"nn.qsf"));
  EXPECT_EQ(Purge("-f"), Unused("old.qsf", {"old.qsf"}));
  EXPECT_EQ(Left(), Names{file});
}

}  // namespace
}  // namespace e2e
