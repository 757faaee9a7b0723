// Where the lab keeps what it records and reads while programs run in it.
#pragma once

#include <string>

namespace lab {

// The lab's directory: the environment variable QRVLAB_DIR, else the value "Directory" of the
// registry key HKEY_CURRENT_USER\Software\QrvLab, else empty. Without a directory there is no
// journal and no fault plan. Without a trailing backslash; the directory itself may not exist yet.
std::wstring LabDirectory();

// Keeps `directory` in the registry, for programs started without the environment variable.
// An empty one removes the value. False when the registry refuses.
bool SetLabDirectory(const std::wstring& directory);

// `journal.txt` in `directory` (by default the lab's); empty when that is empty.
std::wstring JournalPath(const std::wstring& directory = LabDirectory());

}  // namespace lab
