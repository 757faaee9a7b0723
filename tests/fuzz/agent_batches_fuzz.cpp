// The statements of any assignments: each sent once, in order, a hundred at a time.
#include "src/commands/agent_batches.h"

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::lines.clear();
  const uint32_t times = input.Below(256);
  const uint8_t failures = input.Byte();
  std::vector<std::wstring> sent;
  const auto execute = [&](const std::wstring& text) -> HRESULT {
    sent.push_back(text);
    return failures >> (sent.size() % 8) & 1 ? E_FAIL : static_cast<HRESULT>(sent.size());
  };
  AgentBatches batches(execute, times, 7);
  CLAIM(batches.Status() == 7);
  std::vector<std::wstring> expected;
  for (uint32_t i = 0; i < times; ++i) {
    const auto agent = static_cast<int32_t>(input.Number());
    const std::wstring email = input.Wide(60);
    if (i % 100 == 0) expected.emplace_back();
    expected.back() += L"UPDATE UserConfig SET AgentId=" + std::to_wstring(agent) +
                       L" WHERE MailboxDN='" + email + L"';";
    batches.Assign(static_cast<uint32_t>(agent), email);
    CLAIM(sent.size() == (i + 1) / 100);
  }
  batches.Finish();
  CLAIM(sent == expected);
  CLAIM(shim::lines.size() == sent.size());
  for (size_t i = 0; i < sent.size(); ++i) {
    const bool failed = failures >> ((i + 1) % 8) & 1;
    const size_t assigned = std::min<size_t>(100 * (i + 1), times);
    CLAIM(shim::lines[i] == (failed ? L"AssignUsersToAgents: Failed to execute SQL : 0x-2147467259"
                                    : L"Assigned " + std::to_wstring(assigned) + L" of " +
                                          std::to_wstring(times) + L" users ..."));
    if (i + 1 == sent.size()) {
      CLAIM(batches.Status() == (failed ? E_FAIL : static_cast<HRESULT>(i + 1)));
    }
  }
  return 0;
}
