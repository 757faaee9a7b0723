// -assignAgents: stores for a server's users, and the users spread over its agents.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

// The command's handler: reads the switches, shows the help screen (result 1) without a profile,
// else runs AssignUsersToAgents unless another program uses MAPI. Returns 0 or 1.
int qrvAdminAssignAgents(int argc, wchar_t** argv, const wchar_t* programName);

// Takes the users that the configuration database lists for this computer's server, has the
// connector create the stores of those who have none in the profile (not with `existingOnly`), and
// writes into the database which agent serves each store: one agent after the other, from
// `baseAgentId` to baseAgentId + numberOfAgents - 1, an embedded store with its parent's. Returns
// the status of the last statement, or the failure that kept it from running. MAPI must be
// initialised on the calling thread. After a failure ahead of the assignment COM stays initialised.
HRESULT AssignUsersToAgents(const std::wstring& profileName, std::uint32_t baseAgentId,
                            std::uint32_t numberOfAgents, bool existingOnly);
