#include "lab/common/qsf_file.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace lab {
namespace {

constexpr char kFirstLine[] = "QSF 1";
// Nothing that the lab writes as a store comes near; a file made to be big is not read into memory.
constexpr uint64_t kLargestSize = 256u << 20;

// Reading and changing a file are several steps, and a process's threads share its files.
std::recursive_mutex g_filesMutex;

constexpr std::array<uint32_t, 256> MakeCrcTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < table.size(); ++i) {
    uint32_t crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    table[i] = crc;
  }
  return table;
}

std::string Checksum(std::string_view data) {
  static constexpr auto kTable = MakeCrcTable();
  uint32_t crc = 0xFFFFFFFFu;
  for (unsigned char c : data) crc = crc >> 8 ^ kTable[(crc ^ c) & 0xFF];
  return HexResult(~crc).substr(2);
}

void AppendBlock(std::string* text, const char* key, uint32_t size, char fill) {
  *text += std::string(key) + ' ' + std::to_string(size) + '\n';
  *text += std::string(size, fill) + '\n';
}

void AppendMailbox(std::string* text, const QsfMailbox& mailbox, const std::string& prefix) {
  for (const QsfFolder& folder : mailbox.folders) {
    *text += prefix + (folder.search ? "search " : "folder ") + Utf8FromWide(folder.name) + '\n';
  }
}

std::string Serialize(const QsfContent& content, size_t messageCount) {
  std::string text = std::string(kFirstLine) + '\n';
  text += "owner " + Utf8FromWide(content.main.owner) + '\n';
  text += "entry " + HexFromBytes(content.entryId) + '\n';
  AppendMailbox(&text, content.main, "");
  for (const QsfMailbox& mailbox : content.embedded) {
    text += "embedded " + Utf8FromWide(mailbox.owner) + '\n';
    AppendMailbox(&text, mailbox, "embedded-");
  }
  text += "messages " + std::to_string(messageCount) + '\n';
  for (uint32_t size : content.messageSizes) AppendBlock(&text, "message", size, 'm');
  if (content.freeBytes != 0) AppendBlock(&text, "free", content.freeBytes, '.');
  return text + "checksum " + Checksum(text) + '\n';
}

// What reading a file's text gives.
struct Reading {
  QsfContent content;
  std::vector<QsfProblem> problems;
  size_t announcedMessages = 0;
  bool ended = false;  // the checksum line was reached
};

void AddProblem(Reading* reading, QsfDamage damage, std::string text) {
  reading->problems.push_back({damage, damage == QsfDamage::kCount, std::move(text)});
}

QsfMailbox* LastEmbedded(QsfContent* content) {
  if (content->embedded.empty()) content->embedded.emplace_back();
  return &content->embedded.back();
}

void ReadHeaderLine(const std::string& key, const std::string& value, Reading* reading) {
  QsfContent& content = reading->content;
  const std::wstring wide = WideFromUtf8(value);
  if (key == "owner") content.main.owner = wide;
  if (key == "entry") content.entryId = BytesFromHex(value).value_or(Bytes());
  if (key == "folder" || key == "search") content.main.folders.push_back({wide, key == "search"});
  if (key == "embedded") content.embedded.push_back({wide, {}});
  if (key == "embedded-folder" || key == "embedded-search") {
    LastEmbedded(&content)->folders.push_back({wide, key == "embedded-search"});
  }
  if (key == "messages") reading->announcedMessages = ParseNumber(value).value_or(0);
}

