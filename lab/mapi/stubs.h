// For each interface, a base class whose every method answers MAPI_E_NO_SUPPORT and a line in the
// journal: what a class of the lab does not override, no program is expected to need.
#pragma once

#include "lab/mapi/object.h"

namespace lab {

// IMAPIProp and what derives from it.
template <class Interface>
class PropStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP SaveChanges(ULONG) override { return this->Refuse("SaveChanges"); }
  STDMETHODIMP GetProps(LPSPropTagArray, ULONG, ULONG*, LPSPropValue*) override {
    return this->Refuse("GetProps");
  }
  STDMETHODIMP GetPropList(ULONG, LPSPropTagArray*) override { return this->Refuse("GetPropList"); }
  STDMETHODIMP OpenProperty(ULONG, LPCIID, ULONG, ULONG, LPUNKNOWN*) override {
    return this->Refuse("OpenProperty");
  }
  STDMETHODIMP SetProps(ULONG, LPSPropValue, LPSPropProblemArray*) override {
    return this->Refuse("SetProps");
  }
  STDMETHODIMP DeleteProps(LPSPropTagArray, LPSPropProblemArray*) override {
    return this->Refuse("DeleteProps");
  }
  STDMETHODIMP CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                      LPSPropProblemArray*) override {
    return this->Refuse("CopyTo");
  }
  STDMETHODIMP CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                         LPSPropProblemArray*) override {
    return this->Refuse("CopyProps");
  }
  STDMETHODIMP GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*, LPMAPINAMEID**) override {
    return this->Refuse("GetNamesFromIDs");
  }
  STDMETHODIMP GetIDsFromNames(ULONG, LPMAPINAMEID*, ULONG, LPSPropTagArray*) override {
    return this->Refuse("GetIDsFromNames");
  }
};

// IMAPIContainer and what derives from it.
template <class Interface>
class ContainerStubs : public PropStubs<Interface> {
 public:
  using PropStubs<Interface>::PropStubs;

  STDMETHODIMP GetContentsTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetContentsTable");
  }
  STDMETHODIMP GetHierarchyTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetHierarchyTable");
  }
  STDMETHODIMP OpenEntry(ULONG, LPENTRYID, LPCIID, ULONG, ULONG*, LPUNKNOWN*) override {
    return this->Refuse("OpenEntry");
  }
  STDMETHODIMP SetSearchCriteria(LPSRestriction, LPENTRYLIST, ULONG) override {
    return this->Refuse("SetSearchCriteria");
  }
  STDMETHODIMP GetSearchCriteria(ULONG, LPSRestriction*, LPENTRYLIST*, ULONG*) override {
    return this->Refuse("GetSearchCriteria");
  }
};

// IMAPIFolder.
template <class Interface>
class FolderStubs : public ContainerStubs<Interface> {
 public:
  using ContainerStubs<Interface>::ContainerStubs;

  STDMETHODIMP CreateMessage(LPCIID, ULONG, LPMESSAGE*) override {
    return this->Refuse("CreateMessage");
  }
  STDMETHODIMP CopyMessages(LPENTRYLIST, LPCIID, LPVOID, ULONG, LPMAPIPROGRESS, ULONG) override {
    return this->Refuse("CopyMessages");
  }
  STDMETHODIMP DeleteMessages(LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG) override {
    return this->Refuse("DeleteMessages");
  }
  STDMETHODIMP CreateFolder(ULONG, LPTSTR, LPTSTR, LPCIID, ULONG, LPMAPIFOLDER*) override {
    return this->Refuse("CreateFolder");
  }
  STDMETHODIMP CopyFolder(ULONG, LPENTRYID, LPCIID, LPVOID, LPTSTR, ULONG, LPMAPIPROGRESS,
                          ULONG) override {
    return this->Refuse("CopyFolder");
  }
  STDMETHODIMP DeleteFolder(ULONG, LPENTRYID, ULONG, LPMAPIPROGRESS, ULONG) override {
    return this->Refuse("DeleteFolder");
  }
  STDMETHODIMP SetReadFlags(LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG) override {
    return this->Refuse("SetReadFlags");
  }
  STDMETHODIMP GetMessageStatus(ULONG, LPENTRYID, ULONG, ULONG*) override {
    return this->Refuse("GetMessageStatus");
  }
  STDMETHODIMP SetMessageStatus(ULONG, LPENTRYID, ULONG, ULONG, ULONG*) override {
    return this->Refuse("SetMessageStatus");
  }
  STDMETHODIMP SaveContentsSort(LPSSortOrderSet, ULONG) override {
    return this->Refuse("SaveContentsSort");
  }
  STDMETHODIMP EmptyFolder(ULONG, LPMAPIPROGRESS, ULONG) override {
    return this->Refuse("EmptyFolder");
  }
};

