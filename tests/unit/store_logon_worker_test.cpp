#include "src/stores/store_logon_worker.h"

#include <gtest/gtest.h>

#include "src/stores/store_manager.h"
#include "tests/unit/captured_output.h"

namespace {

constexpr wchar_t kNoProfile[] = L"QrvUnitTestNoSuchProfile";

bool IsSet(const platform::KernelHandle& event) {
  return WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

TEST(StoreLogonSlot, OnlyReadyIsSetAtFirst) {
  const StoreLogonSlot slot;
  EXPECT_FALSE(IsSet(slot.go));
  EXPECT_TRUE(IsSet(slot.ready));
  EXPECT_FALSE(IsSet(slot.quit));
  EXPECT_FALSE(slot.busy);
}

TEST(StoreLogonSlot, EventsStaySetUntilTheyAreReset) {
  const StoreLogonSlot slot;
  for (const platform::KernelHandle* event : {&slot.go, &slot.ready, &slot.quit}) {
    SetEvent(event->Get());
    EXPECT_TRUE(IsSet(*event));
    EXPECT_TRUE(IsSet(*event));
    ResetEvent(event->Get());
    EXPECT_FALSE(IsSet(*event));
  }
}

TEST(StoreLogonThread, SaysThatItHasNoSlot) {
  const CapturedOutput output;
  EXPECT_EQ(StoreLogonThread(nullptr), 0U);
  EXPECT_EQ(output.Text(), L"StoreLogonThread: lpvStoreLogonThreadParams is NULL\n");
}

TEST(StoreLogonThread, EndsWithoutAJobWhenToldToQuit) {
  const CapturedOutput output;
  StoreLogonSlot slot;
  SetEvent(slot.quit.Get());
  EXPECT_EQ(StoreLogonThread(&slot), 0U);
  EXPECT_TRUE(IsSet(slot.ready));
  EXPECT_EQ(slot.result, S_OK);
  EXPECT_EQ(output.Text(), L"");
}

TEST(StoreLogonThread, DoesTheJobAtHandBeforeItQuits) {
  const CapturedOutput output;
  StoreLogonSlot slot;
  slot.profileName = kNoProfile;
  ResetEvent(slot.ready.Get());
  SetEvent(slot.go.Get());
  SetEvent(slot.quit.Get());
  EXPECT_EQ(StoreLogonThread(&slot), 0U);
  EXPECT_EQ(slot.result, MAPI_E_LOGON_FAILED);
  EXPECT_TRUE(IsSet(slot.ready));
  EXPECT_FALSE(IsSet(slot.go));
  EXPECT_EQ(output.Text(), L"StoreLogonThread: MAPILogonEx failed : 0x80040111\n");
}

// The results are there, one a name, even when there was no logon at all.
TEST(LogonToStores, ResizesTheResultsBeforeAnythingElse) {
  const CapturedOutput output;
  ASSERT_EQ(MAPIInitialize(nullptr), S_OK);
  CStoreManager manager;
  manager.ProfileName = kNoProfile;
  std::vector<HRESULT> results = {E_FAIL};
  EXPECT_EQ(manager.LogonToStores({L"a", L"b", L"c"}, false, true, results), MAPI_E_LOGON_FAILED);
  EXPECT_EQ(results, (std::vector<HRESULT>{E_FAIL, S_OK, S_OK}));
  EXPECT_EQ(manager.LogonToStores({}, false, true, results), MAPI_E_LOGON_FAILED);
  EXPECT_TRUE(results.empty());
  MAPIUninitialize();
}

}  // namespace
