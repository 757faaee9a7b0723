// The interface of a message store that makes entry IDs of other mailboxes' stores. The platform's
// headers lack it.
#pragma once

#include <mapidefs.h>
#include <windows.h>

namespace lab {

// {559D10B0-A772-11CD-9BC8-00AA002FC45A}
inline constexpr IID kIidExchangeManageStore = {
    0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};

struct IExchangeManageStore : public IUnknown {
  // Names are in the ANSI code page; the entry ID is a MAPI buffer of the caller's.
  STDMETHOD(CreateStoreEntryID)
  (LPSTR storeDn, LPSTR mailboxDn, ULONG flags, ULONG* entryIdSize, LPENTRYID* entryId) = 0;
  STDMETHOD(EntryIDFromSourceKey)
  (ULONG folderKeySize, BYTE* folderKey, ULONG messageKeySize, BYTE* messageKey, ULONG* entryIdSize,
   LPENTRYID* entryId) = 0;
  STDMETHOD(GetRights)
  (ULONG userSize, LPENTRYID user, ULONG entrySize, LPENTRYID entry, ULONG* rights) = 0;
  STDMETHOD(GetMailboxTable)(LPSTR serverName, LPMAPITABLE* table, ULONG flags) = 0;
  STDMETHOD(GetPublicFolderTable)(LPSTR serverName, LPMAPITABLE* table, ULONG flags) = 0;
};

}  // namespace lab
