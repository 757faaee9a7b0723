// What a test's code writes to the wide standard output.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

// Takes the place of standard output behind std::wcout for as long as it lives.
class CapturedOutput {
 public:
  CapturedOutput() : previous_(std::wcout.rdbuf(text_.rdbuf())) {}
  ~CapturedOutput() { std::wcout.rdbuf(previous_); }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  // Everything so far; line ends are single line feeds.
  std::wstring Text() const { return text_.str(); }

 private:
  std::wostringstream text_;
  std::wstreambuf* const previous_;
};