// IMsgStore.
template <class Interface>
class StoreStubs : public PropStubs<Interface> {
 public:
  using PropStubs<Interface>::PropStubs;

  STDMETHODIMP Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG*) override {
    return this->Refuse("Advise");
  }
  STDMETHODIMP Unadvise(ULONG) override { return this->Refuse("Unadvise"); }
  STDMETHODIMP CompareEntryIDs(ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG*) override {
    return this->Refuse("CompareEntryIDs");
  }
  STDMETHODIMP OpenEntry(ULONG, LPENTRYID, LPCIID, ULONG, ULONG*, LPUNKNOWN*) override {
    return this->Refuse("OpenEntry");
  }
  STDMETHODIMP SetReceiveFolder(LPTSTR, ULONG, ULONG, LPENTRYID) override {
    return this->Refuse("SetReceiveFolder");
  }
  STDMETHODIMP GetReceiveFolder(LPTSTR, ULONG, ULONG*, LPENTRYID*, LPTSTR*) override {
    return this->Refuse("GetReceiveFolder");
  }
  STDMETHODIMP GetReceiveFolderTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetReceiveFolderTable");
  }
  STDMETHODIMP StoreLogoff(ULONG*) override { return this->Refuse("StoreLogoff"); }
  STDMETHODIMP AbortSubmit(ULONG, LPENTRYID, ULONG) override { return this->Refuse("AbortSubmit"); }
  STDMETHODIMP GetOutgoingQueue(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetOutgoingQueue");
  }
  STDMETHODIMP SetLockState(LPMESSAGE, ULONG) override { return this->Refuse("SetLockState"); }
  STDMETHODIMP FinishedMsg(ULONG, ULONG, LPENTRYID) override { return this->Refuse("FinishedMsg"); }
  STDMETHODIMP NotifyNewMail(LPNOTIFICATION) override { return this->Refuse("NotifyNewMail"); }
};

// IMAPITable.
template <class Interface>
class TableStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP Advise(ULONG, LPMAPIADVISESINK, ULONG*) override { return this->Refuse("Advise"); }
  STDMETHODIMP Unadvise(ULONG) override { return this->Refuse("Unadvise"); }
  STDMETHODIMP GetStatus(ULONG*, ULONG*) override { return this->Refuse("GetStatus"); }
  STDMETHODIMP SetColumns(LPSPropTagArray, ULONG) override { return this->Refuse("SetColumns"); }
  STDMETHODIMP QueryColumns(ULONG, LPSPropTagArray*) override {
    return this->Refuse("QueryColumns");
  }
  STDMETHODIMP GetRowCount(ULONG, ULONG*) override { return this->Refuse("GetRowCount"); }
  STDMETHODIMP SeekRow(BOOKMARK, LONG, LONG*) override { return this->Refuse("SeekRow"); }
  STDMETHODIMP SeekRowApprox(ULONG, ULONG) override { return this->Refuse("SeekRowApprox"); }
  STDMETHODIMP QueryPosition(ULONG*, ULONG*, ULONG*) override {
    return this->Refuse("QueryPosition");
  }
  STDMETHODIMP FindRow(LPSRestriction, BOOKMARK, ULONG) override { return this->Refuse("FindRow"); }
  STDMETHODIMP Restrict(LPSRestriction, ULONG) override { return this->Refuse("Restrict"); }
  STDMETHODIMP CreateBookmark(BOOKMARK*) override { return this->Refuse("CreateBookmark"); }
  STDMETHODIMP FreeBookmark(BOOKMARK) override { return this->Refuse("FreeBookmark"); }
  STDMETHODIMP SortTable(LPSSortOrderSet, ULONG) override { return this->Refuse("SortTable"); }
  STDMETHODIMP QuerySortOrder(LPSSortOrderSet*) override { return this->Refuse("QuerySortOrder"); }
  STDMETHODIMP QueryRows(LONG, ULONG, LPSRowSet*) override { return this->Refuse("QueryRows"); }
  STDMETHODIMP Abort() override { return this->Refuse("Abort"); }
  STDMETHODIMP ExpandRow(ULONG, LPBYTE, ULONG, ULONG, LPSRowSet*, ULONG*) override {
    return this->Refuse("ExpandRow");
  }
  STDMETHODIMP CollapseRow(ULONG, LPBYTE, ULONG, ULONG*) override {
    return this->Refuse("CollapseRow");
  }
  STDMETHODIMP WaitForCompletion(ULONG, ULONG, ULONG*) override {
    return this->Refuse("WaitForCompletion");
  }
  STDMETHODIMP GetCollapseState(ULONG, ULONG, LPBYTE, ULONG*, LPBYTE*) override {
    return this->Refuse("GetCollapseState");
  }
  STDMETHODIMP SetCollapseState(ULONG, ULONG, LPBYTE, BOOKMARK*) override {
    return this->Refuse("SetCollapseState");
  }
};

