#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "lab/stub/stub_plan.h"
#include "lab/tests/store_file.h"

namespace lab {
namespace {

TEST(RepairPlan, ComesBackAsItWasWritten) {
  RepairPlan plan;
  plan.options.scanTime = 3000;
  plan.options.afterCancel = AfterCancel::kContinue;
  RepairOptions& ann = plan.File(L"ann \"x\".qsf");
  ann.errorText = L"Disk \u20AC on fire.";
  ann.window = false;
  RepairPlan back;
  ASSERT_TRUE(back.Parse(plan.Format()));
  EXPECT_EQ(back.options, plan.options);
  EXPECT_EQ(back.For(L"C:\\qsf\\ANN \"x\".QSF"), ann);
}

TEST(RepairPlan, BlockStartsAsTheHeadAndLeavesOtherFilesAlone) {
  RepairPlan plan;
  ASSERT_TRUE(plan.Parse("# slow\nscan-time 100\nfile ann\noutcome errors\n"));
  EXPECT_EQ(plan.For(L"C:\\ann.qsf").scanTime, 100u);
  EXPECT_EQ(plan.For(L"C:\\ann.qsf").outcome, RepairOutcome::kErrors);
  EXPECT_EQ(plan.For(L"C:\\bob.qsf").outcome, RepairOutcome::kFromFile);
}

TEST(RepairPlan, FileNamedAgainGoesOnWithItsBlock) {
  RepairPlan plan;
  ASSERT_TRUE(plan.Parse("file ann\noutcome errors\n"));
  ASSERT_TRUE(plan.Parse("file ann\nscan-time 100\n"));
  EXPECT_EQ(plan.Format(), "file \"ann\"\nscan-time 100\noutcome errors\n");
}

// Parses lines that are none behind one that is.
template <class Plan>
void ExpectMistakes(const std::string& good, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    std::string error;
    EXPECT_FALSE(Plan().Parse(good + line + "\n", &error)) << line;
    EXPECT_EQ(error, line);
  }
}

TEST(RepairPlan, NamesTheLineThatIsNoOption) {
  ExpectMistakes<RepairPlan>("window yes\n", {"outcome nonsense", "scan-time -1", "scan-time",
                                              "unknown 1", "file", "window maybe"});
}

TEST(StoreCheck, FindsWhatTheFileHas) {
  EXPECT_EQ(ExamineStore(StoreFile().Path()).outcome, RepairOutcome::kSound);
  for (const auto& [damage, outcome] : {std::pair(QsfDamage::kCount, RepairOutcome::kMinor),
                                        {QsfDamage::kChecksum, RepairOutcome::kErrors},
                                        {QsfDamage::kTruncated, RepairOutcome::kErrors},
                                        {QsfDamage::kHeader, RepairOutcome::kErrors}}) {
    EXPECT_EQ(ExamineStore(StoreFile(damage).Path()).outcome, outcome) << QsfDamageText(damage);
  }
}

TEST(StoreCheck, RefusesWhatIsMissingForeignOrInUse) {
  EXPECT_EQ(ExamineStore(L"").outcome, RepairOutcome::kErrorBox);
  EXPECT_EQ(ExamineStore(TemporaryPath(L"none.qsf")).outcome, RepairOutcome::kErrorBox);
  StoreFile file;
  {
    const QsfLock lock(file.Path());
    EXPECT_EQ(ExamineStore(file.Path()).outcome, RepairOutcome::kErrorBox);
  }
  WriteWholeFile(file.Path(), "hello");
  EXPECT_EQ(ExamineStore(file.Path()).outcome, RepairOutcome::kErrorBox);
}

TEST(StoreCheck, RepairKeepsTheDamagedFileAsBackup) {
  const StoreFile file(QsfDamage::kTruncated);
  const auto damaged = ReadWholeFile(file.Path());
  std::wstring text;
  EXPECT_FALSE(BackupExists(file.Path()));
  EXPECT_TRUE(RepairStore(file.Path(), &text));
  EXPECT_EQ(ExamineStore(file.Path()).outcome, RepairOutcome::kSound);
  EXPECT_EQ(ReadWholeFile(BackupPathOf(file.Path())), damaged);
}

TEST(StoreCheck, BackupTakesTheExtensionsPlace) {
  EXPECT_EQ(BackupPathOf(L"C:\\a.b\\ann.x.qsf"), L"C:\\a.b\\ann.x.bak");
  EXPECT_EQ(BackupPathOf(L"C:\\a.b\\ann"), L"C:\\a.b\\ann.bak");
}

JournalEntry Mouse(const char* call, const char* button, const char* wParam) {
  JournalEntry entry;
  entry.call = call;
  entry.object = 1;
  entry.arguments = {{"how", "posted"},
                     {"class", "Button"},
                     {"control", button},
                     {"wParam", wParam},
                     {"lParam", "0x0"}};
  return entry;
}

TEST(RepairControl, ClickIsDownAndUpOnOneButton) {
  const JournalEntry down = Mouse("SCANPST::WM_LBUTTONDOWN", "&Start", "0x1");
  const JournalEntry up = Mouse("SCANPST::WM_LBUTTONUP", "&Start", "0x0");
  const JournalEntry otherUp = Mouse("SCANPST::WM_LBUTTONUP", "OK", "0x0");
  const JournalEntry wrongDown = Mouse("SCANPST::WM_LBUTTONDOWN", "&Start", "0x0");
  using Texts = std::vector<std::string>;
  EXPECT_EQ(RepairClicks({down, up}), Texts({"&Start"}));
  EXPECT_EQ(RepairClicks({down, otherUp}),
            Texts({"?SCANPST::WM_LBUTTONDOWN", "?SCANPST::WM_LBUTTONUP"}));
  EXPECT_EQ(RepairClicks({wrongDown, up}),
            Texts({"?SCANPST::WM_LBUTTONDOWN", "?SCANPST::WM_LBUTTONUP"}));
  EXPECT_EQ(RepairClicks({down}), Texts({"?SCANPST::WM_LBUTTONDOWN"}));
}

TEST(StubPlan, ComesBackAsItWasWritten) {
  StubPlan plan;
  plan.Fail("1033").FailWithPath("1031", "C:\\x.dll").Empty("null").Path("*", "C:\\a b\\y.dll");
  StubPlan back;
  ASSERT_TRUE(back.Parse(plan.Format()));
  EXPECT_EQ(back.Format(), plan.Format());
  EXPECT_FALSE(back.For("1033").succeeds);
  EXPECT_FALSE(back.For("1033").path);
  EXPECT_FALSE(back.For("1031").succeeds);
  EXPECT_EQ(back.For("1031").path, "C:\\x.dll");
  EXPECT_TRUE(back.For(nullptr).succeeds);
  EXPECT_EQ(back.For(nullptr).path, "");
  EXPECT_EQ(back.For("7").path, "C:\\a b\\y.dll");
}

// How many handles of the process are open, of those with small numbers.
int OpenHandles() {
  int open = 0;
  DWORD flags = 0;
  for (uintptr_t number = 4; number < 4000; number += 4) {
    open += GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags) ? 1 : 0;
  }
  return open;
}

