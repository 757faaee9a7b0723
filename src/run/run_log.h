// The log of unattended runs.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "src/platform/handle.h"

// A moment as the log has it: local time and its offset, "2026-11-21T23:05:09.123+01:00".
std::wstring LocalTimeText(const FILETIME& utc);

// A file to which lines are appended, in UTF-8 without a mark, each behind its time and ended by CR
// LF. Others may read it, and append to it, meanwhile. One thread at a time.
class RunLog {
 public:
  // Opens the file, which is made when it is not there. 0, or the system's error.
  DWORD Open(const std::wstring& path);

  // Writes a line; when it returns, the line is in the file. Does nothing without a file, and after
  // the first line that could not be written: nobody shall wait for a lost network with each.
  void Write(std::wstring_view line);

  // Why lines are missing: the system's error, or 0.
  DWORD Error() const { return error_; }

 private:
  platform::KernelHandle file_;
  DWORD error_ = ERROR_SUCCESS;
};
