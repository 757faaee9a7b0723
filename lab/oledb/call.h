// A call from outside into the provider: counted, slowed down or failed by the fault plan, and
// written into the journal.
#pragma once

#include <windows.h>
// After windows.h.
#include <unknwn.h>

#include <cstring>
#include <string_view>
#include <type_traits>

#include "lab/common/journal.h"
#include "lab/oledb/runtime.h"

namespace lab {

class Call {
 public:
  // kRow: one of the calls that there are thousands of, which need not all be journalled.
  enum class Kind { kOrdinary, kRow };

  // Counts the call `name` of object `object`, and sleeps when the plan says so.
  Call(std::string_view name, uint32_t object, Kind kind = Kind::kOrdinary);

  // Adds an argument to the journal's line.
  Call& With(std::string_view name, uint64_t number);
  Call& With(std::string_view name, std::wstring_view text);
  Call& With(std::string_view name, const GUID& guid);

  // Whether the plan fails the call. Then the answer is Fail() and nothing else happens.
  bool Fails() const { return fault_.fails; }

  // Treats the out-parameters as the plan says and journals the plan's failure.
  template <class... Out>
  HRESULT Fail(Out*... out) {
    (Treat(out), ...);
    return Return(static_cast<HRESULT>(fault_.result));
  }

  // Journals `result` and returns it.
  HRESULT Return(HRESULT result);

 private:
  template <class Out>
  static void Treat(Out* out) {
    static_assert(std::is_trivially_copyable_v<Out>);
    if (out) TreatBytes(out, sizeof(Out));
  }
  static void TreatBytes(void* out, size_t size);

  const Kind kind_;
  JournalEntry entry_;
  FaultInjector::Answer fault_;
};

// Journals a call that nobody should need. Returns E_NOTIMPL.
HRESULT Unexpected(std::string_view name, uint32_t object);

// Whether the fault plan wants the pseudo operation `operation`, and the number it gives.
bool PlanWants(std::string_view operation, uint32_t* number = nullptr);

}  // namespace lab
