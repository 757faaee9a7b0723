// Sessions, the message stores that they open, the stores' folders, and making other mailboxes'
// entry IDs.
#pragma once

#include <memory>
#include <string>

#include "lab/mapi/connector.h"
#include "lab/mapi/object.h"
#include "src/platform/com.h"

namespace lab {

class MapiSession final : public MapiObject<IMAPISession> {
 public:
  explicit MapiSession(std::wstring profile) : profile_(std::move(profile)) {}

  STDMETHODIMP GetMsgStoresTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP OpenMsgStore(ULONG_PTR parent, ULONG entryIdSize, LPENTRYID entryId, LPCIID iid,
                            ULONG flags, LPMDB* store) override;
  STDMETHODIMP Logoff(ULONG_PTR parent, ULONG flags, ULONG reserved) override;

  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(OpenAddressBook, (ULONG_PTR, LPCIID, ULONG, LPADRBOOK*))
  LAB_REFUSE(OpenProfileSection, (LPMAPIUID, LPCIID, ULONG, LPPROFSECT*))
  LAB_REFUSE(GetStatusTable, (ULONG, LPMAPITABLE*))
  LAB_REFUSE(OpenEntry, (ULONG, LPENTRYID, LPCIID, ULONG, ULONG*, LPUNKNOWN*))
  LAB_REFUSE(CompareEntryIDs, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG*))
  LAB_REFUSE(Advise, (ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG*))
  LAB_REFUSE(Unadvise, (ULONG))
  LAB_REFUSE(MessageOptions, (ULONG_PTR, ULONG, LPTSTR, LPMESSAGE))
  LAB_REFUSE(QueryDefaultMessageOpt, (LPTSTR, ULONG, ULONG*, LPSPropValue*))
  LAB_REFUSE(EnumAdrTypes, (ULONG, ULONG*, LPTSTR**))
  LAB_REFUSE(QueryIdentity, (ULONG*, LPENTRYID*))
  LAB_REFUSE(SetDefaultStore, (ULONG, ULONG, LPENTRYID))
  LAB_REFUSE(AdminServices, (ULONG, LPSERVICEADMIN*))
  LAB_REFUSE(ShowForm, (ULONG_PTR, LPMDB, LPMAPIFOLDER, LPCIID, ULONG, LPMESSAGE, ULONG, ULONG,
                        ULONG, ULONG, LPSTR))
  LAB_REFUSE(PrepareForm, (LPCIID, LPMESSAGE, ULONG*))

 private:
  const std::wstring profile_;
};

class Store final : public PropObject<IMsgStore> {
 public:
  explicit Store(std::shared_ptr<OpenStore> store)
      : owner_(store->Owner()), store_(std::move(store)) {}

  // Only the root folder opens: no entry ID.
  STDMETHODIMP OpenEntry(ULONG entryIdSize, LPENTRYID entryId, LPCIID iid, ULONG flags,
                         ULONG* objectType, LPUNKNOWN* object) override;

  // What no program is expected to need.
  LAB_REFUSE(Advise, (ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG*))
  LAB_REFUSE(Unadvise, (ULONG))
  LAB_REFUSE(CompareEntryIDs, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG*))
  LAB_REFUSE(SetReceiveFolder, (LPTSTR, ULONG, ULONG, LPENTRYID))
  LAB_REFUSE(GetReceiveFolder, (LPTSTR, ULONG, ULONG*, LPENTRYID*, LPTSTR*))
  LAB_REFUSE(GetReceiveFolderTable, (ULONG, LPMAPITABLE*))
  LAB_REFUSE(StoreLogoff, (ULONG*))
  LAB_REFUSE(AbortSubmit, (ULONG, LPENTRYID, ULONG))
  LAB_REFUSE(GetOutgoingQueue, (ULONG, LPMAPITABLE*))
  LAB_REFUSE(SetLockState, (LPMESSAGE, ULONG))
  LAB_REFUSE(FinishedMsg, (ULONG, ULONG, LPENTRYID))
  LAB_REFUSE(NotifyNewMail, (LPNOTIFICATION))

 protected:
  HRESULT Query(REFIID iid, void** out, Call& call) override;
  std::wstring Owner() const override { return owner_; }
  void LetGo() override { store_.reset(); }

 private:
  const std::wstring owner_;
  std::shared_ptr<OpenStore> store_;
};

