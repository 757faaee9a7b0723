#include "src/run/run_options.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <span>
#include <string_view>

#include "src/console/console.h"

namespace {

using Arguments = std::span<const wchar_t* const>;

constexpr double kMostMinutes = 10000;
constexpr double kMillisecondsPerMinute = 60000;

// Digits with or without a decimal point; nothing for any other text and for what is out of range.
std::optional<std::uint32_t> ReadMinutes(const std::wstring& text) {
  if (text.empty() || text.find_first_not_of(L"0123456789.") != text.npos) return std::nullopt;
  wchar_t* end = nullptr;
  const double minutes = std::wcstod(text.c_str(), &end);
  if (*end || !(minutes > 0 && minutes <= kMostMinutes)) return std::nullopt;
  return static_cast<std::uint32_t>(std::max(1.0, std::round(minutes * kMillisecondsPerMinute)));
}

class OptionReader {
 public:
  explicit OptionReader(Arguments arguments) : rest_(arguments) {}

  ParsedOptions Read() {
    if (NextIs(L"-h")) {
      parsed_.help = true;
      return std::move(parsed_);
    }
    while (parsed_.fault.empty() && TakeSwitch()) {
    }
    parsed_.options.toolArguments.assign(rest_.begin(), rest_.end());
    if (parsed_.fault.empty() && rest_.empty()) parsed_.fault = L"no command (-h shows help)";
    return std::move(parsed_);
  }

 private:
  // Whether the next argument is this switch. In another letter case it is a fault.
  bool NextIs(const wchar_t* text) {
    if (rest_.empty() || _wcsicmp(rest_.front(), text) != 0) return false;
    if (wcscmp(rest_.front(), text) == 0) return true;
    parsed_.fault = std::wstring(L"the switch ") + rest_.front() + L" is written " + text;
    return false;
  }

  // False when the next argument is the tool's, or a fault.
  bool TakeSwitch() {
    if (NextIs(L"--")) {
      Advance();
      return false;
    }
    if (NextIs(L"-quiet")) {
      parsed_.options.quiet = true;
      Advance();
      return true;
    }
    if (NextIs(L"-log")) return TakeLog();
    if (NextIs(L"-timeout")) return TakeTimeout();
    return false;
  }

  bool TakeLog() {
    parsed_.options.logPath = TakeValue();
    const std::wstring& path = parsed_.options.logPath;
    // A switch in its place is a name that was forgotten.
    if (path.empty() || path.front() == L'-') parsed_.fault = L"-log wants the name of a file";
    return true;
  }

  bool TakeTimeout() {
    parsed_.options.timeoutMilliseconds = ReadMinutes(TakeValue());
    if (!parsed_.options.timeoutMilliseconds) {
      parsed_.fault = L"-timeout wants minutes, above 0 and at most 10000";
    }
    return true;
  }

  // The argument behind the next one, empty when there is none.
  std::wstring TakeValue() {
    Advance();
    if (rest_.empty()) return {};
    std::wstring value = rest_.front();
    Advance();
    return value;
  }

  void Advance() { rest_ = rest_.subspan(1); }

  Arguments rest_;
  ParsedOptions parsed_;
};

}  // namespace

ParsedOptions ParseRunOptions(int argc, const wchar_t* const* argv) {
  return OptionReader(argc < 2 ? Arguments() : Arguments(argv + 1, static_cast<size_t>(argc) - 1))
      .Read();
}

void PrintRunHelp() {
  for (const wchar_t* line :
       {L"qrvrun [-log file] [-timeout minutes] [-quiet] command [argument ...]", L"",
        L"Runs \"qrvadmin command [argument ...]\" unattended, and tells by its exit code how it "
        L"went.",
        L"", L"\t-log\tAppend all lines to this file, each with its time.",
        L"\t-timeout\tStop the run after so many minutes (decimals allowed).",
        L"\t-quiet\tDo not show the lines of qrvadmin.",
        L"\t--\tWhat follows is for qrvadmin, whatever it is.", L"",
        L"\t0\tGood: all lines are those of a good run, and none is missing.",
        L"\t1\tNot run: a help screen, MAPI is in use or cannot be had, or another qrvrun is at "
        L"work.",
        L"\t2\tTrouble: another line, or one that is missing.", L"\t3\tTime ran out.",
        L"\t4\tCtrl+C.",
        L"\t5\tqrvrun itself: its switches, its log, or qrvadmin.exe beside it."}) {
    PrintText(line);
  }
}
