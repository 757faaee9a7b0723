// Open message stores, their folders, and making other mailboxes' entry IDs.
#pragma once

#include <memory>
#include <string>

#include "lab/mapi/connector.h"
#include "lab/mapi/stubs.h"

namespace lab {

class Store final : public StoreStubs<IMsgStore> {
 public:
  Store(std::string madeBy, std::shared_ptr<OpenStore> store);

  // Only the root folder opens: no entry ID.
  STDMETHODIMP OpenEntry(ULONG entryIdSize, LPENTRYID entryId, LPCIID iid, ULONG flags,
                         ULONG* objectType, LPUNKNOWN* object) override;

 protected:
  HRESULT Query(REFIID iid, void** out, const std::string& madeBy) override;
  std::wstring Owner() const override { return owner_; }
  void LetGo() override { store_.reset(); }

 private:
  const std::wstring owner_;
  std::shared_ptr<OpenStore> store_;
};

// An interface of a store with a count of its own, so that the account tells the two apart. It
// holds a reference to the store.
class ManageStore final : public Object<IExchangeManageStore> {
 public:
  ManageStore(std::string madeBy, IMsgStore* store, std::wstring owner);

  STDMETHODIMP CreateStoreEntryID(LPSTR storeDn, LPSTR mailboxDn, ULONG flags, ULONG* entryIdSize,
                                  LPENTRYID* entryId) override;
  STDMETHODIMP EntryIDFromSourceKey(ULONG, BYTE*, ULONG, BYTE*, ULONG*, LPENTRYID*) override {
    return Refuse("EntryIDFromSourceKey");
  }
  STDMETHODIMP GetRights(ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG*) override {
    return Refuse("GetRights");
  }
  STDMETHODIMP GetMailboxTable(LPSTR, LPMAPITABLE*, ULONG) override {
    return Refuse("GetMailboxTable");
  }
  STDMETHODIMP GetPublicFolderTable(LPSTR, LPMAPITABLE*, ULONG) override {
    return Refuse("GetPublicFolderTable");
  }

 protected:
  std::wstring Owner() const override { return owner_; }
  void LetGo() override;

 private:
  IMsgStore* store_;
  const std::wstring owner_;
};

class Folder final : public FolderStubs<IMAPIFolder> {
 public:
  Folder(std::string madeBy, std::shared_ptr<OpenStore> store);

  STDMETHODIMP CreateFolder(ULONG type, LPTSTR name, LPTSTR comment, LPCIID iid, ULONG flags,
                            LPMAPIFOLDER* folder) override;
  // Always empty: the lab's messages have no properties.
  STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE* table) override;

 protected:
  std::wstring Owner() const override { return owner_; }
  void LetGo() override { store_.reset(); }

 private:
  const std::wstring owner_;
  std::shared_ptr<OpenStore> store_;
};

}  // namespace lab
