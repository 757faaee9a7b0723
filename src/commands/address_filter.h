// The "-e" values of a command as a filter on addresses.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

// Whether one of `fragments` occurs in `address`, compared with letter case: addresses are stored
// in lower case, so a fragment with a capital letter matches nothing. An empty fragment matches
// all.
inline bool ContainsAny(const std::wstring& address, const std::vector<std::wstring>& fragments) {
  return std::any_of(fragments.begin(), fragments.end(), [&](const std::wstring& fragment) {
    return address.find(fragment) != std::wstring::npos;
  });
}

// The same for the commands that work on every address when no fragment is given.
inline bool IsSelected(const std::wstring& address, const std::vector<std::wstring>& fragments) {
  return fragments.empty() || ContainsAny(address, fragments);
}
