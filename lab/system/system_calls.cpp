#include "lab/system/system_calls.h"

#include <windows.h>
// Want windows.h first.
#include <objbase.h>
#include <psapi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "lab/com/runtime.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/system/import_table.h"

// Calling conventions and format checks that some of the functions have and their types have not.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace lab {
namespace {

// What a function returns that fails. But for the code itself, the code is the last error.
enum class Failure { kZero, kOne, kAllBits, kCode, kNever };

// A name as an argument of a template.
template <size_t kSize>
struct FunctionName {
  // NOLINTNEXTLINE(google-explicit-constructor): to be written as a plain text
  consteval FunctionName(const char (&name)[kSize]) { std::copy_n(name, kSize, text); }

  char text[kSize] = {};
};

// Whether all calls are journalled, or those alone that were made to fail.
bool g_journalsAll = false;

// The runtime's start-up makes calls of its own; the program begins where it asks for its output.
constexpr char kBeginning[] = "GetStdHandle";
std::atomic<bool> g_begun = false;

// The bits of an argument or of a result; of what is passed by reference, where it is.
template <class Value>
uint64_t BitsOf(const Value& value) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<uintptr_t>(value);
  } else if constexpr (std::is_class_v<Value>) {
    return reinterpret_cast<uintptr_t>(&value);
  } else {
    return static_cast<uint64_t>(value);
  }
}

std::wstring TextOf(const wchar_t* text) { return text; }
std::wstring TextOf(const char* text) { return WideFromNarrow(text); }

// What the journal and the plan's "match" rules see of a call's arguments.
struct Arguments {
  std::string bits;
  std::wstring text;  // those that are text, with a blank between two

  template <class Value>
  void Add(const Value& value) {
    bits += (bits.empty() ? "" : ",") + HexNumber(BitsOf(value));
    if constexpr (std::is_same_v<Value, const wchar_t*> || std::is_same_v<Value, const char*>) {
      // A low address is an atom or an identifier.
      if (BitsOf(value) > 0xFFFF) text += (text.empty() ? L"" : L" ") + TextOf(value);
    }
  }
};

// One call: it asks the plan, and stands in the journal when it is over. The last error is the
// function's own all the time.
class SystemCall {
 public:
  template <class... Args>
  explicit SystemCall(const char* name, const Args&... args) : lastError_(GetLastError()) {
    if (kBeginning == std::string_view(name)) g_begun = true;
    if (!g_begun) return;
    entry_.startMicros = NowMicros();
    entry_.call = name;
    Arguments arguments;
    (arguments.Add(args), ...);
    entry_.arguments.emplace_back("args", arguments.bits);
    if (!arguments.text.empty())
      entry_.arguments.emplace_back("text", Utf8FromWide(arguments.text));
    code_ = Runtime::Get().Planned(name, arguments.text);
    if (code_) entry_.arguments.emplace_back("injected", "yes");
    SetLastError(lastError_);
  }
  SystemCall(const SystemCall&) = delete;
  SystemCall& operator=(const SystemCall&) = delete;
  ~SystemCall() {
    lastError_ = GetLastError();
    // Memory is asked for more often than anybody would read.
    const bool shown = g_journalsAll && entry_.call != "malloc";
    if (!entry_.call.empty() && (shown || code_)) {
      entry_.endMicros = NowMicros();
      Runtime::Get().Write(entry_);
    }
    SetLastError(lastError_);
  }

  // What the plan has the call fail with.
  const std::optional<uint32_t>& Code() const { return code_; }

  template <class Result>
  Result Returns(Result result) {
    entry_.result = static_cast<uint32_t>(BitsOf(result));
    return result;
  }

 private:
  DWORD lastError_;
  JournalEntry entry_;
  std::optional<uint32_t> code_;
};

// `bits` as what a function returns.
template <class Result>
Result FromBits(intptr_t bits) {
  if constexpr (std::is_pointer_v<Result>) {
    return reinterpret_cast<Result>(bits);
  } else {
    return static_cast<Result>(bits);
  }
}

