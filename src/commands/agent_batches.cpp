#include "src/commands/agent_batches.h"

#include "src/console/console.h"

namespace {

constexpr unsigned kStatementsPerBatch = 100;

}  // namespace

void AgentBatches::Assign(std::uint32_t agentId, const std::wstring& email) {
  pending_ += L"UPDATE UserConfig SET AgentId=" +
              std::to_wstring(static_cast<std::int32_t>(agentId)) + L" WHERE MailboxDN='" + email +
              L"';";
  ++statements_;
  ++assigned_;
  if (statements_ == kStatementsPerBatch) Run();
}

void AgentBatches::Finish() {
  if (statements_ > 0) Run();
}

void AgentBatches::Run() {
  status_ = execute_(pending_);
  if (SUCCEEDED(status_)) {
    PrintLine(L"Assigned %d of %d users ...", assigned_, static_cast<int>(storeCount_));
  } else {
    PrintLine(L"%hs: Failed to execute SQL : 0x%x", "AssignUsersToAgents", status_);
  }
  pending_.clear();
  statements_ = 0;
}
