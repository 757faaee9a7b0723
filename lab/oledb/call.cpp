#include "lab/oledb/call.h"

#include <objbase.h>

#include "lab/common/text.h"

namespace lab {

Call::Call(std::string_view name, uint32_t object, Kind kind) : kind_(kind) {
  entry_.startMicros = NowMicros();
  entry_.call = name;
  entry_.object = object;
  fault_ = TheRuntime().faults.NextCall(name);
  entry_.ordinal = fault_.ordinal;
  if (fault_.milliseconds != 0) Sleep(fault_.milliseconds);
}

Call& Call::With(std::string_view name, uint64_t number) {
  entry_.arguments.emplace_back(name, std::to_string(number));
  return *this;
}

Call& Call::With(std::string_view name, std::wstring_view text) {
  entry_.arguments.emplace_back(name, Utf8FromWide(text));
  return *this;
}

Call& Call::With(std::string_view name, const GUID& guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
  return With(name, std::wstring_view(text));
}

HRESULT Call::Return(HRESULT result) {
  entry_.endMicros = NowMicros();
  entry_.result = static_cast<uint32_t>(result);
  const bool brief = kind_ == Kind::kRow && TheRuntime().options.briefJournal;
  if (!brief || FAILED(result)) AppendJournal(TheRuntime().journal, entry_);
  return result;
}

void Call::TreatBytes(void* out, size_t size) {
  constexpr int kPoison = 0xDD;
  const OutParameters treatment = TheRuntime().faults.Treatment();
  if (treatment == OutParameters::kKeep) return;
  std::memset(out, treatment == OutParameters::kPoison ? kPoison : 0, size);
}

HRESULT Unexpected(std::string_view name, uint32_t object) {
  TheRuntime().accounting.Unexpected(std::string(name) + " #" + std::to_string(object));
  return E_NOTIMPL;
}

bool PlanWants(std::string_view operation, uint32_t* number) {
  const FaultInjector::Answer answer = TheRuntime().faults.NextValue(operation);
  if (answer.milliseconds != 0) Sleep(answer.milliseconds);
  if (answer.fails && number) *number = answer.result;
  return answer.fails;
}

}  // namespace lab
