// Registry values, profile sections and names as no connector writes them: each is read by the
// rules, and what is in order beside it is still worked on.
#include <optional>

#include "lab/common/registry_key.h"
#include "tests/proof/hostile.h"

namespace e2e {
namespace {

using lab::Bytes;
using lab::RawValue;

Bytes BytesOf(const std::wstring& text) {
  const auto* const first = reinterpret_cast<const uint8_t*>(text.data());
  return {first, first + 2 * text.size()};
}

// Any type and length; often a text with its terminator, without one, or with half a character.
RawValue AnyValue(proof::Random& random, const std::wstring& text) {
  RawValue value;
  value.type = random.Pick<uint32_t>({REG_BINARY, REG_BINARY, REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ,
                                      REG_DWORD, REG_NONE, REG_QWORD, 0x1234});
  switch (random.Below(6)) {
    case 0:
      value.data = random.Bytes(
          random.Pick<size_t>({0, 1, 2, 3, 4, 7, 8, 9, 255, 256, 4095, 4096, 4097, 65535, 65536}));
      return value;
    case 1:
      value.data = BytesOf(
          random.Text(random.Pick<size_t>({1, 127, 128, 259, 260, 261, 2047, 2048, 32767})));
      break;
    default:
      value.data = BytesOf(text);
  }
  if (!random.OneIn(3)) value.data.insert(value.data.end(), 2, 0);
  if (random.OneIn(8)) value.data.push_back(static_cast<uint8_t>(random.Below(256)));
  if (random.OneIn(8) && !value.data.empty()) value.data.pop_back();
  return value;
}

std::string ShownValue(const RawValue& value) {
  const size_t most = 200;
  const Bytes front(value.data.begin(), value.data.begin() + std::min(most, value.data.size()));
  return std::to_string(value.type) + ":" + std::to_string(value.data.size()) + ":" +
         lab::HexFromBytes(front);
}

// The whole characters up to the first terminator.
std::wstring TextIn(const RawValue& value) {
  std::wstring text;
  for (size_t i = 0; i + 1 < value.data.size(); i += 2) {
    const auto unit = static_cast<wchar_t>(value.data[i] | value.data[i + 1] << 8);
    if (!unit) break;
    text += unit;
  }
  return text;
}

// Registry values behind -scanQsf.

constexpr uint32_t kServiceName = 0x3D09001F;

class HostileRegistryTest : public HostileTest {
 protected:
  void TearDown() override {
    for (const wchar_t* name : {L"MSIComponentID", L"MSIApplicationLCID", L"MSIOfficeLCID"}) {
      MailClient().Remove(name);
    }
    lab::DeleteKeyTree(HKEY_LOCAL_MACHINE, kMailClient);
    HostileTest::TearDown();
  }

  static constexpr wchar_t kMailClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";

  static lab::RegistryKey MailClient() {
    return lab::RegistryKey::Create(HKEY_LOCAL_MACHINE, kMailClient);
  }

  // A section of a profile, and what its values give with and without "-m".
  static std::string AddSection(proof::Random& random, const std::wstring& profile,
                                uint8_t number) {
    lab::Uid uid = {};
    uid[0] = number;
    uid[15] = static_cast<uint8_t>(random.Below(256));
    const RawValue name = AnyValue(
        random,
        random.Pick<const wchar_t*>({L"LSMS", L"LSMS_Secondary", L"LSMS", L"LSMS_Embedded"}));
    const RawValue good = {
        REG_BINARY, BytesOf(std::wstring(random.OneIn(2) ? L"LSMS" : L"LSMS_Secondary") + L'\0')};
    const RawValue path = AnyValue(random, L"C:\\qsf\\" + random.AnyText(300) + L".qsf");
    const RawValue mark = {random.Pick<uint32_t>({REG_BINARY, REG_DWORD, REG_SZ}),
                           random.Bytes(random.Pick<size_t>({0, 1, 3, 4, 4, 4, 5, 8}))};
    const RawValue& service = random.OneIn(3) ? name : good;
    EXPECT_TRUE(lab::WriteRawValue(profile, uid, kServiceName, service));
    EXPECT_TRUE(lab::WriteRawValue(profile, uid, lab::kTagStorePath, path));
    if (!random.OneIn(3)) {
      EXPECT_TRUE(lab::WriteRawValue(profile, uid, lab::kTagCorruptionMark, mark));
    }
    return "\n  name " + ShownValue(service) + " path " + ShownValue(path) + " mark " +
           ShownValue(mark);
  }

