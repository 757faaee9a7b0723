// Which store files of a profile the scan command finds in the registry: the profile's place, the
// connector's sections, their marks and paths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/profile_registry.h"
#include "lab/common/registry_key.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"

namespace e2e {
namespace {

using lab::Bytes;
using lab::RawValue;
using lab::RegistryKey;

constexpr wchar_t kOldProfiles[] =
    L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles";
constexpr wchar_t kOffice[] = L"Software\\Microsoft\\Office";
constexpr wchar_t kCurVer[] = L"Outlook.Application\\CurVer";

// A text as MAPI keeps it: binary, with its terminator.
RawValue MapiText(std::wstring_view text) { return lab::TextValue(text, REG_BINARY); }

RawValue WithoutLastBytes(RawValue value, size_t count) {
  value.data.resize(value.data.size() - count);
  return value;
}

RawValue WithBytes(RawValue value, const Bytes& bytes) {
  value.data.insert(value.data.end(), bytes.begin(), bytes.end());
  return value;
}

class QsfPathsTest : public ScanLabTest {
 protected:
  void TearDown() override {
    lab::DeleteKeyTree(HKEY_CURRENT_USER, kOffice);
    lab::DeleteKeyTree(HKEY_CURRENT_USER, kOldProfiles);
    ScanLabTest::TearDown();
  }

  static std::wstring ProfileKey(const std::wstring& profiles = kOldProfiles) {
    return profiles + L"\\Main";
  }

  // Writes a value of a section of the profile "Main".
  static void Write(const std::wstring& section, const wchar_t* name, const RawValue& value,
                    const std::wstring& profiles = kOldProfiles) {
    const RegistryKey key =
        RegistryKey::Create(HKEY_CURRENT_USER, ProfileKey(profiles) + L'\\' + section);
    ASSERT_TRUE(key.Write(name, value));
  }

  // A section with a service's name and the path of a store that is the section's name.
  static void AddSection(const std::wstring& section, const RawValue& service,
                         const std::wstring& profiles = kOldProfiles) {
    Write(section, L"001f3d09", service, profiles);
    Write(section, L"001f6700", MapiText(section), profiles);
  }

  static void SetCurVer(const RawValue& value) {
    ASSERT_TRUE(RegistryKey::Create(HKEY_CLASSES_ROOT, kCurVer).Write(L"", value));
  }

  // What a run prints that finds these paths: each is asked for and answered with a no.
  static std::string Found(const Strings& paths) {
    Strings lines;
    for (const std::string& path : paths) {
      lines =
          lines + Strings{"deleting " + path,
                          "Are you sure you want to delete [" + path + "] ([y]es/[n]o/[c]ancel)?",
                          "file delete done."};
    }
    return Text(lines);
  }
  static std::string NoneFound() { return Text({"No .qsf files associated with [Main] profile"}); }
  static std::string NoneMarked() {
    return Text({"No .qsf files have been marked as corrupt with [Main] profile"});
  }

