// Profiles, sessions and stores, and what the module makes of faults and of wrong calls.
#include <mapicode.h>
#include <mapiutil.h>

#include <cstring>
#include <ostream>
#include <thread>

#include "lab/mapi/exchange_manage_store.h"
#include "lab/tests/module_test.h"

namespace {

using platform::ComPtr;

class MapiTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    root_ = profile_.AddRootStore(L"bes@example.com", FilePath(L"bes.qsf"));
    std::memcpy(rootUid_.ab, root_.uid.data(), sizeof(rootUid_.ab));
  }
  void TearDown() override {
    table_.Reset();
    admin_.Reset();
    ModuleTest::TearDown();
  }

  // Begins with the table of the profile's services open.
  void BeginTable(const lab::FaultPlan& plan = {}) {
    Begin(plan);
    ASSERT_EQ(OpenAdmin(&admin_), S_OK);
    ASSERT_EQ(admin_->GetMsgServiceTable(0, &table_), S_OK);
  }

  // The table's services, UID and name.
  LPSRowSet Services() {
    LPSRowSet rows = nullptr;
    EXPECT_EQ(HrQueryAllRows(table_.Get(), reinterpret_cast<LPSPropTagArray>(&columns_), nullptr,
                             nullptr, 0, &rows),
              S_OK);
    return rows;
  }

  // The services of the table in its order, by name; "?" where the column is an error.
  std::vector<std::string> ServiceNames() {
    LPSRowSet rows = Services();
    std::vector<std::string> names;
    for (ULONG i = 0; rows && i < rows->cRows; ++i) {
      const SPropValue& name = rows->aRow[i].lpProps[1];
      names.emplace_back(name.ulPropTag == PR_SERVICE_NAME_A ? name.Value.lpszA : "?");
    }
    FreeProws(rows);
    return names;
  }

  lab::Service root_;
  MAPIUID rootUid_{};
  ComPtr<IMsgServiceAdmin> admin_;
  ComPtr<IMAPITable> table_;
  SizedSPropTagArray(2, columns_) = {2, {PR_SERVICE_UID, PR_SERVICE_NAME_A}};
};

TEST_F(MapiTest, ServicesAreRestrictedByTheirWholeNameInAnyCase) {
  for (const wchar_t* name : {L"lsms_secondary", L"LSMS_SecondaryX"}) {
    lab::StoreOptions options;
    options.serviceName = name;
    profile_.AddSecondaryStore(std::wstring(name) + L"@example.com", FilePath(name), options);
  }
  BeginTable();
  std::string wanted = "LSMS_Secondary";
  SPropValue value{};
  value.ulPropTag = PR_SERVICE_NAME_A;
  value.Value.lpszA = wanted.data();
  SRestriction restriction{};
  restriction.rt = RES_CONTENT;
  restriction.res.resContent = {FL_FULLSTRING | FL_IGNORECASE, PR_SERVICE_NAME_A, &value};
  EXPECT_EQ(table_->Restrict(&restriction, 0), S_OK);
  EXPECT_EQ(ServiceNames(), std::vector<std::string>{"lsms_secondary"});
}

TEST_F(MapiTest, ARestrictionOfAnotherKindIsUnexpected) {
  unexpected_ = 1;
  BeginTable();
  SRestriction restriction{};
  restriction.rt = RES_EXIST;
  restriction.res.resExist.ulPropTag = PR_SERVICE_NAME_A;
  EXPECT_EQ(table_->Restrict(&restriction, 0), MAPI_E_TOO_COMPLEX);
}

TEST_F(MapiTest, AMethodThatNobodyNeedsIsUnexpected) {
  unexpected_ = 1;
  BeginTable();
  EXPECT_EQ(table_->Abort(), MAPI_E_NO_SUPPORT);
  EXPECT_EQ(lab::UnexpectedCalls(Journal())[0],
            "Abort on IMAPITable #3 made by IMsgServiceAdmin::GetMsgServiceTable");
}

