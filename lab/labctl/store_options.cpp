#include "lab/labctl/store_options.h"

namespace lab {
namespace {

// Applies a switch's value, empty for one that takes none; false when the value is wrong.
using Apply = bool (*)(const std::wstring& value, StoreOptions* options);

struct StoreSwitch {
  const wchar_t* name;
  const char* value;  // what stands for the value in the help, null for a switch without
  const char* help;
  Apply apply;
};

// Sets a number option; the member's type may be narrower or optional.
template <auto kMember>
bool SetNumber(const std::wstring& value, StoreOptions* options) {
  const auto number = ParseNumber(Utf8FromWide(value));
  if (number) options->*kMember = *number;
  return number.has_value();
}

template <auto kMember, bool kValue>
bool SetFlag(const std::wstring&, StoreOptions* options) {
  options->*kMember = kValue;
  return true;
}

template <auto kMember>
bool SetText(const std::wstring& value, StoreOptions* options) {
  options->*kMember = value;
  return true;
}

bool SetEntryId(const std::wstring& value, StoreOptions* options) {
  options->entryId = BytesFromHex(Utf8FromWide(value));
  return options->entryId.has_value();
}

bool SetOrder(const std::wstring& value, StoreOptions* options) {
  return SetNumber<&StoreOptions::order>(value, options) && *options->order < kOrderLimit;
}

bool SetParent(const std::wstring& value, StoreOptions* options) {
  options->parentProviderUid = UidFromText(Utf8FromWide(value));
  return options->parentProviderUid.has_value();
}

bool AddMessage(const std::wstring& value, StoreOptions* options) {
  const auto size = ParseNumber(Utf8FromWide(value));
  if (size) options->messageSizes.push_back(*size);
  return size.has_value();
}

using O = StoreOptions;
constexpr StoreSwitch kSwitches[] = {
    {L"--service", "NAME", "another service name", SetText<&O::serviceName>},
    {L"--name-as-string", nullptr, "keep the service name as REG_SZ",
     SetFlag<&O::serviceNameAsString, true>},
    {L"--no-service-name", nullptr, "no service name", SetFlag<&O::withServiceName, false>},
    {L"--no-address", nullptr, "no address property", SetFlag<&O::withAddress, false>},
    {L"--no-provider", nullptr, "no provider", SetFlag<&O::withProvider, false>},
    {L"--no-entry-id", nullptr, "no entry ID", SetFlag<&O::withEntryId, false>},
    {L"--no-path", nullptr, "no store path", SetFlag<&O::withPath, false>},
    {L"--no-file", nullptr, "do not create the store file", SetFlag<&O::withFile, false>},
    {L"--stored-path", "PATH", "another path in the profile", SetText<&O::storedPath>},
    {L"--entry-id", "HEX", "this entry ID", SetEntryId},
    {L"--order", "N", "where the entry ID sorts", SetOrder},
    {L"--parent", "UID", "the parent's provider UID", SetParent},
    {L"--mark", "N", "a corruption mark", SetNumber<&O::corruptionMark>},
    {L"--default", nullptr, "the profile's default store", SetFlag<&O::defaultStore, true>},
    {L"--not-default", nullptr, "not the default store", SetFlag<&O::defaultStore, false>},
    {L"--other-provider-first", nullptr, "a provider that is no store comes first",
     SetFlag<&O::otherProviderFirst, true>},
    {L"--extra-providers", "N", "further store providers", SetNumber<&O::extraProviders>},
    {L"--position", "N", "place in the service table, from 0", SetNumber<&O::position>},
    {L"--message", "BYTES", "one more message of that size", AddMessage},
    {L"--free", "BYTES", "free space that compaction gains", SetNumber<&O::freeBytes>},
};

const StoreSwitch* FindSwitch(const std::wstring& word) {
  for (const StoreSwitch& candidate : kSwitches) {
    if (word == candidate.name) return &candidate;
  }
  return nullptr;
}

}  // namespace

bool TakeStoreOptions(std::vector<std::wstring>* words, StoreOptions* options, std::string* error) {
  std::vector<std::wstring> rest;
  for (size_t i = 0; i < words->size(); ++i) {
    const std::wstring& word = (*words)[i];
    if (!word.starts_with(L"--")) {
      rest.push_back(word);
      continue;
    }
    *error = Utf8FromWide(word);
    const StoreSwitch* found = FindSwitch(word);
    if (found == nullptr) return false;
    if (found->value != nullptr && ++i == words->size()) return false;
    if (!found->apply(found->value != nullptr ? (*words)[i] : std::wstring(), options)) {
      return false;
    }
  }
  *words = std::move(rest);
  return true;
}

std::string DescribeStoreOptions() {
  std::string text;
  for (const StoreSwitch& each : kSwitches) {
    std::string head = "  " + Utf8FromWide(each.name);
    if (each.value != nullptr) head += std::string(" ") + each.value;
    head.resize(std::max<size_t>(head.size() + 1, 28), ' ');
    text += head + each.help + "\n";
  }
  return text;
}

}  // namespace lab