// IMAPISession.
template <class Interface>
class SessionStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP GetMsgStoresTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetMsgStoresTable");
  }
  STDMETHODIMP OpenMsgStore(ULONG_PTR, ULONG, LPENTRYID, LPCIID, ULONG, LPMDB*) override {
    return this->Refuse("OpenMsgStore");
  }
  STDMETHODIMP OpenAddressBook(ULONG_PTR, LPCIID, ULONG, LPADRBOOK*) override {
    return this->Refuse("OpenAddressBook");
  }
  STDMETHODIMP OpenProfileSection(LPMAPIUID, LPCIID, ULONG, LPPROFSECT*) override {
    return this->Refuse("OpenProfileSection");
  }
  STDMETHODIMP GetStatusTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetStatusTable");
  }
  STDMETHODIMP OpenEntry(ULONG, LPENTRYID, LPCIID, ULONG, ULONG*, LPUNKNOWN*) override {
    return this->Refuse("OpenEntry");
  }
  STDMETHODIMP CompareEntryIDs(ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG*) override {
    return this->Refuse("CompareEntryIDs");
  }
  STDMETHODIMP Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG*) override {
    return this->Refuse("Advise");
  }
  STDMETHODIMP Unadvise(ULONG) override { return this->Refuse("Unadvise"); }
  STDMETHODIMP MessageOptions(ULONG_PTR, ULONG, LPTSTR, LPMESSAGE) override {
    return this->Refuse("MessageOptions");
  }
  STDMETHODIMP QueryDefaultMessageOpt(LPTSTR, ULONG, ULONG*, LPSPropValue*) override {
    return this->Refuse("QueryDefaultMessageOpt");
  }
  STDMETHODIMP EnumAdrTypes(ULONG, ULONG*, LPTSTR**) override {
    return this->Refuse("EnumAdrTypes");
  }
  STDMETHODIMP QueryIdentity(ULONG*, LPENTRYID*) override { return this->Refuse("QueryIdentity"); }
  STDMETHODIMP Logoff(ULONG_PTR, ULONG, ULONG) override { return this->Refuse("Logoff"); }
  STDMETHODIMP SetDefaultStore(ULONG, ULONG, LPENTRYID) override {
    return this->Refuse("SetDefaultStore");
  }
  STDMETHODIMP AdminServices(ULONG, LPSERVICEADMIN*) override {
    return this->Refuse("AdminServices");
  }
  STDMETHODIMP ShowForm(ULONG_PTR, LPMDB, LPMAPIFOLDER, LPCIID, ULONG, LPMESSAGE, ULONG, ULONG,
                        ULONG, ULONG, LPSTR) override {
    return this->Refuse("ShowForm");
  }
  STDMETHODIMP PrepareForm(LPCIID, LPMESSAGE, ULONG*) override {
    return this->Refuse("PrepareForm");
  }
};