TEST_F(MapiTest, AValueFaultReplacesOneColumn) {
  profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"));
  BeginTable(lab::FaultPlan().FailNth("MsgServiceTable.Column.3D09001E", 2, 0x8007000E));
  EXPECT_EQ(ServiceNames(), (std::vector<std::string>{"LSMS", "?"}));
}

TEST_F(MapiTest, ACountFaultCutsARow) {
  profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"));
  BeginTable(lab::FaultPlan().FailNth("MsgServiceTable.ColumnCount", 2, 1));
  LPSRowSet rows = Services();
  ASSERT_EQ(rows->cRows, 2U);
  const SRow* row = rows->aRow;
  EXPECT_EQ(row[0].cValues, 2U);
  ASSERT_EQ(row[1].cValues, 1U);
  EXPECT_EQ(row[1].lpProps[0].ulPropTag, PR_SERVICE_UID);
  FreeProws(rows);
}

TEST_F(MapiTest, ACountFaultCutsAnAnswer) {
  BeginTable(lab::FaultPlan().FailNth("ServiceSection.PropCount", 1, 1));
  ComPtr<IProfSect> section;
  ASSERT_EQ(admin_->OpenProfileSection(&rootUid_, nullptr, 0, &section), S_OK);
  for (const ULONG expected : {1, 2}) {
    ULONG count = 0;
    LPSPropValue values = nullptr;
    EXPECT_EQ(section->GetProps(reinterpret_cast<LPSPropTagArray>(&columns_), 0, &count, &values),
              S_OK);
    EXPECT_EQ(count, expected);
    EXPECT_EQ(values[0].ulPropTag, PR_SERVICE_UID);
    MAPIFreeBuffer(values);
  }
}

TEST_F(MapiTest, AnInjectedFailureCanPoisonTheOutParameter) {
  Begin(lab::FaultPlan()
            .FailNth("IProfAdmin::AdminServices", 1, 0x80040111)
            .SetOutParameters(lab::OutParameters::kPoison));
  LPSERVICEADMIN admin = nullptr;
  EXPECT_EQ(OpenAdmin(&admin), MAPI_E_LOGON_FAILED);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(admin), 0xDDDDDDDDDDDDDDDDu);
  EXPECT_EQ(OpenAdmin(&admin_), S_OK);
}

TEST_F(MapiTest, WhatIsLeftIsALeak) {
  leaks_ = 2;
  BeginTable();
  LPSPropTagArray columns = nullptr;
  ASSERT_EQ(table_->QueryColumns(0, &columns), S_OK);
  table_.Reset();
  admin_->AddRef();
  admin_.Reset();
  End();
  const std::string when = ", at the last MAPIUninitialize";
  EXPECT_EQ(lab::Leaks(Journal()),
            (std::vector<std::string>{
                "IMsgServiceAdmin #2 made by IProfAdmin::AdminServices, 1 references" + when,
                "MAPI buffer of 20 bytes made by IMAPITable::QueryColumns" + when}));
}

TEST_F(MapiTest, AThreadThatHasNotInitialisedMapiIsRefused) {
  unexpected_ = 1;
  Begin();
  LPSERVICEADMIN admin = nullptr;
  std::thread([&] { EXPECT_EQ(OpenAdmin(&admin), MAPI_E_NOT_INITIALIZED); }).join();
}

TEST_F(MapiTest, AReleasedObjectAnswersAnError) {
  unexpected_ = 1;
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  admin->Release();
  EXPECT_EQ(admin->GetMsgServiceTable(0, &table_), MAPI_E_INVALID_OBJECT);
}

class MapiStoreTest : public MapiTest {
 protected:
  void TearDown() override {
    rootStore_.Reset();
    session_.Reset();
    MapiTest::TearDown();
  }

