#include "src/run/run_judge.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using List = std::vector<std::wstring>;

// The judge of a run with these arguments that has printed these lines.
RunJudge Judge(const List& arguments, std::initializer_list<const wchar_t*> lines) {
  RunJudge judge(arguments);
  for (const wchar_t* line : lines) judge.Add(line);
  return judge;
}

// What is wrong with such a run when it has ended by itself; nothing when it was good.
List Trouble(const List& arguments, std::initializer_list<const wchar_t*> lines) {
  const RunJudge judge = Judge(arguments, lines);
  EXPECT_EQ(judge.ReasonNotRun(), nullptr);
  return judge.TroubleAtEnd(0);
}

const List kCheck = {L"-checkQsf", L"-p", L"Outlook"};
const List kScan = {L"-scanQsf", L"-p", L"Outlook"};
const List kCompact = {L"-compactQsf", L"-p", L"Outlook"};
const List kAssign = {L"-assignAgents", L"-p", L"Outlook"};
const List kServers = {L"-listServers"};
const List kGood = {};

TEST(RunJudge, AGoodCheckIsGood) {
  EXPECT_EQ(Trouble(kCheck, {L"CheckQsf: Checking 2 MAPI stores...", L"All stores are OK",
                             L"Shutting down stores...", L"Done"}),
            kGood);
}

TEST(RunJudge, AGoodCheckInAllItsWordsIsGood) {
  EXPECT_EQ(
      Trouble(kCheck, {L"The Control Handler is installed.", L"CheckQsf: Checking 1 MAPI stores...",
                       L"Checking store for 'ann@example.com'", L"All stores are OK",
                       L"Shutting down stores...",
                       L"ServiceStartSvc. Service is already running, currentState=4)",
                       L"Starting BlackBerry Controller Service.", L"Done", L"Exiting."}),
      kGood);
}

TEST(RunJudge, ACheckWantsItsVerdictAndItsEnd) {
  EXPECT_EQ(Trouble(kCheck, {L"CheckQsf: Checking 2 MAPI stores...", L"Done"}),
            List{L"missing: All stores are OK"});
  EXPECT_EQ(Trouble(kCheck, {L"CheckQsf: Checking 2 MAPI stores...", L"All stores are OK"}),
            List{L"missing: Done"});
  EXPECT_EQ(Trouble(kCheck, {}), (List{L"missing: All stores are OK", L"missing: Done"}));
}

TEST(RunJudge, ACheckOfNoStoresIsTrouble) {
  EXPECT_EQ(Trouble(kCheck, {L"CheckQsf: Checking 0 MAPI stores...", L"All stores are OK",
                             L"Shutting down stores...", L"Done"}),
            (List{L"lines of trouble: 1", L"  CheckQsf: Checking 0 MAPI stores..."}));
}

TEST(RunJudge, WhatAWorkerSaysIsTroubleThoughAllStoresAreSaidToBeOk) {
  EXPECT_EQ(
      Trouble(kCheck, {L"CheckQsf: Checking 1 MAPI stores...",
                       L"StoreLogonThread: Failed to open root folder for user 'a' : 0x80004005",
                       L"All stores are OK", L"Shutting down stores...", L"Done"}),
      (List{L"lines of trouble: 1",
            L"  StoreLogonThread: Failed to open root folder for user 'a' : 0x80004005"}));
}

TEST(RunJudge, AScanWantsAnEndForEachFile) {
  EXPECT_EQ(Trouble(kScan, {L"scanning C:\\a.qsf", L"file scan done.", L"scanning C:\\b.qsf",
                            L"file scan done."}),
            kGood);
  EXPECT_EQ(Trouble(kScan, {L"scanning C:\\a.qsf", L"file scan done.", L"scanning C:\\b.qsf"}),
            List{L"missing: file scan done."});
  EXPECT_EQ(Trouble(kScan, {L"scanning C:\\a.qsf"}), List{L"missing: file scan done."});
}

TEST(RunJudge, AScanWithoutMarkedFilesIsGoodAndOneWithoutFilesIsTrouble) {
  EXPECT_EQ(Trouble(kScan, {L"No .qsf files have been marked as corrupt with [Outlook] profile"}),
            kGood);
  EXPECT_EQ(Trouble(kScan, {L"No .qsf files associated with [Outlook] profile"}),
            (List{L"lines of trouble: 1", L"  No .qsf files associated with [Outlook] profile"}));
}

TEST(RunJudge, ADeleteQuestionThatNobodyAnswersIsTrouble) {
  const RunJudge judge =
      Judge({L"-scanQsf", L"-d", L"Outlook"},
            {L"deleting C:\\a.qsf",
             L"Are you sure you want to delete [C:\\a.qsf] ([y]es/[n]o/[c]ancel)?"});
  EXPECT_EQ(judge.ReasonNotRun(), nullptr);
  EXPECT_EQ(judge.Trouble(),
            (List{L"lines of trouble: 2", L"  deleting C:\\a.qsf",
                  L"  Are you sure you want to delete [C:\\a.qsf] ([y]es/[n]o/[c]ancel)?"}));
}

