#include "src/run/single_run.h"

#include <gtest/gtest.h>
#include <windows.h>
// sddl.h wants windows.h first.
#include <sddl.h>

#include <string>
#include <thread>

namespace {

// A thread has a lock as often as it takes it, and leaves it behind when it ends: so what others do
// is done on threads of their own.
template <typename Function>
bool OnAnotherThread(Function function) {
  bool result = false;
  std::thread([&] { result = function(); }).join();
  return result;
}

bool OthersCanTake(std::initializer_list<const wchar_t*> names) {
  return OnAnotherThread([names] { return SingleRun().Take(names); });
}

class SingleRunTest : public ::testing::Test {
 protected:
  // One that no other run of the tests has.
  static std::wstring Name(const wchar_t* kind) {
    return L"Local\\qrv-test-" + std::wstring(kind) + L"-" + std::to_wstring(GetCurrentProcessId());
  }

  // A lock of the first name with this access list; null when the system refuses it.
  platform::KernelHandle MakeLock(const wchar_t* accessList) const {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(accessList, SDDL_REVISION_1,
                                                              &descriptor, nullptr)) {
      return {};
    }
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), descriptor, FALSE};
    platform::KernelHandle lock(CreateMutexW(&attributes, FALSE, name_.c_str()));
    LocalFree(descriptor);
    return lock;
  }

  const std::wstring name_ = Name(L"first");
  const std::wstring otherName_ = Name(L"second");
};

TEST_F(SingleRunTest, TheFirstTakesTheTurnAndNobodyElse) {
  SingleRun first;
  EXPECT_TRUE(first.Take({name_.c_str()}));
  EXPECT_FALSE(OthersCanTake({name_.c_str()}));
  EXPECT_FALSE(OthersCanTake({name_.c_str()}));
}

TEST_F(SingleRunTest, TheTurnEndsWithTheObject) {
  {
    SingleRun first;
    EXPECT_TRUE(first.Take({name_.c_str()}));
  }
  EXPECT_TRUE(OthersCanTake({name_.c_str()}));
}

TEST_F(SingleRunTest, OneThatWasRefusedKeepsNobodyFromTheTurn) {
  SingleRun refused;
  {
    SingleRun first;
    EXPECT_TRUE(first.Take({name_.c_str()}));
    EXPECT_FALSE(OnAnotherThread([&] { return refused.Take({name_.c_str()}); }));
  }
  EXPECT_TRUE(OthersCanTake({name_.c_str()}));
}

TEST_F(SingleRunTest, OneThatWasRefusedCanTakeItLater) {
  SingleRun refused;
  {
    SingleRun first;
    EXPECT_TRUE(first.Take({name_.c_str()}));
    EXPECT_FALSE(OnAnotherThread([&] { return refused.Take({name_.c_str()}); }));
  }
  EXPECT_TRUE(OnAnotherThread([&] { return refused.Take({name_.c_str()}); }));
}

TEST_F(SingleRunTest, ATurnWhoseHolderWasKilledCanBeTaken) {
  // The lock outlives its holder, as it does when another waits for it.
  const platform::KernelHandle lock(CreateMutexW(nullptr, FALSE, name_.c_str()));
  ASSERT_TRUE(lock);
  SingleRun killed;
  EXPECT_TRUE(OnAnotherThread([&] { return killed.Take({name_.c_str()}); }));
  SingleRun next;
  EXPECT_TRUE(next.Take({name_.c_str()}));
  EXPECT_FALSE(OthersCanTake({name_.c_str()}));
}

TEST_F(SingleRunTest, ALockThatMayNotBeOpenedIsAtWork) {
  // The first may be done nothing with, the second only be waited for.
  for (const wchar_t* access : {L"D:(A;;RC;;;WD)", L"D:(A;;0x00100000;;;WD)"}) {
    const platform::KernelHandle lock = MakeLock(access);
    ASSERT_TRUE(lock);
    ASSERT_FALSE(platform::KernelHandle(CreateMutexW(nullptr, FALSE, name_.c_str())));
    ASSERT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    SingleRun run;
    EXPECT_FALSE(run.Take({name_.c_str()}));
    // Another name is no way around it.
    EXPECT_FALSE(run.Take({name_.c_str(), otherName_.c_str()}));
    EXPECT_TRUE(OthersCanTake({otherName_.c_str()}));
  }
}

TEST_F(SingleRunTest, WhereANameIsNotAllowedTheNextOneCounts) {
  constexpr wchar_t kNowhere[] = L"NoSuchNamespace\\qrv-test";
  SingleRun first;
  EXPECT_TRUE(first.Take({kNowhere, name_.c_str()}));
  EXPECT_FALSE(OthersCanTake({kNowhere, name_.c_str()}));
  EXPECT_FALSE(OthersCanTake({name_.c_str()}));
}

TEST_F(SingleRunTest, OfTwoNamesThatAreAllowedTheFirstAloneCounts) {
  SingleRun first;
  EXPECT_TRUE(first.Take({name_.c_str(), otherName_.c_str()}));
  EXPECT_FALSE(OthersCanTake({name_.c_str(), otherName_.c_str()}));
  EXPECT_TRUE(OthersCanTake({otherName_.c_str()}));
}

TEST_F(SingleRunTest, WithoutAnyNameThatIsAllowedThereIsNoTurn) {
  SingleRun run;
  EXPECT_FALSE(run.Take({L"NoSuchNamespace\\qrv-test"}));
  EXPECT_FALSE(run.Take({}));
}

TEST_F(SingleRunTest, TurnsUnderDifferentNamesAreTheirOwn) {
  SingleRun first;
  EXPECT_TRUE(first.Take({name_.c_str()}));
  EXPECT_TRUE(OthersCanTake({otherName_.c_str()}));
}

}  // namespace
