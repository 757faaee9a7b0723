// Tells the connector to compact stores as a program would: on a thread of its own, while another
// thread looks at that thread's windows.
#include <mapicode.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "lab/common/compaction_plan.h"
#include "lab/common/dialog_record.h"
#include "lab/tests/module_test.h"

namespace {

constexpr wchar_t kAnn[] = L"ann@example.com";
constexpr ULONG kRequest = 0x6666000D;
constexpr uint32_t kFreeBytes = 4096;

struct Window {
  HWND handle;
  std::wstring className;
  std::wstring title;
};

BOOL CALLBACK CollectWindow(HWND handle, LPARAM list) {
  wchar_t className[256] = {};
  wchar_t title[256] = {};
  GetClassNameW(handle, className, ARRAYSIZE(className));
  GetWindowTextW(handle, title, ARRAYSIZE(title));
  reinterpret_cast<std::vector<Window>*>(list)->push_back({handle, className, title});
  return TRUE;
}

bool IsGone(const Window& window) { return !IsWindow(window.handle); }

// The thread's dialogs, or its other windows. What is seen while a window goes is seen as nothing.
std::vector<Window> WindowsOf(DWORD thread, bool dialogs) {
  std::vector<Window> windows;
  EnumThreadWindows(thread, CollectWindow, reinterpret_cast<LPARAM>(&windows));
  if (std::any_of(windows.begin(), windows.end(), IsGone)) return {};
  std::erase_if(windows,
                [&](const Window& window) { return (window.className == L"#32770") != dialogs; });
  return windows;
}

std::vector<std::wstring> TitlesOf(const std::vector<Window>& windows) {
  std::vector<std::wstring> titles;
  titles.reserve(windows.size());
  for (const Window& window : windows) titles.push_back(window.title);
  return titles;
}

class CompactTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    lab::StoreOptions options;
    options.freeBytes = kFreeBytes;
    ann_ = profile_.AddSecondaryStore(kAnn, FilePath(L"ann.qsf"), options);
    size_ = lab::QsfSize(ann_.Path()).value_or(0);
    Begin();
  }
  void Plan(const lab::CompactionPlan& plan) { ASSERT_TRUE(plan.Save(directory_)); }

  HRESULT Configure(const lab::Uid& service, ULONG_PTR parent, ULONG flags, ULONG count,
                    LPSPropValue properties) {
    platform::ComPtr<IMsgServiceAdmin> admin;
    EXPECT_EQ(OpenAdmin(&admin), S_OK);
    MAPIUID uid;
    std::memcpy(uid.ab, service.data(), service.size());
    return admin->ConfigureMsgService(&uid, parent, flags, count, properties);
  }

  HRESULT Request(const lab::Uid& service, ULONG_PTR parent = 0) {
    SPropValue request{};
    request.ulPropTag = kRequest;
    return Configure(service, parent, SERVICE_UI_ALWAYS, 1, &request);
  }

  // Compacts ann's store on a thread; `watch` is called with that thread's id every few
  // milliseconds while it works.
  HRESULT Compact(const std::function<void(DWORD)>& watch = {}) {
    std::atomic<DWORD> thread{0};
    std::atomic<bool> done{false};
    HRESULT result = E_UNEXPECTED;
    std::thread worker([&] {
      thread = GetCurrentThreadId();
      EXPECT_EQ(MAPIInitialize(nullptr), S_OK);
      result = Request(ann_.uid);
      MAPIUninitialize();
      done = true;
    });
    while (!done) {
      Sleep(5);
      if (watch && thread != 0) watch(thread);
    }
    worker.join();
    thread_ = thread;
    return result;
  }

  // Closes the thread's dialogs of that title whenever there are any.
  static std::function<void(DWORD)> Close(const std::wstring& title) {
    return [title](DWORD thread) {
      for (const Window& window : WindowsOf(thread, true)) {
        if (window.title == title) PostMessageW(window.handle, WM_CLOSE, 0, 0);
      }
    };
  }

  bool IsCompacted() const { return lab::QsfSize(ann_.Path()).value_or(0) + kFreeBytes < size_; }

  std::vector<lab::DialogRecord> Records() const { return lab::DialogsOf(Journal(), kAnn); }

  lab::Service ann_;
  uint64_t size_ = 0;
  DWORD thread_ = 0;
};

