// What the program reads from a profile and in which way, seen through -findUsers: its listing of
// every store, the profile afterwards, and the journal of its calls.
#include <gtest/gtest.h>
#include <windows.h>

#include <mapidefs.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/installation.h"
#include "lab/common/profile_registry.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr uint32_t kNotFound = 0x8004010F;
constexpr uint32_t kNoAccess = 0x80070005;

// The listing's entries.
std::string QsfStore(const std::string& email, const std::string& file,
                     const std::string& embedded = "none") {
  return Text(
      {"Email: " + email, "Type: QSF store", "QSF: " + file, "Embedded stores: " + embedded, " "});
}

std::string EmbeddedStore(const std::string& email, const std::string& parent,
                          const std::string& parentFile) {
  return Text({"Email: " + email, "Type: Embedded store", "Parent store: " + parent,
               "Parent QSF: " + parentFile, " "});
}

std::string OrphanStore(const std::string& email) {
  return Text({"Email: " + email, "Type: Embedded store",
               "Serious error: *** Parent store not found for '" + email + "' ***", " "});
}

std::string LoadFailed(const std::string& result) {
  return Text({"FindUsers: storeManager LoadCache failed : " + result});
}

std::string Hex(const lab::Uid& uid) { return lab::UidText(uid); }

class LoadCacheTest : public LabTest {
 protected:
  // Lists the stores whose address contains `fragment`, all of them by default.
  std::string ListStores(const std::wstring& fragment = L"") {
    return Run({L"-findUsers", L"-p", profile_.Name(), L"-e", fragment});
  }

  // What a cache holds that was loaded this many times: support/cache_client.cpp.
  std::string CachedStores(int loads = 1) {
    return Run({profile_.Name(), std::to_wstring(loads)},
               {.program = LabBinaries() / L"cache_client.exe"});
  }

  bool InProfile(const lab::Service& service) const {
    return profile_.Get(service.uid).has_value();
  }
};

// Which services are taken.

TEST_F(LoadCacheTest, AProfileWithoutServicesIsEmptyAndNoFailure) {
  ASSERT_TRUE(profile_.Create());
  EXPECT_EQ(ListStores(), "");
}

TEST_F(LoadCacheTest, OtherServicesAreNotEvenOpened) {
  Add(L"ann", {.serviceName = L"MSUPST MS"});
  Add(L"bob", {.serviceName = L"CONTAB"});
  Add(L"cid", {.withServiceName = false});
  EXPECT_EQ(ListStores(), "");
  EXPECT_TRUE(Calls("IMsgServiceAdmin::OpenProfileSection").empty());
}