  // The paths that the rules read from the profile, in the registry's order.
  static std::vector<std::wstring> ExpectedPaths(const std::wstring& profile, bool rootOnly,
                                                 bool markedOnly) {
    std::vector<std::wstring> paths;
    for (const lab::Uid& section : lab::ListSections(profile)) {
      const auto name = lab::ReadRawValue(profile, section, kServiceName);
      const auto path = lab::ReadRawValue(profile, section, lab::kTagStorePath);
      const auto mark = lab::ReadRawValue(profile, section, lab::kTagCorruptionMark);
      if (!name || name->type != REG_BINARY || !path) continue;
      const bool isRoot = name->data == BytesOf(std::wstring(L"LSMS") + L'\0');
      const bool isSecondary = name->data == BytesOf(std::wstring(L"LSMS_Secondary") + L'\0');
      if (!isRoot && (rootOnly || !isSecondary)) continue;
      if (markedOnly && (!mark || mark->data.size() < 4 || mark->data[3] < 0x80)) continue;
      if (!TextIn(*path).empty()) paths.push_back(TextIn(*path));
    }
    return paths;
  }

  HostileCase ScanCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const std::wstring profile = ProfileName(index);
    EXPECT_TRUE(lab::CreateProfile(profile));
    for (uint32_t i = 1 + random.Below(6); i > 0; --i)
      made.shown += AddSection(random, profile, static_cast<uint8_t>(i));
    const bool rootOnly = random.OneIn(4);
    const bool markedOnly = random.OneIn(3);
    made.arguments = {L"-scanQsf", L"-d", profile};
    if (rootOnly) made.arguments.push_back(L"-r");
    if (markedOnly) made.arguments.push_back(L"-m");
    const std::vector<std::wstring> paths = ExpectedPaths(profile, rootOnly, markedOnly);
    for (size_t i = 0; i < paths.size(); ++i) made.options.input += "n\n";
    std::string expected;
    for (const std::wstring& path : paths) {
      expected += proof::Printed(L"deleting " + path) +
                  proof::PrintedWhole(L"Are you sure you want to delete [" + path +
                                      L"] ([y]es/[n]o/[c]ancel)?") +
                  Text({"file delete done."});
    }
    if (paths.empty()) {
      expected = proof::Printed((markedOnly ? L"No .qsf files have been marked as corrupt with ["
                                            : L"No .qsf files associated with [") +
                                profile + L"] profile");
    }
    made.judge = [expected](const RunResult& result) {
      EXPECT_EQ(Visible(result.output), Visible(expected));
    };
    return made;
  }

  // What Outlook's registration says of its MAPI, which is only shown, and looked for.
  HostileCase MailClientCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    for (const wchar_t* name : {L"MSIComponentID", L"MSIApplicationLCID", L"MSIOfficeLCID"}) {
      const RawValue value = AnyValue(random, random.AnyText(300));
      MailClient().Write(name, value);
      made.shown += "\n  " + Utf8FromWide(name) + " " + ShownValue(value);
    }
    made.arguments = {L"-scanQsf", L"-v", L"-p", L"None" + std::to_wstring(index)};
    made.judge = [](const RunResult& result) {
      ExpectKnownLines(result);
      ExpectLast(result, "Exiting.");
    };
    return made;
  }

  // Where the database is.
  HostileCase LocationCase(proof::Random& random, uint32_t) const {
    HostileCase made;
    std::optional<std::string> unreadable;
    std::wstring texts[2];
    const wchar_t* const names[] = {lab::kBesServerValue, lab::kBesDatabaseValue};
    for (int i = 0; i < 2; ++i) {
      RawValue value = AnyValue(random, random.OneIn(2) ? L"SRV" : random.AnyText(300));
      if (random.OneIn(2)) value.type = REG_SZ;
      EXPECT_TRUE(lab::SetBesRegistryValue(names[i], value));
      made.shown += "\n  " + ShownValue(value);
      if (value.type != REG_SZ && !unreadable) unreadable = "0x80070490";
    }
    made.arguments = {L"-listAgents", L"-s", L"nobody", L"-v"};
    made.judge = [unreadable](const RunResult& result) {
      if (unreadable) {
        EXPECT_EQ(
            result.output,
            Text({"CBESDatabase::GetConnectionString: Unable to read BES Database properties : " +
                      *unreadable,
                  "CBESDatabase::Connect: GetConnectionString failed : " + *unreadable,
                  "CBESDatabase::GetServers: Connect failed : " + *unreadable,
                  "qrvAdminListAgents: GetServers failed : " + *unreadable, "Exiting."}));
      } else {
        EXPECT_TRUE(result.output.starts_with("Connection string=Provider=SQLOLEDB;Server="));
        // A name may end the line early, and then nothing can be said of the rest of it.
        if (result.output.find("\r\nqrvAdminListAgents: ") == std::string::npos) ADD_FAILURE();
        ExpectLast(result, "Exiting.");
      }
    };
    return made;
  }
};