// Loads the stub, asks it for a path, and unloads it.
void AskStub() {
  const HMODULE stub = LoadLibraryW(L"stub\\mapistub.dll");
  ASSERT_NE(stub, nullptr);
  using Ask = BOOL(WINAPI*)(const char*, const char*, char*, DWORD, BOOL);
  const auto ask = reinterpret_cast<Ask>(GetProcAddress(stub, "FGetComponentPath"));
  char path[MAX_PATH] = "";
  EXPECT_TRUE(ask("component", nullptr, path, MAX_PATH, FALSE));
  EXPECT_STREQ(path, "C:\\x.dll");
  EXPECT_TRUE(FreeLibrary(stub));
}

TEST(StubModule, IsUnloadedWithAllItsHandles) {
  const std::wstring directory = TemporaryPath(L"stub");
  SetEnvironmentVariableW(L"QRVLAB_DIR", directory.c_str());
  ASSERT_TRUE(StubPlan().Path("null", "C:\\x.dll").Save(directory));
  AskStub();  // what the system itself opens the first time stays open
  const int before = OpenHandles();
  for (int count = 0; count < 3; ++count) AskStub();
  EXPECT_EQ(OpenHandles(), before);
  EXPECT_EQ(CallsOf(ReadJournal(JournalPath(directory)), "FGetComponentPath").size(), 4u);
  std::filesystem::remove_all(directory);
}

TEST(StubPlan, FailsWithoutRule) {
  EXPECT_FALSE(StubPlan().For("1033").succeeds);
  EXPECT_FALSE(StubPlan().For(nullptr).path);
}

TEST(StubPlan, NamesTheLineThatIsNoRule) {
  ExpectMistakes<StubPlan>("* fail\n", {"1033", "1033 path", "1033 empty C:", "1033 nonsense"});
}

}  // namespace
}  // namespace lab