TEST_F(LoadCacheTest, ServiceNamesMatchInAnyLetterCase) {
  AddRoot({.serviceName = L"lsms"});
  const lab::Service ann = Add(L"ann", {.serviceName = L"lsms_SECONDARY"});
  AddEmbedded(L"bob", ann, {.serviceName = L"Lsms_embedded"});
  EXPECT_EQ(ListStores(), QsfStore("bes@example.com", "bes.qsf") +
                              QsfStore("ann@example.com", "ann.qsf", "bob@example.com") +
                              EmbeddedStore("bob@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, ServiceNamesMatchOnlyWhole) {
  Add(L"ann");
  for (const wchar_t* name : {L"LSMS_SecondaryX", L"XLSMS_Secondary", L"LSMS_Second", L"LSMS_",
                              L"SMS", L"LSMS_Embedded2", L"LSMS Secondary", L"LSMS_Secondary "}) {
    Add(L"other", {.serviceName = name});
  }
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, OnlyTheNamedProfileIsRead) {
  Add(L"ann");
  lab::Profile(L"Other").AddSecondaryStore(L"bob@example.com", StorePath(L"bob.qsf"));
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, AProfileThatDoesNotExistIsAFailure) {
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f"}) +
                              LoadFailed("0x8004010f"));
}

TEST_F(LoadCacheTest, TheProfileNameIsPassedAsWideText) {
  const lab::Profile profile(L"\u00dcber \u4e2d");
  profile.AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"));
  EXPECT_EQ(Run({L"-findUsers", L"-p", profile.Name(), L"-e", L""}),
            QsfStore("ann@example.com", "ann.qsf"));
}

// The calls.

// The journal without what gives memory back, each call with the arguments that matter.
Strings CallTexts(const std::vector<lab::JournalEntry>& journal) {
  Strings texts;
  for (const lab::JournalEntry& entry : journal) {
    if (entry.call == "MAPIFreeBuffer" || entry.call == "FreeProws") continue;
    std::string text = entry.call;
    for (const auto& [name, value] : entry.arguments) {
      const bool isFree = entry.call == "IMAPITable::Restrict" && name == "flags";
      if (name != "rows" && !isFree) text.append(" ").append(name).append("=").append(value);
    }
    texts.push_back(std::move(text));
  }
  return texts;
}

std::string OpenSection(const std::string& kind, const lab::Uid& uid) {
  return "IMsgServiceAdmin::OpenProfileSection on=" + kind + " uid=" + Hex(uid) +
         " iid=NULL flags=0x80001";
}

// The calls for one service, up to its provider's properties.
Strings ServiceCalls(const lab::Service& service, const std::string& addressTag) {
  const lab::Uid& provider = service.Store()->uid;
  return {OpenSection("ServiceSection", service.uid),
          "HrGetOneProp on=ServiceSection tag=" + addressTag,
          "IMsgServiceAdmin::AdminProviders uid=" + Hex(service.uid) + " flags=0x0",
          "IProviderAdmin::GetProviderTable flags=0x0",
          "IMAPITable::Restrict on=ProviderTable restriction=property(3E030003,4,0x21)",
          "HrQueryAllRows on=ProviderTable columns=300C0102 restriction=NULL order=NULL most=0",
          OpenSection("ProviderSection", provider),
          "IProfSect::GetProps on=ProviderSection section=" + Hex(provider) +
              " tags=0FFF0102,6700001E flags=0x0"};
}

TEST_F(LoadCacheTest, MakesTheseCallsInThisOrder) {
  const lab::Service root = AddRoot();
  const lab::Service ann = Add(L"ann");
  const lab::Service bob = AddEmbedded(L"bob", ann);
  const lab::Service cid = AddOrphan(L"cid");
  ListStores();

  const Strings begin = {
      "MAPIInitialize flags=0x0",
      "MAPIAdminProfiles flags=0x0",
      "IProfAdmin::AdminServices profile=Main password=NULL parent=0x0 flags=0x80000000",
      "IMsgServiceAdmin::GetMsgServiceTable flags=0x0",
      "IMAPITable::Restrict on=MsgServiceTable "
      "restriction=or(content(3D09001E,0x10000,\"LSMS_Secondary\"),"
      "content(3D09001E,0x10000,\"LSMS_Embedded\"),content(3D09001E,0x10000,\"LSMS\"))",
      "HrQueryAllRows on=MsgServiceTable columns=3D0C0102,3D09001E restriction=NULL order=NULL "
      "most=0"};
  const Strings parentOfBob = {OpenSection("ProviderSection", ann.Store()->uid),
                               "HrGetOneProp on=ProviderSection tag=0xfff0102"};
  const Strings end = {OpenSection("OtherSection", *lab::ParentProviderOfEntryId(cid.EntryId())),
                       "HrGetOneProp on=OtherSection tag=0xfff0102",
                       "IMsgServiceAdmin::DeleteMsgService uid=" + Hex(cid.uid),
                       "MAPIUninitialize"};
  EXPECT_EQ(CallTexts(Journal()), begin + ServiceCalls(root, "0x6646001f") +
                                      ServiceCalls(ann, "0x6650001f") +
                                      ServiceCalls(bob, "0x6650001f") + parentOfBob +
                                      ServiceCalls(cid, "0x6650001f") + end);
}

// Addresses and paths.

TEST_F(LoadCacheTest, TheServicesNameDecidesWhichPropertyIsTheAddress) {
  // Each has the address property of the other kind only.
  Add(L"ann", {.serviceName = L"LSMS"});
  profile_.AddRootStore(L"bob@example.com", StorePath(L"bob.qsf"),
                        {.serviceName = L"LSMS_Secondary"});
  Add(L"cid");
  EXPECT_EQ(ListStores(), QsfStore("cid@example.com", "cid.qsf"));
}

TEST_F(LoadCacheTest, AddressesAreLowerCasedFromAToZOnly) {
  profile_.AddSecondaryStore(L"@ABCDEFGHIJKLMNOPQRSTUVWXYZ[`{\u00c4\u00dd\u0130\u0416\u2160\uff21",
                             StorePath(L"ann.qsf"));
  EXPECT_EQ(ListStores(), QsfStore("@abcdefghijklmnopqrstuvwxyz[`{\u00c4\u00dd\u0130\u0416\u2160"
                                   "\uff21",
                                   "ann.qsf"));
}

TEST_F(LoadCacheTest, TheRootsAddressIsLowerCasedToo) {
  profile_.AddRootStore(L"BES@Example.COM", FileOf(L"bes"));
  EXPECT_EQ(ListStores(), QsfStore("bes@example.com", "bes.qsf"));
}

TEST_F(LoadCacheTest, PathsAreLowerCasedFromAToZOnly) {
  Add(L"ann", {.storedPath = L"C:\\QSF\\@ABCDEFGHIJKLMNOPQRSTUVWXYZ[`{.QSF"});
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "@abcdefghijklmnopqrstuvwxyz[`{.qsf"));
}

TEST_F(LoadCacheTest, OtherBytesOfAPathKeepTheirCase) {
  if (GetACP() != 1252)
    GTEST_SKIP() << "the code page lacks these characters or has them elsewhere";
  Add(L"ann", {.storedPath = L"C:\\QSF\\\u00c4\u00c0\u00de\u00e4.QSF"});
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "\u00c4\u00c0\u00de\u00e4.qsf"));
}

// The order of the stores, and two with one entry ID.

TEST_F(LoadCacheTest, StoresComeInTheOrderOfTheirEntryIdsBytes) {
  const std::vector<std::pair<std::wstring, lab::Bytes>> backwards = {
      {L"i", {0xFF, 0x00}}, {L"h", {0xFF}},       {L"g", {0x80, 0x00}},
      {L"f", {0x80}},       {L"e", {0x7F, 0xFF}}, {L"d", {0x7F, 0x00}},
      {L"c", {0x7F}},       {L"b", {0x00, 0xFF}}, {L"a", {0x00}}};
  std::string expected;
  for (const auto& [name, entryId] : backwards) {
    Add(name, {.entryId = entryId});
    const std::string narrow = Utf8FromWide(name);
    expected.insert(0, QsfStore(narrow + "@example.com", narrow + ".qsf"));
  }
  EXPECT_EQ(ListStores(), expected);
}

