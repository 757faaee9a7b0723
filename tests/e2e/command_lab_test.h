// The frame of tests that look at command lines.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {

// A command line with a name to tell a test by.
struct LineCase : NamedCase {
  Words words;
};

class CommandLabTest : public LabTest {
 protected:
  // What the program prints under another name as its first argument.
  std::string RunAs(const std::wstring& programName, const Words& arguments) {
    RunOptions options;
    options.programName = programName;
    return Run(arguments, std::move(options));
  }

  // What a call was given in the runs so far.
  Strings ArgumentsOf(std::string_view call, std::string_view argument) const {
    Strings values;
    for (const lab::JournalEntry& entry : Calls(call)) values.push_back(entry.Argument(argument));
    return values;
  }

  bool MapiWasTouched() const { return !Journal().empty(); }
};

// What -listServers, -listAgents and -assignAgents print of the database where none is installed.
inline std::string NoDatabase() {
  return Text({
      "CBESDatabase::GetConnectionString: Unable to read BES Database properties : 0x80070002",
      "CBESDatabase::Connect: GetConnectionString failed : 0x80070002",
      "CBESDatabase::GetServers: Connect failed : 0x80070002",
  });
}

// What a command prints, `function` being its worker, when it cannot load a profile that does not
// exist.
inline std::string NoProfile(const std::string& function) {
  return Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
               function + ": storeManager LoadCache failed : 0x8004010f"});
}

}  // namespace e2e
