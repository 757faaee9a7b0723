// The frame of tests that look at command lines.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/desktop.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {

// A command line with a name to tell a test by.
struct LineCase : NamedCase {
  Words words;
};

// Each command that refuses to run beside other programs with MAPI, told to start the controller
// service at its end.
inline std::vector<LineCase> ExclusiveCommands() {
  return {{"CheckQsf", "-checkQsf -p Main -c"},
          {"ScanQsf", "-scanQsf -p Main -c"},
          {"CompactQsf", "-compactQsf -p Main -c"},
          {"PurgeQsf", "-purgeQsf -f -c"},
          {"AssignAgents", "-assignAgents -p Main -c"}};
}

class CommandLabTest : public LabTest {
 protected:
  void SetUp() override {
    LabTest::SetUp();
    KeepDesktop();
  }

  // What the program prints under another name as its first argument.
  std::string RunAs(const std::wstring& programName, const Words& arguments) {
    return Run(arguments, {.programName = programName});
  }

  // What a call was given in the runs so far.
  Strings ArgumentsOf(std::string_view call, std::string_view argument) const {
    Strings values;
    for (const lab::JournalEntry& entry : Calls(call)) values.push_back(entry.Argument(argument));
    return values;
  }

  bool MapiWasTouched() const { return !Journal().empty(); }
};

}  // namespace e2e