TEST(RunJudge, ACompactionWantsAnEndForEachStore) {
  EXPECT_EQ(Trouble(kCompact,
                    {L"compacting ann", L"Compacting done", L"compacting bob", L"Compacting done"}),
            kGood);
  EXPECT_EQ(Trouble(kCompact, {L"compacting ann", L"Compacting done", L"compacting bob"}),
            List{L"missing: Compacting done"});
}

TEST(RunJudge, AnAssignmentWantsItsEnd) {
  EXPECT_EQ(Trouble(kAssign, {L"Base Agentid=200", L"Number of Agents=2", L"Done"}), kGood);
  EXPECT_EQ(Trouble(kAssign, {L"Base Agentid=200", L"Number of Agents=2"}), List{L"missing: Done"});
}

TEST(RunJudge, TheLastCountOfAnAssignmentDecides) {
  EXPECT_EQ(Trouble(kAssign, {L"Assigned 100 of 250 users ...", L"Assigned 200 of 250 users ...",
                              L"Assigned 250 of 250 users ...", L"Done"}),
            kGood);
  EXPECT_EQ(Trouble(kAssign,
                    {L"Assigned 100 of 250 users ...", L"Assigned 200 of 250 users ...", L"Done"}),
            List{L"not all users: Assigned 200 of 250 users ..."});
  EXPECT_EQ(Trouble(kAssign,
                    {L"Assigned 250 of 250 users ...", L"Assigned 249 of 250 users ...", L"Done"}),
            List{L"not all users: Assigned 249 of 250 users ..."});
}

TEST(RunJudge, TheCountsOfAnAssignmentAreComparedWhole) {
  for (const wchar_t* line : {L"Assigned 1 of 10 users ...", L"Assigned 10 of 1 users ...",
                              L"Assigned 25 of 250 users ...", L"Assigned 5 of 25 users ...",
                              L"Assigned 0 of 1 users ..."}) {
    EXPECT_EQ(Trouble(kAssign, {line, L"Done"}), List{std::wstring(L"not all users: ") + line});
  }
}

TEST(RunJudge, CommandsWithoutWantedLinesAreGoodInSilence) {
  EXPECT_EQ(Trouble(kServers, {}), kGood);
  EXPECT_EQ(Trouble({L"-listAgents", L"-s", L"X"}, {}), kGood);
  EXPECT_EQ(Trouble({L"-findUsers", L"-p", L"Outlook", L"-e", L"ann"}, {}), kGood);
  EXPECT_EQ(Trouble({L"-purgeQsf"}, {}), kGood);
  EXPECT_EQ(Trouble(kCompact, {}), kGood);
}

TEST(RunJudge, LinesOfAnotherCommandAreTroubleAndCountForNothing) {
  EXPECT_EQ(Trouble(kServers, {L"Done"}), (List{L"lines of trouble: 1", L"  Done"}));
  EXPECT_EQ(Trouble(kServers, {L"scanning C:\\a.qsf"}),
            (List{L"lines of trouble: 1", L"  scanning C:\\a.qsf"}));
  EXPECT_EQ(Trouble(kServers, {L"Assigned 1 of 2 users ..."}),
            (List{L"lines of trouble: 1", L"  Assigned 1 of 2 users ..."}));
}

TEST(RunJudge, ALineThatNobodyThoughtOfIsTroubleAndSoIsAnEmptyOne) {
  EXPECT_EQ(Trouble(kServers, {L"Everything went very well"}),
            (List{L"lines of trouble: 1", L"  Everything went very well"}));
  EXPECT_EQ(Trouble(kServers, {L""}), (List{L"lines of trouble: 1", L"  "}));
}

TEST(RunJudge, OfManyLinesOfTroubleTheFirstThreeAreTold) {
  EXPECT_EQ(Trouble(kServers, {L"one", L"Id: 1", L"two", L"three"}),
            (List{L"lines of trouble: 3", L"  one", L"  two", L"  three"}));
  EXPECT_EQ(Trouble(kServers, {L"one", L"two", L"Id: 1", L"three", L"four", L"five"}),
            (List{L"lines of trouble: 5, of which the first", L"  one", L"  two", L"  three"}));
}

TEST(RunJudge, ALineIsCountedAsOftenAsItComes) {
  EXPECT_EQ(Trouble(kServers, {L"same", L"same"}),
            (List{L"lines of trouble: 2", L"  same", L"  same"}));
}