TEST_F(LoadCacheTest, AnEmptyEntryIdIsAnEntryId) {
  Add(L"ann", {.entryId = lab::Bytes{0x00}});
  Add(L"bob", {.entryId = lab::Bytes{}});
  EXPECT_EQ(ListStores(),
            QsfStore("bob@example.com", "bob.qsf") + QsfStore("ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, OfTwoServicesWithOneEntryIdTheFirstStays) {
  Add(L"ann", {.entryId = lab::Bytes{0x01, 0x02}});
  const lab::Service second = Add(L"bob", {.entryId = lab::Bytes{0x01, 0x02}});
  AddEmbedded(L"cid", second);
  EXPECT_EQ(ListStores(), EmbeddedStore("cid@example.com", "ann@example.com", "ann.qsf") +
                              QsfStore("ann@example.com", "ann.qsf", "cid@example.com"));
}

TEST_F(LoadCacheTest, ASkippedServiceDoesNotTakeItsEntryId) {
  Add(L"ann", {.withPath = false, .entryId = lab::Bytes{0x01}});
  Add(L"bob", {.entryId = lab::Bytes{0x01}});
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'ann@example.com' : 0x8004010f"}) +
                              QsfStore("bob@example.com", "bob.qsf"));
}

// Providers.

TEST_F(LoadCacheTest, OnlyTheFirstStoreProviderCounts) {
  const lab::Service ann = Add(L"ann", {.extraProviders = 2});
  for (const size_t index : {1, 2}) {
    const lab::Uid& uid = ann.providers[index].uid;
    ASSERT_TRUE(lab::WriteText(profile_.Name(), uid, lab::kTagStorePath, L"C:\\second.qsf"));
  }
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf"));
  EXPECT_EQ(Calls("IProfSect::GetProps").size(), 1U);
}

TEST_F(LoadCacheTest, AProviderOfAnotherKindIsPassedOver) {
  Add(L"ann", {.otherProviderFirst = true});
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf"));
}

// Which stores are embedded ones.

// Bytes that are no part of the signature, with the signature at `offsets`.
lab::Bytes EntryIdWithSignatureAt(const std::vector<size_t>& offsets, size_t size) {
  lab::Bytes bytes(size, 0x11);
  for (const size_t offset : offsets) {
    for (size_t i = 0; i < lab::kEmbeddedStoreSignature.size() && offset + i < size; ++i) {
      bytes[offset + i] = lab::kEmbeddedStoreSignature[i];
    }
  }
  return bytes;
}

struct EntryIdCase : NamedCase {
  std::vector<size_t> signatures;
  size_t size;
  // Where the parent's provider UID is to be found; none when the store is no embedded one.
  std::optional<size_t> parentUid;
};

class LoadCacheEmbeddedTest : public LoadCacheTest,
                              public ::testing::WithParamInterface<EntryIdCase> {};

TEST_P(LoadCacheEmbeddedTest, IsToldByTheSignaturesPlace) {
  const EntryIdCase& given = GetParam();
  const lab::Service ann = Add(L"ann");
  lab::Bytes entryId = EntryIdWithSignatureAt(given.signatures, given.size);
  if (given.parentUid) {
    const lab::Uid& uid = ann.Store()->uid;
    ASSERT_LE(*given.parentUid + uid.size(), entryId.size());
    std::copy(uid.begin(), uid.end(), entryId.begin() + static_cast<ptrdiff_t>(*given.parentUid));
  }
  Add(L"cid", {.entryId = entryId});
  EXPECT_EQ(ListStores(L"cid"), given.parentUid
                                    ? EmbeddedStore("cid@example.com", "ann@example.com", "ann.qsf")
                                    : QsfStore("cid@example.com", "cid.qsf"));
}

// From four bytes before the signature to the end there must be 68 bytes.
INSTANTIATE_TEST_SUITE_P(
    EntryIds, LoadCacheEmbeddedTest,
    ::testing::Values(
        EntryIdCase{"AtOffset0", {0}, 64, {}}, EntryIdCase{"AtOffset1", {1}, 65, {}},
        EntryIdCase{"AtOffset2", {2}, 66, {}}, EntryIdCase{"AtOffset3", {3}, 67, {}},
        EntryIdCase{"AtOffset4", {4}, 68, {}}, EntryIdCase{"AtOffset5", {5}, 69, 37},
        EntryIdCase{"AtOffset6", {6}, 70, 38}, EntryIdCase{"AtOffset7", {7}, 71, 39},
        EntryIdCase{"AtOffset8", {8}, 72, 40}, EntryIdCase{"AtOffset36", {36}, 100, 68},
        EntryIdCase{"AtOffset200", {200}, 264, 232}, EntryIdCase{"AtOffset0Of68", {0}, 68, {}},
        EntryIdCase{"AtOffset3Of68", {3}, 68, {}}, EntryIdCase{"SixtySevenBytes", {36}, 99, {}},
        EntryIdCase{"SixtyNineBytes", {36}, 101, {}}, EntryIdCase{"SixtySevenInAll", {5}, 67, {}},
        EntryIdCase{"SixtyEightInAll", {5}, 68, {}},
        EntryIdCase{"ValidBehindOneAtTheStart", {0, 36}, 100, {}},
        EntryIdCase{"ValidBehindOneAtOffset4", {4, 36}, 100, {}},
        EntryIdCase{"ValidBehindOneWithTooMuchBehind", {6, 36}, 100, {}},
        EntryIdCase{"AnotherBehindAValidOne", {36, 52}, 100, 68},
        EntryIdCase{"TheSignatureAlone", {0}, 16, {}}, EntryIdCase{"Fifteen", {0}, 15, {}},
        EntryIdCase{"TwentyWithACutSignature", {5}, 20, {}}, EntryIdCase{"OneByte", {}, 1, {}},
        EntryIdCase{"None", {}, 100, {}}),
    kByName);

TEST_F(LoadCacheTest, OneWrongByteInTheSignatureMakesAFileStore) {
  lab::Bytes entryId = EntryIdWithSignatureAt({36}, 100);
  entryId[51] ^= 0x01;
  Add(L"cid", {.entryId = entryId});
  EXPECT_EQ(ListStores(), QsfStore("cid@example.com", "cid.qsf"));
}

TEST_F(LoadCacheTest, TheServicesNameDoesNotMakeAStoreEmbedded) {
  const lab::Uid uid = Add(L"ann").Store()->uid;
  Add(L"bob", {.serviceName = L"LSMS_Embedded"});
  Add(L"cid", {.entryId = lab::EmbeddedStoreEntryId(3, uid, uid)});
  AddRoot({.entryId = lab::EmbeddedStoreEntryId(4, uid, uid)});
  EXPECT_EQ(ListStores(),
            QsfStore("ann@example.com", "ann.qsf", "cid@example.com,bes@example.com") +
                QsfStore("bob@example.com", "bob.qsf") +
                EmbeddedStore("cid@example.com", "ann@example.com", "ann.qsf") +
                EmbeddedStore("bes@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, AnEmbeddedStoreHasNoPathEvenIfTheProfileHoldsOne) {
  const lab::Service bob = AddEmbedded(L"bob", Add(L"ann"), {.storedPath = L"C:\\qsf\\bob.qsf"});
  AddEmbedded(L"cid", bob);
  EXPECT_EQ(ListStores(L"cid"), EmbeddedStore("cid@example.com", "bob@example.com", ""));
}

// Services that are skipped with a message.

TEST_F(LoadCacheTest, AFileStoreWithoutPathIsReportedAndSkipped) {
  Add(L"ANN@Example.com", {.withPath = false});
  Add(L"bob");
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'ann@example.com' : 0x8004010f"}) +
                              QsfStore("bob@example.com", "bob.qsf"));
}

TEST_F(LoadCacheTest, AStoreWithoutEntryIdIsReportedAndSkipped) {
  Add(L"ANN@Example.com", {.withEntryId = false});
  Add(L"bob");
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'ann@example.com' : 0x8004010f"}) +
                              QsfStore("bob@example.com", "bob.qsf"));
}

TEST_F(LoadCacheTest, OfAStoreWithNeitherTheEntryIdIsReported) {
  Add(L"ann", {.withEntryId = false, .withPath = false});
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'ann@example.com' : 0x8004010f"}));
}

TEST_F(LoadCacheTest, TheReportShowsTheErrorHeldInTheValue) {
  Add(L"ann");
  Add(L"bob");
  Faults().FailNth("ProviderSection.Prop.6700001E", 1, 0x80040301);
  Faults().FailNth("ProviderSection.Prop.0FFF0102", 2, 0x80040302);
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'ann@example.com' : 0x80040301",
                                "CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'bob@example.com' : 0x80040302"}));
}

