#include "lab/oledb/conversion.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>

#include "lab/common/text.h"
#include "lab/oledb/memory.h"

namespace lab {
namespace {

// Where a value goes: the client's memory, its size, and the value's full length as it comes out.
struct Target {
  void* value = nullptr;  // null when only the length is asked for
  DBLENGTH capacity = 0;
  DBLENGTH length = 0;
};

struct Integer {
  bool negative = false;
  uint64_t magnitude = 0;
};

// Digits with a sign; a fraction is cut off.
bool ParseInteger(const std::wstring& text, Integer* number) {
  const wchar_t* digits = text.c_str();
  number->negative = *digits == L'-';
  if (*digits == L'-' || *digits == L'+') ++digits;
  if (*digits < L'0' || *digits > L'9') return false;
  wchar_t* end = nullptr;
  number->magnitude = std::wcstoull(digits, &end, 10);
  if (*end == L'.') end += std::wcsspn(end + 1, L"0123456789") + 1;
  return *end == L'\0';
}

template <class T>
void Put(T value, Target* target) {
  target->length = sizeof(T);
  if (target->value) std::memcpy(target->value, &value, sizeof value);
}

template <class T>
DBSTATUS StoreInteger(const std::wstring& text, Target* target) {
  Integer number;
  if (!ParseInteger(text, &number)) return DBSTATUS_E_CANTCONVERTVALUE;
  const bool negative = number.negative && number.magnitude != 0;
  if (negative && !std::numeric_limits<T>::is_signed) return DBSTATUS_E_SIGNMISMATCH;
  const auto limit = static_cast<uint64_t>(std::numeric_limits<T>::max()) + (negative ? 1 : 0);
  if (number.magnitude > limit) return DBSTATUS_E_DATAOVERFLOW;
  Put(static_cast<T>(negative ? 0 - number.magnitude : number.magnitude), target);
  return DBSTATUS_S_OK;
}

template <class T>
DBSTATUS StoreReal(const std::wstring& text, Target* target) {
  wchar_t* end = nullptr;
  const double number = std::wcstod(text.c_str(), &end);
  if (text.empty() || *end != L'\0') return DBSTATUS_E_CANTCONVERTVALUE;
  Put(static_cast<T>(number), target);
  return DBSTATUS_S_OK;
}

DBSTATUS StoreBoolean(const std::wstring& text, Target* target) {
  Integer number;
  if (!ParseInteger(text, &number)) return DBSTATUS_E_CANTCONVERTVALUE;
  Put<VARIANT_BOOL>(number.magnitude != 0 ? VARIANT_TRUE : VARIANT_FALSE, target);
  return DBSTATUS_S_OK;
}

DBSTATUS StoreNumeric(const std::wstring& text, Target* target) {
  Integer number;
  if (!ParseInteger(text, &number)) return DBSTATUS_E_CANTCONVERTVALUE;
  DB_NUMERIC numeric{};
  numeric.precision = 38;
  numeric.sign = number.negative ? 0 : 1;
  std::memcpy(numeric.val, &number.magnitude, sizeof number.magnitude);
  Put(numeric, target);
  return DBSTATUS_S_OK;
}

// Copies as many characters as fit in front of a terminating zero.
template <class Char>
DBSTATUS StoreString(const std::basic_string<Char>& text, Target* target) {
  target->length = text.size() * sizeof(Char);
  if (!target->value) return DBSTATUS_S_OK;
  const size_t room = target->capacity / sizeof(Char);
  if (room == 0) return text.empty() ? DBSTATUS_S_OK : DBSTATUS_S_TRUNCATED;
  const size_t copied = std::min(text.size(), room - 1);
  std::memcpy(target->value, text.data(), copied * sizeof(Char));
  static_cast<Char*>(target->value)[copied] = Char{};
  return copied == text.size() ? DBSTATUS_S_OK : DBSTATUS_S_TRUNCATED;
}

// Hands out a copy that the client frees.
template <class Char>
DBSTATUS StoreReference(const std::basic_string<Char>& text, Target* target) {
  target->length = text.size() * sizeof(Char);
  if (!target->value) return DBSTATUS_S_OK;
  Char* copy = AllocateForClient<Char>(text.size() + 1, "text of a column bound by reference");
  std::memcpy(copy, text.data(), text.size() * sizeof(Char));
  std::memcpy(target->value, &copy, sizeof copy);
  return DBSTATUS_S_OK;
}

DBSTATUS StoreBstr(const std::wstring& text, Target* target) {
  target->length = sizeof(BSTR);
  if (!target->value) return DBSTATUS_S_OK;
  const BSTR copy = BstrForClient(text, "BSTR of a column");
  std::memcpy(target->value, &copy, sizeof copy);
  return DBSTATUS_S_OK;
}

DBSTATUS StoreVariant(const std::wstring& text, const ResultColumn& column, Target* target) {
  target->length = sizeof(VARIANT);
  if (!target->value) return DBSTATUS_S_OK;
  VARIANT variant{};
  Target inner{&variant.llVal, sizeof variant.llVal};
  DBSTATUS status = DBSTATUS_S_OK;
  if (column.IsText()) {
    variant.vt = VT_BSTR;
    variant.bstrVal = BstrForClient(text, "BSTR of a column");
  } else if (column.type == DBTYPE_R8) {
    variant.vt = VT_R8;
    status = StoreReal<double>(text, &inner);
  } else {
    variant.vt = column.size <= sizeof(int32_t) ? VT_I4 : VT_I8;
    status = variant.vt == VT_I4 ? StoreInteger<int32_t>(text, &inner)
                                 : StoreInteger<int64_t>(text, &inner);
  }
  std::memcpy(target->value, &variant, sizeof variant);
  return status;
}

DBSTATUS StoreValue(const std::wstring& text, const ResultColumn& column, DBTYPE type,
                    Target* target) {
  switch (type) {
    case DBTYPE_I1:
      return StoreInteger<int8_t>(text, target);
    case DBTYPE_I2:
      return StoreInteger<int16_t>(text, target);
    case DBTYPE_I4:
      return StoreInteger<int32_t>(text, target);
    case DBTYPE_I8:
      return StoreInteger<int64_t>(text, target);
    case DBTYPE_UI1:
      return StoreInteger<uint8_t>(text, target);
    case DBTYPE_UI2:
      return StoreInteger<uint16_t>(text, target);
    case DBTYPE_UI4:
      return StoreInteger<uint32_t>(text, target);
    case DBTYPE_UI8:
      return StoreInteger<uint64_t>(text, target);
    case DBTYPE_R4:
      return StoreReal<float>(text, target);
    case DBTYPE_R8:
      return StoreReal<double>(text, target);
    case DBTYPE_BOOL:
      return StoreBoolean(text, target);
    case DBTYPE_NUMERIC:
      return StoreNumeric(text, target);
    case DBTYPE_WSTR:
      return StoreString(text, target);
    case DBTYPE_STR:
      return StoreString(NarrowFromWide(text), target);
    case DBTYPE_WSTR | DBTYPE_BYREF:
      return StoreReference(text, target);
    case DBTYPE_STR | DBTYPE_BYREF:
      return StoreReference(NarrowFromWide(text), target);
    case DBTYPE_BSTR:
      return StoreBstr(text, target);
    case DBTYPE_VARIANT:
      return StoreVariant(text, column, target);
    default:
      return DBSTATUS_E_CANTCONVERTVALUE;
  }
}

// A NULL that the client has no place to be told of cannot be delivered.
DBSTATUS NullStatus(const DBBINDING& binding) {
  return binding.dwPart & DBPART_STATUS ? DBSTATUS_S_ISNULL : DBSTATUS_E_UNAVAILABLE;
}

}  // namespace

bool CanBindAs(DBTYPE type) {
  constexpr DBTYPE kTypes[] = {DBTYPE_I1,      DBTYPE_I2,      DBTYPE_I4,
                               DBTYPE_I8,      DBTYPE_UI1,     DBTYPE_UI2,
                               DBTYPE_UI4,     DBTYPE_UI8,     DBTYPE_R4,
                               DBTYPE_R8,      DBTYPE_BOOL,    DBTYPE_STR,
                               DBTYPE_NUMERIC, DBTYPE_WSTR,    DBTYPE_WSTR | DBTYPE_BYREF,
                               DBTYPE_BSTR,    DBTYPE_VARIANT, DBTYPE_STR | DBTYPE_BYREF};
  return std::find(std::begin(kTypes), std::end(kTypes), type) != std::end(kTypes);
}

HRESULT CanConvertType(DBTYPE from, DBTYPE to) {
  return CanBindAs(from) && CanBindAs(to) ? S_OK : S_FALSE;
}

DBSTATUS StoreCell(const OdbcCell& cell, const ResultColumn& column, const DBBINDING& binding,
                   BYTE* buffer) {
  DBSTATUS status = NullStatus(binding);
  if (cell) {
    Target target;
    if (binding.dwPart & DBPART_VALUE) target.value = buffer + binding.obValue;
    target.capacity = binding.cbMaxLen;
    status = StoreValue(*cell, column, binding.wType, &target);
    if (binding.dwPart & DBPART_LENGTH) {
      std::memcpy(buffer + binding.obLength, &target.length, sizeof target.length);
    }
  }
  StoreStatus(status, binding, buffer);
  return status;
}

void StoreStatus(DBSTATUS status, const DBBINDING& binding, BYTE* buffer) {
  if (binding.dwPart & DBPART_STATUS) {
    std::memcpy(buffer + binding.obStatus, &status, sizeof status);
  }
}

}  // namespace lab