TEST(RunJudge, WhatIsMissingComesBehindTheLinesOfTrouble) {
  EXPECT_EQ(Trouble(kCheck, {L"CStoreManager::LoadCache: AdminServices failed : 0x8004010f"}),
            (List{L"lines of trouble: 1",
                  L"  CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                  L"missing: All stores are OK", L"missing: Done"}));
}

TEST(RunJudge, ARunThatWasStoppedMissesNothing) {
  EXPECT_EQ(Judge(kCheck, {L"CheckQsf: Checking 2 MAPI stores...", L"*User Break"}).Trouble(),
            kGood);
  EXPECT_EQ(Judge(kScan, {L"scanning C:\\a.qsf", L"*User Break", L"file scan error."}).Trouble(),
            (List{L"lines of trouble: 1", L"  file scan error."}));
  EXPECT_EQ(Judge(kAssign, {L"Assigned 1 of 2 users ..."}).Trouble(), kGood);
}

TEST(RunJudge, ABreakThatNobodyAskedForIsTrouble) {
  EXPECT_EQ(Trouble(kServers, {L"Id: 1", L"*User Break"}), List{L"*User Break"});
}

TEST(RunJudge, AnExitCodeThatTheToolDoesNotHaveIsTrouble) {
  const RunJudge judge = Judge(kServers, {L"Id: 1", L"MachineName: X", L" "});
  EXPECT_EQ(judge.TroubleAtEnd(0), kGood);
  EXPECT_EQ(judge.TroubleAtEnd(1), List{L"qrvadmin ended with the code 0x1"});
  EXPECT_EQ(judge.TroubleAtEnd(0xC0000005), List{L"qrvadmin ended with the code 0xc0000005"});
  EXPECT_EQ(judge.TroubleAtEnd(0xFFFFFFFF), List{L"qrvadmin ended with the code 0xffffffff"});
  EXPECT_EQ(judge.Trouble(), kGood);
}

TEST(RunJudge, AllKindsOfTroubleAreToldTogether) {
  const RunJudge judge = Judge(kAssign, {L"strange", L"Assigned 1 of 2 users ...", L"*User Break"});
  EXPECT_EQ(judge.TroubleAtEnd(9), (List{L"lines of trouble: 1", L"  strange", L"missing: Done",
                                         L"not all users: Assigned 1 of 2 users ...",
                                         L"*User Break", L"qrvadmin ended with the code 0x9"}));
}

TEST(RunJudge, AHelpScreenIsNoRunAndAllItsLinesBelongToIt) {
  const RunJudge judge =
      Judge({L"-checkQsf"}, {L"qrvadmin -checkQsf -p profileName [-e email1 email2 ...] [-v]", L"",
                             L"\t-p\tThe profile name.", L"\t-v\tShow verbose output."});
  EXPECT_STREQ(judge.ReasonNotRun(), L"a help screen");
  EXPECT_EQ(judge.Trouble(), kGood);
}

TEST(RunJudge, TheNamesUnderMapiInUseBelongToIt) {
  const RunJudge judge =
      Judge(kCheck, {L"MAPI is in use. Please close the following applications and try again:",
                     L"OUTLOOK.EXE", L"other.exe", L"Done", L"Exiting."});
  EXPECT_STREQ(judge.ReasonNotRun(), L"MAPI is in use");
  EXPECT_EQ(judge.Trouble(), kGood);
}

TEST(RunJudge, MapiThatCannotBeInitialisedIsNoRun) {
  const RunJudge judge =
      Judge(kCheck, {L"Failed to initialize MAPI. are you using the right 64/32 bitness?"});
  EXPECT_STREQ(judge.ReasonNotRun(), L"MAPI cannot be initialized");
}

TEST(RunJudge, OnlyTheFirstLineSaysThatARunDidNotComeAbout) {
  EXPECT_EQ(Trouble(kServers,
                    {L"Id: 1",
                     L"MAPI is in use. Please close the following applications and try again:"}),
            (List{L"lines of trouble: 1",
                  L"  MAPI is in use. Please close the following applications and try again:"}));
  EXPECT_EQ(Trouble(kServers, {L"strange", L"qrvadmin -listServers [-v]"}),
            (List{L"lines of trouble: 2", L"  strange", L"  qrvadmin -listServers [-v]"}));
  EXPECT_EQ(Trouble(kServers, {L"*User Break", L"qrvadmin -listServers [-v]"}),
            (List{L"lines of trouble: 1", L"  qrvadmin -listServers [-v]", L"*User Break"}));
}

TEST(RunJudge, OfSeveralCommandsTheOneThatTheToolTakesCounts) {
  EXPECT_EQ(Trouble({L"-listServers", L"-CHECKQSF", L"-p", L"Outlook"},
                    {L"CheckQsf: Checking 2 MAPI stores...", L"All stores are OK"}),
            List{L"missing: Done"});
}

}  // namespace
