#include "src/run/tool_process.h"

#include <array>

#include "src/platform/text.h"

namespace {

using platform::KernelHandle;

// The path of this program's own file.
std::wstring OwnPath() {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  while (length == path.size()) {
    path.resize(2 * path.size());
    length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  }
  path.resize(length);
  return path;
}

std::wstring Quote(const std::wstring& argument) {
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == argument.npos) return argument;
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t character : argument) {
    // A backslash means itself unless a quote comes behind it.
    if (character == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

// A job whose processes end when its last handle is closed, and without a box when they crash.
KernelHandle MakeJob() {
  KernelHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  if (!SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits,
                               sizeof(limits))) {
    return {};
  }
  return job;
}

// What the tool is given for its standard handles.
struct ToolStreams {
  KernelHandle input;
  KernelHandle output;
};

SECURITY_ATTRIBUTES Inheritable() { return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE}; }

KernelHandle OpenEmptyInput() {
  SECURITY_ATTRIBUTES inheritable = Inheritable();
  return platform::TakeFileHandle(CreateFileW(L"NUL", GENERIC_READ,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                              OPEN_EXISTING, 0, nullptr));
}

// The end of a new pipe to read from, and in `write` the one to write to.
KernelHandle MakePipe(KernelHandle& write) {
  constexpr DWORD kPipeSize = 65536;
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  SECURITY_ATTRIBUTES inheritable = Inheritable();
  if (!CreatePipe(&readEnd, &writeEnd, &inheritable, kPipeSize)) return {};
  write = KernelHandle(writeEnd);
  return KernelHandle(readEnd);
}

// What a process is created with beyond its startup information: the job it is in from its first
// instruction, and the only handles that it inherits.
class StartAttributes {
 public:
  StartAttributes(HANDLE job, const ToolStreams& streams)
      : job_(job), inherited_{streams.input.Get(), streams.output.Get()} {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, kCount, 0, &size);
    bytes_.resize(size);
    if (!InitializeProcThreadAttributeList(Get(), kCount, 0, &size)) bytes_.clear();
  }
  ~StartAttributes() {
    if (!bytes_.empty()) DeleteProcThreadAttributeList(Get());
  }
  StartAttributes(const StartAttributes&) = delete;
  StartAttributes& operator=(const StartAttributes&) = delete;

  bool Fill() {
    return !bytes_.empty() &&
           UpdateProcThreadAttribute(Get(), 0, PROC_THREAD_ATTRIBUTE_JOB_LIST, &job_, sizeof(job_),
                                     nullptr, nullptr) &&
           UpdateProcThreadAttribute(Get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited_.data(),
                                     sizeof(inherited_), nullptr, nullptr);
  }

  LPPROC_THREAD_ATTRIBUTE_LIST Get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
  }

 private:
  static constexpr DWORD kCount = 2;

  HANDLE job_;
  std::array<HANDLE, 2> inherited_;
  std::vector<char> bytes_;
};

}  // namespace

std::wstring ToolPath() {
  const std::wstring own = OwnPath();
  return own.substr(0, own.size() - platform::FileNamePart(own).size()) + L"qrvadmin.exe";
}

std::wstring CommandLineOf(const std::wstring& program,
                           const std::vector<std::wstring>& arguments) {
  // A path has no quotes in it, and a backslash at its end is none of a program's.
  std::wstring line = L'"' + program + L'"';
  for (const std::wstring& argument : arguments) line += L' ' + Quote(argument);
  return line;
}

DWORD ToolProcess::Start(const std::wstring& path, const std::vector<std::wstring>& arguments) {
  job_ = MakeJob();
  ToolStreams streams;
  streams.input = OpenEmptyInput();
  output_ = MakePipe(streams.output);
  StartAttributes attributes(job_.Get(), streams);
  if (!job_ || !streams.input || !output_ || !attributes.Fill()) return GetLastError();

  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = streams.input.Get();
  startup.StartupInfo.hStdOutput = streams.output.Get();
  startup.StartupInfo.hStdError = streams.output.Get();
  startup.lpAttributeList = attributes.Get();
  PROCESS_INFORMATION created = {};
  std::wstring commandLine = CommandLineOf(path, arguments);
  if (!CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                      CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                      &startup.StartupInfo, &created)) {
    return GetLastError();
  }
  const KernelHandle thread(created.hThread);
  process_ = KernelHandle(created.hProcess);
  processId_ = created.dwProcessId;
  return ERROR_SUCCESS;
}

std::string_view ToolProcess::ReadOutput() {
  constexpr size_t kPieceSize = 65536;
  buffer_.resize(kPieceSize);
  DWORD read = 0;
  // An empty piece is what a writer of nothing leaves.
  do {
    if (!ReadFile(output_.Get(), buffer_.data(), static_cast<DWORD>(buffer_.size()), &read,
                  nullptr)) {
      return {};
    }
  } while (read == 0);
  return {buffer_.data(), read};
}

void ToolProcess::EndAll() {
  constexpr UINT kEnded = 1;
  constexpr DWORD kEndMilliseconds = 10000;
  TerminateJobObject(job_.Get(), kEnded);
  WaitForSingleObject(process_.Get(), kEndMilliseconds);
}

DWORD ToolProcess::ExitCode() const {
  DWORD code = 0;
  GetExitCodeProcess(process_.Get(), &code);
  return code;
}
