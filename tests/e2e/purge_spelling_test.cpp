// -purgeQsf and names that are more than one: a store in use keeps its file however its profile
// spells the path, a short name leads to no other file, and what goes is what was listed.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lab/common/files.h"
#include "src/platform/handle.h"
#include "tests/e2e/purge_lab_test.h"
#include "tests/e2e/support/named_case.h"

namespace e2e {
namespace {

using PurgeSpellingTest = PurgeQsfTest;

std::wstring ShortNameOf(const std::wstring& path) {
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = FindFirstFileW(path.c_str(), &entry);
  if (search != INVALID_HANDLE_VALUE) FindClose(search);
  return entry.cAlternateFileName;
}

// The same path from the root of the machine below Wine, which has a drive of its own; empty
// elsewhere.
std::wstring OnAnotherDrive(const std::wstring& path) {
  using GetUnixFileName = char*(__cdecl*)(const wchar_t*);
  const auto getUnixFileName = reinterpret_cast<GetUnixFileName>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name"));
  char* const name = getUnixFileName ? getUnixFileName(path.c_str()) : nullptr;
  if (!name) return {};
  std::wstring other = L"Z:" + WideFromUtf8(name);
  HeapFree(GetProcessHeap(), 0, name);
  for (wchar_t& c : other) {
    if (c == L'/') c = L'\\';
  }
  return other;
}

// Spellings of a used file's path. `%` stands for the folder, `~` for the file's short name.

struct SpellingCase : NamedCase {
  const wchar_t* stored;
  const wchar_t* file;
};

class PurgeUsedSpellingTest : public PurgeSpellingTest,
                              public ::testing::WithParamInterface<SpellingCase> {
 protected:
  std::wstring Stored() const {
    std::wstring stored;
    for (const wchar_t c : std::wstring(GetParam().stored)) {
      if (c == L'%') {
        stored += Folder();
      } else if (c == L'~') {
        stored += ShortNameOf(In(GetParam().file));
      } else {
        stored += c;
      }
    }
    return stored;
  }
};

TEST_P(PurgeUsedSpellingTest, IsInUse) {
  Folder(L"qsf\\sub");
  PutIn({GetParam().file, L"old.qsf"});
  Use(In(L"bes.qsf"));
  Spell(Stored());
  Strings listed;
  for (const std::string& line : Lines(Purge("-f"))) {
    if (line.starts_with("Unused") || line.starts_with(kDeleting)) listed.push_back(line);
  }
  // Once, although the folder may be searched a second time, under the other spelling.
  ASSERT_EQ(listed.size(), 2U);
  EXPECT_EQ(listed[0], "Unused Qsf: 'old.qsf'");
  EXPECT_TRUE(listed[1].ends_with("\\old.qsf")) << listed[1];
  Names expected = {L"bes.qsf", GetParam().file};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(Left(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Spellings, PurgeUsedSpellingTest,
    ::testing::Values(SpellingCase{"DotFolder", L"%\\.\\ann.qsf", L"ann.qsf"},
                      SpellingCase{"ThereAndBack", L"%\\sub\\..\\ann.qsf", L"ann.qsf"},
                      SpellingCase{"DoubledBackslash", L"%\\\\ann.qsf", L"ann.qsf"},
                      SpellingCase{"Slash", L"%/ann.qsf", L"ann.qsf"},
                      SpellingCase{"BlankAtTheEnd", L"%\\ann.qsf ", L"ann.qsf"},
                      SpellingCase{"DotAtTheEnd", L"%\\ann.qsf.", L"ann.qsf"},
                      SpellingCase{"Capital", L"%\\\u00c4nn.qsf", L"\u00e4nn.qsf"},
                      SpellingCase{"SmallLetter", L"%\\\u00e4nn.qsf", L"\u00c4nn.qsf"},
                      SpellingCase{"ShortName", L"%\\~", L"ann marie smith.qsf"},
                      SpellingCase{"ShortNameOfAnother", L"%\\~", L"\u0142uk.qsf"},
                      SpellingCase{"Verbatim", L"\\\\?\\%\\ann.qsf", L"ann.qsf"}),
    kByName);

TEST_F(PurgeSpellingTest, AnotherDriveIsTheSameFile) {
  const std::wstring other = OnAnotherDrive(In(L"ann.qsf"));
  if (other.empty()) GTEST_SKIP() << "there is no second drive";
  PutIn({L"ann.qsf"});
  Use(In(L"bes.qsf"));
  Spell(other, L"Second");
  EXPECT_EQ(CountLines(Purge("-f"), kNothingUnused), 2);
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"bes.qsf"}));
}

TEST_F(PurgeSpellingTest, AnotherNameOfAUsedFileIsInUse) {
  Use(In(L"ann.qsf"));
  ASSERT_TRUE(CreateHardLinkW(In(L"link.qsf").c_str(), In(L"ann.qsf").c_str(), nullptr));
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"link.qsf"}));
}

