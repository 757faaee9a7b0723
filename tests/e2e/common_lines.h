// What several commands print in the same words.
#pragma once

#include <string>

#include "tests/e2e/support/lists.h"
#include "tests/e2e/support/output.h"

namespace e2e {

inline constexpr char kHandlerInstalled[] = "The Control Handler is installed.";
inline constexpr char kUserBreak[] = "*User Break";
inline constexpr char kNoMapi[] =
    "Failed to initialize MAPI. are you using the right 64/32 bitness?";
inline constexpr char kStartingController[] = "Starting BlackBerry Controller Service.";
// What comes before that line when no such service is installed.
inline constexpr char kNoController[] = "ServiceStartSvc. OpenService failed (1060)";

// The refusal to run while `programs` have MAPI loaded.
inline std::string MapiInUse(const Strings& programs) {
  return Text(Strings{"MAPI is in use. Please close the following applications and try again:"} +
              programs);
}

// What a command prints, `function` being its worker, when it cannot load a profile that does not
// exist.
inline std::string NoProfile(const std::string& function) {
  return Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
               function + ": storeManager LoadCache failed : 0x8004010f"});
}

// What -listServers, -listAgents and -assignAgents print of the database where none is installed.
inline std::string NoDatabase() {
  return Text({
      "CBESDatabase::GetConnectionString: Unable to read BES Database properties : 0x80070002",
      "CBESDatabase::Connect: GetConnectionString failed : 0x80070002",
      "CBESDatabase::GetServers: Connect failed : 0x80070002",
  });
}

// What becomes of an embedded store whose parent is not there, `result` being the deletion's.
inline std::string OrphanDeleted(const std::string& address, const std::string& result = "0x0") {
  return Text({"Serious error: *** Parent store not found for '" + address + "' ***",
               "Deleting orphan embedded store.", "DeleteMsgService : " + result});
}

}  // namespace e2e