  void BeginSession(const lab::FaultPlan& plan = {}) {
    Begin(plan);
    constexpr ULONG kLogon = MAPI_UNICODE | MAPI_NO_MAIL | MAPI_EXTENDED | MAPI_EXPLICIT_PROFILE;
    ASSERT_EQ(MAPILogonEx(0, Name(), nullptr, kLogon, &session_), S_OK);
    lab::Bytes entryId = root_.EntryId();
    ASSERT_EQ(session_->OpenMsgStore(0, static_cast<ULONG>(entryId.size()),
                                     reinterpret_cast<LPENTRYID>(entryId.data()), nullptr,
                                     MAPI_BEST_ACCESS, &rootStore_),
              S_OK);
  }

  // Opens a mailbox's store as a client does, and closes it.
  HRESULT OpenMailbox(std::string mailbox) {
    ComPtr<lab::IExchangeManageStore> manage;
    EXPECT_EQ(rootStore_->QueryInterface(lab::kIidExchangeManageStore, &manage), S_OK);
    ULONG size = 0;
    LPENTRYID entryId = nullptr;
    std::string none;
    EXPECT_EQ(manage->CreateStoreEntryID(none.data(), mailbox.data(), 0, &size, &entryId), S_OK);
    ComPtr<IMsgStore> store;
    const HRESULT result = session_->OpenMsgStore(0, size, entryId, nullptr, MDB_NO_DIALOG, &store);
    MAPIFreeBuffer(entryId);
    return result;
  }

  ComPtr<IMAPISession> session_;
  ComPtr<IMsgStore> rootStore_;
};

TEST_F(MapiStoreTest, AMailboxWithoutAStoreGetsOne) {
  BeginSession();
  EXPECT_EQ(OpenMailbox("New@example.com"), S_OK);
  const auto service = profile_.Find(L"new@example.com");
  ASSERT_TRUE(service);
  EXPECT_EQ(service->name, L"LSMS_Secondary");
  EXPECT_EQ(service->Path(), FilePath(L"new@example.com.qsf"));
  EXPECT_EQ(lab::ReadQsf(service->Path(), nullptr), lab::QsfStatus::kOk);
}

TEST_F(MapiStoreTest, AnEmbeddedStoreFailsWithItsParentsFile) {
  const auto ann = profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"));
  profile_.AddEmbeddedStore(L"bob@example.com", ann);
  ASSERT_TRUE(lab::DamageQsf(ann.Path(), lab::QsfDamage::kChecksum));
  BeginSession();
  EXPECT_EQ(OpenMailbox("bob@example.com"), MAPI_E_CORRUPT_STORE);
  DeleteFileW(ann.Path().c_str());
  EXPECT_EQ(OpenMailbox("bob@example.com"), S_OK);
}