TEST_F(PurgeSpellingTest, AFileThatIsHeldExclusivelyIsRecognised) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  Spell(Folder() + L"\\.\\ann.qsf");
  const platform::KernelHandle held = platform::TakeFileHandle(
      CreateFileW(In(L"ann.qsf").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(held);
  EXPECT_EQ(CountLines(Purge("-f"), kNothingUnused), 2);
}

TEST_F(PurgeSpellingTest, AUsedFileThatIsNotThereMakesNoOtherUsed) {
  Use(In(L"bes.qsf"));
  Spell(Folder() + L"\\.\\gone.qsf");
  PutIn({L"ann.qsf"});
  // The folder's second search finds nothing any more.
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ann.qsf"}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
}

// The code page makes "luk" of both names, and only one profile can be opened under it.
TEST_F(PurgeSpellingTest, ProfilesWhoseNamesAreMadeAlikeEndTheCommand) {
  UseIn(L"LUK", In(L"ann.qsf"));
  UseIn(L"\u0142uk", In(L"bob.qsf"));
  PutIn({L"old.qsf"});
  EXPECT_EQ(Purge("-f"), Text({"PurgeQsf: storeManager LoadCache failed : 0x8004010f"}));
  EXPECT_EQ(Left().size(), 3U);
}

// Short names.

TEST_F(PurgeSpellingTest, ARenamedCopyIsNoStoreFile) {
  Use(In(L"ann.qsf"));
  PutIn({L"ann.qsf_old", L"ann.qsf~", L"ann.qsfx", L"anna.log"});
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
  EXPECT_EQ(Left().size(), 5U);
}

TEST_F(PurgeSpellingTest, AShortNameDoesNotBelongToAStem) {
  Use(In(L"j.doe.qsf"));
  const std::wstring shortName = ShortNameOf(In(L"j.doe.qsf"));
  ASSERT_FALSE(shortName.empty());
  // "JD" where the short name is JDOE~1.QSF.
  const std::wstring stem = lab::FoldAscii(shortName.substr(0, 3));
  PutIn({stem + L".qsf"});
  const std::string name = Utf8FromWide(stem) + ".qsf";
  EXPECT_EQ(Purge("-f"), Unused(name, {name}));
  EXPECT_EQ(Left(), Names{L"j.doe.qsf"});
}

// What goes is what was listed.

TEST_F(PurgeSpellingTest, ADotOrABlankAtANamesEndIsPartOfIt) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"ann.x"});
  const Names names = {L"ann.x.", L"ann.x ", L"ann.y."};
  for (const std::wstring& name : names) Put(L"\\\\?\\" + In(name));
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ann.qsf", "ann.x", "ann.x ", "ann.x.", "ann.y."}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
  // What removes the test's folder could not name those that a fault leaves.
  for (const std::wstring& name : names) DeleteFileW((L"\\\\?\\" + In(name)).c_str());
}

TEST_F(PurgeSpellingTest, ADotAtAStemsEndIsPartOfIt) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann", L"ann..qsf", L"ann.x"});
  EXPECT_EQ(Purge("-f"), Unused("ann..qsf", {"ann..qsf", "ann.x"}));
  EXPECT_EQ(Left(), (Names{L"ann", L"bes.qsf"}));
}

TEST_F(PurgeSpellingTest, ANameThatIsADeviceIsAFileInItsFolder) {
  Use(In(L"bes.qsf"));
  Put(L"\\\\?\\" + In(L"con.qsf"));
  EXPECT_EQ(Purge("-f"), Unused("con.qsf", {"con.qsf"}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
}

// On a foreign file system names may hold what a path takes for something else.
TEST_F(PurgeSpellingTest, ANameThatNoPathCanGiveStays) {
  const std::wstring folder = OnAnotherDrive(Folder());
  if (folder.empty()) GTEST_SKIP() << "there is no foreign file system";
  const std::wstring foreign = L"\\\\?\\unix" + folder.substr(2) + L"\\";
  Use(In(L"bes.qsf"));
  PutIn({L"bo.qsf"});
  const Names names = {L"<old>.qsf", L"b*.qsf", L"bo?.idx"};
  for (const std::wstring& name : names) Put(foreign + name);
  EXPECT_EQ(SortedBlocks(Purge("-f")),
            Sorted({Unused("<old>.qsf", {}), Unused("b*.qsf", {}), Unused("bo.qsf", {"bo.qsf"})}));
  EXPECT_EQ(Left(), (Names{names[0], names[1], L"bes.qsf", names[2]}));
  // What removes the test's folder cannot name them either.
  for (const std::wstring& name : names) EXPECT_TRUE(DeleteFileW((foreign + name).c_str()));
}

}  // namespace
}  // namespace e2e