TEST_F(CompactTest, TheFileShrinksBehindADialogThatEndsByItself) {
  Plan(lab::CompactionPlan().Takes(L"*", 300));
  std::vector<std::wstring> titles;
  EXPECT_EQ(Compact([&](DWORD thread) {
              const auto seen = TitlesOf(WindowsOf(thread, true));
              if (!seen.empty()) titles = seen;
            }),
            S_OK);
  EXPECT_TRUE(IsCompacted());
  EXPECT_EQ(titles, std::vector<std::wstring>{L"Compact Now"});
  ASSERT_EQ(Records().size(), 1u);
  const lab::DialogRecord record = Records()[0];
  EXPECT_EQ(record.title, L"Compact Now");
  EXPECT_EQ(record.threadId, thread_);
  EXPECT_EQ(record.end, lab::DialogEnd::kByItself);
  EXPECT_TRUE(record.closeMicros.empty());
  EXPECT_GE(record.endedMicros - record.shownMicros, 290000u);
}

TEST_F(CompactTest, ClosingTheCompactionsDialogCancelsIt) {
  Plan(lab::CompactionPlan().Takes(L"*", 60000));
  EXPECT_EQ(Compact(Close(L"Compact Now")), MAPI_E_USER_CANCEL);
  EXPECT_FALSE(IsCompacted());
  EXPECT_EQ(Records().at(0).end, lab::DialogEnd::kClosedFromOutside);
  EXPECT_FALSE(Records().at(0).closeMicros.empty());
}

TEST_F(CompactTest, AnErrorBoxHoldsTheCompactionUpUntilItIsClosed) {
  Plan(lab::CompactionPlan().ErrorBox(L"ann@", L"Connector Error"));
  DWORD firstSeen = 0;
  EXPECT_EQ(Compact([&](DWORD thread) {
              if (firstSeen == 0 && !WindowsOf(thread, true).empty()) firstSeen = GetTickCount();
              if (firstSeen != 0 && GetTickCount() - firstSeen > 300) {
                Close(L"Connector Error")(thread);
              }
            }),
            S_OK);
  EXPECT_TRUE(IsCompacted());
  ASSERT_EQ(Records().size(), 2u);
  const lab::DialogRecord box = Records()[0];
  EXPECT_EQ(box.title, L"Connector Error");
  EXPECT_EQ(box.end, lab::DialogEnd::kClosedFromOutside);
  EXPECT_GE(box.endedMicros - box.shownMicros, 250000u);
  EXPECT_GE(Records()[1].shownMicros, box.endedMicros);
  EXPECT_EQ(Records()[1].title, L"Compact Now");
}

TEST_F(CompactTest, DialogsAtOnceTogetherWithAWindowThatIsNone) {
  Plan(lab::CompactionPlan()
           .Takes(L"*", 400)
           .Title(L"*", L"compact now")
           .Window(L"*", L"Progress")
           .Dialog(L"*", {lab::DialogTime::kDuring, L"Beside"}));
  bool together = false;
  bool besideAlone = false;
  bool window = false;
  EXPECT_EQ(Compact([&](DWORD thread) {
              const auto titles = TitlesOf(WindowsOf(thread, true));
              together = together || titles.size() == 2;
              besideAlone = besideAlone || titles == std::vector<std::wstring>{L"Beside"};
              for (const auto& title : TitlesOf(WindowsOf(thread, false))) {
                window = window || title == L"Progress";
              }
            }),
            S_OK);
  EXPECT_TRUE(together);
  EXPECT_FALSE(besideAlone);
  EXPECT_TRUE(window);
  ASSERT_EQ(Records().size(), 3u);
  EXPECT_FALSE(Records()[0].isDialog);
  EXPECT_EQ(Records()[1].title, L"compact now");
  for (const lab::DialogRecord& record : Records()) {
    EXPECT_EQ(record.end, lab::DialogEnd::kByItself);
  }
}

TEST_F(CompactTest, ADialogCanTakeNoNoticeOfBeingClosed) {
  Plan(lab::CompactionPlan().Dialog(
      L"*", {.time = lab::DialogTime::kBefore, .title = L"Deaf", .ignoresCloseFor = 300}));
  EXPECT_EQ(Compact(Close(L"Deaf")), S_OK);
  const lab::DialogRecord deaf = Records().at(0);
  EXPECT_EQ(deaf.end, lab::DialogEnd::kClosedFromOutside);
  EXPECT_GE(deaf.endedMicros - deaf.shownMicros, 290000u);
  EXPECT_GE(deaf.closeMicros.size(), 2u);
}

TEST_F(CompactTest, NoDialogAtAll) {
  Plan(lab::CompactionPlan().NoDialog(L"*"));
  EXPECT_EQ(Compact(), S_OK);
  EXPECT_TRUE(IsCompacted());
  EXPECT_TRUE(Records().empty());
}

TEST_F(CompactTest, RulesHoldForTheStoresTheyName) {
  Plan(lab::CompactionPlan().Fails(L"ANN@", 0x80040600).Fails(L"bob@", 0x80004005));
  EXPECT_EQ(Compact(), MAPI_E_CORRUPT_STORE);
  EXPECT_FALSE(IsCompacted());
}