template <class Result>
Result Fail(Failure failure, uint32_t code) {
  if (failure == Failure::kCode) return FromBits<Result>(static_cast<int32_t>(code));
  SetLastError(code);
  if (failure == Failure::kAllBits) return FromBits<Result>(-1);
  return FromBits<Result>(failure == Failure::kOne ? 1 : 0);
}

// What stands in the place of a function.
template <FunctionName kName, auto kFunction, Failure kFailure, class Type = decltype(kFunction)>
struct Replacement;

template <FunctionName kName, auto kFunction, Failure kFailure, class Result, class... Args>
struct Replacement<kName, kFunction, kFailure, Result(WINAPI*)(Args...)> {
  static Result WINAPI Call(Args... args) {
    SystemCall call(kName.text, args...);
    if constexpr (kFailure == Failure::kNever) {
      return kFunction(args...);
    } else {
      const auto code = call.Code();
      return call.Returns(code ? Fail<Result>(kFailure, *code) : kFunction(args...));
    }
  }
};

struct Function {
  const char* name;
  void* replacement;
};

template <FunctionName kName, auto kFunction, Failure kFailure>
Function Row() {
  return {kName.text, reinterpret_cast<void*>(&Replacement<kName, kFunction, kFailure>::Call)};
}

constexpr auto kZero = Failure::kZero;
constexpr auto kOne = Failure::kOne;
constexpr auto kAllBits = Failure::kAllBits;
constexpr auto kCode = Failure::kCode;
constexpr auto kNever = Failure::kNever;