// Reads the line at `*at`, with its block, and moves `*at` behind it.
void ReadLine(std::string_view text, size_t* at, Reading* reading) {
  const size_t start = *at;
  const size_t end = std::min(text.find('\n', start), text.size());
  const std::string line(text.substr(start, end - start));
  *at = std::min(end + 1, text.size());
  const std::string key = line.substr(0, line.find(' '));
  const std::string value = line.substr(std::min(key.size() + 1, line.size()));
  if (key == "checksum") {
    reading->ended = true;
    if (value != Checksum(text.substr(0, start))) {
      AddProblem(reading, QsfDamage::kChecksum, "the checksum does not fit the content");
    }
  } else if (key == "message" || key == "free") {
    const uint32_t size = ParseNumber(value).value_or(0);
    if (size >= text.size() - *at) return;  // the block's end is missing, and so is the checksum
    *at += size + 1;
    if (key == "free") reading->content.freeBytes += size;
    if (key == "message") reading->content.messageSizes.push_back(size);
  } else {
    ReadHeaderLine(key, value, reading);
  }
}

Reading Parse(std::string_view text) {
  Reading reading;
  const bool header = text.substr(0, text.find('\n')) == kFirstLine;
  if (!header) AddProblem(&reading, QsfDamage::kHeader, "the file does not begin as a store file");
  size_t at = std::min(text.find('\n'), text.size());
  at = std::min(at + 1, text.size());
  while (at < text.size() && !reading.ended) ReadLine(text, &at, &reading);
  if (!reading.ended) AddProblem(&reading, QsfDamage::kTruncated, "the end of the file is missing");
  if (reading.ended && reading.announcedMessages != reading.content.messageSizes.size()) {
    AddProblem(&reading, QsfDamage::kCount, "the number of messages is wrong");
  }
  return reading;
}

QsfStatus StatusOfLastError() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return QsfStatus::kMissing;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return QsfStatus::kLocked;
    default:
      return QsfStatus::kFailed;
  }
}

QsfStatus ReadFileAt(const std::wstring& path, Reading* reading) {
  if (QsfSize(path).value_or(0) > kLargestSize) {
    SetLastError(ERROR_FILE_TOO_LARGE);
    return QsfStatus::kFailed;
  }
  const auto text = ReadWholeFile(path);
  if (!text) return StatusOfLastError();
  *reading = Parse(*text);
  return QsfStatus::kOk;
}

// What the file is, by its problems.
QsfStatus StatusOf(const std::vector<QsfProblem>& problems) {
  const bool opens = std::all_of(problems.begin(), problems.end(),
                                 [](const QsfProblem& problem) { return problem.minor; });
  return opens ? QsfStatus::kOk : QsfStatus::kDamaged;
}

// The mailbox of `owner`, which is entered as an embedded one when the file does not hold it.
QsfMailbox* FindMailbox(QsfContent* content, const std::wstring& owner) {
  if (EqualsFolded(content->main.owner, owner)) return &content->main;
  for (QsfMailbox& mailbox : content->embedded) {
    if (EqualsFolded(mailbox.owner, owner)) return &mailbox;
  }
  content->embedded.push_back({owner, {}});
  return &content->embedded.back();
}

void CreateDirectories(const std::wstring& directory) {
  if (directory.empty() || directory.back() == L':') return;
  if (GetFileAttributesW(directory.c_str()) != INVALID_FILE_ATTRIBUTES) return;
  CreateDirectories(DirectoryOf(directory));
  CreateDirectoryW(directory.c_str(), nullptr);
}

std::string Damaged(std::string text, QsfDamage damage) {
  if (damage == QsfDamage::kHeader) return "???" + text.substr(std::min<size_t>(3, text.size()));
  if (damage == QsfDamage::kTruncated) return text.substr(0, text.size() / 2);
  if (damage == QsfDamage::kCount) {
    const Reading reading = Parse(text);
    return Serialize(reading.content, reading.content.messageSizes.size() + 1);
  }
  // A letter of the last message, or else of the owner's address.
  const size_t message = text.rfind("\nmm");
  const size_t at = message != std::string::npos ? message + 1 : text.find("owner ") + 6;
  if (at < text.size()) text[at] = '#';
  return text;
}

constexpr NamedValue<QsfDamage> kDamageNames[] = {
    {QsfDamage::kChecksum, "checksum"},
    {QsfDamage::kTruncated, "truncated"},
    {QsfDamage::kHeader, "header"},
    {QsfDamage::kCount, "count"},
};

