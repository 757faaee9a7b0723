// The exception for system calls that fail deep inside a utility function.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

namespace Quorvel::Util {

// Carries a Win32 error code and a context text. what() joins the context, ": " and the system's
// own description of the code, line end included; for a code that the system does not know it is
// the context alone. The description is fetched on the first call and kept; one thread at a time.
class Win32Error : public std::runtime_error {
 public:
  Win32Error(const std::string& context, DWORD errorCode);
  Win32Error(const Win32Error&) = default;
  ~Win32Error() override = default;

  const char* what() const noexcept override;
  DWORD Code() const noexcept { return errorCode_; }

 private:
  DWORD errorCode_;
  mutable std::string message_;
};

// Returns 0 when `errorCode` is 0 (ERROR_SUCCESS); throws a Win32Error without context otherwise.
DWORD ThrowIfError(DWORD errorCode);

}  // namespace Quorvel::Util
