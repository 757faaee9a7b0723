#include "src/frontend/usage.h"

#include <initializer_list>
#include <iostream>

#include "src/frontend/console.h"
#include "src/frontend/program_name.h"

namespace {

// Option lines that several screens share.
constexpr const wchar_t* kProfileOption = L"\t-p\tThe profile name.";
constexpr const wchar_t* kEmailOption = L"\t-e\temail1 email2 ...";
constexpr const wchar_t* kRestartOption = L"\t-c\tRestart controller service on completion.";
constexpr const wchar_t* kVerboseOption = L"\t-v\tShow verbose output.";

void PrintTexts(std::initializer_list<const wchar_t*> lines) {
  for (const wchar_t* line : lines) std::wcout << line << std::endl;
}

void PrintUsage(const wchar_t* programName, const wchar_t* synopsis,
                std::initializer_list<const wchar_t*> options) {
  std::wcout << programName << synopsis << std::endl << std::endl;
  PrintTexts(options);
}

struct GeneralUsageRow {
  const wchar_t* helpCommand;
  const wchar_t* description;
};

constexpr GeneralUsageRow kGeneralUsageRows[] = {
    {L"-h -checkQsf", L"Check QSFs for errors"},
    {L"-h -scanQsf", L"Scan QSFs and correct errors"},
    {L"-h -compactQsf", L"Compact QSFs"},
    {L"-h -purgeQsf", L"Purge unused QSFs"},
    {L"-h -listAgents", L"List BES agents for a server"},
    {L"-h -assignAgents", L"Assign users to BES agents"},
    {L"-h -listServers", L"List BES servers"},
    {L"-h -findUsers", L"Find users"},
};

}  // namespace

void PrintGeneralUsage(const wchar_t* programName) {
  std::wcout << programName << L" is used for administering a QRV installation." << std::endl
             << std::endl;
  std::wcout << L"To obtain help for specific commands, enter:" << std::endl << std::endl;
  for (const GeneralUsageRow& row : kGeneralUsageRows) {
    PrintLine(L"\t%s %-20s %s", programName, row.helpCommand, row.description);
  }
}

// On purpose the synopses of -checkQsf, -compactQsf, -purgeQsf and -listServers leave out the "-c"
// that their option lists have.

void PrintCheckQsfUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -checkQsf -p profileName [-e email1 email2 ...] [-v]",
             {kProfileOption, kEmailOption, L"\t-c\tRestart controller service, if QSFs are OK.",
              kVerboseOption});
}

void PrintScanQsfUsage(const wchar_t* programName) {
  const bool standalone = IsStandaloneScanName(programName);
  if (standalone) {
    std::wcout << programName << L" utility" << std::endl;
    // "the the" is part of the text.
    PrintTexts({L"---------------",
                L"Utility program for scanning quorvel outlook profile stores using the the\n"
                L"Microsoft Outlook Inbox Repair tool (ScanPST.exe) that comes with outlook,",
                L"and for deleting the store qsf file in order to have it recreated by QRV.", L""});
    std::wcout << L"Usage: " << programName << L" [-h]";
  } else {
    std::wcout << programName << L" -scanQsf";
  }
  PrintTexts({L" [-p profile_name | -d profile_name] [-r] [-m] [-v]", L""});
  if (standalone) PrintTexts({L"\t-h\tShow this help screen."});
  PrintTexts(
      {L"\t-p\tThe profile name to be scanned.", L"\t-d\tThe profile store(s) to be deleted.",
       L"\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.",
       L"\t-m\tScan stores marked as corrupted for this profile."});
  if (!standalone) PrintTexts({kRestartOption});
  PrintTexts({kVerboseOption, L"", L"\tNOTE: -d and -p cannot be used together."});
}

void PrintCompactQsfUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -compactQsf -p profileName [-e email1 email2 ...] [-v]",
             {kProfileOption, kEmailOption, kRestartOption, kVerboseOption});
}

void PrintPurgeQsfUsage(const wchar_t* programName) {
  PrintUsage(
      programName, L" -purgeQsf [-f] [-v]",
      {L"\t-f\tForce a non dry run.", kRestartOption, kVerboseOption, L"",
       L"Unused QSFs are only deleted when the -f flag is used.", L"",
       L"NOTE: This command can only check for unused QSFs within the current Windows user's "
       L"MAPI profiles. Be careful when storing QSFs in a common location which is used by "
       L"multiple Windows users."});
}

void PrintListAgentsUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -listAgents -s server [-v]",
             {L"\t-s\tThe BES server name.", kVerboseOption});
}

void PrintAssignAgentsUsage(const wchar_t* programName) {
  PrintUsage(
      programName, L" -assignAgents -p profileName [-b baseAgentId] [-n numAgents] [-e] [-c] [-v]",
      {kProfileOption, L"\t-b\tThe base agentid.", L"\t-n\tThe number of agents.",
       L"\t-e\tOnly assign agentids to existing MAPI stores.", kRestartOption, kVerboseOption});
}

void PrintListServersUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -listServers [-v]", {L"\t-c\tDisplay user counts.", kVerboseOption});
}

void PrintFindUsersUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -findUsers -p profileName -e email1 email2 ... [-v]",
             {kProfileOption, kEmailOption, kVerboseOption});
}
