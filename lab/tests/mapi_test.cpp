// Profiles, sessions and stores, and what the module makes of faults and of wrong calls.
#include <mapicode.h>
#include <mapiutil.h>
#include <wrl/client.h>

#include <cstring>
#include <ostream>
#include <thread>

#include "lab/mapi/exchange_manage_store.h"
#include "lab/tests/module_test.h"

namespace {

constexpr ULONG kServiceName = 0x3D09001E;
constexpr ULONG kServiceUid = 0x3D0C0102;

class MapiTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    root_ = profile_.AddRootStore(L"bes@example.com", FilePath(L"bes.qsf"));
  }

  lab::Service root_;
};

// The services of a table in its order, by name; "?" where the column is an error.
std::vector<std::string> ServiceNames(LPMAPITABLE table, SRestriction* restriction) {
  SizedSPropTagArray(2, columns) = {2, {kServiceUid, kServiceName}};
  LPSRowSet rows = nullptr;
  EXPECT_EQ(HrQueryAllRows(table, reinterpret_cast<LPSPropTagArray>(&columns), restriction, nullptr,
                           0, &rows),
            S_OK);
  std::vector<std::string> names;
  for (ULONG i = 0; rows != nullptr && i < rows->cRows; ++i) {
    const SPropValue& name = rows->aRow[i].lpProps[1];
    names.push_back(name.ulPropTag == kServiceName ? name.Value.lpszA : "?");
  }
  FreeProws(rows);
  return names;
}

TEST_F(MapiTest, ServicesAreRestrictedByTheirWholeNameInAnyCase) {
  lab::StoreOptions options;
  options.serviceName = L"lsms_secondary";
  profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"), options);
  options.serviceName = L"LSMS_SecondaryX";
  profile_.AddSecondaryStore(L"odd@example.com", FilePath(L"odd.qsf"), options);
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  LPMAPITABLE table = nullptr;
  ASSERT_EQ(admin->GetMsgServiceTable(0, &table), S_OK);
  std::string wanted = "LSMS_Secondary";
  SPropValue value{};
  value.ulPropTag = kServiceName;
  value.Value.lpszA = wanted.data();
  SRestriction restriction{};
  restriction.rt = RES_CONTENT;
  restriction.res.resContent = {FL_FULLSTRING | FL_IGNORECASE, kServiceName, &value};
  EXPECT_EQ(ServiceNames(table, &restriction), std::vector<std::string>{"lsms_secondary"});
  table->Release();
  admin->Release();
  MAPIUninitialize();
}

TEST_F(MapiTest, AValueFaultReplacesOneColumn) {
  profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"));
  Begin(lab::FaultPlan().FailNth("MsgServiceTable.Column.3D09001E", 2, 0x8007000E));
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  LPMAPITABLE table = nullptr;
  ASSERT_EQ(admin->GetMsgServiceTable(0, &table), S_OK);
  EXPECT_EQ(ServiceNames(table, nullptr), (std::vector<std::string>{"LSMS", "?"}));
  table->Release();
  admin->Release();
  MAPIUninitialize();
}

TEST_F(MapiTest, ACountFaultCutsARow) {
  profile_.AddSecondaryStore(L"ann@example.com", FilePath(L"ann.qsf"));
  Begin(lab::FaultPlan().FailNth("MsgServiceTable.ColumnCount", 2, 1));
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  LPMAPITABLE table = nullptr;
  ASSERT_EQ(admin->GetMsgServiceTable(0, &table), S_OK);
  SizedSPropTagArray(2, columns) = {2, {kServiceUid, kServiceName}};
  LPSRowSet rows = nullptr;
  ASSERT_EQ(HrQueryAllRows(table, reinterpret_cast<LPSPropTagArray>(&columns), nullptr, nullptr, 0,
                           &rows),
            S_OK);
  ASSERT_EQ(rows->cRows, 2U);
  EXPECT_EQ(rows->aRow[0].cValues, 2U);
  ASSERT_EQ(rows->aRow[1].cValues, 1U);
  EXPECT_EQ(rows->aRow[1].lpProps[0].ulPropTag, kServiceUid);
  FreeProws(rows);
  table->Release();
  admin->Release();
  MAPIUninitialize();
}