// Services that are skipped without one, and what is left of them when they come last.

struct SkipCase : NamedCase {
  // Adds the service of "ann", or has its calls fail: its provider is the nth in the table.
  void (*add)(const lab::Profile& profile, const std::wstring& path, lab::FaultPlan& faults,
              uint32_t nth);
  // What the load comes back with when nothing follows; empty for success.
  const char* status;
};

constexpr wchar_t kAnn[] = L"ann@example.com";

void AddWithoutAddress(const lab::Profile& profile, const std::wstring& path, lab::FaultPlan&,
                       uint32_t) {
  profile.AddSecondaryStore(kAnn, path, {.withAddress = false});
}

void AddWithUnreadableAddress(const lab::Profile& profile, const std::wstring& path,
                              lab::FaultPlan& faults, uint32_t nth) {
  profile.AddSecondaryStore(kAnn, path);
  faults.FailNth("HrGetOneProp@ServiceSection", nth, kNoAccess);
}

void AddRootWithoutAddress(const lab::Profile& profile, const std::wstring& path, lab::FaultPlan&,
                           uint32_t) {
  profile.AddRootStore(kAnn, path, {.withAddress = false});
}

void AddWithoutProvider(const lab::Profile& profile, const std::wstring& path, lab::FaultPlan&,
                        uint32_t) {
  profile.AddSecondaryStore(kAnn, path, {.withProvider = false});
}

