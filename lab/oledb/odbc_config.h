// Which ODBC database stands behind the provider.
#pragma once

#include <string>

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

}  // namespace lab