TEST_F(CompactTest, AFailureCanBeReportedInADialogAfterIt) {
  Plan(lab::CompactionPlan()
           .Fails(L"*", 0x80004005)
           .Dialog(L"*", {.time = lab::DialogTime::kAfter, .title = L"Failed", .endsAfter = 100}));
  EXPECT_EQ(Compact(), E_FAIL);
  ASSERT_EQ(Records().size(), 2u);
  EXPECT_EQ(Records()[1].end, lab::DialogEnd::kByItself);
  EXPECT_GE(Records()[1].shownMicros, Records()[0].endedMicros);
}

TEST_F(CompactTest, AStoreThatCannotBeReadIsNotCompacted) {
  Plan(lab::CompactionPlan().Takes(L"*", 60000));
  {
    lab::QsfLock lock(ann_.Path());
    EXPECT_EQ(Compact(), MAPI_E_NO_ACCESS);
  }
  ASSERT_TRUE(lab::DamageQsf(ann_.Path(), lab::QsfDamage::kChecksum));
  EXPECT_EQ(Compact(), MAPI_E_CORRUPT_STORE);
  DeleteFileW(ann_.Path().c_str());
  EXPECT_EQ(Compact(), MAPI_E_NOT_FOUND);
}

TEST_F(CompactTest, TheJournalShowsTheCall) {
  const auto calls = [&] {
    return lab::CallsOf(Journal(), "IMsgServiceAdmin::ConfigureMsgService");
  };
  Plan({});
  EXPECT_EQ(Request(ann_.uid, reinterpret_cast<ULONG_PTR>(GetDesktopWindow())), S_OK);
  ASSERT_EQ(calls().size(), 1u);
  EXPECT_EQ(calls()[0].Argument("parent-is"), "other-process");
  EXPECT_EQ(calls()[0].Argument("tag"), "0x6666000d");
  EXPECT_GE(std::stoul(calls()[0].Argument("gained")), kFreeBytes);
}

TEST_F(CompactTest, AnythingElseIsRefused) {
  unexpected_ = 5;
  Plan({});
  SPropValue request{};
  request.ulPropTag = kRequest;
  EXPECT_EQ(Configure(ann_.uid, 0, SERVICE_UI_ALLOWED, 1, &request), MAPI_E_INVALID_PARAMETER);
  EXPECT_EQ(Configure(ann_.uid, 0, SERVICE_UI_ALWAYS, 0, nullptr), MAPI_E_INVALID_PARAMETER);
  request.Value.i = 1;
  EXPECT_EQ(Configure(ann_.uid, 0, SERVICE_UI_ALWAYS, 1, &request), MAPI_E_INVALID_PARAMETER);
  request = {};
  request.ulPropTag = 0x66660003;
  EXPECT_EQ(Configure(ann_.uid, 0, SERVICE_UI_ALWAYS, 1, &request), MAPI_E_INVALID_PARAMETER);
  EXPECT_EQ(Request(profile_.AddEmbeddedStore(L"bob@example.com", ann_).uid), MAPI_E_NO_SUPPORT);
  EXPECT_EQ(Request(lab::Uid{}), MAPI_E_NOT_FOUND);
  EXPECT_FALSE(IsCompacted());
}

TEST(CompactionPlanTest, TextAndBack) {
  const std::string text =
      "# a comment\r\n"
      "* takes 50\r\n"
      "\"ann@\" fails 0x80004005\r\n"
      "* title \"compact now\"\r\n"
      "* ignores-close 20\r\n"
      "bob no-dialog\r\n"
      "* dialog during \"Two words\" ends 300 ignores-close 100\r\n"
      "* window Progress\r\n";
  lab::CompactionPlan plan;
  ASSERT_TRUE(plan.Parse(text));
  lab::CompactionPlan again;
  ASSERT_TRUE(again.Parse(plan.Format()));
  EXPECT_EQ(again.Format(), plan.Format());
  EXPECT_EQ(plan.Rules().size(), 7u);
  EXPECT_EQ(plan.For(L"Ann@example.com").result, 0x80004005u);
  EXPECT_TRUE(plan.For(kAnn).withDialog);
  EXPECT_FALSE(plan.For(L"bob@example.com").withDialog);
  ASSERT_EQ(plan.For(kAnn).dialogs.size(), 1u);
  EXPECT_EQ(plan.For(kAnn).dialogs[0].endsAfter, 300u);
  for (const char* wrong : {"* takes", "* takes long", "* dialog sometime T",
                            "* dialog before T ends", "* no-dialog 1", "* dances 1", "ann"}) {
    std::string error;
    EXPECT_FALSE(lab::CompactionPlan().Parse(wrong, &error)) << wrong;
    EXPECT_EQ(error, wrong);
  }
}

}  // namespace