TEST_F(MapiStoreTest, FiveThreadsOpenStoresAtOnce) {
  BeginSession(lab::FaultPlan().DelayMatching("IMAPISession::OpenMsgStore", L"user", 300));
  std::vector<std::thread> threads;
  threads.reserve(5);
  for (int i = 0; i < 5; ++i) {
    threads.emplace_back([this, i] {
      EXPECT_EQ(MAPIInitialize(nullptr), S_OK);
      EXPECT_EQ(OpenMailbox("user" + std::to_string(i) + "@example.com"), S_OK);
      MAPIUninitialize();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(lab::MaxInFlight(Journal(), "IMAPISession::OpenMsgStore"), 5u);
  EXPECT_EQ(profile_.Services().size(), 6u);
}

// What a provider does not know it refuses, and the journal tells.

constexpr ULONG kUnknownFlag = 0x04000000;
constexpr IID kUnknownInterface = {
    0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34}};

// One of each object that a program gets, and what names the root store.
struct Objects {
  ComPtr<IProfAdmin> profiles;
  ComPtr<IMsgServiceAdmin> services;
  ComPtr<IMAPITable> table;
  ComPtr<IProviderAdmin> providers;
  ComPtr<IProfSect> section;
  ComPtr<IMAPISession> session;
  ComPtr<IMsgStore> store;
  ComPtr<lab::IExchangeManageStore> manage;
  ComPtr<IMAPIFolder> folder;
  LPTSTR profile = nullptr;
  MAPIUID service{};
  lab::Bytes entryId;

  HRESULT OpenStore(LPCIID iid, ULONG flags, IMsgStore** opened) {
    return session->OpenMsgStore(0, static_cast<ULONG>(entryId.size()),
                                 reinterpret_cast<LPENTRYID>(entryId.data()), iid, flags, opened);
  }
  HRESULT OpenRootFolder(LPCIID iid, ULONG flags, IUnknown** opened) {
    ULONG type = 0;
    return store->OpenEntry(0, nullptr, iid, flags, &type, opened);
  }
  HRESULT CreateFolder(LPCIID iid, ULONG flags) {
    std::wstring name = L"Made";
    return folder->CreateFolder(FOLDER_GENERIC, reinterpret_cast<LPTSTR>(name.data()), nullptr, iid,
                                MAPI_UNICODE | flags, &ComPtr<IMAPIFolder>());
  }
  HRESULT CreateStoreEntryId(ULONG flags) {
    std::string none;
    std::string mailbox = "bes@example.com";
    ULONG size = 0;
    LPENTRYID made = nullptr;
    return manage->CreateStoreEntryID(none.data(), mailbox.data(), flags, &size, &made);
  }
};

struct Refusal {
  const char* name;
  HRESULT result;
  HRESULT (*call)(Objects& objects);
};

std::ostream& operator<<(std::ostream& stream, const Refusal& refusal) {
  return stream << refusal.name;
}

constexpr HRESULT kFlags = MAPI_E_UNKNOWN_FLAGS;
constexpr HRESULT kInterface = MAPI_E_INTERFACE_NOT_SUPPORTED;

const Refusal kRefusals[] = {
    {"FlagInitialize", kFlags,
     [](Objects&) {
       MAPIINIT_0 options = {MAPI_INIT_VERSION, kUnknownFlag};
       return MAPIInitialize(&options);
     }},
    {"FlagAdminProfiles", kFlags,
     [](Objects&) { return MAPIAdminProfiles(kUnknownFlag, &ComPtr<IProfAdmin>()); }},
    {"FlagLogon", kFlags,
     [](Objects& o) {
       return MAPILogonEx(0, o.profile, nullptr, MAPI_UNICODE | kUnknownFlag,
                          &ComPtr<IMAPISession>());
     }},
    {"FlagProfileTable", kFlags,
     [](Objects& o) { return o.profiles->GetProfileTable(kUnknownFlag, &ComPtr<IMAPITable>()); }},
    {"FlagAdminServices", kFlags,
     [](Objects& o) {
       return o.profiles->AdminServices(o.profile, nullptr, 0, MAPI_UNICODE | kUnknownFlag,
                                        &ComPtr<IMsgServiceAdmin>());
     }},
    {"FlagServiceTable", kFlags,
     [](Objects& o) {
       return o.services->GetMsgServiceTable(kUnknownFlag, &ComPtr<IMAPITable>());
     }},
    {"FlagConfigureService", kFlags,
     [](Objects& o) {
       SPropValue request{};
       request.ulPropTag = PROP_TAG(PT_OBJECT, 0x6666);
       return o.services->ConfigureMsgService(&o.service, 0, SERVICE_UI_ALWAYS | kUnknownFlag, 1,
                                              &request);
     }},
    {"FlagProfileSection", kFlags,
     [](Objects& o) {
       return o.services->OpenProfileSection(&o.service, nullptr, kUnknownFlag,
                                             &ComPtr<IProfSect>());
     }},
    {"FlagAdminProviders", kFlags,
     [](Objects& o) {
       return o.services->AdminProviders(&o.service, kUnknownFlag, &ComPtr<IProviderAdmin>());
     }},
    {"FlagProviderTable", kFlags,
     [](Objects& o) { return o.providers->GetProviderTable(kUnknownFlag, &ComPtr<IMAPITable>()); }},
    {"FlagRestrict", kFlags, [](Objects& o) { return o.table->Restrict(nullptr, kUnknownFlag); }},
    {"FlagProperties", kFlags,
     [](Objects& o) {
       ULONG count = 0;
       LPSPropValue values = nullptr;
       return o.section->GetProps(nullptr, kUnknownFlag, &count, &values);
     }},
    {"FlagStoresTable", kFlags,
     [](Objects& o) { return o.session->GetMsgStoresTable(kUnknownFlag, &ComPtr<IMAPITable>()); }},
    {"FlagStore", kFlags,
     [](Objects& o) { return o.OpenStore(nullptr, kUnknownFlag, &ComPtr<IMsgStore>()); }},
    {"FlagStoreEntryId", kFlags, [](Objects& o) { return o.CreateStoreEntryId(kUnknownFlag); }},
    {"FlagEntry", kFlags,
     [](Objects& o) { return o.OpenRootFolder(nullptr, kUnknownFlag, &ComPtr<IUnknown>()); }},
    {"FlagFolder", kFlags, [](Objects& o) { return o.CreateFolder(nullptr, kUnknownFlag); }},
    {"FlagContents", kFlags,
     [](Objects& o) { return o.folder->GetContentsTable(kUnknownFlag, &ComPtr<IMAPITable>()); }},
    {"InterfaceProfileSection", kInterface,
     [](Objects& o) {
       return o.services->OpenProfileSection(&o.service, &kUnknownInterface, 0,
                                             &ComPtr<IProfSect>());
     }},
    {"InterfaceStore", kInterface,
     [](Objects& o) { return o.OpenStore(&kUnknownInterface, 0, &ComPtr<IMsgStore>()); }},
    {"InterfaceEntry", kInterface,
     [](Objects& o) { return o.OpenRootFolder(&kUnknownInterface, 0, &ComPtr<IUnknown>()); }},
    {"InterfaceFolder", kInterface,
     [](Objects& o) { return o.CreateFolder(&kUnknownInterface, 0); }},
};

class RefusalTest : public MapiTest, public ::testing::WithParamInterface<Refusal> {
 protected:
  void SetUp() override {
    MapiTest::SetUp();
    Begin();
    Objects& o = objects_;
    o.profile = Name();
    o.service = rootUid_;
    o.entryId = root_.EntryId();
    ASSERT_EQ(MAPIAdminProfiles(0, &o.profiles), S_OK);
    ASSERT_EQ(o.profiles->AdminServices(o.profile, nullptr, 0, MAPI_UNICODE, &o.services), S_OK);
    ASSERT_EQ(o.services->GetMsgServiceTable(0, &o.table), S_OK);
    ASSERT_EQ(o.services->AdminProviders(&o.service, 0, &o.providers), S_OK);
    ASSERT_EQ(o.services->OpenProfileSection(&o.service, nullptr, 0, &o.section), S_OK);
    ASSERT_EQ(MAPILogonEx(0, o.profile, nullptr, MAPI_UNICODE, &o.session), S_OK);
    ASSERT_EQ(o.OpenStore(nullptr, 0, &o.store), S_OK);
    ASSERT_EQ(o.store->QueryInterface(lab::kIidExchangeManageStore, &o.manage), S_OK);
    ASSERT_EQ(o.OpenRootFolder(nullptr, 0, reinterpret_cast<IUnknown**>(o.folder.GetAddressOf())),
              S_OK);
  }
  void TearDown() override {
    objects_ = {};
    MapiTest::TearDown();
  }

  Objects objects_;
};

TEST_P(RefusalTest, IsUnexpected) {
  unexpected_ = 1;
  EXPECT_EQ(GetParam().call(objects_), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Calls, RefusalTest, ::testing::ValuesIn(kRefusals),
                         [](const auto& test) { return std::string(test.param.name); });

// To ask an object for what it may lack is no mistake.
TEST_F(MapiStoreTest, AStoreHasNoUnknownInterface) {
  BeginSession();
  void* none = &none;
  EXPECT_EQ(rootStore_->QueryInterface(kUnknownInterface, &none), MAPI_E_INTERFACE_NOT_SUPPORTED);
  EXPECT_EQ(none, nullptr);
}

}  // namespace
