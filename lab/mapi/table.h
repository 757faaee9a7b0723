// Tables: a snapshot of rows with restriction, sort order and columns.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "lab/mapi/properties.h"
#include "lab/mapi/stubs.h"

namespace lab {

class Table final : public TableStubs<IMAPITable> {
 public:
  // `name` is what pseudo operations call the table ("MsgServiceTable"); `columns` are those that
  // it shows until others are set.
  Table(std::string madeBy, std::string name, std::vector<ULONG> columns,
        std::vector<PropertyList> rows);

  STDMETHODIMP SetColumns(LPSPropTagArray columns, ULONG flags) override;
  STDMETHODIMP QueryColumns(ULONG flags, LPSPropTagArray* columns) override;
  STDMETHODIMP GetRowCount(ULONG flags, ULONG* count) override;
  STDMETHODIMP SeekRow(BOOKMARK origin, LONG rows, LONG* sought) override;
  STDMETHODIMP Restrict(LPSRestriction restriction, ULONG flags) override;
  STDMETHODIMP SortTable(LPSSortOrderSet order, ULONG flags) override;
  STDMETHODIMP QueryRows(LONG count, ULONG flags, LPSRowSet* rows) override;

  // HrQueryAllRows: columns, restriction and order are set when they are not null, then all rows
  // from the first on are handed out; MAPI_E_TABLE_TOO_BIG when `most` is not 0 and exceeded.
  HRESULT QueryAll(const std::string& madeBy, const SPropTagArray* columns,
                   const SRestriction* restriction, const SSortOrderSet* order, LONG most,
                   SRowSet** rows);

  const std::string& Name() const { return name_; }

 private:
  // These take no lock of their own.
  HRESULT ApplyRestriction(const SRestriction* restriction);
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