TEST_P(HostileRegistryTest, PathsAreReadByTheRules) {
  RunCases("registry values", 480, 24,
           [this](proof::Random& random, uint32_t index) { return ScanCase(random, index); });
}

// These values are the machine's: one run at a time.
TEST_P(HostileRegistryTest, WhatIsSaidOfOutlookDoesNoHarm) {
  RunCases(
      "registry values", 120, 8,
      [this](proof::Random& random, uint32_t index) { return MailClientCase(random, index); }, 1);
}

TEST_P(HostileRegistryTest, WhatIsSaidOfTheDatabaseDoesNoHarm) {
  RunCases(
      "registry values", 120, 8,
      [this](proof::Random& random, uint32_t index) { return LocationCase(random, index); }, 1);
}

INSTANTIATE_TEST_SUITE_P(, HostileRegistryTest, ::testing::Range(0U, 4U), kByShare);

// Entry IDs and profile sections.

// The block of 68 bytes at the end of an embedded store's entry ID.
constexpr uint8_t kSignature[] = {0xBE, 0x4A, 0x31, 0x10, 0x2A, 0x0B, 0xDC, 0x46,
                                  0xB4, 0xB2, 0x49, 0x2A, 0xEB, 0xB3, 0x84, 0xCB};

class HostileStoreTest : public HostileTest {
 protected:
  static Bytes AnyEntryId(proof::Random& random) {
    Bytes id = random.Bytes(random.Pick<size_t>(
        {0, 1, 3, 4, 15, 16, 17, 67, 68, 69, 72, 84, 100, 140, 255, 1024, 4095, 4096}));
    for (uint32_t i = random.Below(3); i > 0 && id.size() >= 16; --i) {
      // Mostly where it makes the store an embedded one, or one byte beside that.
      const size_t room = id.size() - 16;
      size_t at = random.Below(static_cast<uint32_t>(room) + 1);
      if (random.OneIn(2) && id.size() >= 65) at = id.size() - 64 + random.Below(3) - 1;
      std::copy_n(kSignature, 16, id.begin() + static_cast<ptrdiff_t>(std::min(at, room)));
    }
    return id;
  }

  // The address that a store keeps, perhaps not as a text.
  static std::wstring AnyAddress(proof::Random& random) {
    return random.OneIn(3) ? random.AnyText(300) + L"@" + random.AnyText(100)
                           : random.AnyText(4096);
  }

  HostileCase MakeCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const lab::Profile profile(ProfileName(index));
    const std::wstring number = std::to_wstring(index);
    const auto addSane = [&](const std::wstring& name) {
      profile.AddSecondaryStore(name + number + L"@sane.org", StorePath(name + number + L".qsf"),
                                {.withFile = false});
    };
    addSane(L"first");
    for (uint32_t i = 0, count = 1 + random.Below(4); i < count; ++i) {
      lab::StoreOptions options;
      options.withFile = false;
      options.entryId = AnyEntryId(random);
      options.withEntryId = !random.OneIn(10);
      options.withPath = !random.OneIn(10);
      options.storedPath =
          random.OneIn(3) ? random.AnyText(4096) : StorePath(random.AnyText(40) + L".qsf");
      const std::wstring address = AnyAddress(random);
      made.shown += "\n  " + Hex(address) + " path " + Hex(*options.storedPath) + " id " +
                    lab::HexFromBytes(*options.entryId);
      lab::Service service = profile.AddSecondaryStore(address, StorePath(L"x.qsf"), options);
      made.shown += Spoil(random, profile.Name(), service);
    }
    // The last service's state is that of the whole load.
    addSane(L"last");
    made.arguments = {L"-findUsers", L"-v", L"-p", profile.Name(), L"-e", L"", L"@sane.org"};
    made.judge = [number = Utf8FromWide(number)](const RunResult& result) {
      ExpectKnownLines(result);
      ExpectLast(result, "Exiting.");
      for (const char* name : {"first", "last"}) {
        const std::string file = name + number;
        EXPECT_NE(result.output.find(Text({"Email: " + file + "@sane.org", "Type: QSF store",
                                           "QSF: " + file + ".qsf", "Embedded stores: none", " "})),
                  std::string::npos);
      }
    };
    return made;
  }

 private:
  // Gives a value of the service's section or of its provider's bytes that are none of its type.
  static std::string Spoil(proof::Random& random, const std::wstring& profile,
                           const lab::Service& service) {
    if (!random.OneIn(2)) return {};
    const bool isAddress = random.OneIn(2) || service.providers.empty();
    const lab::Uid& section = isAddress ? service.uid : service.providers[0].uid;
    const uint32_t tag = isAddress ? lab::kTagStoreAddress : lab::kTagStorePath;
    // A line end in it would make two lines of one.
    const RawValue value = {REG_BINARY, BytesOf(random.AnyText(4096))};
    EXPECT_TRUE(lab::WriteRawValue(profile, section, tag, value));
    return " spoiled " + ShownValue(value);
  }
};

