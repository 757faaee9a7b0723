// The frame of the tests that feed the tool what nobody would: in an installation on which every
// command works, each case is a run with an input of its own, and some run side by side.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "tests/e2e/run_frame.h"
#include "tests/proof/generated.h"
#include "tests/proof/known_lines.h"

namespace e2e {

struct HostileCase {
  Words arguments;
  RunOptions options = {};
  // What failed when it fails, to make a fixed test of.
  std::string shown = {};
  // What is to be said of this run beyond what holds for all.
  std::function<void(const RunResult&)> judge = {};
  // That of a program which says by it how it went.
  DWORD exitCode = 0;
};

// The cases of a row are shared out among tests so that those can run side by side.
class HostileTest : public RunTest, public ::testing::WithParamInterface<uint32_t> {
 protected:
  static constexpr uint32_t kShares = 4;
  static constexpr size_t kRunsAtATime = 4;

  using MakeCase = std::function<HostileCase(proof::Random&, uint32_t index)>;

  RunOptions Prepare(RunOptions options) const override {
    if (options.program.empty()) options.program = ShippedProgram();
    options.timeout = std::chrono::minutes(5);
    return RunTest::Prepare(std::move(options));
  }

  // Runs this share of `whole` cases, of `sample` when not all are to run.
  void RunCases(const char* row, uint32_t whole, uint32_t sample, const MakeCase& make,
                size_t atATime = kRunsAtATime) {
    const uint32_t count = proof::IsWhole() ? whole : sample;
    uint32_t ran = 0;
    for (uint32_t index = GetParam(); index < count && !HasFailure();) {
      std::vector<uint32_t> batch;
      for (; batch.size() < atATime && index < count; index += kShares) batch.push_back(index);
      RunBatch(row, batch, make);
      ran += static_cast<uint32_t>(batch.size());
    }
    proof::Record(row, ran);
  }

  // A name for a profile of the case's own.
  static std::wstring ProfileName(uint32_t index) { return L"P" + std::to_wstring(index); }

  static std::string Shown(const Words& words) {
    std::string shown;
    for (const std::wstring& word : words) shown += " [" + Hex(word) + "]";
    return shown;
  }
  // A text that can be copied: printable ASCII as it is, everything else as \x and its number.
  static std::string Hex(const std::wstring& text) {
    std::string shown;
    for (const wchar_t c : text) {
      if (c >= L' ' && c < 0x7F) {
        shown += static_cast<char>(c);
      } else {
        shown += "\\x" + lab::HexNumber(c).substr(2) + ";";
      }
    }
    return shown;
  }

  // The last line, without its end.
  static void ExpectLast(const RunResult& result, const std::string& line) {
    EXPECT_TRUE(result.output == line + "\r\n" || result.output.ends_with("\r\n" + line + "\r\n"))
        << Visible(result.output);
  }

 private:
  void RunBatch(const char* row, const std::vector<uint32_t>& batch, const MakeCase& make) {
    std::vector<HostileCase> cases;
    for (const uint32_t index : batch) {
      proof::Random random(row, index);
      cases.push_back(make(random, index));
    }
    std::vector<RunningProgram> programs;
    for (const HostileCase& each : cases) {
      programs.push_back(StartAdmin(each.arguments, each.options));
      programs.back().Write(each.options.input);
      programs.back().CloseStdin();
    }
    for (size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE("case " + std::to_string(batch[i]) + ": " + cases[i].shown);
      Judge(cases[i], programs[i].Wait());
    }
    SCOPED_TRACE("one of the cases from " + std::to_string(batch[0]) + " on: " + cases[0].shown);
    if (!HasFailure()) ClearJournal();
  }

  static void Judge(const HostileCase& each, const RunResult& result) {
    EXPECT_EQ(result.exitCode, each.exitCode);
    EXPECT_EQ(result.errorOutput, "");
    if (each.judge) each.judge(result);
    if (HasFailure()) std::cout << Visible(result.output.substr(0, 4000)) << '\n';
  }
};

// That each line is whole and has a form that the tool has.
inline void ExpectKnownLines(const RunResult& result) {
  for (const std::string& line : Lines(result.output)) {
    EXPECT_TRUE(proof::IsKnownLine(line)) << Visible(line);
  }
}

inline constexpr auto kByShare = [](const auto& test) {
  return "Share" + std::to_string(test.param);
};

}  // namespace e2e
