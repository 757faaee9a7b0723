// Restrictions of tables.
#pragma once

#include <mapix.h>
#include <windows.h>

#include <string>

#include "lab/mapi/properties.h"

namespace lab {

// S_OK when the lab can evaluate `restriction`: AND, OR, NOT, CONTENT, PROPERTY, BITMASK and EXIST
// of any depth. MAPI_E_TOO_COMPLEX for another kind, MAPI_E_INVALID_PARAMETER for one whose value
// has another type than its tag. Null is no restriction and good.
HRESULT CheckRestriction(const SRestriction* restriction);

// Whether `row` meets a restriction that CheckRestriction has accepted. Null is met by every row.
bool Matches(const SRestriction* restriction, const PropertyList& row);

// As the journal shows it: or(content(3D09001E,0x10000,"LSMS"),...), "NULL" for null.
std::string DescribeRestriction(const SRestriction* restriction);

// Less than, equal to or greater than zero as `left` sorts before, with or behind `right`; both
// have the same type.
int CompareProperties(const Property& left, const Property& right);

}  // namespace lab
