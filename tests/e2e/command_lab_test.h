// The frame of tests that look at command lines: whatever is on one, the program ends by itself
// with exit code 0 and writes nothing to standard error.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {

using Words = std::vector<std::wstring>;

inline Words operator+(Words first, const Words& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// A command line with a name to tell a test by.
struct LineCase {
  const char* name;
  Words words;
};

inline std::ostream& operator<<(std::ostream& stream, const LineCase& value) {
  return stream << value.name;
}

// For INSTANTIATE_TEST_SUITE_P, of cases that have a name.
inline constexpr auto kByName = [](const auto& test) { return std::string(test.param.name); };

class CommandLabTest : public LabTest {
 protected:
  // What the program prints on standard output.
  std::string Run(const Words& arguments, RunOptions options = {}) {
    const RunResult result = RunAdmin(arguments, std::move(options));
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.errorOutput, "");
    return result.output;
  }

  // The same under another name as the first argument of the program.
  std::string RunAs(const std::wstring& programName, const Words& arguments) {
    RunOptions options;
    options.programName = programName;
    return Run(arguments, std::move(options));
  }

  // What a call was given in the runs so far.
  std::vector<std::string> ArgumentsOf(std::string_view call, std::string_view argument) const {
    std::vector<std::string> values;
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
