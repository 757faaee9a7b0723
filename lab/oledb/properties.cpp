#include "lab/oledb/properties.h"

#include <oledberr.h>

#include <algorithm>
#include <cwchar>
#include <set>
#include <utility>

#include "lab/oledb/memory.h"
#include "lab/oledb/summary.h"

namespace lab {
namespace {

constexpr GUID SetGuid(unsigned long first) {
  return {first, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
}

struct InitProperty {
  DBPROPID id;
  VARTYPE type;
  const wchar_t* description;
};

constexpr InitProperty kInitProperties[] = {
    {DBPROP_INIT_DATASOURCE, VT_BSTR, L"Data Source"},
    {DBPROP_INIT_CATALOG, VT_BSTR, L"Initial Catalog"},
    {DBPROP_AUTH_INTEGRATED, VT_BSTR, L"Integrated Security"},
    {DBPROP_AUTH_USERID, VT_BSTR, L"User ID"},
    {DBPROP_AUTH_PASSWORD, VT_BSTR, L"Password"},
    {DBPROP_AUTH_PERSIST_SENSITIVE_AUTHINFO, VT_BOOL, L"Persist Security Info"},
    {DBPROP_INIT_PROVIDERSTRING, VT_BSTR, L"Extended Properties"},
    {DBPROP_INIT_TIMEOUT, VT_I4, L"Connect Timeout"},
    {DBPROP_INIT_LCID, VT_I4, L"Locale Identifier"},
    {DBPROP_INIT_PROMPT, VT_I2, L"Prompt"},
    {DBPROP_INIT_OLEDBSERVICES, VT_I4, L"OLE DB Services"},
};

// Older headers take the source without const.
void CopyVariant(const VARIANT& from, VARIANT* to) { VariantCopy(to, const_cast<VARIANT*>(&from)); }

void CopyForClient(const VARIANT& from, VARIANT* to) {
  if (from.vt == VT_BSTR) {
    to->vt = VT_BSTR;
    to->bstrVal = BstrForClient({from.bstrVal, SysStringLen(from.bstrVal)}, "BSTR of a property");
  } else {
    CopyVariant(from, to);
  }
}

size_t DescriptionCharacters() {
  size_t characters = 0;
  for (const InitProperty& property : kInitProperties) {
    characters += std::wcslen(property.description) + 1;
  }
  return characters;
}

void Describe(DBPROPINFOSET* set, OLECHAR* descriptions) {
  set->guidPropertySet = kPropertiesInit;
  set->cPropertyInfos = static_cast<ULONG>(std::size(kInitProperties));
  set->rgPropertyInfos =
      AllocateForClient<DBPROPINFO>(std::size(kInitProperties), "property descriptions");
  DBPROPINFO* info = set->rgPropertyInfos;
  for (const InitProperty& property : kInitProperties) {
    std::wcscpy(descriptions, property.description);
    info->pwszDescription = descriptions;
    info->dwPropertyID = property.id;
    info->dwFlags = DBPROPFLAGS_DBINIT | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE;
    info->vtType = property.type;
    descriptions += std::wcslen(property.description) + 1;
    ++info;
  }
}

}  // namespace

const GUID kPropertiesInit = SetGuid(0xc8b522bc);
const GUID kPropertiesInitAll = SetGuid(0xc8b522ca);
const GUID kPropertiesRowset = SetGuid(0xc8b522be);
const GUID kPropertiesSession = SetGuid(0xc8b522c6);

PropertyBag::~PropertyBag() {
  for (Property& property : properties_) VariantClear(&property.value);
}

void PropertyBag::Keep(DBPROPID id, const VARIANT& value) {
  if (Property* found = Find(id)) {
    CopyVariant(value, &found->value);
    return;
  }
  properties_.push_back({id, {}});
  CopyVariant(value, &properties_.back().value);
}

void PropertyBag::Join(DBPROPID id, const VARIANT& value) {
  Property* found = Find(id);
  if (!found || found->value.vt != VT_BSTR || value.vt != VT_BSTR) return Keep(id, value);
  std::wstring joined(found->value.bstrVal, SysStringLen(found->value.bstrVal));
  joined.append(L";").append(value.bstrVal, SysStringLen(value.bstrVal));
  SysReAllocStringLen(&found->value.bstrVal, joined.data(), static_cast<UINT>(joined.size()));
}

HRESULT PropertyBag::Set(ULONG count, DBPROPSET* sets) {
  if (count != 0 && !sets) return E_INVALIDARG;
  const std::lock_guard lock(mutex_);
  std::set<DBPROPID> given;
  size_t failures = 0;
  size_t total = 0;
  for (ULONG i = 0; i < count; ++i) {
    const bool known = sets[i].guidPropertySet == set_;
    for (ULONG j = 0; j < sets[i].cProperties; ++j) {
      DBPROP& property = sets[i].rgProperties[j];
      property.dwStatus = known ? DBPROPSTATUS_OK : DBPROPSTATUS_NOTSUPPORTED;
      ++total;
      if (!known) {
        ++failures;
      } else if (given.insert(property.dwPropertyID).second) {
        Keep(property.dwPropertyID, property.vValue);
      } else {
        Join(property.dwPropertyID, property.vValue);
      }
    }
  }
  return Summary(failures, total);
}

const PropertyBag::Property* PropertyBag::Find(DBPROPID id) const {
  const auto found = std::find_if(properties_.begin(), properties_.end(),
                                  [&](const Property& property) { return property.id == id; });
  return found == properties_.end() ? nullptr : &*found;
}

PropertyBag::Property* PropertyBag::Find(DBPROPID id) {
  return const_cast<Property*>(std::as_const(*this).Find(id));
}

DBPROPIDSET PropertyBag::Everything(std::vector<DBPROPID>* ids) const {
  for (const Property& property : properties_) ids->push_back(property.id);
  DBPROPIDSET wanted{};
  wanted.guidPropertySet = set_;
  wanted.cPropertyIDs = static_cast<ULONG>(ids->size());
  wanted.rgPropertyIDs = ids->data();
  return wanted;
}

DBPROPSET PropertyBag::Answer(const DBPROPIDSET& wanted, bool* complete) const {
  std::vector<DBPROPID> ids;
  const DBPROPIDSET asked = wanted.cPropertyIDs == 0 ? Everything(&ids) : wanted;
  DBPROPSET answer{};
  answer.guidPropertySet = wanted.guidPropertySet;
  answer.cProperties = asked.cPropertyIDs;
  if (asked.cPropertyIDs == 0) return answer;
  answer.rgProperties = AllocateForClient<DBPROP>(asked.cPropertyIDs, "properties");
  for (ULONG i = 0; i < asked.cPropertyIDs; ++i) {
    DBPROP& property = answer.rgProperties[i];
    property.dwPropertyID = asked.rgPropertyIDs[i];
    const Property* found = wanted.guidPropertySet == set_ ? Find(property.dwPropertyID) : nullptr;
    property.dwStatus = found ? DBPROPSTATUS_OK : DBPROPSTATUS_NOTSUPPORTED;
    if (found) CopyForClient(found->value, &property.vValue);
    *complete = *complete && found;
  }
  return answer;
}

HRESULT PropertyBag::Get(ULONG count, const DBPROPIDSET* wanted, ULONG* setCount,
                         DBPROPSET** sets) const {
  if (!setCount || !sets || (count != 0 && !wanted)) return E_INVALIDARG;
  const std::lock_guard lock(mutex_);
  DBPROPIDSET whole{};
  whole.guidPropertySet = set_;
  const ULONG answers = count == 0 ? 1 : count;
  const DBPROPIDSET* asked = count == 0 ? &whole : wanted;
  bool complete = true;
  *sets = AllocateForClient<DBPROPSET>(answers, "property sets");
  for (ULONG i = 0; i < answers; ++i) (*sets)[i] = Answer(asked[i], &complete);
  *setCount = answers;
  return complete ? S_OK : DB_S_ERRORSOCCURRED;
}

std::wstring PropertyBag::Text(DBPROPID id) const {
  const std::lock_guard lock(mutex_);
  const Property* found = Find(id);
  if (!found || found->value.vt != VT_BSTR || !found->value.bstrVal) return {};
  return found->value.bstrVal;
}

bool PropertyBag::IsTrue(DBPROPID id) const {
  const std::lock_guard lock(mutex_);
  const Property* found = Find(id);
  return found && found->value.vt == VT_BOOL && found->value.boolVal != VARIANT_FALSE;
}

void PropertyBag::SetTrue(DBPROPID id) {
  const std::lock_guard lock(mutex_);
  VARIANT value{};
  value.vt = VT_BOOL;
  value.boolVal = VARIANT_TRUE;
  Keep(id, value);
}

HRESULT DescribeInitProperties(ULONG count, const DBPROPIDSET* wanted, ULONG* setCount,
                               DBPROPINFOSET** sets, OLECHAR** descriptions) {
  if (!setCount || !sets || (count != 0 && !wanted)) return E_INVALIDARG;
  *setCount = 0;
  *sets = nullptr;
  const auto known = [](const DBPROPIDSET& set) {
    return set.guidPropertySet == kPropertiesInit || set.guidPropertySet == kPropertiesInitAll;
  };
  if (count != 0 && std::none_of(wanted, wanted + count, known)) return DB_E_ERRORSOCCURRED;
  OLECHAR* texts = AllocateForClient<OLECHAR>(DescriptionCharacters(), "property descriptions");
  *sets = AllocateForClient<DBPROPINFOSET>(1, "property description sets");
  Describe(*sets, texts);
  *setCount = 1;
  if (descriptions) *descriptions = texts;
  return S_OK;
}

}  // namespace lab
