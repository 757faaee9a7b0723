// The help screens, as bytes on standard output.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/support/output.h"

namespace e2e {

inline std::string GeneralUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " is used for administering a QRV installation.",
      "",
      "To obtain help for specific commands, enter:",
      "",
      "\t" + name + " -h -checkQsf         Check QSFs for errors",
      "\t" + name + " -h -scanQsf          Scan QSFs and correct errors",
      "\t" + name + " -h -compactQsf       Compact QSFs",
      "\t" + name + " -h -purgeQsf         Purge unused QSFs",
      "\t" + name + " -h -listAgents       List BES agents for a server",
      "\t" + name + " -h -assignAgents     Assign users to BES agents",
      "\t" + name + " -h -listServers      List BES servers",
      "\t" + name + " -h -findUsers        Find users",
  });
}

inline std::string CheckQsfUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -checkQsf -p profileName [-e email1 email2 ...] [-v]",
      "",
      "\t-p\tThe profile name.",
      "\t-e\temail1 email2 ...",
      "\t-c\tRestart controller service, if QSFs are OK.",
      "\t-v\tShow verbose output.",
  });
}

inline std::string ScanQsfUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -scanQsf [-p profile_name | -d profile_name] [-r] [-m] [-v]",
      "",
      "\t-p\tThe profile name to be scanned.",
      "\t-d\tThe profile store(s) to be deleted.",
      "\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.",
      "\t-m\tScan stores marked as corrupted for this profile.",
      "\t-c\tRestart controller service on completion.",
      "\t-v\tShow verbose output.",
      "",
      "\tNOTE: -d and -p cannot be used together.",
  });
}

// The scan command's screen when the program is the utility of its own.
inline std::string QsfScanUsage(const std::string& name = "qsfscan") {
  return Text({
      name + " utility",
      "---------------",
      "Utility program for scanning quorvel outlook profile stores using the the",
      "Microsoft Outlook Inbox Repair tool (ScanPST.exe) that comes with outlook,",
      "and for deleting the store qsf file in order to have it recreated by QRV.",
      "",
      "Usage: " + name + " [-h] [-p profile_name | -d profile_name] [-r] [-m] [-v]",
      "",
      "\t-h\tShow this help screen.",
      "\t-p\tThe profile name to be scanned.",
      "\t-d\tThe profile store(s) to be deleted.",
      "\t-r\tScan or Delete root store qsf only for this profile. Ignore secondary stores.",
      "\t-m\tScan stores marked as corrupted for this profile.",
      "\t-v\tShow verbose output.",
      "",
      "\tNOTE: -d and -p cannot be used together.",
  });
}

// What stands before the scan command's screen when its switches are wrong.
inline std::string SwitchError() {
  return Text({"Error in switches - use as described below.", ""});
}

inline std::string CompactQsfUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -compactQsf -p profileName [-e email1 email2 ...] [-v]",
      "",
      "\t-p\tThe profile name.",
      "\t-e\temail1 email2 ...",
      "\t-c\tRestart controller service on completion.",
      "\t-v\tShow verbose output.",
  });
}

inline std::string PurgeQsfUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -purgeQsf [-f] [-v]",
      "",
      "\t-f\tForce a non dry run.",
      "\t-c\tRestart controller service on completion.",
      "\t-v\tShow verbose output.",
      "",
      "Unused QSFs are only deleted when the -f flag is used.",
      "",
      "NOTE: This command can only check for unused QSFs within the current Windows user's MAPI "
      "profiles. Be careful when storing QSFs in a common location which is used by multiple "
      "Windows users.",
  });
}

inline std::string ListAgentsUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -listAgents -s server [-v]",
      "",
      "\t-s\tThe BES server name.",
      "\t-v\tShow verbose output.",
  });
}

inline std::string AssignAgentsUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -assignAgents -p profileName [-b baseAgentId] [-n numAgents] [-e] [-c] [-v]",
      "",
      "\t-p\tThe profile name.",
      "\t-b\tThe base agentid.",
      "\t-n\tThe number of agents.",
      "\t-e\tOnly assign agentids to existing MAPI stores.",
      "\t-c\tRestart controller service on completion.",
      "\t-v\tShow verbose output.",
  });
}

inline std::string ListServersUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -listServers [-v]",
      "",
      "\t-c\tDisplay user counts.",
      "\t-v\tShow verbose output.",
  });
}

inline std::string FindUsersUsage(const std::string& name = "qrvadmin") {
  return Text({
      name + " -findUsers -p profileName -e email1 email2 ... [-v]",
      "",
      "\t-p\tThe profile name.",
      "\t-e\temail1 email2 ...",
      "\t-v\tShow verbose output.",
  });
}

struct CommandWord {
  const wchar_t* word;
  std::string (*usage)(const std::string& programName);
};

// The command words in their order of priority: of several on a line the first of these counts.
inline const std::vector<CommandWord>& CommandWords() {
  static const std::vector<CommandWord> kWords = {
      {L"-checkQsf", CheckQsfUsage},       {L"-scanQsf", ScanQsfUsage},
      {L"-compactQsf", CompactQsfUsage},   {L"-purgeQsf", PurgeQsfUsage},
      {L"-listAgents", ListAgentsUsage},   {L"-assignAgents", AssignAgentsUsage},
      {L"-listServers", ListServersUsage}, {L"-findUsers", FindUsersUsage},
  };
  return kWords;
}

}  // namespace e2e
