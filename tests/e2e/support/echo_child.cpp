// A program that the tests of the test harness start. Its first argument says what it does:
//   echo ARGUMENT...     prints every argument in brackets
//   name                 prints the name that it was started under
//   exit CODE            ends with the code
//   cat                  copies standard input to standard output
//   environment NAME     prints the variable's value
//   sleep MS             prints "sleeping" and ends after that time
//   control              prints "ready", then each control event, until the second
//   spawn                starts `sleep` as a process of its own and ends, leaving it behind
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/text.h"

namespace {

constexpr int kUnknownCommand = 99;

std::atomic<int> controlEvents = 0;

void Print(std::string_view line) {
  std::cout << line << "\r\n";
  std::cout.flush();
}

BOOL WINAPI OnControlEvent(DWORD event) {
  Print(event == CTRL_C_EVENT ? "Ctrl+C" : "Ctrl+Break");
  ++controlEvents;
  return TRUE;
}

int WaitForControlEvents() {
  SetConsoleCtrlHandler(OnControlEvent, TRUE);
  Print("ready");
  while (controlEvents < 2) {
    Sleep(5);
  }
  return 0;
}

int Echo(const std::vector<std::wstring>& words) {
  for (const std::wstring& word : words) {
    Print("[" + lab::Utf8FromWide(word) + "]");
  }
  return 0;
}

int CopyInput() {
  std::cout << std::string(std::istreambuf_iterator<char>(std::cin), {});
  return 0;
}

int PrintVariable(const std::wstring& name) {
  const wchar_t* value = _wgetenv(name.c_str());
  Print(value ? lab::Utf8FromWide(value) : "unset");
  return 0;
}

int SleepFor(const std::wstring& duration) {
  Print("sleeping");
  Sleep(static_cast<DWORD>(std::stoul(duration)));
  return 0;
}

int LeaveProcessBehind(const std::wstring& program) {
  std::wstring commandLine = L"\"" + program + L"\" sleep 60000";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  // No standard handles: they would be passed on.
  startup.dwFlags = STARTF_USESTDHANDLES;
  PROCESS_INFORMATION information = {};
  CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                 &startup, &information);
  Print(std::to_string(information.dwProcessId));
  return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stdin), _O_BINARY);
  const std::wstring command = argc > 1 ? argv[1] : L"";
  const std::wstring value = argc > 2 ? argv[2] : L"";
  if (command == L"echo") return Echo(std::vector<std::wstring>(argv + 2, argv + argc));
  if (command == L"name") return Echo({argv[0]});
  if (command == L"exit") return std::stoi(value);
  if (command == L"cat") return CopyInput();
  if (command == L"environment") return PrintVariable(value);
  if (command == L"sleep") return SleepFor(value);
  if (command == L"control") return WaitForControlEvents();
  if (command == L"spawn") return LeaveProcessBehind(argv[0]);
  return kUnknownCommand;
}
