#include <gtest/gtest.h>

#include "src/commands/scan_qsf.h"
#include "tests/unit/captured_output.h"

namespace {

std::wstring ScanQsfUsage(const wchar_t* programName) {
  const CapturedOutput output;
  kScanQsf.printUsage(programName);
  return output.Text();
}

constexpr const wchar_t* kStandaloneBody =
    L" utility\n"
    L"---------------\n"
    L"Utility program for scanning quorvel outlook profile stores using the the\n"
    L"Microsoft Outlook Inbox Repair tool (ScanPST.exe) that comes with outlook,\n"
    L"and for deleting the store qsf file in order to have it recreated by QRV.\n"
    L"\n";

constexpr const wchar_t* kStandaloneOptions =
    L" [-h] [-p profile_name | -d profile_name] [-r] [-m] [-v]\n"
    L"\n"
    L"\t-h\tShow this help screen.\n"
    L"\t-p\tThe profile name to be scanned.\n"
    L"\t-d\tThe profile store(s) to be deleted.\n"
    L"\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.\n"
    L"\t-m\tScan stores marked as corrupted for this profile.\n"
    L"\t-v\tShow verbose output.\n"
    L"\n"
    L"\tNOTE: -d and -p cannot be used together.\n";

TEST(PrintScanQsfUsage, UnderItsOwnNameIsTheUtilitys) {
  EXPECT_EQ(ScanQsfUsage(L"qsfscan"),
            std::wstring(L"qsfscan") + kStandaloneBody + L"Usage: qsfscan" + kStandaloneOptions);
}

TEST(PrintScanQsfUsage, ShowsTheUtilitysNameAsGiven) {
  EXPECT_EQ(ScanQsfUsage(L"QSFSCAN"),
            std::wstring(L"QSFSCAN") + kStandaloneBody + L"Usage: QSFSCAN" + kStandaloneOptions);
}

TEST(PrintScanQsfUsage, UnderAnyOtherNameIsTheCommands) {
  EXPECT_EQ(ScanQsfUsage(L"foo"),
            L"foo -scanQsf [-p profile_name | -d profile_name] [-r] [-m] [-v]\n"
            L"\n"
            L"\t-p\tThe profile name to be scanned.\n"
            L"\t-d\tThe profile store(s) to be deleted.\n"
            L"\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.\n"
            L"\t-m\tScan stores marked as corrupted for this profile.\n"
            L"\t-c\tRestart controller service on completion.\n"
            L"\t-v\tShow verbose output.\n"
            L"\n"
            L"\tNOTE: -d and -p cannot be used together.\n");
}

TEST(IsStandaloneScanName, TakesAnyLetterCaseOfTheWholeName) {
  EXPECT_TRUE(IsStandaloneScanName(L"qsfscan"));
  EXPECT_TRUE(IsStandaloneScanName(L"QsfSCAN"));
  EXPECT_FALSE(IsStandaloneScanName(L"qsfscan.v2"));
  EXPECT_FALSE(IsStandaloneScanName(L"qsfscan2"));
  EXPECT_FALSE(IsStandaloneScanName(L"qrvadmin"));
  EXPECT_FALSE(IsStandaloneScanName(L""));
}

}  // namespace
