// Extended MAPI as this program uses it: what the public headers lack, and owners for what MAPI
// hands out. Nothing outside this file frees a MAPI buffer or a row set.
#pragma once

#include <windows.h>
// MAPI's headers want windows.h first.
#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>
#include <mapiutil.h>
#include <mapix.h>
#include <wrl/client.h>

#include <cstddef>
#include <span>

// The mailbox-opening interface of stores that can serve other users' mailboxes. Published with the
// Exchange interfaces of MAPI (edkmdb.h), which mingw-w64 does not have. Only CreateStoreEntryID is
// called; the others keep their places in the table.
struct IExchangeManageStore : public IUnknown {
  // Makes the entry ID with which a session opens the mailbox `mailboxName`. `*entryId` is a MAPI
  // buffer that the caller frees.
  virtual HRESULT STDMETHODCALLTYPE CreateStoreEntryID(LPSTR storeDn, LPSTR mailboxName,
                                                       ULONG flags, ULONG* entryIdSize,
                                                       LPENTRYID* entryId) = 0;
  virtual HRESULT STDMETHODCALLTYPE EntryIDFromSourceKey(ULONG folderKeySize, BYTE* folderKey,
                                                         ULONG messageKeySize, BYTE* messageKey,
                                                         ULONG* entryIdSize,
                                                         LPENTRYID* entryId) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetRights(ULONG userEntryIdSize, LPENTRYID userEntryId,
                                              ULONG entryIdSize, LPENTRYID entryId,
                                              ULONG* rights) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMailboxTable(LPSTR serverName, LPMAPITABLE* table,
                                                    ULONG flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetPublicFolderTable(LPSTR serverName, LPMAPITABLE* table,
                                                         ULONG flags) = 0;
};

namespace platform {

using Microsoft::WRL::ComPtr;

inline constexpr GUID kIidExchangeManageStore = {
    0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};

// OpenProfileSection: open the section even when another program holds it (edkmdb.h's value).
inline constexpr ULONG kMapiForceAccess = 0x00080000;

template <typename T>
class MapiBuffer {
 public:
  MapiBuffer() = default;
  MapiBuffer(const MapiBuffer&) = delete;
  MapiBuffer& operator=(const MapiBuffer&) = delete;
  ~MapiBuffer() {
    if (buffer_) MAPIFreeBuffer(buffer_);
  }

  T* Get() const { return buffer_; }
  T* operator->() const { return buffer_; }
  // Where a MAPI call stores its buffer. Only for an owner that holds none yet.
  T** Put() { return &buffer_; }

 private:
  T* buffer_ = nullptr;
};

class RowSet {
 public:
  RowSet() = default;
  RowSet(const RowSet&) = delete;
  RowSet& operator=(const RowSet&) = delete;
  ~RowSet() {
    if (rows_) FreeProws(rows_);
  }

  // Only for an owner that holds none yet.
  LPSRowSet* Put() { return &rows_; }
  // The rows in table order; they live as long as the owner.
  std::span<const SRow> Rows() const {
    return rows_ ? std::span<const SRow>(rows_->aRow, rows_->cRows) : std::span<const SRow>();
  }

 private:
  LPSRowSet rows_ = nullptr;
};

// A wide text as MAPI's LPTSTR parameters take it beside the flag MAPI_UNICODE. MAPI only reads it.
inline LPTSTR MapiUnicodeText(const wchar_t* text) {
  return reinterpret_cast<LPTSTR>(const_cast<wchar_t*>(text));
}

// The bytes of a binary property. They live as long as the property's buffer.
inline std::span<const BYTE> BinaryOf(const SPropValue& value) {
  return {value.Value.bin.lpb, value.Value.bin.cb};
}

// The property at `place`, from 0, of a table's row or of an answer of GetProps. One that the
// answer does not reach to counts as one in error. What it points to lives as long as the answer.
inline SPropValue PropertyAt(std::span<const SPropValue> properties, size_t place) {
  if (place < properties.size()) return properties[place];
  SPropValue missing = {};
  missing.ulPropTag = PROP_TAG(PT_ERROR, PROP_ID_NULL);
  missing.Value.err = MAPI_E_NOT_FOUND;
  return missing;
}

inline SPropValue PropertyAt(const SRow& row, size_t place) {
  return PropertyAt(std::span<const SPropValue>(row.lpProps, row.cValues), place);
}

// "The property has this value." The restriction refers to `value`, which must outlive it.
inline SRestriction PropertyEquals(SPropValue& value) {
  SRestriction restriction = {};
  restriction.rt = RES_PROPERTY;
  restriction.res.resProperty.relop = RELOP_EQ;
  restriction.res.resProperty.ulPropTag = value.ulPropTag;
  restriction.res.resProperty.lpProp = &value;
  return restriction;
}

// A list of property tags on the stack, laid out as MAPI's SPropTagArray.
template <size_t Count>
struct PropTags {
  ULONG count;
  ULONG tags[Count];

  LPSPropTagArray Get() { return reinterpret_cast<LPSPropTagArray>(this); }
};

// The list of these tags. The column of a tag in the answer is its place here.
template <typename... Tag>
PropTags<sizeof...(Tag)> MakePropTags(Tag... tags) {
  return {sizeof...(Tag), {static_cast<ULONG>(tags)...}};
}

}  // namespace platform
