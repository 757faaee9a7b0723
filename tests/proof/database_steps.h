// The steps of the commands that read the configuration database, as the models of their sweeps
// take them.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "lab/common/text.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/proof/system_sweep.h"

namespace e2e {

// The provider's methods, but for those that give back what others handed out.
inline const CallKind kProviderCalls = {
    "Provider",
    {"IClassFactory::CreateInstance", "IDBProperties::SetProperties", "IDBInitialize::Initialize",
     "IDBCreateSession::CreateSession", "IDBCreateCommand::CreateCommand",
     "ICommandText::SetCommandText", "ICommand::Execute", "IColumnsInfo::GetColumnInfo",
     "IAccessor::CreateAccessor", "IRowset::GetNextRows", "IRowset::GetData"}};
// What these fail to give back stays: nobody can do anything about it.
inline const CallKind kProviderReleases = {"ProviderReleases",
                                           {"IRowset::ReleaseRows", "IAccessor::ReleaseAccessor"}};

inline std::string DatabaseFailure(const std::string& function, const std::string& what,
                                   uint32_t result) {
  return "CBESDatabase::" + function + ": " + what + " : " + lab::HexNumber(result);
}

// One use of the database. Its steps print their failure and are then false.
class DatabaseSteps {
 public:
  DatabaseSteps(FailingCall& fails, Strings& lines, bool verbose)
      : fails_(fails), lines_(lines), verbose_(verbose) {}

  // What the last failure returned.
  uint32_t Result() const { return result_; }
  // Whether the machine's registry could not be opened at all: nobody catches what is then thrown.
  bool HasThrown() const { return thrown_; }

  // Reads `rows` rows; `take` gets the number of each, from 0.
  bool Read(const std::string& function, size_t rows, const std::function<void(size_t)>& take) {
    if (!Connect()) return Fail(function, "Connect failed", result_);
    for (const char* step :
         {"IDBCreateCommand::CreateCommand", "ICommandText::SetCommandText", "ICommand::Execute",
          "IColumnsInfo::GetColumnInfo", "IAccessor::CreateAccessor"}) {
      if (fails_(step)) return Fail(function, "Failed to execute SQL", kInjected);
    }
    for (size_t row = 0; row <= rows; ++row) {
      // The provider gives no row while another is held.
      if (row > 0 && fails_("IRowset::ReleaseRows")) {
        return Fail(function, "MoveNext failed", kRowsNotReleased);
      }
      if (fails_("IRowset::GetNextRows") || (row < rows && fails_("IRowset::GetData"))) {
        return Fail(function, row == 0 ? "MoveFirst failed" : "MoveNext failed", kInjected);
      }
      if (row < rows) take(row);
    }
    return true;
  }

 private:
  static constexpr uint32_t kRowsNotReleased = 0x80040E25;  // DB_E_ROWSNOTRELEASED
  // What the platform's data links say of a provider that cannot be made, whatever it said itself.
  static constexpr uint32_t kNoProvider = 0x80004001;  // E_NOTIMPL

  bool Fail(const std::string& function, const std::string& what, uint32_t result) {
    result_ = result;
    if (!thrown_) lines_.push_back(DatabaseFailure(function, what, result));
    return false;
  }

  bool Connect() {
    if (connected_) return true;
    if (!ReadLocation()) return Fail("Connect", "GetConnectionString failed", result_);
    if (verbose_) lines_.push_back(kConnectionLine);
    for (const char* step : {"CoCreateInstance", "IClassFactory::CreateInstance",
                             "IDBProperties::SetProperties", "IDBInitialize::Initialize"}) {
      if (!fails_(step)) continue;
      const bool noProvider = step == std::string_view("IClassFactory::CreateInstance");
      return Fail("Connect", "OpenFromInitializationString failed",
                  noProvider ? kNoProvider : kInjected);
    }
    if (fails_("IDBCreateSession::CreateSession")) {
      return Fail("Connect", "Session open failed", kInjected);
    }
    return connected_ = true;
  }

  bool ReadLocation() {
    thrown_ = fails_("RegOpenKeyExW");
    if (thrown_) return false;
    if (fails_("RegOpenKeyExW")) return FailLocation(HRESULT_FROM_WIN32(kSystemError));
    // Each value's size, then the value, of the server and of the database.
    for (int call = 0; call < 4; ++call) {
      if (fails_("RegQueryValueExW")) return FailLocation(HRESULT_FROM_WIN32(ERROR_NOT_FOUND));
    }
    return true;
  }
  bool FailLocation(HRESULT result) {
    return Fail("GetConnectionString", "Unable to read BES Database properties",
                static_cast<uint32_t>(result));
  }

  FailingCall& fails_;
  Strings& lines_;
  const bool verbose_;
  uint32_t result_ = 0;
  bool connected_ = false;
  bool thrown_ = false;
};

}  // namespace e2e