TEST_F(MapiTest, ACountFaultCutsAnAnswer) {
  Begin(lab::FaultPlan().FailNth("ServiceSection.PropCount", 1, 1));
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  MAPIUID uid;
  std::memcpy(uid.ab, root_.uid.data(), sizeof(uid.ab));
  LPPROFSECT section = nullptr;
  ASSERT_EQ(admin->OpenProfileSection(&uid, nullptr, 0, &section), S_OK);
  SizedSPropTagArray(2, tags) = {2, {kServiceUid, kServiceName}};
  for (const ULONG expected : {1, 2}) {
    ULONG count = 0;
    LPSPropValue values = nullptr;
    EXPECT_EQ(section->GetProps(reinterpret_cast<LPSPropTagArray>(&tags), 0, &count, &values),
              S_OK);
    EXPECT_EQ(count, expected);
    EXPECT_EQ(values[0].ulPropTag, kServiceUid);
    MAPIFreeBuffer(values);
  }
  section->Release();
  admin->Release();
  MAPIUninitialize();
}

TEST_F(MapiTest, AnInjectedFailureCanPoisonTheOutParameter) {
  Begin(lab::FaultPlan()
            .FailNth("IProfAdmin::AdminServices", 1, 0x80040111)
            .SetOutParameters(lab::OutParameters::kPoison));
  LPSERVICEADMIN admin = nullptr;
  EXPECT_EQ(OpenAdmin(&admin), MAPI_E_LOGON_FAILED);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(admin), 0xDDDDDDDDDDDDDDDDu);
  EXPECT_EQ(OpenAdmin(&admin), S_OK);
  admin->Release();
  MAPIUninitialize();
}

TEST_F(MapiTest, WhatIsLeftIsALeak) {
  leaks_ = 1;
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  MAPIUninitialize();
  ASSERT_EQ(lab::Leaks(Journal()).size(), 1u);
  EXPECT_NE(lab::Leaks(Journal())[0].find("IMsgServiceAdmin"), std::string::npos);
}

TEST_F(MapiTest, AThreadThatHasNotInitialisedMapiIsRefused) {
  unexpected_ = 1;
  Begin();
  LPSERVICEADMIN admin = nullptr;
  std::thread([&] { EXPECT_EQ(OpenAdmin(&admin), MAPI_E_NOT_INITIALIZED); }).join();
  MAPIUninitialize();
}

TEST_F(MapiTest, AReleasedObjectAnswersAnError) {
  unexpected_ = 1;
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  admin->Release();
  LPMAPITABLE table = nullptr;
  EXPECT_EQ(admin->GetMsgServiceTable(0, &table), MAPI_E_INVALID_OBJECT);
  MAPIUninitialize();
}

class MapiStoreTest : public MapiTest {
 protected:
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
  void EndSession() {
    rootStore_->Release();
    session_->Release();
    MAPIUninitialize();
  }

  // Opens a mailbox's store as a client does, and closes it.
  HRESULT OpenMailbox(std::string mailbox) {
    lab::IExchangeManageStore* manage = nullptr;
    void** out = reinterpret_cast<void**>(&manage);
    EXPECT_EQ(rootStore_->QueryInterface(lab::kIidExchangeManageStore, out), S_OK);
    ULONG size = 0;
    LPENTRYID entryId = nullptr;
    std::string none;
    EXPECT_EQ(manage->CreateStoreEntryID(none.data(), mailbox.data(), 0, &size, &entryId), S_OK);
    LPMDB store = nullptr;
    const HRESULT result = session_->OpenMsgStore(0, size, entryId, nullptr, MDB_NO_DIALOG, &store);
    if (SUCCEEDED(result)) store->Release();
    MAPIFreeBuffer(entryId);
    manage->Release();
    return result;
  }

  LPMAPISESSION session_ = nullptr;
  LPMDB rootStore_ = nullptr;
};

TEST_F(MapiStoreTest, AMailboxWithoutAStoreGetsOne) {
  BeginSession();
  EXPECT_EQ(OpenMailbox("New@example.com"), S_OK);
  EndSession();
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
  EndSession();
}

