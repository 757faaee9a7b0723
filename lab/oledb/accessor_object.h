// What commands and rowsets have in common: accessors, and telling what converts to what.
#pragma once

#include <vector>

#include "lab/oledb/accessor_table.h"
#include "lab/oledb/com_object.h"
#include "lab/oledb/conversion.h"

namespace lab {

// An object with IAccessor, IConvertType and the given interfaces.
template <class... Interfaces>
class AccessorObject : public ComObject<IAccessor, IConvertType, Interfaces...> {
 public:
  // `inherited` are the accessors that the object starts with.
  explicit AccessorObject(const char* kind, const AccessorTable& inherited = {})
      : ComObject<IAccessor, IConvertType, Interfaces...>(kind), accessors_(inherited) {}

  const AccessorTable& Accessors() const { return accessors_; }

  HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR accessor, DBREFCOUNT* references) override {
    return accessors_.AddReference(this->Number(), accessor, references);
  }
  HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                           const DBBINDING bindings[], DBLENGTH,
                                           HACCESSOR* accessor, DBBINDSTATUS statuses[]) override {
    return Guarded([&] {
      return accessors_.Create(this->Number(), KnownColumns(), flags, count, bindings, accessor,
                               statuses);
    });
  }
  HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR accessor, DBACCESSORFLAGS* flags,
                                        DBCOUNTITEM* count, DBBINDING** bindings) override {
    return Guarded(
        [&] { return accessors_.GetBindings(this->Number(), accessor, flags, count, bindings); });
  }
  HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR accessor, DBREFCOUNT* references) override {
    return accessors_.Release(this->Number(), accessor, references);
  }

  HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS) override {
    return CanConvertType(from, to);
  }

 private:
  // What bindings are checked against; null as long as the columns are not known.
  virtual const std::vector<ResultColumn>* KnownColumns() const = 0;

  AccessorTable accessors_;
};

}  // namespace lab
