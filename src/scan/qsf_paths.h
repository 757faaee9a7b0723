// A profile's store files, read from the registry without MAPI.
#pragma once

#include <string>
#include <vector>

// The store paths in the sections of a MAPI profile of the current user that belong to the
// connector's root stores and, unless `rootOnly`, to its secondary stores; with `markedOnly` only
// of those that the connector has marked as corrupted. In the registry's order, as stored. Empty
// when the profile does not exist. Exceptions end here, with a line; what was found before one is
// returned.
std::vector<std::wstring> getQsfPaths(const std::wstring& profileName, int rootOnly,
                                      int markedOnly);
