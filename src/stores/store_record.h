// What the store cache knows of one store.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

// An entry ID as a byte string. Ordered byte by byte, unsigned; a shorter one before a longer one
// that begins with it.
using EntryIdBytes = std::vector<BYTE>;

enum class StoreKind : std::uint32_t {
  FileStore = 0,      // Has a store file of its own (services "LSMS" and "LSMS_Secondary").
  EmbeddedStore = 1,  // Lives inside another store's file.
};

struct StoreRecord {
  StoreKind Kind = StoreKind::FileStore;
  std::string QsfPath;  // Lower case, thread's ANSI code page; empty for an embedded store.
  std::wstring Email;   // The owner's address; A to Z in lower case.
  std::vector<BYTE> ServiceUid;  // PR_SERVICE_UID of the store's message service, 16 bytes.
  EntryIdBytes EntryId;          // PR_ENTRYID of the provider's section; the record's key.
  EntryIdBytes ParentEntryId;    // Of an embedded store: its parent's entry ID.
  // The entry IDs of the stores embedded in this one, in the cache's order.
  std::vector<EntryIdBytes> EmbeddedChildren;
};
