// OLE DB properties: what a client sets and asks of a data source, a session, a command, a rowset.
#pragma once

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include <mutex>
#include <string>
#include <vector>

namespace lab {

// The property sets; the headers declare them, but no library defines them.
extern const GUID kPropertiesInit;
extern const GUID kPropertiesInitAll;
extern const GUID kPropertiesRowset;
extern const GUID kPropertiesSession;

class PropertyBag {
 public:
  // Knows the properties of the one set `set`, all without a value.
  explicit PropertyBag(const GUID& set) : set_(set) {}
  ~PropertyBag();
  PropertyBag(const PropertyBag&) = delete;
  PropertyBag& operator=(const PropertyBag&) = delete;

  // Keeps every property of the bag's set; those of other sets are refused in their status. A text
  // that one call gives several times is joined with semicolons: the data links component passes
  // the pieces of a string that it does not know one by one.
  HRESULT Set(ULONG count, DBPROPSET* sets);
  // Answers what was asked for, or everything kept when nothing is named. The client frees it.
  HRESULT Get(ULONG count, const DBPROPIDSET* wanted, ULONG* setCount, DBPROPSET** sets) const;

  // A property's text, or an empty one; whether it is VARIANT_TRUE.
  std::wstring Text(DBPROPID id) const;
  bool IsTrue(DBPROPID id) const;
  void SetTrue(DBPROPID id);

 private:
  struct Property {
    DBPROPID id;
    VARIANT value;
  };

  void Keep(DBPROPID id, const VARIANT& value);
  void Join(DBPROPID id, const VARIANT& value);
  const Property* Find(DBPROPID id) const;
  Property* Find(DBPROPID id);
  DBPROPSET Answer(const DBPROPIDSET& wanted, bool* complete) const;
  DBPROPIDSET Everything(std::vector<DBPROPID>* ids) const;

  const GUID set_;
  mutable std::mutex mutex_;
  std::vector<Property> properties_;
};

// Describes the initialisation properties, in memory that the client frees.
HRESULT DescribeInitProperties(ULONG count, const DBPROPIDSET* wanted, ULONG* setCount,
                               DBPROPINFOSET** sets, OLECHAR** descriptions);

}  // namespace lab
