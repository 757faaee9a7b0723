// The lab's store files.
//
// A store file is UTF-8 text that a person can read: the line "QSF 1", lines of a key and a value,
// then blocks of messages and of free space, and a last line with the checksum of everything before
// it (CRC-32 in eight hexadecimal digits):
//
//   QSF 1
//   owner ann@example.com
//   entry 0000000038a1bb10...
//   folder BlackBerryHandheldInfo
//   search BlackBerryMsgOnDeviceSearchFolder
//   embedded bob@example.com
//   embedded-folder BlackBerryHandheldInfo         (of the embedded owner named last)
//   embedded-search BlackBerryMsgOnDeviceSearchFolder
//   messages 2                                     (how many message blocks there are)
//   message 512                                    (512 characters and a line end follow)
//   free 4096                                      (as above; compaction drops these)
//   checksum 1c291ca3
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace lab {

struct QsfFolder {
  std::wstring name;
  bool search = false;  // a search folder rather than an ordinary one

  bool operator==(const QsfFolder&) const = default;
};

// A mailbox that lives in a store file: the file's own, or an embedded one.
struct QsfMailbox {
  std::wstring owner;  // the owner's address
  std::vector<QsfFolder> folders;
};

struct QsfContent {
  QsfMailbox main;
  Bytes entryId;
  std::vector<QsfMailbox> embedded;
  std::vector<uint32_t> messageSizes;  // bytes of each message block
  uint32_t freeBytes = 0;              // what compaction gains
};

enum class QsfStatus {
  kOk,
  kMissing,  // there is no such file
  kLocked,   // another process holds it
  kDamaged,
  kFailed,  // anything else, such as a file over 256 MB; GetLastError tells
};

// How a file can be damaged.
enum class QsfDamage {
  kChecksum,   // a message's text has changed
  kTruncated,  // the end is missing
  kHeader,     // the first line is no store file's
  kCount,      // the number of messages is wrong: a minor inconsistency, the file still opens
};

struct QsfProblem {
  QsfDamage damage;
  bool minor = false;
  std::string text;  // for people
};

// Reads the file. kDamaged when it has a problem that is not minor; `content`, which may be null,
// then holds what could still be read.
QsfStatus ReadQsf(const std::wstring& path, QsfContent* content);

// Writes the file anew, sound, with the given content. kLocked or kFailed when that cannot be.
QsfStatus WriteQsf(const std::wstring& path, const QsfContent& content);

// Creates a file that is not there yet, with its directory; kOk also when it exists already.
QsfStatus CreateQsf(const std::wstring& path, const QsfContent& content);

// Adds a folder to the mailbox of `owner` in the file (compared without the case of A to Z; added
// as an embedded one when the file does not hold it). `existed` tells whether it was there.
QsfStatus AddQsfFolder(const std::wstring& path, const std::wstring& owner, const QsfFolder& folder,
                       bool* existed);

// Every problem of the file, empty for a sound one; kMissing and kLocked as for reading.
QsfStatus CheckQsf(const std::wstring& path, std::vector<QsfProblem>* problems);

// Damages a sound file. False when the file cannot be read or written.
bool DamageQsf(const std::wstring& path, QsfDamage damage);

// Writes the file anew from what can still be read of it.
QsfStatus RepairQsf(const std::wstring& path);

// Drops the free space; `gained`, which may be null, receives by how many bytes the file shrank.
QsfStatus CompactQsf(const std::wstring& path, uint64_t* gained);

// The file's size in bytes; none when it is not there.
std::optional<uint64_t> QsfSize(const std::wstring& path);

// Names as labctl takes and prints them: "checksum", "truncated", "header", "count"; "ok" ...
std::optional<QsfDamage> QsfDamageFromText(std::string_view text);
const char* QsfDamageText(QsfDamage damage);
const char* QsfStatusText(QsfStatus status);

// While one lives it holds a store file open so that no other process can open it.
class QsfLock {
 public:
  // The lock is not held when the file is missing or in use: see Held().
  explicit QsfLock(const std::wstring& path);

  bool Held() const { return static_cast<bool>(handle_); }

 private:
  const platform::KernelHandle handle_;
};

}  // namespace lab