// An interface of a store with a count of its own, so that the account tells the two apart. It
// holds a reference to the store.
class ManageStore final : public MapiObject<IExchangeManageStore> {
 public:
  ManageStore(IMsgStore* store, std::wstring owner) : store_(store), owner_(std::move(owner)) {}

  STDMETHODIMP CreateStoreEntryID(LPSTR storeDn, LPSTR mailboxDn, ULONG flags, ULONG* entryIdSize,
                                  LPENTRYID* entryId) override;

  // What no program is expected to need.
  LAB_REFUSE(EntryIDFromSourceKey, (ULONG, BYTE*, ULONG, BYTE*, ULONG*, LPENTRYID*))
  LAB_REFUSE(GetRights, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG*))
  LAB_REFUSE(GetMailboxTable, (LPSTR, LPMAPITABLE*, ULONG))
  LAB_REFUSE(GetPublicFolderTable, (LPSTR, LPMAPITABLE*, ULONG))

 protected:
  std::wstring Owner() const override { return owner_; }
  void LetGo() override { store_.Reset(); }

 private:
  platform::ComPtr<IMsgStore> store_;
  const std::wstring owner_;
};

class Folder final : public PropObject<IMAPIFolder> {
 public:
  explicit Folder(std::shared_ptr<OpenStore> store)
      : owner_(store->Owner()), store_(std::move(store)) {}

  STDMETHODIMP CreateFolder(ULONG type, LPTSTR name, LPTSTR comment, LPCIID iid, ULONG flags,
                            LPMAPIFOLDER* folder) override;
  // Always empty: the lab's messages have no properties.
  STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE* table) override;

  // What no program is expected to need.
  LAB_REFUSE(GetHierarchyTable, (ULONG, LPMAPITABLE*))
  LAB_REFUSE(OpenEntry, (ULONG, LPENTRYID, LPCIID, ULONG, ULONG*, LPUNKNOWN*))
  LAB_REFUSE(SetSearchCriteria, (LPSRestriction, LPENTRYLIST, ULONG))
  LAB_REFUSE(GetSearchCriteria, (ULONG, LPSRestriction*, LPENTRYLIST*, ULONG*))
  LAB_REFUSE(CreateMessage, (LPCIID, ULONG, LPMESSAGE*))
  LAB_REFUSE(CopyMessages, (LPENTRYLIST, LPCIID, LPVOID, ULONG, LPMAPIPROGRESS, ULONG))
  LAB_REFUSE(DeleteMessages, (LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG))
  LAB_REFUSE(CopyFolder, (ULONG, LPENTRYID, LPCIID, LPVOID, LPTSTR, ULONG, LPMAPIPROGRESS, ULONG))
  LAB_REFUSE(DeleteFolder, (ULONG, LPENTRYID, ULONG, LPMAPIPROGRESS, ULONG))
  LAB_REFUSE(SetReadFlags, (LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG))
  LAB_REFUSE(GetMessageStatus, (ULONG, LPENTRYID, ULONG, ULONG*))
  LAB_REFUSE(SetMessageStatus, (ULONG, LPENTRYID, ULONG, ULONG, ULONG*))
  LAB_REFUSE(SaveContentsSort, (LPSSortOrderSet, ULONG))
  LAB_REFUSE(EmptyFolder, (ULONG, LPMAPIPROGRESS, ULONG))

 protected:
  std::wstring Owner() const override { return owner_; }
  void LetGo() override { store_.reset(); }

 private:
  const std::wstring owner_;
  std::shared_ptr<OpenStore> store_;
};

}  // namespace lab
