// Files beyond the spelling of their paths. May be called from any thread.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace platform {

// The same file as `path` in the form that the system takes to the letter, which begins with \\?\.
// What is appended to it keeps blanks and dots at its end, and is never a device. `path` itself is
// read the usual way, from the current directory too, and comes back as it is when it cannot be.
std::wstring VerbatimPath(const std::wstring& path);

// What a file is, however its path is spelled: its volume's serial number, and its index there.
using FileIdentity = std::pair<std::uint32_t, std::uint64_t>;

// What the system says of an open file, as an identity; nothing when its file system tells none.
std::optional<FileIdentity> IdentityIn(const BY_HANDLE_FILE_INFORMATION& information);

// The identity of the file that `path` names; nothing when it cannot be opened for its attributes,
// or when its file system tells none.
std::optional<FileIdentity> IdentityOf(const std::wstring& path);

}  // namespace platform
