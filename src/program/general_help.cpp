#include "src/program/general_help.h"

#include <iostream>
#include <string>

#include "src/console/console.h"

void PrintGeneralUsage(const wchar_t* programName, std::span<const Command* const> commands) {
  std::wcout << programName << L" is used for administering a QRV installation." << std::endl
             << std::endl;
  std::wcout << L"To obtain help for specific commands, enter:" << std::endl << std::endl;
  for (const Command* command : commands) {
    const std::wstring helpCommand = std::wstring(L"-h ") + command->word;
    PrintLine(L"\t%s %-20s %s", programName, helpCommand.c_str(), command->summary);
  }
}