TEST_F(MapiStoreTest, FiveThreadsOpenStoresAtOnce) {
  BeginSession(lab::FaultPlan().DelayMatching("IMAPISession::OpenMsgStore", L"user", 300));
  std::vector<std::thread> threads;
  for (int i = 0; i < 5; ++i) {
    threads.emplace_back([this, i] {
      EXPECT_EQ(MAPIInitialize(nullptr), S_OK);
      EXPECT_EQ(OpenMailbox("user" + std::to_string(i) + "@example.com"), S_OK);
      MAPIUninitialize();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EndSession();
  EXPECT_EQ(lab::MaxInFlight(Journal(), "IMAPISession::OpenMsgStore"), 5u);
  EXPECT_EQ(profile_.Services().size(), 6u);
}

// What a provider does not know it refuses, and the journal tells.

constexpr ULONG kUnknownFlag = 0x04000000;
constexpr IID kUnknownInterface = {
    0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34}};

template <class T>
using ComPtr = Microsoft::WRL::ComPtr<T>;

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
  HRESULT CreateFolder(LPCIID iid, ULONG flags, IMAPIFolder** made) {
    std::wstring name = L"Made";
    return folder->CreateFolder(FOLDER_GENERIC, reinterpret_cast<LPTSTR>(name.data()), nullptr, iid,
                                MAPI_UNICODE | flags, made);
  }
};

struct Refusal {
  const char* name;
  HRESULT (*call)(Objects& objects);
};

std::ostream& operator<<(std::ostream& stream, const Refusal& refusal) {
  return stream << refusal.name;
}

class RefusalTest : public MapiTest, public ::testing::WithParamInterface<Refusal> {
 protected:
  void SetUp() override {
    MapiTest::SetUp();
    Begin();
    objects_.profile = Name();
    std::memcpy(objects_.service.ab, root_.uid.data(), sizeof(objects_.service.ab));
    objects_.entryId = root_.EntryId();
    Open(objects_);
  }
  void TearDown() override {
    objects_ = {};
    MAPIUninitialize();
    MapiTest::TearDown();
  }

  // Makes the call, which must get `result` and a line in the journal.
  void ExpectRefused(HRESULT result) {
    unexpected_ = 1;
    EXPECT_EQ(GetParam().call(objects_), result);
  }

 private:
  static void Open(Objects& objects) {
    ASSERT_EQ(MAPIAdminProfiles(0, &objects.profiles), S_OK);
    ASSERT_EQ(objects.profiles->AdminServices(objects.profile, nullptr, 0, MAPI_UNICODE,
                                              &objects.services),
              S_OK);
    ASSERT_EQ(objects.services->GetMsgServiceTable(0, &objects.table), S_OK);
    ASSERT_EQ(objects.services->AdminProviders(&objects.service, 0, &objects.providers), S_OK);
    ASSERT_EQ(objects.services->OpenProfileSection(&objects.service, nullptr, 0, &objects.section),
              S_OK);
    ASSERT_EQ(MAPILogonEx(0, objects.profile, nullptr, MAPI_UNICODE, &objects.session), S_OK);
    ASSERT_EQ(objects.OpenStore(nullptr, 0, &objects.store), S_OK);
    ASSERT_EQ(objects.store->QueryInterface(
                  lab::kIidExchangeManageStore,
                  reinterpret_cast<void**>(objects.manage.ReleaseAndGetAddressOf())),
              S_OK);
    ASSERT_EQ(objects.OpenRootFolder(nullptr, 0,
                                     reinterpret_cast<IUnknown**>(objects.folder.GetAddressOf())),
              S_OK);
  }

  Objects objects_;
};

class UnknownFlagTest : public RefusalTest {};

TEST_P(UnknownFlagTest, IsRefused) { ExpectRefused(MAPI_E_UNKNOWN_FLAGS); }

INSTANTIATE_TEST_SUITE_P(
    Calls, UnknownFlagTest,
    ::testing::Values(Refusal{"Initialize",
                              [](Objects&) -> HRESULT {
                                MAPIINIT_0 options = {MAPI_INIT_VERSION, kUnknownFlag};
                                return MAPIInitialize(&options);
                              }},
                      Refusal{"AdminProfiles",
                              [](Objects&) -> HRESULT {
                                ComPtr<IProfAdmin> profiles;
                                return MAPIAdminProfiles(kUnknownFlag, &profiles);
                              }},
                      Refusal{"Logon",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPISession> session;
                                return MAPILogonEx(0, objects.profile, nullptr,
                                                   MAPI_UNICODE | kUnknownFlag, &session);
                              }},
                      Refusal{"ProfileTable",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPITable> table;
                                return objects.profiles->GetProfileTable(kUnknownFlag, &table);
                              }},
                      Refusal{"AdminServices",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMsgServiceAdmin> services;
                                return objects.profiles->AdminServices(objects.profile, nullptr, 0,
                                                                       MAPI_UNICODE | kUnknownFlag,
                                                                       &services);
                              }},
                      Refusal{"ServiceTable",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPITable> table;
                                return objects.services->GetMsgServiceTable(kUnknownFlag, &table);
                              }},
                      Refusal{"ConfigureService",
                              [](Objects& objects) -> HRESULT {
                                SPropValue request{};
                                request.ulPropTag = PROP_TAG(PT_OBJECT, 0x6666);
                                return objects.services->ConfigureMsgService(
                                    &objects.service, 0, SERVICE_UI_ALWAYS | kUnknownFlag, 1,
                                    &request);
                              }},
                      Refusal{"ProfileSection",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IProfSect> section;
                                return objects.services->OpenProfileSection(
                                    &objects.service, nullptr, kUnknownFlag, &section);
                              }},
                      Refusal{"AdminProviders",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IProviderAdmin> providers;
                                return objects.services->AdminProviders(&objects.service,
                                                                        kUnknownFlag, &providers);
                              }},
                      Refusal{"ProviderTable",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPITable> table;
                                return objects.providers->GetProviderTable(kUnknownFlag, &table);
                              }},
                      Refusal{"Restrict",
                              [](Objects& objects) -> HRESULT {
                                return objects.table->Restrict(nullptr, kUnknownFlag);
                              }},
                      Refusal{"Properties",
                              [](Objects& objects) -> HRESULT {
                                ULONG count = 0;
                                LPSPropValue values = nullptr;
                                return objects.section->GetProps(nullptr, kUnknownFlag, &count,
                                                                 &values);
                              }},
                      Refusal{"StoresTable",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPITable> table;
                                return objects.session->GetMsgStoresTable(kUnknownFlag, &table);
                              }},
                      Refusal{"Store",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMsgStore> store;
                                return objects.OpenStore(nullptr, kUnknownFlag, &store);
                              }},
                      Refusal{"StoreEntryId",
                              [](Objects& objects) -> HRESULT {
                                std::string none;
                                std::string mailbox = "bes@example.com";
                                ULONG size = 0;
                                LPENTRYID entryId = nullptr;
                                return objects.manage->CreateStoreEntryID(
                                    none.data(), mailbox.data(), kUnknownFlag, &size, &entryId);
                              }},
                      Refusal{"Entry",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IUnknown> folder;
                                return objects.OpenRootFolder(nullptr, kUnknownFlag, &folder);
                              }},
                      Refusal{"Folder",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPIFolder> folder;
                                return objects.CreateFolder(nullptr, kUnknownFlag, &folder);
                              }},
                      Refusal{"Contents",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPITable> table;
                                return objects.folder->GetContentsTable(kUnknownFlag, &table);
                              }}),
    [](const auto& test) { return std::string(test.param.name); });

