// The program file's own name, in letters of the code page and others.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

class ProgramNamesTest : public CommandLabTest {
 protected:
  // What a copy of the program of that name prints, in that folder.
  std::string RunCopy(const std::wstring& folder, const std::wstring& name,
                      const Words& arguments) {
    RunOptions options;
    std::filesystem::create_directories(StorePath(folder));
    options.program = CopyShippedProgram(StorePath(folder), name + L".exe");
    return Run(arguments, options);
  }
};

TEST_F(ProgramNamesTest, HelpScreensShowThem) {
  std::vector<Name> names = LettersOfCodePage().hard;
  names.push_back({kLacking, kLacking});
  for (const Name& name : names) {
    const std::string shown = Utf8FromWide(name.written);
    EXPECT_EQ(RunCopy(name.written, name.written, {}), GeneralUsage(shown));
    EXPECT_EQ(RunCopy(name.written, name.written, "-checkQsf"), CheckQsfUsage(shown));
    EXPECT_EQ(RunCopy(name.written, L"qsfscan", {}), QsfScanUsage());
  }
}

}  // namespace
}  // namespace e2e