  std::string Find(const Words& words) { return Run(words, {.input = std::string(100, 'n')}); }
  std::string FindAll() { return Find("-scanQsf -d Main"); }
  std::string FindRoot() { return Find("-scanQsf -d Main -r"); }
  std::string FindMarked() { return Find("-scanQsf -d Main -m"); }
};

// The profile's place.

struct VersionCase : NamedCase {
  RawValue curVer;
  std::string profiles;
};

class OutlookVersionTest : public QsfPathsTest,
                           public ::testing::WithParamInterface<VersionCase> {};

TEST_P(OutlookVersionTest, DecidesWhereTheProfileLies) {
  SetCurVer(GetParam().curVer);
  const Strings lines = Lines(Find("-scanQsf -v -p Main"));
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(Strings(lines.end() - 3, lines.end()),
            Strings({"getQsfPaths. opening key " + GetParam().profiles +
                         "\\Main returned error 0x00000002",
                     "No .qsf files associated with [Main] profile", "Exiting."}));
}

const char kOld[] =
    "Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles";

RawValue Sz(std::wstring_view text) { return lab::TextValue(text, REG_SZ); }

INSTANTIATE_TEST_SUITE_P(
    Versions, OutlookVersionTest,
    ::testing::Values(
        VersionCase{"Eleven", Sz(L"Outlook.Application.11"), kOld},
        VersionCase{"Fourteen", Sz(L"Outlook.Application.14"), kOld},
        VersionCase{"FourteenPointNine", Sz(L"Outlook.Application.14.9"), kOld},
        VersionCase{"Fifteen", Sz(L"Outlook.Application.15"),
                    "Software\\Microsoft\\Office\\15.0\\Outlook\\Profiles"},
        VersionCase{"Sixteen", Sz(L"OUTLOOK.APPLICATION.16"),
                    "Software\\Microsoft\\Office\\16.0\\Outlook\\Profiles"},
        VersionCase{"SixteenPointZero", Sz(L"outlook.application.16.0"),
                    "Software\\Microsoft\\Office\\16.0\\Outlook\\Profiles"},
        VersionCase{"FifteenPointOne", Sz(L"OUTLOOK.APPLICATION.15.1"),
                    "Software\\Microsoft\\Office\\15.1\\Outlook\\Profiles"},
        VersionCase{"ThreeNumbers", Sz(L"Outlook.Application.16.2.7"),
                    "Software\\Microsoft\\Office\\16.2\\Outlook\\Profiles"},
        VersionCase{"EightBits", Sz(L"Outlook.Application.271.258"),
                    "Software\\Microsoft\\Office\\15.2\\Outlook\\Profiles"},
        VersionCase{"EightBitsOfAnOldOne", Sz(L"Outlook.Application.256"), kOld},
        VersionCase{"NoNumber", Sz(L"Outlook.Application.new"), kOld},
        VersionCase{"NothingBehindTheStop", Sz(L"Outlook.Application."), kOld},
        VersionCase{"NoStop", Sz(L"Outlook.Application"), kOld},
        VersionCase{"OtherProgram", Sz(L"Word.Application.16"), kOld},
        VersionCase{"NumberAlone", Sz(L"16"), kOld}, VersionCase{"Empty", Sz(L""), kOld},
        VersionCase{"ExpandedText", lab::TextValue(L"Outlook.Application.16", REG_EXPAND_SZ), kOld},
        VersionCase{"Binary", lab::TextValue(L"Outlook.Application.16", REG_BINARY), kOld},
        VersionCase{"SeveralTexts", lab::TextValue(L"Outlook.Application.16", REG_MULTI_SZ), kOld},
        VersionCase{"Number", RawValue{REG_DWORD, {16, 0, 0, 0}}, kOld}),
    kByName);

TEST_F(QsfPathsTest, WithoutOutlookTheOldPlaceIsLookedAt) {
  AddSection(L"a", MapiText(L"LSMS"));
  EXPECT_EQ(FindAll(), Found({"a"}));
}

TEST_F(QsfPathsTest, AVersionKeyWithoutAValueIsNoVersion) {
  ASSERT_TRUE(RegistryKey::Create(HKEY_CLASSES_ROOT, kCurVer).Open());
  AddSection(L"a", MapiText(L"LSMS"));
  EXPECT_EQ(FindAll(), Found({"a"}));
}

TEST_F(QsfPathsTest, EachVersionHasItsOwnProfiles) {
  AddSection(L"old", MapiText(L"LSMS"));
  AddSection(L"new", MapiText(L"LSMS"), std::wstring(kOffice) + L"\\16.0\\Outlook\\Profiles");
  AddSection(L"odd", MapiText(L"LSMS"), std::wstring(kOffice) + L"\\15.1\\Outlook\\Profiles");
  EXPECT_EQ(FindAll(), Found({"old"}));
  SetCurVer(Sz(L"Outlook.Application.16"));
  EXPECT_EQ(FindAll(), Found({"new"}));
  SetCurVer(Sz(L"Outlook.Application.15.1"));
  EXPECT_EQ(FindAll(), Found({"odd"}));
  SetCurVer(Sz(L"Outlook.Application.15"));
  EXPECT_EQ(FindAll(), NoneFound());
}

TEST_F(QsfPathsTest, AProfileOfTheMapiInterfacesIsFound) {
  ASSERT_TRUE(lab::WriteOutlookVersion(lab::OutlookVersion{16, 0}));
  const std::string file = Utf8FromWide(Add(L"ann").Path());
  EXPECT_EQ(FindAll(), Found({file}));
  EXPECT_TRUE(profile_.Delete());
}

TEST_F(QsfPathsTest, AMissingProfileIsSilentUnlessVerbose) {
  AddSection(L"a", MapiText(L"LSMS"));
  EXPECT_EQ(Find("-scanQsf -d Mai"), Text({"No .qsf files associated with [Mai] profile"}));
}

TEST_F(QsfPathsTest, AProfileIsFoundInAnyCase) {
  AddSection(L"a", MapiText(L"LSMS"));
  EXPECT_EQ(Find("-scanQsf -d MAIN"), Found({"a"}));
}

// The connector's sections.

struct ServiceCase : NamedCase {
  RawValue value;
};

class OtherServiceTest : public QsfPathsTest, public ::testing::WithParamInterface<ServiceCase> {};

TEST_P(OtherServiceTest, IsPassedOver) {
  AddSection(L"a", GetParam().value);
  AddSection(L"b", MapiText(L"LSMS_Secondary"));
  EXPECT_EQ(FindAll(), Found({"b"}));
  EXPECT_EQ(FindRoot(), NoneFound());
}

INSTANTIATE_TEST_SUITE_P(
    Services, OtherServiceTest,
    ::testing::Values(
        ServiceCase{"Embedded", MapiText(L"LSMS_Embedded")},
        ServiceCase{"Mail", MapiText(L"MSEMS")}, ServiceCase{"Empty", MapiText(L"")},
        ServiceCase{"LowerCase", MapiText(L"lsms")},
        ServiceCase{"LowerCaseSecondary", MapiText(L"LSMS_secondary")},
        ServiceCase{"BeginsAlike", MapiText(L"LSMS2")},
        ServiceCase{"OneLetterLess", MapiText(L"LSM")},
        ServiceCase{"Text", lab::TextValue(L"LSMS", REG_SZ)},
        ServiceCase{"ExpandedText", lab::TextValue(L"LSMS", REG_EXPAND_SZ)},
        ServiceCase{"TextSecondary", lab::TextValue(L"LSMS_Secondary", REG_SZ)},
        ServiceCase{"NoType", lab::TextValue(L"LSMS", REG_NONE)},
        ServiceCase{"NoTerminator", WithoutLastBytes(MapiText(L"LSMS"), 2)},
        ServiceCase{"HalfATerminator", WithoutLastBytes(MapiText(L"LSMS"), 1)},
        ServiceCase{"SecondaryNoTerminator", WithoutLastBytes(MapiText(L"LSMS_Secondary"), 2)},
        ServiceCase{"TwoTerminators", WithBytes(MapiText(L"LSMS"), {0, 0})},
        ServiceCase{"MoreBehindTheTerminator", WithBytes(MapiText(L"LSMS"), {'x', 0, 0, 0})},
        ServiceCase{"OtherTerminator", WithBytes(WithoutLastBytes(MapiText(L"LSMS"), 2), {'x', 0})},
        ServiceCase{"Narrow", RawValue{REG_BINARY, {'L', 'S', 'M', 'S', 0}}},
        ServiceCase{"NoBytes", RawValue{REG_BINARY, {}}}),
    kByName);

TEST_F(QsfPathsTest, ASectionWithoutAServiceIsPassedOver) {
  Write(L"a", L"001f6700", MapiText(L"a"));
  Write(L"b", L"001e3d09", MapiText(L"LSMS"));
  AddSection(L"c", MapiText(L"LSMS"));
  EXPECT_EQ(FindAll(), Found({"c"}));
}

TEST_F(QsfPathsTest, RootAndSecondaryStoresAreFound) {
  AddSection(L"a", MapiText(L"LSMS_Secondary"));
  AddSection(L"b", MapiText(L"LSMS"));
  AddSection(L"c", MapiText(L"LSMS_Secondary"));
  EXPECT_EQ(FindAll(), Found({"a", "b", "c"}));
}

TEST_F(QsfPathsTest, RootOnlyLeavesTheSecondaryStoresOut) {
  AddSection(L"a", MapiText(L"LSMS_Secondary"));
  AddSection(L"b", MapiText(L"LSMS"));
  AddSection(L"c", MapiText(L"LSMS_Embedded"));
  EXPECT_EQ(FindRoot(), Found({"b"}));
}

TEST_F(QsfPathsTest, SeveralRootStoresAreFoundInTheRegistrysOrder) {
  for (const wchar_t* section : {L"3", L"1", L"c", L"20", L"B", L"a"}) {
    AddSection(section, MapiText(L"LSMS"));
  }
  Strings order;
  for (const std::wstring& name :
       RegistryKey::OpenExisting(HKEY_CURRENT_USER, ProfileKey()).SubkeyNames()) {
    order.push_back(Utf8FromWide(name));
  }
  ASSERT_EQ(order.size(), 6U);
  EXPECT_EQ(FindRoot(), Found(order));
  EXPECT_EQ(FindAll(), Found(order));
}

// Whoever makes the buffer for a section's name too short loses the longest.
TEST_F(QsfPathsTest, SectionsOfAnyNameLengthAreFound) {
  const std::vector<std::wstring> names = {L"0", std::wstring(32, L'1'), std::wstring(200, L'2'),
                                           L"3", std::wstring(200, L'4')};
  Strings paths;
  for (const std::wstring& name : names) {
    AddSection(name, MapiText(L"LSMS"));
    paths.push_back(Utf8FromWide(name));
  }
  EXPECT_EQ(FindAll(), Found(paths));
}

TEST_F(QsfPathsTest, AKeyWithinASectionIsNoSection) {
  AddSection(L"a", MapiText(L"MSEMS"));
  AddSection(L"a\\b", MapiText(L"LSMS"));
  EXPECT_EQ(FindAll(), NoneFound());
}

TEST_F(QsfPathsTest, AProfileOfManyStoresIsFoundWhole) {
  Strings paths;
  for (int number = 100; number < 150; ++number) {
    const std::wstring name = std::to_wstring(number);
    AddSection(name, MapiText(L"LSMS_Secondary"));
    paths.push_back(Utf8FromWide(name));
  }
  EXPECT_EQ(FindAll(), Found(paths));
}

// Paths.

struct PathCase : NamedCase {
  RawValue value;
  std::string path;
};

class StorePathTest : public QsfPathsTest, public ::testing::WithParamInterface<PathCase> {};

TEST_P(StorePathTest, IsTakenUpToItsTerminator) {
  Write(L"a", L"001f3d09", MapiText(L"LSMS"));
  Write(L"a", L"001f6700", GetParam().value);
  EXPECT_EQ(FindAll(), GetParam().path.empty() ? NoneFound() : Found({GetParam().path}));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, StorePathTest,
    ::testing::Values(
        PathCase{"AsStored", MapiText(L"C:\\QSF Files\\Ann.QSF"), "C:\\QSF Files\\Ann.QSF"},
        PathCase{"Text", lab::TextValue(L"C:\\a.qsf", REG_SZ), "C:\\a.qsf"},
        PathCase{"ExpandedTextAsItIs", lab::TextValue(L"%TEMP%\\a.qsf", REG_EXPAND_SZ),
                 "%TEMP%\\a.qsf"},
        PathCase{"NoType", lab::TextValue(L"C:\\a.qsf", REG_NONE), "C:\\a.qsf"},
        PathCase{"NoTerminator", WithoutLastBytes(MapiText(L"C:\\a.qsf"), 2), "C:\\a.qsf"},
        PathCase{"MoreBehindTheTerminator", WithBytes(MapiText(L"C:\\a.qsf"), {'x', 0, 0, 0}),
                 "C:\\a.qsf"},
        PathCase{"AnyLetters", MapiText(L"C:\\\u4e2d\u00fc.qsf"), "C:\\\xE4\xB8\xAD\xC3\xBC.qsf"},
        PathCase{"NoQsf", MapiText(L"readme.txt"), "readme.txt"},
        PathCase{"Empty", MapiText(L""), ""}, PathCase{"NoBytes", RawValue{REG_BINARY, {}}, ""},
        PathCase{"ZeroFirst", WithBytes(MapiText(L""), {'a', 0, 0, 0}), ""}),
    kByName);

TEST_F(QsfPathsTest, ASectionWithoutAPathIsPassedOver) {
  Write(L"a", L"001f3d09", MapiText(L"LSMS"));
  AddSection(L"b", MapiText(L"LSMS"));
  EXPECT_EQ(FindAll(), Found({"b"}));
}

TEST_F(QsfPathsTest, AFileOfTwoSectionsIsFoundTwice) {
  for (const wchar_t* section : {L"a", L"b"}) {
    Write(section, L"001f3d09", MapiText(L"LSMS"));
    Write(section, L"001f6700", MapiText(L"x.qsf"));
  }
  EXPECT_EQ(FindAll(), Found({"x.qsf", "x.qsf"}));
}

// Marks.

struct MarkCase : NamedCase {
  RawValue value;
  bool marked;
};

class CorruptionMarkTest : public QsfPathsTest, public ::testing::WithParamInterface<MarkCase> {};

TEST_P(CorruptionMarkTest, CountsWhenItIsNegative) {
  AddSection(L"a", MapiText(L"LSMS_Secondary"));
  Write(L"a", L"00036689", GetParam().value);
  EXPECT_EQ(FindMarked(), GetParam().marked ? Found({"a"}) : NoneMarked());
  EXPECT_EQ(FindAll(), Found({"a"}));
}

INSTANTIATE_TEST_SUITE_P(
    Marks, CorruptionMarkTest,
    ::testing::Values(
        MarkCase{"TopBitAlone", RawValue{REG_BINARY, {0, 0, 0, 0x80}}, true},
        MarkCase{"MinusOne", RawValue{REG_BINARY, {0xFF, 0xFF, 0xFF, 0xFF}}, true},
        MarkCase{"OfAnyType", RawValue{REG_DWORD, {1, 0, 0, 0x80}}, true},
        MarkCase{"One", RawValue{REG_BINARY, {1, 0, 0, 0}}, false},
        MarkCase{"Zero", RawValue{REG_BINARY, {0, 0, 0, 0}}, false},
        MarkCase{"Greatest", RawValue{REG_BINARY, {0xFF, 0xFF, 0xFF, 0x7F}}, false},
        MarkCase{"TopBitOfTheFirstByte", RawValue{REG_BINARY, {0x80, 0, 0, 0}}, false},
        MarkCase{"NoBytes", RawValue{REG_BINARY, {}}, false},
        MarkCase{"OneByte", RawValue{REG_BINARY, {0xFF}}, false},
        MarkCase{"TwoBytes", RawValue{REG_BINARY, {0xFF, 0xFF}}, false},
        MarkCase{"ThreeBytes", RawValue{REG_BINARY, {0xFF, 0xFF, 0xFF}}, false},
        MarkCase{"FiveBytes", RawValue{REG_BINARY, {0, 0, 0, 0x80, 0}}, true},
        MarkCase{"EightBytes", RawValue{REG_BINARY, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}}, true},
        MarkCase{"EightBytesTopBitLast", RawValue{REG_BINARY, {0, 0, 0, 0, 0, 0, 0, 0x80}}, false}),
    kByName);

TEST_F(QsfPathsTest, AStoreWithoutAMarkIsNotMarked) {
  AddSection(L"a", MapiText(L"LSMS"));
  EXPECT_EQ(FindMarked(), NoneMarked());
}

TEST_F(QsfPathsTest, MarkedRootStoresOnlyWithBothSwitches) {
  for (const wchar_t* section : {L"a", L"b", L"c", L"d"}) {
    const bool root = section[0] <= L'b';
    AddSection(section, MapiText(root ? L"LSMS" : L"LSMS_Secondary"));
    if (section[0] == L'b' || section[0] == L'd') {
      Write(section, L"00036689", RawValue{REG_BINARY, {0, 0, 0, 0x80}});
    }
  }
  EXPECT_EQ(FindMarked(), Found({"b", "d"}));
  EXPECT_EQ(FindRoot(), Found({"a", "b"}));
  EXPECT_EQ(Find("-scanQsf -r -m -d Main"), Found({"b"}));
}

// No search is in the values alone: a mark of another service's section means nothing.
TEST_F(QsfPathsTest, AMarkedEmbeddedStoreIsNotFound) {
  AddSection(L"a", MapiText(L"LSMS_Embedded"));
  Write(L"a", L"00036689", RawValue{REG_BINARY, {0, 0, 0, 0x80}});
  EXPECT_EQ(FindMarked(), NoneMarked());
}

TEST_F(QsfPathsTest, WhatIsFoundIsScannedToo) {
  const std::wstring file = Add(L"ann").Path();
  const std::wstring other = Add(L"bob").Path();
  const lab::Uid service = profile_.Find(L"ann@example.com")->uid;
  ASSERT_TRUE(profile_.Mark(service, 0xFFFFFFFF));
  EXPECT_EQ(Run("-scanQsf -m -p Main"),
            Text({"scanning " + Utf8FromWide(file), "file scan done."}));
  EXPECT_EQ(lab::RepairTexts(Journal()), Strings({Utf8FromWide(file)}));
}

}  // namespace
}  // namespace e2e