constexpr NamedValue<QsfStatus> kStatusNames[] = {
    {QsfStatus::kOk, "ok"},         {QsfStatus::kMissing, "missing"},
    {QsfStatus::kLocked, "locked"}, {QsfStatus::kDamaged, "damaged"},
    {QsfStatus::kFailed, "failed"},
};

}  // namespace

QsfStatus ReadQsf(const std::wstring& path, QsfContent* content) {
  std::lock_guard lock(g_filesMutex);
  Reading reading;
  const QsfStatus status = ReadFileAt(path, &reading);
  if (status != QsfStatus::kOk) return status;
  if (content) *content = std::move(reading.content);
  return StatusOf(reading.problems);
}

QsfStatus WriteQsf(const std::wstring& path, const QsfContent& content) {
  std::lock_guard lock(g_filesMutex);
  const bool written = WriteWholeFile(path, Serialize(content, content.messageSizes.size()));
  return written ? QsfStatus::kOk : StatusOfLastError();
}

QsfStatus CreateQsf(const std::wstring& path, const QsfContent& content) {
  std::lock_guard lock(g_filesMutex);
  if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return QsfStatus::kOk;
  CreateDirectories(DirectoryOf(path));
  return WriteQsf(path, content);
}

QsfStatus AddQsfFolder(const std::wstring& path, const std::wstring& owner, const QsfFolder& folder,
                       bool* existed) {
  std::lock_guard lock(g_filesMutex);
  *existed = false;
  QsfContent content;
  const QsfStatus status = ReadQsf(path, &content);
  if (status != QsfStatus::kOk) return status;
  std::vector<QsfFolder>& folders = FindMailbox(&content, owner)->folders;
  *existed = std::any_of(folders.begin(), folders.end(), [&](const QsfFolder& present) {
    return EqualsFolded(present.name, folder.name);
  });
  if (*existed) return QsfStatus::kOk;
  folders.push_back(folder);
  return WriteQsf(path, content);
}

QsfStatus CheckQsf(const std::wstring& path, std::vector<QsfProblem>* problems) {
  std::lock_guard lock(g_filesMutex);
  Reading reading;
  const QsfStatus status = ReadFileAt(path, &reading);
  *problems = std::move(reading.problems);
  return status == QsfStatus::kOk ? StatusOf(*problems) : status;
}

bool DamageQsf(const std::wstring& path, QsfDamage damage) {
  std::lock_guard lock(g_filesMutex);
  const auto text = ReadWholeFile(path);
  return text && WriteWholeFile(path, Damaged(*text, damage));
}

QsfStatus RepairQsf(const std::wstring& path) {
  std::lock_guard lock(g_filesMutex);
  Reading reading;
  const QsfStatus status = ReadFileAt(path, &reading);
  return status == QsfStatus::kOk ? WriteQsf(path, reading.content) : status;
}

QsfStatus CompactQsf(const std::wstring& path, uint64_t* gained) {
  std::lock_guard lock(g_filesMutex);
  QsfContent content;
  QsfStatus status = ReadQsf(path, &content);
  if (status != QsfStatus::kOk) return status;
  const uint64_t before = QsfSize(path).value_or(0);
  content.freeBytes = 0;
  status = WriteQsf(path, content);
  if (gained) *gained = before - std::min(before, QsfSize(path).value_or(0));
  return status;
}

std::optional<uint64_t> QsfSize(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
  return static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

std::optional<QsfDamage> QsfDamageFromText(std::string_view text) {
  return ValueNamed(kDamageNames, text);
}
const char* QsfDamageText(QsfDamage damage) { return NameOf(kDamageNames, damage); }
const char* QsfStatusText(QsfStatus status) { return NameOf(kStatusNames, status); }

QsfLock::QsfLock(const std::wstring& path)
    : handle_(platform::TakeFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                                   nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                                   nullptr))) {}

}  // namespace lab
