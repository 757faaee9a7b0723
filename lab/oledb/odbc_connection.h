// A database reached over ODBC.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab/oledb/odbc_config.h"

namespace lab {

class OdbcError : public std::runtime_error {
 public:
  // `state` is the five-character SQLSTATE, `message` UTF-8.
  OdbcError(std::string state, const std::string& message)
      : std::runtime_error(message), state_(std::move(state)) {}

  const std::string& State() const { return state_; }

 private:
  std::string state_;
};

enum class OdbcKind { kText, kSmallInteger, kInteger, kBigInteger, kReal };

struct OdbcColumn {
  std::wstring name;  // as the database reports it
  OdbcKind kind = OdbcKind::kText;
  uint64_t size = 0;  // characters of text, digits of a number
  bool nullable = true;
};

// A value as text; none for NULL.
using OdbcCell = std::optional<std::wstring>;
using OdbcRow = std::vector<OdbcCell>;

struct OdbcResult {
  std::vector<OdbcColumn> columns;  // none when the statement returns no rows
  std::vector<OdbcRow> rows;
  int64_t affected = -1;  // rows changed, -1 when the driver does not tell
};

// An open connection. Threads may share it: statements run one after another.
class OdbcConnection {
 public:
  // Connects, or throws OdbcError.
  OdbcConnection(const std::wstring& connection, OdbcText text);
  ~OdbcConnection();
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  // Runs one statement and takes everything it returns. Throws OdbcError.
  OdbcResult Run(const std::wstring& statement);

  // The product's name as the driver tells it ("SQLite", "PostgreSQL", ...).
  std::string ProductName();

 private:
  void Connect(const std::wstring& connection);
  void Close();

  void* environment_ = nullptr;
  void* connection_ = nullptr;
  const OdbcText text_;
  std::mutex mutex_;
};

}  // namespace lab
