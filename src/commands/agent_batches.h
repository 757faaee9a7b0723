// The statements that write the agents into the database, sent a hundred at a time.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

// Prints one line for each batch, under the name of the command's worker when it fails. One thread
// only.
class AgentBatches {
 public:
  // `execute` runs a batch; `storeCount` is the number that progress is shown against, `status` the
  // one to come back with while nothing has been run.
  AgentBatches(std::function<HRESULT(const std::wstring& sqlText)> execute, size_t storeCount,
               HRESULT status)
      : execute_(std::move(execute)), storeCount_(storeCount), status_(status) {}

  // Appends the assignment of `agentId` to the user `email`, and runs the batch when it is full.
  // The address goes into the statement as it is: one with a quote character breaks its batch.
  void Assign(std::uint32_t agentId, const std::wstring& email);

  // Runs the last batch, which is not full.
  void Finish();

  HRESULT Status() const { return status_; }

 private:
  void Run();

  const std::function<HRESULT(const std::wstring& sqlText)> execute_;
  const size_t storeCount_;
  HRESULT status_;
  std::wstring pending_;
  unsigned statements_ = 0;
  // Never taken back, not for a failed batch either.
  unsigned assigned_ = 0;
};