TEST_P(HostileStoreTest, TheStoresBesideItAreFound) {
  RunCases("entry IDs and profile sections", 480, 24,
           [this](proof::Random& random, uint32_t index) { return MakeCase(random, index); });
}

INSTANTIATE_TEST_SUITE_P(, HostileStoreTest, ::testing::Range(0U, 4U), kByShare);

// Names.

class HostileNameTest : public HostileTest {
 protected:
  // In the order of their entry IDs, which is that in which they are added.
  HostileCase FindCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const lab::Profile profile(ProfileName(index));
    std::string expected;
    for (uint32_t i = 0, count = 1 + random.Below(4); i < count; ++i) {
      const std::wstring file = L"s" + std::to_wstring(i);
      std::wstring address = random.AnyText(1024);
      made.shown += " [" + Hex(address) + "]";
      profile.AddSecondaryStore(address, StorePath(file + L".qsf"), {.withFile = false});
      expected += proof::Printed(L"Email: " + lab::FoldAscii(address)) + Text({"Type: QSF store"}) +
                  proof::Printed(L"QSF: " + file + L".qsf") + Text({"Embedded stores: none", " "});
    }
    made.arguments = {L"-findUsers", L"-p", profile.Name(), L"-e", L""};
    made.judge = [expected](const RunResult& result) {
      EXPECT_EQ(Visible(result.output), Visible(expected));
    };
    return made;
  }

  // A profile by any name, which is not there or is.
  HostileCase ProfileCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    std::wstring name = random.AnyText(200);
    name.erase(std::remove(name.begin(), name.end(), L'\\'), name.end());
    name += L"~" + std::to_wstring(index);
    made.arguments = {L"-findUsers", L"-v", L"-p", name, L"-e", L""};
    made.shown = Shown(made.arguments);
    const bool exists = random.OneIn(2) && IsPlain(name);
    if (exists)
      lab::Profile(name).AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"),
                                           {.withFile = false});
    made.judge = [exists](const RunResult& result) {
      ExpectKnownLines(result);
      ExpectLast(result, "Exiting.");
      EXPECT_EQ(CountLines(result.output, "Email: ann@example.com"), exists ? 1 : 0);
    };
    return made;
  }

  // The address goes into the statement as it is, and one with a quote breaks its batch: nothing
  // else.
  HostileCase AssignCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const lab::Profile profile(ProfileName(index));
    for (uint32_t i = 0, count = 1 + random.Below(6); i < count; ++i) {
      const std::wstring address =
          random.AnyText(300) + std::to_wstring(index) + L"x" + std::to_wstring(i);
      made.shown += " [" + Hex(address) + "]";
      profile.AddSecondaryStore(address, StorePath(L"s" + std::to_wstring(i) + L".qsf"),
                                {.withFile = false});
    }
    made.arguments = {L"-assignAgents", L"-e", L"-v", L"-p", profile.Name()};
    made.judge = [](const RunResult& result) {
      ExpectKnownLines(result);
      const Strings lines = Lines(result.output);
      ASSERT_GE(lines.size(), 5U);
      EXPECT_EQ(lines[lines.size() - 1], "Exiting.");
      EXPECT_EQ(lines[lines.size() - 2], "Done");
      const std::string& outcome = lines[lines.size() - 3];
      EXPECT_TRUE(outcome.starts_with("Assigned ") ||
                  outcome.starts_with("AssignUsersToAgents: Failed to execute SQL : 0x"))
          << outcome;
    };
    return made;
  }

 private:
  // Whether the registry takes it for the name of a key, and MAPI for a profile's.
  static bool IsPlain(const std::wstring& name) {
    return std::all_of(name.begin(), name.end(),
                       [](wchar_t c) { return c > 0x20 && c < 0xD800 && c != L'*' && c != L'?'; });
  }
};

TEST_P(HostileNameTest, AnyAddressIsShown) {
  RunCases("names", 320, 16,
           [this](proof::Random& random, uint32_t index) { return FindCase(random, index); });
}
TEST_P(HostileNameTest, AnyProfileNameIsTakenAsItIs) {
  RunCases("names", 160, 8,
           [this](proof::Random& random, uint32_t index) { return ProfileCase(random, index); });
}
TEST_P(HostileNameTest, AnyAddressIsAssigned) {
  RunCases("names", 160, 8,
           [this](proof::Random& random, uint32_t index) { return AssignCase(random, index); });
}

INSTANTIATE_TEST_SUITE_P(, HostileNameTest, ::testing::Range(0U, 4U), kByShare);

}  // namespace
}  // namespace e2e