void AddWithTransportOnly(const lab::Profile& profile, const std::wstring& path, lab::FaultPlan&,
                          uint32_t) {
  const lab::Service ann = profile.AddSecondaryStore(kAnn, path);
  lab::WriteLong(profile.Name(), ann.Store()->uid, PR_RESOURCE_TYPE, MAPI_TRANSPORT_PROVIDER);
}

void AddWithUnreadableProperties(const lab::Profile& profile, const std::wstring& path,
                                 lab::FaultPlan& faults, uint32_t nth) {
  profile.AddSecondaryStore(kAnn, path);
  faults.FailNth("IProfSect::GetProps", nth, kNoAccess);
}

void AddWithEmptyParentSection(const lab::Profile& profile, const std::wstring&, lab::FaultPlan&,
                               uint32_t) {
  profile.AddEmbeddedStore(kAnn, lab::Service(), {.parentProviderUid = lab::Uid{0x77}});
}

class LoadCacheSkipTest : public LoadCacheTest, public ::testing::WithParamInterface<SkipCase> {
 protected:
  void AddSkipped(uint32_t nth) { GetParam().add(profile_, StorePath(L"ann.qsf"), Faults(), nth); }
};

TEST_P(LoadCacheSkipTest, LeavesNoTraceWhenAnotherFollows) {
  AddSkipped(1);
  Add(L"bob");
  EXPECT_EQ(ListStores(), QsfStore("bob@example.com", "bob.qsf"));
}

TEST_P(LoadCacheSkipTest, GivesTheLoadItsStatusWhenItIsTheLast) {
  Add(L"bob");
  AddSkipped(2);
  const std::string status = GetParam().status;
  EXPECT_EQ(ListStores(),
            status.empty() ? QsfStore("bob@example.com", "bob.qsf") : LoadFailed(status));
}

TEST_P(LoadCacheSkipTest, KeepsTheLinkingFromRunningWhenItFailedLast) {
  const lab::Service orphan = AddOrphan(L"cid");
  AddSkipped(2);
  const std::string status = GetParam().status;
  EXPECT_EQ(ListStores(), status.empty()
                              ? OrphanDeleted("cid@example.com") + OrphanStore("cid@example.com")
                              : LoadFailed(status));
  EXPECT_EQ(InProfile(orphan), !status.empty());
}

TEST_P(LoadCacheSkipTest, LeavesTheRecordsBeforeWhenItIsTheLast) {
  const lab::Service bob = Add(L"bob");
  AddEmbedded(L"cid", bob);
  AddSkipped(3);
  const std::string status = GetParam().status;
  EXPECT_EQ(CachedStores(),
            status.empty() ? Text({"load = 0x0", "bob@example.com 1", "cid@example.com 0"})
                           : Text({"load = " + status, "bob@example.com 0", "cid@example.com 0"}));
}

INSTANTIATE_TEST_SUITE_P(
    Services, LoadCacheSkipTest,
    ::testing::Values(SkipCase{"NoAddress", AddWithoutAddress, "0x8004010f"},
                      SkipCase{"UnreadableAddress", AddWithUnreadableAddress, "0x80070005"},
                      SkipCase{"RootWithoutAddress", AddRootWithoutAddress, "0x8004010f"},
                      SkipCase{"NoProvider", AddWithoutProvider, ""},
                      SkipCase{"NoStoreProvider", AddWithTransportOnly, ""},
                      SkipCase{"UnreadableProperties", AddWithUnreadableProperties, "0x80070005"},
                      SkipCase{"NoParentEntryId", AddWithEmptyParentSection, "0x8004010f"}),
    kByName);