// What the product calls and what can fail, beside the end of COM. Conversions between code pages
// are not there: they fail for wrong arguments only.
const Function kFunctions[] = {
    Row<"CloseHandle", &CloseHandle, kZero>(),
    Row<"CloseServiceHandle", &CloseServiceHandle, kZero>(),
    Row<"CoCreateInstance", &CoCreateInstance, kCode>(),
    Row<"CoInitialize", &CoInitialize, kCode>(),
    Row<"CoUninitialize", &CoUninitialize, kNever>(),
    Row<"CreateEventW", &CreateEventW, kZero>(),
    Row<"CreateFileW", &CreateFileW, kAllBits>(),
    Row<"CreateProcessW", &CreateProcessW, kZero>(),
    Row<"CreateThread", &CreateThread, kZero>(),
    Row<"DeleteFileW", &DeleteFileW, kZero>(),
    Row<"EnumThreadWindows", &EnumThreadWindows, kZero>(),
    Row<"EnumWindows", &EnumWindows, kZero>(),
    Row<"FileTimeToLocalFileTime", &FileTimeToLocalFileTime, kZero>(),
    Row<"FileTimeToSystemTime", &FileTimeToSystemTime, kZero>(),
    Row<"FindClose", &FindClose, kZero>(),
    Row<"FindFirstFileW", &FindFirstFileW, kAllBits>(),
    Row<"FindNextFileW", &FindNextFileW, kZero>(),
    Row<"FindWindowExW", &FindWindowExW, kZero>(),
    Row<"FormatMessageW", &FormatMessageW, kZero>(),
    Row<"FreeLibrary", &FreeLibrary, kZero>(),
    Row<"GetAtomNameW", &GetAtomNameW, kZero>(),
    Row<"GetClassNameW", &GetClassNameW, kZero>(),
    Row<"GetComputerNameExW", &GetComputerNameExW, kZero>(),
    Row<"GetConsoleMode", &GetConsoleMode, kZero>(),
    Row<"GetFileAttributesW", &GetFileAttributesW, kAllBits>(),
    Row<"GetFileInformationByHandle", &GetFileInformationByHandle, kZero>(),
    Row<"GetFullPathNameW", &GetFullPathNameW, kZero>(),
    Row<"GetModuleFileNameW", &GetModuleFileNameW, kZero>(),
    Row<"GetModuleHandleW", &GetModuleHandleW, kZero>(),
    Row<"GetProcAddress", &GetProcAddress, kZero>(),
    Row<"GetStdHandle", &GetStdHandle, kAllBits>(),
    Row<"GetSystemDirectoryA", &GetSystemDirectoryA, kZero>(),
    Row<"GetTopWindow", &GetTopWindow, kZero>(),
    Row<"GetWindowTextW", &GetWindowTextW, kZero>(),
    Row<"GetWindowThreadProcessId", &GetWindowThreadProcessId, kZero>(),
    Row<"IsBadStringPtrW", &IsBadStringPtrW, kOne>(),
    Row<"IsBadWritePtr", &IsBadWritePtr, kOne>(),
    Row<"K32EnumProcessModules", &K32EnumProcessModules, kZero>(),
    Row<"K32EnumProcesses", &K32EnumProcesses, kZero>(),
    Row<"K32GetModuleBaseNameW", &K32GetModuleBaseNameW, kZero>(),
    Row<"LoadLibraryA", &LoadLibraryA, kZero>(),
    Row<"malloc", &malloc, kZero>(),
    Row<"OpenProcess", &OpenProcess, kZero>(),
    Row<"OpenSCManagerW", &OpenSCManagerW, kZero>(),
    Row<"OpenServiceW", &OpenServiceW, kZero>(),
    Row<"PostMessageW", &PostMessageW, kZero>(),
    Row<"QueryServiceStatusEx", &QueryServiceStatusEx, kZero>(),
    Row<"RegCloseKey", &RegCloseKey, kCode>(),
    Row<"RegEnumKeyExW", &RegEnumKeyExW, kCode>(),
    Row<"RegOpenKeyExA", &RegOpenKeyExA, kCode>(),
    Row<"RegOpenKeyExW", &RegOpenKeyExW, kCode>(),
    Row<"RegQueryInfoKeyW", &RegQueryInfoKeyW, kCode>(),
    Row<"RegQueryValueExA", &RegQueryValueExA, kCode>(),
    Row<"RegQueryValueExW", &RegQueryValueExW, kCode>(),
    Row<"ResetEvent", &ResetEvent, kZero>(),
    Row<"SendMessageW", &SendMessageW, kZero>(),
    Row<"SetConsoleCtrlHandler", &SetConsoleCtrlHandler, kZero>(),
    Row<"SetEvent", &SetEvent, kZero>(),
    Row<"StartServiceW", &StartServiceW, kZero>(),
    Row<"WaitForInputIdle", &WaitForInputIdle, kAllBits>(),
    Row<"WaitForMultipleObjects", &WaitForMultipleObjects, kAllBits>(),
    Row<"WaitForSingleObject", &WaitForSingleObject, kAllBits>(),
    Row<"WriteConsoleW", &WriteConsoleW, kZero>(),
    Row<"WriteFile", &WriteFile, kZero>(),
};

bool Names(const FaultPlan& plan, std::string_view function) {
  return std::any_of(plan.Rules().begin(), plan.Rules().end(),
                     [&](const FaultRule& rule) { return rule.operation == function; });
}

}  // namespace

void TakeSystemCalls() {
  FaultPlan plan;
  const std::wstring directory = LabDirectory();
  if (directory.empty()) return;
  // A line that is no rule is told when the plan is read for good.
  plan.Parse(ReadWholeFile(directory + L'\\' + FaultPlan::kFileName).value_or(""));
  g_journalsAll = plan.JournalsSystem();
  const auto wanted = [&](const Function& function) {
    return g_journalsAll || Names(plan, function.name);
  };
  if (std::none_of(std::begin(kFunctions), std::end(kFunctions), wanted)) return;
  for (const Function& function : kFunctions) {
    void** const import = FindImport(function.name);
    if (import && (wanted(function) || kBeginning == std::string_view(function.name))) {
      SetImport(import, function.replacement);
    }
  }
}

}  // namespace lab
