// A program that the tests of the test harness start. Its first argument says what it does:
//   echo ARGUMENT...     prints every argument in brackets
//   name                 prints the name that it was started under
//   exit CODE            ends with the code
//   cat                  copies standard input to standard output
//   environment NAME     prints the variable's value
//   sleep MS             prints "sleeping" and ends after that time
//   control              prints "ready", then each control event, until the second
//   spawn                starts `sleep` as a process of its own and ends, leaving it behind
//   leave                the same, with its own standard handles
//   say LINE...          prints every argument as a line, up to one that begins with "-"
//   begin TEXT           prints the text without a line end
//   complain TEXT        prints the text as a line on standard error
//   count NUMBER         prints the lines "line 1", "line 2" and so on
//   refuse               starts `sleep`, prints "ready", and takes no notice of Ctrl+C
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

int LeaveProcessBehind(const std::wstring& program, bool withHandles) {
  std::wstring commandLine = L"\"" + program + L"\" sleep 60000";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  // Without any of their own they would be passed on all the same.
  startup.dwFlags = STARTF_USESTDHANDLES;
  if (withHandles) {
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  }
  PROCESS_INFORMATION information = {};
  CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, withHandles, 0, nullptr,
                 nullptr, &startup, &information);
  Print(std::to_string(information.dwProcessId));
  return 0;
}

int Say(const std::vector<std::wstring>& words) {
  for (const std::wstring& word : words) {
    if (word.starts_with(L'-')) break;
    Print(lab::Utf8FromWide(word));
  }
  return 0;
}

int Begin(const std::wstring& text) {
  std::cout << lab::Utf8FromWide(text) << std::flush;
  return 0;
}

int Complain(const std::wstring& text) {
  std::cerr << lab::Utf8FromWide(text) << "\n" << std::flush;
  return 0;
}

int Count(const std::wstring& number) {
  const unsigned long last = std::stoul(number);
  for (unsigned long i = 1; i <= last; ++i) std::cout << "line " << i << "\r\n";
  std::cout.flush();
  return 0;
}

BOOL WINAPI TakeNoNotice(DWORD /*event*/) { return TRUE; }

int Refuse(const std::wstring& program) {
  SetConsoleCtrlHandler(TakeNoNotice, TRUE);
  LeaveProcessBehind(program, false);
  Print("ready");
  Sleep(INFINITE);
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
  if (command == L"spawn") return LeaveProcessBehind(argv[0], false);
  if (command == L"leave") return LeaveProcessBehind(argv[0], true);
  if (command == L"say") return Say(std::vector<std::wstring>(argv + 2, argv + argc));
  if (command == L"begin") return Begin(value);
  if (command == L"complain") return Complain(value);
  if (command == L"count") return Count(value);
  if (command == L"refuse") return Refuse(argv[0]);
  return kUnknownCommand;
}
