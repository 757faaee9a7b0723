#include "lab/mapi/restriction.h"

#include <algorithm>

namespace lab {
namespace {

constexpr ULONG kFuzzyLevelMask = 0xFFFF;

bool SameType(ULONG tag, const SPropValue* value) {
  return value && PROP_TYPE(tag) == PROP_TYPE(value->ulPropTag);
}

std::wstring FoldCase(std::wstring text) {
  if (!text.empty()) CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

bool MatchesContent(const SContentRestriction& content, const PropertyList& row) {
  Property whole = Lookup(row, content.ulPropTag);
  Property wanted = FromPropValue(*content.lpProp);
  wanted.tag = content.ulPropTag;
  if (content.ulFuzzyLevel & (FL_IGNORECASE | FL_LOOSE)) {
    whole.text = FoldCase(whole.text);
    wanted.text = FoldCase(wanted.text);
  }
  return whole == wanted;
}

std::string DescribeValue(const SPropValue* value) {
  if (!value) return "NULL";
  const Property property = FromPropValue(*value);
  if (IsText(property.tag)) return '"' + Utf8FromWide(property.text) + '"';
  if (PROP_TYPE(property.tag) == PT_BINARY) return HexFromBytes(property.bytes);
  return HexNumber(property.number);
}

std::string DescribeMembers(const SOrRestriction& any) {
  std::string text;
  for (ULONG i = 0; i < any.cRes; ++i) {
    text += (i == 0 ? "" : ",") + DescribeRestriction(&any.lpRes[i]);
  }
  return text;
}

}  // namespace

bool IsKnown(const SRestriction* restriction) {
  if (!restriction) return true;
  const SOrRestriction& any = restriction->res.resOr;
  const SContentRestriction& content = restriction->res.resContent;
  const SPropertyRestriction& property = restriction->res.resProperty;
  const auto known = [](const SRestriction& member) { return IsKnown(&member); };
  switch (restriction->rt) {
    case RES_OR:
      return std::all_of(any.lpRes, any.lpRes + any.cRes, known);
    case RES_CONTENT:
      return IsText(content.ulPropTag) && SameType(content.ulPropTag, content.lpProp) &&
             (content.ulFuzzyLevel & kFuzzyLevelMask) == FL_FULLSTRING;
    case RES_PROPERTY:
      return SameType(property.ulPropTag, property.lpProp) && property.relop == RELOP_EQ;
    default:
      return false;
  }
}

bool Matches(const SRestriction* restriction, const PropertyList& row) {
  if (!restriction) return true;
  const auto& res = restriction->res;
  const auto matches = [&](const SRestriction& member) { return Matches(&member, row); };
  switch (restriction->rt) {
    case RES_OR:
      return std::any_of(res.resOr.lpRes, res.resOr.lpRes + res.resOr.cRes, matches);
    case RES_CONTENT:
      return MatchesContent(res.resContent, row);
    default:
      return Lookup(row, res.resProperty.ulPropTag) == FromPropValue(*res.resProperty.lpProp);
  }
}

std::string DescribeRestriction(const SRestriction* restriction) {
  if (!restriction) return "NULL";
  const auto& res = restriction->res;
  switch (restriction->rt) {
    case RES_OR:
      return "or(" + DescribeMembers(res.resOr) + ')';
    case RES_CONTENT:
      return "content(" + TagText(res.resContent.ulPropTag) + ',' +
             HexNumber(res.resContent.ulFuzzyLevel) + ',' + DescribeValue(res.resContent.lpProp) +
             ')';
    case RES_PROPERTY:
      return "property(" + TagText(res.resProperty.ulPropTag) + ',' +
             std::to_string(res.resProperty.relop) + ',' + DescribeValue(res.resProperty.lpProp) +
             ')';
    default:
      return "restriction(" + std::to_string(restriction->rt) + ')';
  }
}

}  // namespace lab
