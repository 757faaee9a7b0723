#include "lab/mapi/restriction.h"

#include <mapicode.h>

#include <algorithm>

namespace lab {
namespace {

constexpr ULONG kFuzzyLevelMask = 0xFFFF;

bool SameType(ULONG tag, const SPropValue* value) {
  return value && PROP_TYPE(tag) == PROP_TYPE(value->ulPropTag);
}

HRESULT CheckAll(const SRestriction* members, ULONG count) {
  for (ULONG i = 0; i < count; ++i) {
    const HRESULT result = CheckRestriction(&members[i]);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

std::wstring FoldCase(std::wstring text) {
  if (!text.empty()) CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

template <class Sequence>
bool ContainsAt(const Sequence& whole, const Sequence& piece, ULONG level) {
  switch (level) {
    case FL_SUBSTRING:
      return std::search(whole.begin(), whole.end(), piece.begin(), piece.end()) != whole.end() ||
             piece.empty();
    case FL_PREFIX:
      return whole.size() >= piece.size() && std::equal(piece.begin(), piece.end(), whole.begin());
    default:
      return whole == piece;
  }
}

bool MatchesContent(const SContentRestriction& content, const PropertyList& row) {
  const Property whole = Lookup(row, content.ulPropTag);
  if (whole.tag != content.ulPropTag) return false;
  const Property piece = FromPropValue(*content.lpProp);
  const ULONG level = content.ulFuzzyLevel & kFuzzyLevelMask;
  if (!IsText(whole.tag)) return ContainsAt(whole.bytes, piece.bytes, level);
  if (content.ulFuzzyLevel & (FL_IGNORECASE | FL_LOOSE)) {
    return ContainsAt(FoldCase(whole.text), FoldCase(piece.text), level);
  }
  return ContainsAt(whole.text, piece.text, level);
}

bool Holds(ULONG relation, int order) {
  switch (relation) {
    case RELOP_LT:
      return order < 0;
    case RELOP_LE:
      return order <= 0;
    case RELOP_GT:
      return order > 0;
    case RELOP_GE:
      return order >= 0;
    case RELOP_EQ:
      return order == 0;
    default:
      return order != 0;
  }
}

bool MatchesProperty(const SPropertyRestriction& relation, const PropertyList& row) {
  const Property value = Lookup(row, relation.ulPropTag);
  if (value.tag != relation.ulPropTag) return false;
  return Holds(relation.relop, CompareProperties(value, FromPropValue(*relation.lpProp)));
}

bool MatchesBits(const SBitMaskRestriction& bits, const PropertyList& row) {
  const Property value = Lookup(row, bits.ulPropTag);
  if (value.tag != bits.ulPropTag) return false;
  return ((value.number & bits.ulMask) != 0) == (bits.relBMR == BMR_NEZ);
}

std::string DescribeValue(const SPropValue* value) {
  if (!value) return "NULL";
  const Property property = FromPropValue(*value);
  if (IsText(property.tag)) return '"' + Utf8FromWide(property.text) + '"';
  if (PROP_TYPE(property.tag) == PT_BINARY) return HexFromBytes(property.bytes);
  return HexNumber(property.number);
}

std::string DescribeMembers(const char* word, const SRestriction* members, ULONG count) {
  std::string text = std::string(word) + '(';
  for (ULONG i = 0; i < count; ++i) {
    text += (i == 0 ? "" : ",") + DescribeRestriction(&members[i]);
  }
  return text + ')';
}

}  // namespace

HRESULT CheckRestriction(const SRestriction* restriction) {
  if (!restriction) return S_OK;
  const auto& res = restriction->res;
  bool good = true;
  switch (restriction->rt) {
    case RES_AND:
    case RES_OR:
      return CheckAll(res.resAnd.lpRes, res.resAnd.cRes);
    case RES_NOT:
      return CheckAll(res.resNot.lpRes, 1);
    case RES_CONTENT:
      good = SameType(res.resContent.ulPropTag, res.resContent.lpProp);
      break;
    case RES_PROPERTY:
      good = SameType(res.resProperty.ulPropTag, res.resProperty.lpProp) &&
             res.resProperty.relop <= RELOP_NE;
      break;
    case RES_BITMASK:
    case RES_EXIST:
      break;
    default:
      return MAPI_E_TOO_COMPLEX;
  }
  return good ? S_OK : MAPI_E_INVALID_PARAMETER;
}

bool Matches(const SRestriction* restriction, const PropertyList& row) {
  if (!restriction) return true;
  const auto& res = restriction->res;
  const auto matches = [&](const SRestriction& member) { return Matches(&member, row); };
  switch (restriction->rt) {
    case RES_AND:
      return std::all_of(res.resAnd.lpRes, res.resAnd.lpRes + res.resAnd.cRes, matches);
    case RES_OR:
      return std::any_of(res.resOr.lpRes, res.resOr.lpRes + res.resOr.cRes, matches);
    case RES_NOT:
      return !Matches(res.resNot.lpRes, row);
    case RES_CONTENT:
      return MatchesContent(res.resContent, row);
    case RES_PROPERTY:
      return MatchesProperty(res.resProperty, row);
    case RES_BITMASK:
      return MatchesBits(res.resBitMask, row);
    default:
      return PROP_TYPE(Lookup(row, res.resExist.ulPropTag).tag) != PT_ERROR;
  }
}

std::string DescribeRestriction(const SRestriction* restriction) {
  if (!restriction) return "NULL";
  const auto& res = restriction->res;
  switch (restriction->rt) {
    case RES_AND:
      return DescribeMembers("and", res.resAnd.lpRes, res.resAnd.cRes);
    case RES_OR:
      return DescribeMembers("or", res.resOr.lpRes, res.resOr.cRes);
    case RES_NOT:
      return DescribeMembers("not", res.resNot.lpRes, 1);
    case RES_CONTENT:
      return "content(" + TagText(res.resContent.ulPropTag) + ',' +
             HexNumber(res.resContent.ulFuzzyLevel) + ',' + DescribeValue(res.resContent.lpProp) +
             ')';
    case RES_PROPERTY:
      return "property(" + TagText(res.resProperty.ulPropTag) + ',' +
             std::to_string(res.resProperty.relop) + ',' + DescribeValue(res.resProperty.lpProp) +
             ')';
    case RES_BITMASK:
      return "bitmask(" + TagText(res.resBitMask.ulPropTag) + ')';
    case RES_EXIST:
      return "exist(" + TagText(res.resExist.ulPropTag) + ')';
    default:
      return "restriction(" + std::to_string(restriction->rt) + ')';
  }
}

int CompareProperties(const Property& left, const Property& right) {
  if (IsText(left.tag)) return left.text.compare(right.text);
  if (PROP_TYPE(left.tag) == PT_BINARY) {
    return left.bytes < right.bytes ? -1 : left.bytes == right.bytes ? 0 : 1;
  }
  if (PROP_TYPE(left.tag) == PT_BOOLEAN) return (left.number != 0) - (right.number != 0);
  const auto a = static_cast<int32_t>(left.number);
  const auto b = static_cast<int32_t>(right.number);
  return a < b ? -1 : a == b ? 0 : 1;
}

}  // namespace lab
