// Tables: a snapshot of rows with restriction, sort order and columns.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "lab/mapi/object.h"
#include "lab/mapi/properties.h"

namespace lab {

// What HrQueryAllRows is told: columns, restriction and order are set when they are not null;
// `most` rows at the most, when it is not 0.
struct RowQuery {
  const SPropTagArray* columns;
  const SRestriction* restriction;
  const SSortOrderSet* order;
  LONG most;
};

class Table final : public MapiObject<IMAPITable> {
 public:
  // `name` is what pseudo operations call the table ("MsgServiceTable"); `columns` are those that
  // it shows until others are set.
  Table(std::string name, std::vector<ULONG> columns, std::vector<PropertyList> rows);

  STDMETHODIMP SetColumns(LPSPropTagArray columns, ULONG flags) override;
  STDMETHODIMP QueryColumns(ULONG flags, LPSPropTagArray* columns) override;
  STDMETHODIMP GetRowCount(ULONG flags, ULONG* count) override;
  STDMETHODIMP SeekRow(BOOKMARK origin, LONG rows, LONG* sought) override;
  STDMETHODIMP Restrict(LPSRestriction restriction, ULONG flags) override;
  STDMETHODIMP SortTable(LPSSortOrderSet order, ULONG flags) override;
  STDMETHODIMP QueryRows(LONG count, ULONG flags, LPSRowSet* rows) override;

  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(Advise, (ULONG, LPMAPIADVISESINK, ULONG*))
  LAB_REFUSE(Unadvise, (ULONG))
  LAB_REFUSE(GetStatus, (ULONG*, ULONG*))
  LAB_REFUSE(SeekRowApprox, (ULONG, ULONG))
  LAB_REFUSE(QueryPosition, (ULONG*, ULONG*, ULONG*))
  LAB_REFUSE(FindRow, (LPSRestriction, BOOKMARK, ULONG))
  LAB_REFUSE(CreateBookmark, (BOOKMARK*))
  LAB_REFUSE(FreeBookmark, (BOOKMARK))
  LAB_REFUSE(QuerySortOrder, (LPSSortOrderSet*))
  LAB_REFUSE(Abort, ())
  LAB_REFUSE(ExpandRow, (ULONG, LPBYTE, ULONG, ULONG, LPSRowSet*, ULONG*))
  LAB_REFUSE(CollapseRow, (ULONG, LPBYTE, ULONG, ULONG*))
  LAB_REFUSE(WaitForCompletion, (ULONG, ULONG, ULONG*))
  LAB_REFUSE(GetCollapseState, (ULONG, ULONG, LPBYTE, ULONG*, LPBYTE*))
  LAB_REFUSE(SetCollapseState, (ULONG, ULONG, LPBYTE, BOOKMARK*))

  // HrQueryAllRows: hands out all rows from the first on; MAPI_E_TABLE_TOO_BIG for too many.
  HRESULT QueryAll(const std::string& madeBy, const RowQuery& query, SRowSet** rows);

  const std::string& Name() const { return name_; }

 private:
  // These take no lock of their own.
  void ApplyRestriction(const SRestriction* restriction);
  HRESULT ApplyOrder(const SSortOrderSet* order);
  void ApplyColumns(const SPropTagArray* columns);
  SRowSet* MakeRowSet(const std::string& madeBy, size_t first, size_t count);
  void FillRow(const std::string& madeBy, const PropertyList& row, SRow* out);

  const std::string name_;
  const std::vector<PropertyList> all_;

  std::mutex mutex_;  // guards what follows
  std::vector<ULONG> columns_;
  std::vector<const PropertyList*> shown_;
  size_t cursor_ = 0;
};

// Frees a row set with its rows; false when it is none of the lab's.
bool FreeRowSet(SRowSet* rows);

// How the journal shows a sort order: the tags, '-' before a descending one.
std::string DescribeOrder(const SSortOrderSet* order);

}  // namespace lab