TEST_F(LoadCacheTest, APathlessLastServiceIsNoFailureAndLinkingRuns) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  Add(L"cid", {.withPath = false});
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'cid@example.com' : 0x8004010f"}) +
                              QsfStore("ann@example.com", "ann.qsf", "bob@example.com") +
                              EmbeddedStore("bob@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, ALastServiceWithoutEntryIdIsNoFailureAndLinkingRuns) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  Add(L"cid", {.withEntryId = false});
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'cid@example.com' : 0x8004010f"}) +
                              QsfStore("ann@example.com", "ann.qsf", "bob@example.com") +
                              EmbeddedStore("bob@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, SkippedServicesAloneFailTheLoadOfAnOtherwiseEmptyProfile) {
  Add(L"ann", {.withAddress = false});
  EXPECT_EQ(ListStores(), LoadFailed("0x8004010f"));
}

// Calls that end the load.

struct FailureCase : NamedCase {
  const char* operation;
  uint32_t nth;
  const char* message;
  // Of the services cid, ann, bob and dan, how many were read before.
  size_t readBefore;
};

class LoadCacheFailureTest : public LoadCacheTest,
                             public ::testing::WithParamInterface<FailureCase> {
 protected:
  // An orphan, which comes back; a store with another embedded in it; one more.
  lab::Service AddOneOfEachKind() {
    lab::Service orphan = AddOrphan(L"cid");
    const lab::Service ann = Add(L"ann");
    AddEmbedded(L"bob", ann);
    Add(L"dan");
    return orphan;
  }
};

TEST_P(LoadCacheFailureTest, EndsTheLoadWithItsMessage) {
  const lab::Service orphan = AddOneOfEachKind();
  Faults().FailNth(GetParam().operation, GetParam().nth, 0x8004DEAD);
  EXPECT_EQ(ListStores(), Text({std::string("CStoreManager::LoadCache: ") + GetParam().message +
                                " : 0x8004dead"}) +
                              LoadFailed("0x8004dead"));
  EXPECT_TRUE(InProfile(orphan));
  const std::vector<lab::JournalEntry> journal = Journal();
  ASSERT_GE(journal.size(), 2U);
  EXPECT_EQ(journal.back().call, "MAPIUninitialize");
}

// No store is linked to its parent, not even where both were read.
TEST_P(LoadCacheFailureTest, LeavesTheRecordsOfTheServicesBefore) {
  AddOneOfEachKind();
  Faults().FailNth(GetParam().operation, GetParam().nth, 0x8004DEAD);
  Strings records = {"cid@example.com 0", "ann@example.com 0", "bob@example.com 0"};
  records.resize(GetParam().readBefore);
  EXPECT_EQ(CachedStores(), Text(Strings{std::string("CStoreManager::LoadCache: ") +
                                             GetParam().message + " : 0x8004dead",
                                         "load = 0x8004dead"} +
                                 records));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, LoadCacheFailureTest,
    ::testing::Values(
        FailureCase{"AdminProfiles", "MAPIAdminProfiles", 1, "MAPIAdminProfiles failed", 0},
        FailureCase{"AdminServices", "IProfAdmin::AdminServices", 1, "AdminServices failed", 0},
        FailureCase{"ServiceTable", "IMsgServiceAdmin::GetMsgServiceTable", 1,
                    "GetMsgServiceTable failed", 0},
        FailureCase{"RestrictServices", "IMAPITable::Restrict@MsgServiceTable", 1,
                    "Restrict on MsgServiceTable failed", 0},
        FailureCase{"ServiceRows", "HrQueryAllRows@MsgServiceTable", 1,
                    "HrQueryAllRows on MsgServiceTable failed", 0},
        // The message of the call before, on purpose.
        FailureCase{"FirstServiceSection", "IMsgServiceAdmin::OpenProfileSection@ServiceSection", 1,
                    "HrQueryAllRows on MsgServiceTable failed", 0},
        FailureCase{"LastServiceSection", "IMsgServiceAdmin::OpenProfileSection@ServiceSection", 4,
                    "HrQueryAllRows on MsgServiceTable failed", 3},
        FailureCase{"AdminProviders", "IMsgServiceAdmin::AdminProviders", 2,
                    "AdminProviders failed", 1},
        FailureCase{"ProviderTable", "IProviderAdmin::GetProviderTable", 2,
                    "GetProviderTable failed", 1},
        FailureCase{"RestrictProviders", "IMAPITable::Restrict@ProviderTable", 2,
                    "Restrict on provider table failed", 1},
        FailureCase{"ProviderRows", "HrQueryAllRows@ProviderTable", 2,
                    "HrQueryAllRows on provider table failed", 1},
        // The orphan's own section and that of ann; those of bob and of its parent follow.
        FailureCase{"ProviderSection", "IMsgServiceAdmin::OpenProfileSection@ProviderSection", 2,
                    "OpenProfileSection on provider table failed", 1},
        FailureCase{"ParentSection", "IMsgServiceAdmin::OpenProfileSection@ProviderSection", 4,
                    "OpenProfileSection on parent provider UID failed", 2},
        FailureCase{"OrphansParentSection", "IMsgServiceAdmin::OpenProfileSection@OtherSection", 1,
                    "OpenProfileSection on parent provider UID failed", 0}),
    kByName);

TEST_F(LoadCacheTest, ARowWithoutServiceNameEndsTheLoadWithSuccess) {
  const lab::Service root = AddRoot();
  AddEmbedded(L"ann", root);
  const lab::Service orphan = AddOrphan(L"bob");
  Add(L"cid");
  Add(L"dan");
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 4, kNotFound);
  EXPECT_EQ(ListStores(),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 3"}) +
                QsfStore("bes@example.com", "bes.qsf") +
                EmbeddedStore("ann@example.com", "bes@example.com", "bes.qsf") +
                OrphanStore("bob@example.com"));
  EXPECT_TRUE(InProfile(orphan));
}

// The cache that any command gets then: no store knows of those embedded in it.
TEST_F(LoadCacheTest, ARowWithoutServiceNameLeavesTheRecordsBeforeUnlinked) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  Add(L"cid");
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 3, kNotFound);
  EXPECT_EQ(CachedStores(),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 2", "load = 0x0",
                  "ann@example.com 0", "bob@example.com 0"}));
}

TEST_F(LoadCacheTest, ALoadThatEndedEarlyIsForgottenByTheNext) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  Add(L"cid");
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 3, kNotFound);
  Faults().FailNth("MAPIAdminProfiles", 3, kNoAccess);
  EXPECT_EQ(CachedStores(3),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 2", "load = 0x0",
                  "ann@example.com 0", "bob@example.com 0",                                     //
                  "load = 0x0", "ann@example.com 1", "bob@example.com 0", "cid@example.com 0",  //
                  "CStoreManager::LoadCache: MAPIAdminProfiles failed : 0x80070005",
                  "load = 0x80070005"}));
}

