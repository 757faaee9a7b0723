// Restrictions of tables.
#pragma once

#include <mapix.h>
#include <windows.h>

#include <string>

#include "lab/mapi/properties.h"

namespace lab {

// Whether the lab evaluates `restriction`: null, PROPERTY with RELOP_EQ, CONTENT of whole texts,
// and OR of such, each with a value of its tag's type.
bool IsKnown(const SRestriction* restriction);

// What the journal calls any other.
inline constexpr char kUnknownRestriction[] = "a restriction that it does not know";

// Whether `row` meets a known restriction. Null is met by every row.
bool Matches(const SRestriction* restriction, const PropertyList& row);

// As the journal shows it: or(content(3D09001E,0x10000,"LSMS"),...), "NULL" for null.
std::string DescribeRestriction(const SRestriction* restriction);

}  // namespace lab
