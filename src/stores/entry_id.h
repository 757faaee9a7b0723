// What an entry ID of the connector tells about its store.
#pragma once

#include <windows.h>
// MAPI's headers want windows.h first.
#include <mapidefs.h>

#include <optional>
#include <span>

// Whether `entryId` is that of a store embedded in another store's file, and if so, the UID of the
// provider that serves the parent store. Embedded stores' entry IDs end in a block of 68 bytes: 4
// of flags, the 16 of EmbeddedStoreSignature, 16 more, the parent provider's UID and 16 more. Only
// the first place where the signature stands counts, and only beyond offset 4.
std::optional<MAPIUID> EmbeddedParentProvider(std::span<const BYTE> entryId);