TEST_F(LoadCacheTest, TheIndexCountsFromZeroAndSkippedServicesToo) {
  Add(L"ann", {.withAddress = false});
  Add(L"bob", {.withProvider = false});
  Add(L"cid");
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 3, kNotFound);
  EXPECT_EQ(ListStores(),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 2"}));
  Faults() = lab::FaultPlan().FailNth("MsgServiceTable.Column.3D09001E", 1, kNotFound);
  EXPECT_EQ(ListStores(),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 0"}));
}

TEST_F(LoadCacheTest, TheSectionIsOpenedBeforeTheServiceNameIsLookedAt) {
  Add(L"ann");
  Faults().FailEach("MsgServiceTable.Column.3D09001E", kNotFound);
  Faults().FailEach("IMsgServiceAdmin::OpenProfileSection", kNoAccess);
  EXPECT_EQ(ListStores(),
            Text({"CStoreManager::LoadCache: HrQueryAllRows on MsgServiceTable failed : "
                  "0x80070005"}) +
                LoadFailed("0x80070005"));
}

// Parents, children, and children without a parent.

TEST_F(LoadCacheTest, ChildrenAreLinkedInTheOrderOfTheirEntryIds) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"cid", ann, {.order = 30});
  AddEmbedded(L"dan", ann, {.order = 20});
  AddEmbedded(L"bob", ann, {.order = 10});
  EXPECT_EQ(ListStores(L"ann"), QsfStore("ann@example.com", "ann.qsf",
                                         "bob@example.com,dan@example.com,cid@example.com"));
}

TEST_F(LoadCacheTest, AParentMayFollowItsChildInTableAndMap) {
  const lab::Service ann = Add(L"ann", {.order = 99});
  AddEmbedded(L"bob", ann, {.order = 1, .position = 0});
  EXPECT_EQ(ListStores(), EmbeddedStore("bob@example.com", "ann@example.com", "ann.qsf") +
                              QsfStore("ann@example.com", "ann.qsf", "bob@example.com"));
}

TEST_F(LoadCacheTest, TheRootCanBeAParent) {
  AddEmbedded(L"bob", AddRoot());
  EXPECT_EQ(ListStores(), QsfStore("bes@example.com", "bes.qsf", "bob@example.com") +
                              EmbeddedStore("bob@example.com", "bes@example.com", "bes.qsf"));
}

TEST_F(LoadCacheTest, AnEmbeddedStoreCanBeAParent) {
  const lab::Service bob = AddEmbedded(L"bob", Add(L"ann"));
  AddEmbedded(L"cid", bob);
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf", "bob@example.com") +
                              EmbeddedStore("bob@example.com", "ann@example.com", "ann.qsf") +
                              EmbeddedStore("cid@example.com", "bob@example.com", ""));
  EXPECT_TRUE(Calls("IMsgServiceAdmin::DeleteMsgService").empty());
}

TEST_F(LoadCacheTest, AnOrphanIsDeletedFromTheProfileAndStillListed) {
  const lab::Service ann = Add(L"ann");
  const lab::Service orphan = AddOrphan(L"bob");
  const lab::Service cid = AddEmbedded(L"cid", ann);
  EXPECT_EQ(ListStores(), OrphanDeleted("bob@example.com") +
                              QsfStore("ann@example.com", "ann.qsf", "cid@example.com") +
                              OrphanStore("bob@example.com") +
                              EmbeddedStore("cid@example.com", "ann@example.com", "ann.qsf"));
  EXPECT_FALSE(InProfile(orphan));
  EXPECT_TRUE(InProfile(ann));
  EXPECT_TRUE(InProfile(cid));
  // The next load no longer meets it.
  EXPECT_EQ(ListStores(), QsfStore("ann@example.com", "ann.qsf", "cid@example.com") +
                              EmbeddedStore("cid@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, AParentIsFoundByItsEntryIdsExactBytes) {
  const lab::Service ann = Add(L"ann");
  const lab::Service bob = AddOrphan(L"bob");
  const lab::Service cid = AddOrphan(L"cid");
  const lab::Service dan = AddOrphan(L"dan");
  const auto giveParent = [&](const lab::Service& child, const lab::Bytes& entryId) {
    ASSERT_TRUE(lab::WriteBinary(profile_.Name(), *lab::ParentProviderOfEntryId(child.EntryId()),
                                 PR_ENTRYID, entryId));
  };
  lab::Bytes longer = ann.EntryId();
  longer.push_back(0);
  lab::Bytes shorter = ann.EntryId();
  shorter.pop_back();
  giveParent(bob, longer);
  giveParent(cid, shorter);
  giveParent(dan, ann.EntryId());
  EXPECT_EQ(ListStores(), OrphanDeleted("bob@example.com") + OrphanDeleted("cid@example.com") +
                              QsfStore("ann@example.com", "ann.qsf", "dan@example.com") +
                              OrphanStore("bob@example.com") + OrphanStore("cid@example.com") +
                              EmbeddedStore("dan@example.com", "ann@example.com", "ann.qsf"));
}

TEST_F(LoadCacheTest, TheChildOfASkippedParentIsAnOrphan) {
  const lab::Service ann = Add(L"ann", {.withPath = false});
  const lab::Service bob = AddEmbedded(L"bob", ann);
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'ann@example.com' : 0x8004010f"}) +
                              OrphanDeleted("bob@example.com") + OrphanStore("bob@example.com"));
  EXPECT_FALSE(InProfile(bob));
}

TEST_F(LoadCacheTest, OrphansAreDeletedInTheOrderOfTheirEntryIds) {
  const lab::Service second = AddOrphan(L"ann", {.order = 20});
  const lab::Service first = AddOrphan(L"bob", {.order = 10});
  EXPECT_EQ(ListStores(), OrphanDeleted("bob@example.com") + OrphanDeleted("ann@example.com") +
                              OrphanStore("bob@example.com") + OrphanStore("ann@example.com"));
  const auto deletions = Calls("IMsgServiceAdmin::DeleteMsgService");
  ASSERT_EQ(deletions.size(), 2U);
  EXPECT_EQ(deletions[0].Argument("uid"), Hex(first.uid));
  EXPECT_EQ(deletions[1].Argument("uid"), Hex(second.uid));
}

TEST_F(LoadCacheTest, ADeletionThatFailsFailsTheLoad) {
  Add(L"ann");
  const lab::Service orphan = AddOrphan(L"bob");
  Faults().FailEach("IMsgServiceAdmin::DeleteMsgService", kNoAccess);
  EXPECT_EQ(ListStores(),
            OrphanDeleted("bob@example.com", "0x80070005") + LoadFailed("0x80070005"));
  EXPECT_TRUE(InProfile(orphan));
}

TEST_F(LoadCacheTest, TheLastOfSeveralDeletionsFailsTheLoad) {
  const lab::Service ann = AddOrphan(L"ann");
  const lab::Service bob = AddOrphan(L"bob");
  Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 2, kNoAccess);
  EXPECT_EQ(ListStores(), OrphanDeleted("ann@example.com") +
                              OrphanDeleted("bob@example.com", "0x80070005") +
                              LoadFailed("0x80070005"));
  EXPECT_FALSE(InProfile(ann));
  EXPECT_TRUE(InProfile(bob));
}

