// Calls mapi32.dll as a program would. The module reads the fault plan at the first call, so each
// test needs a process of its own, which is how ctest runs them.
#include <gtest/gtest.h>
#include <mapicode.h>
#include <mapiutil.h>
#include <mapix.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/mapi/exchange_manage_store.h"

namespace {

constexpr ULONG kServiceName = 0x3D09001E;
constexpr ULONG kServiceUid = 0x3D0C0102;

class MapiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH];
    GetTempPathW(ARRAYSIZE(temp), temp);
    directory_ = temp + std::wstring(L"qrvlab_mapi_") + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(directory_.c_str(), nullptr);
    DeleteFileW(lab::JournalPath(directory_).c_str());
    SetEnvironmentVariableW(L"QRVLAB_DIR", directory_.c_str());
    profile_.Delete();
    root_ = profile_.AddRootStore(L"bes@example.com", directory_ + L"\\bes.qsf");
  }
  void TearDown() override { profile_.Delete(); }

  // Saves the plan and initialises MAPI on this thread.
  void Begin(const lab::FaultPlan& plan = {}) {
    ASSERT_TRUE(plan.Save(directory_));
    ASSERT_EQ(MAPIInitialize(nullptr), S_OK);
  }

  std::vector<lab::JournalEntry> Journal() const {
    return lab::ReadJournal(lab::JournalPath(directory_));
  }

  LPTSTR Name() { return reinterpret_cast<LPTSTR>(name_.data()); }

  HRESULT OpenAdmin(LPSERVICEADMIN* admin) {
    LPPROFADMIN profAdmin = nullptr;
    const HRESULT result = MAPIAdminProfiles(0, &profAdmin);
    if (FAILED(result)) return result;
    const HRESULT opened = profAdmin->AdminServices(Name(), nullptr, 0, MAPI_UNICODE, admin);
    profAdmin->Release();
    return opened;
  }

  std::wstring name_ = L"QrvLabTestMapi";
  std::wstring directory_;
  lab::Profile profile_{name_};
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
  profile_.AddSecondaryStore(L"ann@example.com", directory_ + L"\\ann.qsf", options);
  options.serviceName = L"LSMS_SecondaryX";
  profile_.AddSecondaryStore(L"odd@example.com", directory_ + L"\\odd.qsf", options);
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
  EXPECT_TRUE(lab::Leaks(Journal()).empty());
  EXPECT_TRUE(lab::UnexpectedCalls(Journal()).empty());
}

TEST_F(MapiTest, AValueFaultReplacesOneColumn) {
  profile_.AddSecondaryStore(L"ann@example.com", directory_ + L"\\ann.qsf");
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
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  MAPIUninitialize();
  ASSERT_EQ(lab::Leaks(Journal()).size(), 1u);
  EXPECT_NE(lab::Leaks(Journal())[0].find("IMsgServiceAdmin"), std::string::npos);
}

TEST_F(MapiTest, AThreadThatHasNotInitialisedMapiIsRefused) {
  Begin();
  LPSERVICEADMIN admin = nullptr;
  std::thread([&] { EXPECT_EQ(OpenAdmin(&admin), MAPI_E_NOT_INITIALIZED); }).join();
  EXPECT_EQ(lab::UnexpectedCalls(Journal()).size(), 1u);
  MAPIUninitialize();
}

TEST_F(MapiTest, AReleasedObjectAnswersAnError) {
  Begin();
  LPSERVICEADMIN admin = nullptr;
  ASSERT_EQ(OpenAdmin(&admin), S_OK);
  admin->Release();
  LPMAPITABLE table = nullptr;
  EXPECT_EQ(admin->GetMsgServiceTable(0, &table), MAPI_E_INVALID_OBJECT);
  EXPECT_EQ(lab::UnexpectedCalls(Journal()).size(), 1u);
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
    EXPECT_TRUE(lab::Leaks(Journal()).empty());
    EXPECT_TRUE(lab::UnexpectedCalls(Journal()).empty());
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
  EXPECT_EQ(service->Path(), directory_ + L"\\new@example.com.qsf");
  EXPECT_EQ(lab::ReadQsf(service->Path(), nullptr), lab::QsfStatus::kOk);
}

TEST_F(MapiStoreTest, AnEmbeddedStoreFailsWithItsParentsFile) {
  const auto ann = profile_.AddSecondaryStore(L"ann@example.com", directory_ + L"\\ann.qsf");
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

}  // namespace
