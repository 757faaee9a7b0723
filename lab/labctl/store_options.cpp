#include "lab/labctl/store_options.h"

#include <algorithm>

#include "lab/common/rule_file.h"

namespace lab {
namespace {

// Takes a switch's value, empty for one that has none; false when the value is wrong.
using Apply = bool (*)(std::string_view value, StoreOptions* options);

struct StoreSwitch {
  const char* name;
  const char* value;  // what stands for the value in the help, null for a switch without
  const char* help;
  Apply apply;
};

template <auto kMember, bool kValue>
bool SetFlag(std::string_view, StoreOptions* options) {
  options->*kMember = kValue;
  return true;
}

// A member of a kind that only `kRead` knows.
template <auto kMember, auto kRead>
bool SetRead(std::string_view value, StoreOptions* options) {
  options->*kMember = kRead(value);
  return (options->*kMember).has_value();
}

bool SetOrder(std::string_view value, StoreOptions* options) {
  return ReadMember<&StoreOptions::order>(value, options) && *options->order < kOrderLimit;
}

bool AddMessage(std::string_view value, StoreOptions* options) {
  return ReadWord(value, &options->messageSizes.emplace_back());
}

using O = StoreOptions;
constexpr StoreSwitch kSwitches[] = {
    {"--service", "NAME", "another service name", ReadMember<&O::serviceName>},
    {"--name-as-string", nullptr, "keep the service name as REG_SZ",
     SetFlag<&O::serviceNameAsString, true>},
    {"--no-service-name", nullptr, "no service name", SetFlag<&O::withServiceName, false>},
    {"--no-address", nullptr, "no address property", SetFlag<&O::withAddress, false>},
    {"--no-provider", nullptr, "no provider", SetFlag<&O::withProvider, false>},
    {"--no-entry-id", nullptr, "no entry ID", SetFlag<&O::withEntryId, false>},
    {"--no-path", nullptr, "no store path", SetFlag<&O::withPath, false>},
    {"--no-file", nullptr, "do not create the store file", SetFlag<&O::withFile, false>},
    {"--stored-path", "PATH", "another path in the profile", ReadMember<&O::storedPath>},
    {"--entry-id", "HEX", "this entry ID", SetRead<&O::entryId, BytesFromHex>},
    {"--order", "N", "where the entry ID sorts", SetOrder},
    {"--parent", "UID", "the parent's provider UID", SetRead<&O::parentProviderUid, UidFromText>},
    {"--mark", "N", "a corruption mark", ReadMember<&O::corruptionMark>},
    {"--default", nullptr, "the profile's default store", SetFlag<&O::defaultStore, true>},
    {"--not-default", nullptr, "not the default store", SetFlag<&O::defaultStore, false>},
    {"--other-provider-first", nullptr, "a provider that is no store comes first",
     SetFlag<&O::otherProviderFirst, true>},
    {"--extra-providers", "N", "further store providers", ReadMember<&O::extraProviders>},
    {"--position", "N", "place in the service table, from 0",
     SetRead<&O::position, ParseNumber<size_t>>},
    {"--message", "BYTES", "one more message of that size", AddMessage},
    {"--free", "BYTES", "free space that compaction gains", ReadMember<&O::freeBytes>},
};

// Applies the switch at `*at` in `words`, and moves `*at` to its last word.
bool TakeSwitch(const Words& words, size_t* at, StoreOptions* options) {
  const std::string name = Utf8FromWide(words[*at]);
  const auto* found = std::find_if(std::begin(kSwitches), std::end(kSwitches),
                                   [&](const StoreSwitch& each) { return name == each.name; });
  if (found == std::end(kSwitches)) return false;
  if (!found->value) return found->apply({}, options);
  return ++*at < words.size() && found->apply(Utf8FromWide(words[*at]), options);
}

}  // namespace

StoreOptions TakeStoreOptions(Words* words) {
  StoreOptions options;
  Words rest;
  for (size_t i = 0; i < words->size(); ++i) {
    const std::wstring& word = (*words)[i];
    if (!word.starts_with(L"--")) {
      rest.push_back(word);
    } else if (!TakeSwitch(*words, &i, &options)) {
      throw NotUnderstood(Utf8FromWide(word) + " is no switch, or its value is wrong");
    }
  }
  *words = std::move(rest);
  return options;
}

std::string DescribeStoreOptions() {
  std::string text;
  for (const StoreSwitch& each : kSwitches) {
    std::string head = std::string("  ") + each.name;
    if (each.value) head += std::string(" ") + each.value;
    head.resize(std::max<size_t>(head.size() + 1, 28), ' ');
    text += head + each.help + "\n";
  }
  return text;
}

}  // namespace lab