TEST_F(LoadCacheTest, TheLastOfSeveralDeletionsSavesTheLoad) {
  const lab::Service ann = AddOrphan(L"ann");
  const lab::Service bob = AddOrphan(L"bob");
  Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 1, kNoAccess);
  EXPECT_EQ(ListStores(), OrphanDeleted("ann@example.com", "0x80070005") +
                              OrphanDeleted("bob@example.com") + OrphanStore("ann@example.com") +
                              OrphanStore("bob@example.com"));
  EXPECT_TRUE(InProfile(ann));
  EXPECT_FALSE(InProfile(bob));
}

TEST_F(LoadCacheTest, LinkingGoesOnAfterADeletionThatFailed) {
  const lab::Service orphan = AddOrphan(L"ann", {.order = 1});
  const lab::Service bob = Add(L"bob");
  AddEmbedded(L"cid", bob);
  AddOrphan(L"dan");
  Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 1, kNoAccess);
  EXPECT_EQ(ListStores(), OrphanDeleted("ann@example.com", "0x80070005") +
                              OrphanDeleted("dan@example.com") + OrphanStore("ann@example.com") +
                              QsfStore("bob@example.com", "bob.qsf", "cid@example.com") +
                              EmbeddedStore("cid@example.com", "bob@example.com", "bob.qsf") +
                              OrphanStore("dan@example.com"));
  EXPECT_TRUE(InProfile(orphan));
}

// Rows and answers that end early: what they lack counts as an error.

TEST_F(LoadCacheTest, ARowThatEndsBeforeTheServiceNameEndsTheLoadWithSuccess) {
  Add(L"ann");
  Add(L"bob");
  for (const uint32_t columns : {0U, 1U}) {
    Faults() = lab::FaultPlan().FailNth("MsgServiceTable.ColumnCount", 2, columns);
    EXPECT_EQ(ListStores(),
              Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 1"}) +
                  QsfStore("ann@example.com", "ann.qsf"))
        << columns;
  }
}

TEST_F(LoadCacheTest, AProviderRowWithoutColumnsCostsTheServiceOnly) {
  Add(L"ann");
  Add(L"bob");
  Faults().FailNth("ProviderTable.ColumnCount", 1, 0);
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'ann@example.com' : 0x8004010f"}) +
                              QsfStore("bob@example.com", "bob.qsf"));
}

TEST_F(LoadCacheTest, PropertiesThatTheAnswerLacksAreReported) {
  Add(L"ann");
  Add(L"bob");
  Add(L"cid");
  Faults().FailNth("ProviderSection.PropCount", 1, 0);
  Faults().FailNth("ProviderSection.PropCount", 2, 1);
  EXPECT_EQ(ListStores(), Text({"CStoreManager::LoadCache: Failed to get PR_ENTRYID for the store "
                                "'ann@example.com' : 0x8004010f",
                                "CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                                "'bob@example.com' : 0x8004010f"}) +
                              QsfStore("cid@example.com", "cid.qsf"));
}

// Values that no sound profile has.

TEST_F(LoadCacheTest, AUidColumnThatIsAnErrorCostsTheServiceOnly) {
  Add(L"ann");
  Add(L"bob");
  Faults().FailNth("MsgServiceTable.Column.3D0C0102", 1, kNotFound);
  EXPECT_EQ(ListStores(), QsfStore("bob@example.com", "bob.qsf"));
}

}  // namespace
}  // namespace e2e
