// Properties as the lab holds them, and as MAPI hands them out.
#pragma once

#include <mapix.h>
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/text.h"

namespace lab {

struct Property {
  ULONG tag = 0;
  uint32_t number = 0;     // PT_LONG, PT_BOOLEAN, PT_ERROR
  std::wstring text = {};  // PT_UNICODE, PT_STRING8
  Bytes bytes = {};        // PT_BINARY

  bool operator==(const Property&) const = default;
};

// The properties of a table's row or of an object, each id once.
using PropertyList = std::vector<Property>;

Property UidProperty(ULONG tag, const Uid& uid);
// PT_ERROR for the property of `tag`.
Property ErrorProperty(ULONG tag, HRESULT error);

// A tag as journal and fault plan write it: "3D09001E".
std::string TagText(ULONG tag);
// Several of them with commas between, "NULL" for null.
std::string DescribeTags(const SPropTagArray* tags);

// How many of `count` values an answer holds, from the first on: all, unless the fault plan has a
// number for the pseudo operation.
size_t AnsweredCount(const std::string& operation, size_t count);

// Whether a property of this tag is text of either width.
bool IsText(ULONG tag);

Uid UidFromMapi(const MAPIUID& uid);

// The property of `list` that a caller who asks for `tag` gets: strings in the width asked for,
// otherwise PT_ERROR with MAPI_E_NOT_FOUND.
Property Lookup(const PropertyList& list, ULONG tag);

// A property of a profile section; none when the section does not hold it.
std::optional<Property> ReadSectionProperty(const std::wstring& profile, const Uid& section,
                                            ULONG tag);
// All of a section's properties of the types above.
PropertyList ReadSectionProperties(const std::wstring& profile, const Uid& section);

// Writes `property` to `*value`; strings and binaries become buffers that belong to `parent`.
void FillPropValue(const Property& property, void* parent, SPropValue* value);

// What `value` holds; its pointers must be good.
Property FromPropValue(const SPropValue& value);

}  // namespace lab
