#include "lab/mapi/properties.h"

#include <mapicode.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "lab/com/runtime.h"
#include "lab/common/profile_registry.h"
#include "lab/common/registry_key.h"
#include "lab/mapi/buffers.h"

namespace lab {
namespace {

void* CopyTo(void* parent, const void* data, size_t size) {
  void* copy = AllocateMore(size, parent);
  if (!copy) throw std::bad_alloc();
  if (size != 0) std::memcpy(copy, data, size);
  return copy;
}

std::wstring NarrowText(const Bytes& data) {
  const std::string text(data.begin(), data.end());
  return WideFromNarrow(text.substr(0, text.find('\0')));
}

uint32_t NumberOf(const Bytes& data, size_t size) {
  uint32_t number = 0;
  if (!data.empty()) std::memcpy(&number, data.data(), std::min(size, data.size()));
  return number;
}

std::optional<Property> FromRaw(ULONG tag, const RawValue& raw) {
  switch (PROP_TYPE(tag)) {
    case PT_UNICODE:
      return Property{.tag = tag, .text = TextOf(raw)};
    case PT_STRING8:
      return Property{.tag = tag, .text = NarrowText(raw.data)};
    case PT_LONG:
      return Property{.tag = tag, .number = NumberOf(raw.data, 4)};
    case PT_BOOLEAN:
      return Property{.tag = tag, .number = NumberOf(raw.data, 2)};
    case PT_BINARY:
      return Property{.tag = tag, .bytes = raw.data};
    default:
      return std::nullopt;
  }
}

std::optional<Property> ReadExact(const std::wstring& profile, const Uid& section, ULONG tag) {
  const auto raw = ReadRawValue(profile, section, tag);
  return raw ? FromRaw(tag, *raw) : std::nullopt;
}

}  // namespace

Property UidProperty(ULONG tag, const Uid& uid) {
  return {.tag = tag, .bytes = Bytes(uid.begin(), uid.end())};
}

Property ErrorProperty(ULONG tag, HRESULT error) {
  return {.tag = CHANGE_PROP_TYPE(tag, PT_ERROR), .number = static_cast<uint32_t>(error)};
}

std::string TagText(ULONG tag) {
  char text[16];
  std::snprintf(text, sizeof(text), "%08lX", static_cast<unsigned long>(tag));
  return text;
}

std::string DescribeTags(const SPropTagArray* tags) {
  if (!tags) return "NULL";
  std::string text;
  for (ULONG i = 0; i < tags->cValues; ++i) {
    text += (i == 0 ? "" : ",") + TagText(tags->aulPropTag[i]);
  }
  return text;
}

size_t AnsweredCount(const std::string& operation, size_t count) {
  return std::min<size_t>(Runtime::Get().Planned(operation).value_or(count), count);
}

bool IsText(ULONG tag) { return PROP_TYPE(tag) == PT_UNICODE || PROP_TYPE(tag) == PT_STRING8; }

Uid UidFromMapi(const MAPIUID& uid) {
  Uid own;
  std::memcpy(own.data(), uid.ab, own.size());
  return own;
}

Property Lookup(const PropertyList& list, ULONG tag) {
  for (const Property& property : list) {
    if (PROP_ID(property.tag) != PROP_ID(tag)) continue;
    if (property.tag == tag) return property;
    if (!IsText(property.tag) || !IsText(tag)) continue;
    Property converted = property;
    converted.tag = tag;
    return converted;
  }
  return ErrorProperty(tag, MAPI_E_NOT_FOUND);
}

std::optional<Property> ReadSectionProperty(const std::wstring& profile, const Uid& section,
                                            ULONG tag) {
  auto property = ReadExact(profile, section, tag);
  if (property || !IsText(tag)) return property;
  const ULONG other = PROP_TYPE(tag) == PT_UNICODE ? PT_STRING8 : PT_UNICODE;
  property = ReadExact(profile, section, CHANGE_PROP_TYPE(tag, other));
  if (property) property->tag = tag;
  return property;
}

PropertyList ReadSectionProperties(const std::wstring& profile, const Uid& section) {
  PropertyList list;
  for (const auto& [tag, raw] : ReadSection(profile, section)) {
    if (auto property = FromRaw(tag, raw)) list.push_back(std::move(*property));
  }
  return list;
}

void FillPropValue(const Property& property, void* parent, SPropValue* value) {
  std::memset(value, 0, sizeof(*value));
  value->ulPropTag = property.tag;
  switch (PROP_TYPE(property.tag)) {
    case PT_UNICODE:
      value->Value.lpszW = static_cast<LPWSTR>(
          CopyTo(parent, property.text.c_str(), (property.text.size() + 1) * sizeof(wchar_t)));
      break;
    case PT_STRING8: {
      const std::string narrow = NarrowFromWide(property.text);
      value->Value.lpszA = static_cast<LPSTR>(CopyTo(parent, narrow.c_str(), narrow.size() + 1));
      break;
    }
    case PT_BINARY:
      value->Value.bin.cb = static_cast<ULONG>(property.bytes.size());
      value->Value.bin.lpb =
          static_cast<LPBYTE>(CopyTo(parent, property.bytes.data(), property.bytes.size()));
      break;
    case PT_BOOLEAN:
      value->Value.b = static_cast<unsigned short>(property.number);
      break;
    default:
      value->Value.ul = property.number;
      break;
  }
}

Property FromPropValue(const SPropValue& value) {
  Property property{.tag = value.ulPropTag};
  switch (PROP_TYPE(value.ulPropTag)) {
    case PT_UNICODE:
      property.text = value.Value.lpszW;
      break;
    case PT_STRING8:
      property.text = WideFromNarrow(value.Value.lpszA);
      break;
    case PT_BINARY:
      property.bytes.assign(value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb);
      break;
    case PT_BOOLEAN:
      property.number = value.Value.b;
      break;
    default:
      property.number = value.Value.ul;
      break;
  }
  return property;
}

}  // namespace lab
