// Files as an installation's folders hold them: big ones, old ones, those beside a store file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// Replaces or creates the file with `size` bytes of zero that take no room on the disk where the
// file system knows such files. It is no sound store file, whatever its name. False (GetLastError
// tells) when that fails.
bool WriteFileOfSize(const std::wstring& path, uint64_t size);

// A time of day in UTC.
struct UtcTime {
  uint16_t year = 1601;
  uint16_t month = 1;
  uint16_t day = 1;
  uint16_t hour = 0;
  uint16_t minute = 0;
  uint16_t second = 0;

  bool operator==(const UtcTime&) const = default;
};

// "2024-02-29 23:59:58", and back; none when `text` is no such time.
std::string FormatUtcTime(const UtcTime& time);
std::optional<UtcTime> ParseUtcTime(std::string_view text);

// When the file was last read from. Setting it leaves the other times alone; reading or writing the
// file afterwards may change it.
bool SetLastAccess(const std::wstring& path, const UtcTime& time);
std::optional<UtcTime> LastAccess(const std::wstring& path);

// Writes a small file for each suffix and returns their paths; files that cannot be written are
// left out. They lie beside the store file under its base name; a path without ".qsf" is taken
// whole as that.
std::vector<std::wstring> WriteCompanions(const std::wstring& storeFile,
                                          const std::vector<std::wstring>& suffixes = {
                                              L".qsf.lock", L".idx", L".log"});

// The names of the directory's files, its directories left out, in the order of their characters.
std::vector<std::wstring> FilesIn(const std::wstring& directory);

}  // namespace lab