// IProfAdmin.
template <class Interface>
class ProfAdminStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP GetProfileTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetProfileTable");
  }
  STDMETHODIMP CreateProfile(LPTSTR, LPTSTR, ULONG_PTR, ULONG) override {
    return this->Refuse("CreateProfile");
  }
  STDMETHODIMP DeleteProfile(LPTSTR, ULONG) override { return this->Refuse("DeleteProfile"); }
  STDMETHODIMP ChangeProfilePassword(LPTSTR, LPTSTR, LPTSTR, ULONG) override {
    return this->Refuse("ChangeProfilePassword");
  }
  STDMETHODIMP CopyProfile(LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG) override {
    return this->Refuse("CopyProfile");
  }
  STDMETHODIMP RenameProfile(LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG) override {
    return this->Refuse("RenameProfile");
  }
  STDMETHODIMP SetDefaultProfile(LPTSTR, ULONG) override {
    return this->Refuse("SetDefaultProfile");
  }
  STDMETHODIMP AdminServices(LPTSTR, LPTSTR, ULONG_PTR, ULONG, LPSERVICEADMIN*) override {
    return this->Refuse("AdminServices");
  }
};

// IMsgServiceAdmin.
template <class Interface>
class ServiceAdminStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP GetMsgServiceTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetMsgServiceTable");
  }
  STDMETHODIMP CreateMsgService(LPTSTR, LPTSTR, ULONG_PTR, ULONG) override {
    return this->Refuse("CreateMsgService");
  }
  STDMETHODIMP DeleteMsgService(LPMAPIUID) override { return this->Refuse("DeleteMsgService"); }
  STDMETHODIMP CopyMsgService(LPMAPIUID, LPTSTR, LPCIID, LPCIID, LPVOID, ULONG_PTR,
                              ULONG) override {
    return this->Refuse("CopyMsgService");
  }
  STDMETHODIMP RenameMsgService(LPMAPIUID, ULONG, LPTSTR) override {
    return this->Refuse("RenameMsgService");
  }
  STDMETHODIMP ConfigureMsgService(LPMAPIUID, ULONG_PTR, ULONG, ULONG, LPSPropValue) override {
    return this->Refuse("ConfigureMsgService");
  }
  STDMETHODIMP OpenProfileSection(LPMAPIUID, LPCIID, ULONG, LPPROFSECT*) override {
    return this->Refuse("OpenProfileSection");
  }
  STDMETHODIMP MsgServiceTransportOrder(ULONG, LPMAPIUID, ULONG) override {
    return this->Refuse("MsgServiceTransportOrder");
  }
  STDMETHODIMP AdminProviders(LPMAPIUID, ULONG, LPPROVIDERADMIN*) override {
    return this->Refuse("AdminProviders");
  }
  STDMETHODIMP SetPrimaryIdentity(LPMAPIUID, ULONG) override {
    return this->Refuse("SetPrimaryIdentity");
  }
  STDMETHODIMP GetProviderTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetProviderTable");
  }
};

// IProviderAdmin.
template <class Interface>
class ProviderAdminStubs : public Object<Interface> {
 public:
  using Object<Interface>::Object;

  STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR*) override {
    return this->Refuse("GetLastError");
  }
  STDMETHODIMP GetProviderTable(ULONG, LPMAPITABLE*) override {
    return this->Refuse("GetProviderTable");
  }
  STDMETHODIMP CreateProvider(LPTSTR, ULONG, LPSPropValue, ULONG, ULONG, MAPIUID*) override {
    return this->Refuse("CreateProvider");
  }
  STDMETHODIMP DeleteProvider(LPMAPIUID) override { return this->Refuse("DeleteProvider"); }
  STDMETHODIMP OpenProfileSection(LPMAPIUID, LPCIID, ULONG, LPPROFSECT*) override {
    return this->Refuse("OpenProfileSection");
  }
};

}  // namespace lab
