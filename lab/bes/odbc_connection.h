// A database reached over ODBC, and which one the lab is configured for.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace lab {

// How text crosses the ODBC boundary.
enum class OdbcText {
  kUtf8,   // the narrow functions, with UTF-8: for drivers that have no wide functions
  kUtf16,  // the wide functions
};

// The connection string: the environment variable QRVLAB_ODBC, else the value "OdbcConnection" of
// the registry key HKEY_CURRENT_USER\Software\QrvLab, else SQLite's file `bes.sqlite` in the lab's
// directory (in the current directory when the lab has none).
std::wstring OdbcConnectionString();

// A connection string for SQLite's database file at `path`, a Windows path.
std::wstring SqliteConnectionString(const std::wstring& path);

// QRVLAB_ODBC_TEXT or the registry value "OdbcText": "utf8" (the default) or "utf16".
OdbcText OdbcTextMode();

class OdbcError : public std::runtime_error {
 public:
  // `state` is the five-character SQLSTATE, `message` UTF-8.
  OdbcError(std::string state, const std::string& message)
      : std::runtime_error(message), state_(std::move(state)) {}

  const std::string& State() const { return state_; }

 private:
  std::string state_;
};

struct OdbcColumn {
  std::wstring name;    // as the database reports it
  int integerSize = 0;  // in bytes; 0 for anything else, which is taken as text
};

// A value as text; none for NULL.
using OdbcCell = std::optional<std::wstring>;
using OdbcRow = std::vector<OdbcCell>;

struct OdbcResult {
  std::vector<OdbcColumn> columns;  // none when the statement returns no rows
  std::vector<OdbcRow> rows;
};

// An open connection. Threads may share it: statements run one after another.
class OdbcConnection {
 public:
  // Connects, or throws OdbcError.
  OdbcConnection(const std::wstring& connection, OdbcText text);

  // Runs one statement and takes everything it returns. Throws OdbcError.
  OdbcResult Run(const std::wstring& statement);

  // The product's name as the driver tells it ("SQLite", "PostgreSQL", ...).
  std::string ProductName();

 private:
  using Handle = std::unique_ptr<void, void (*)(void*)>;

  const OdbcText text_;
  std::mutex mutex_;
  Handle environment_;
  Handle connection_;
};

}  // namespace lab