class UnknownInterfaceTest : public RefusalTest {};

TEST_P(UnknownInterfaceTest, IsRefused) { ExpectRefused(MAPI_E_INTERFACE_NOT_SUPPORTED); }

INSTANTIATE_TEST_SUITE_P(
    Calls, UnknownInterfaceTest,
    ::testing::Values(Refusal{"ProfileSection",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IProfSect> section;
                                return objects.services->OpenProfileSection(
                                    &objects.service, &kUnknownInterface, 0, &section);
                              }},
                      Refusal{"Store",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMsgStore> store;
                                return objects.OpenStore(&kUnknownInterface, 0, &store);
                              }},
                      Refusal{"Entry",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IUnknown> folder;
                                return objects.OpenRootFolder(&kUnknownInterface, 0, &folder);
                              }},
                      Refusal{"Folder",
                              [](Objects& objects) -> HRESULT {
                                ComPtr<IMAPIFolder> folder;
                                return objects.CreateFolder(&kUnknownInterface, 0, &folder);
                              }}),
    [](const auto& test) { return std::string(test.param.name); });

// To ask an object for what it may lack is no mistake.
TEST_F(MapiStoreTest, AStoreHasNoUnknownInterface) {
  BeginSession();
  void* none = &none;
  EXPECT_EQ(rootStore_->QueryInterface(kUnknownInterface, &none), MAPI_E_INTERFACE_NOT_SUPPORTED);
  EXPECT_EQ(none, nullptr);
  EndSession();
}

}  // namespace
