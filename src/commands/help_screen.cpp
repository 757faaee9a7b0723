#include "src/commands/help_screen.h"

#include <iostream>

void PrintTexts(std::initializer_list<const wchar_t*> lines) {
  for (const wchar_t* line : lines) std::wcout << line << std::endl;
}

void PrintUsage(const wchar_t* programName, const wchar_t* synopsis,
                std::initializer_list<const wchar_t*> options) {
  std::wcout << programName << synopsis << std::endl << std::endl;
  PrintTexts(options);
}
