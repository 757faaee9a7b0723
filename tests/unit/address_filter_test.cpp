#include "src/commands/address_filter.h"

#include <gtest/gtest.h>

namespace {

TEST(ContainsAny, ComparesWithLetterCase) {
  EXPECT_TRUE(ContainsAny(L"ann@example.com", {L"ann"}));
  EXPECT_TRUE(ContainsAny(L"ann@example.com", {L"@example.com"}));
  EXPECT_FALSE(ContainsAny(L"ann@example.com", {L"ANN"}));
  EXPECT_FALSE(ContainsAny(L"ann@example.com", {L"bob"}));
}

TEST(ContainsAny, OneOfSeveralFragmentsIsEnough) {
  EXPECT_TRUE(ContainsAny(L"ann@example.com", {L"bob", L"Ann", L"nn@"}));
}

TEST(ContainsAny, AnEmptyFragmentMatchesEverything) {
  EXPECT_TRUE(ContainsAny(L"ann@example.com", {L""}));
  EXPECT_TRUE(ContainsAny(L"", {L""}));
}

TEST(ContainsAny, NoFragmentMatchesNothing) { EXPECT_FALSE(ContainsAny(L"ann@example.com", {})); }

TEST(ContainsAny, ComparesLettersOutsideAsciiAsTheyAre) {
  EXPECT_TRUE(ContainsAny(L"\u00C4nn@example.com", {L"\u00C4"}));
  EXPECT_FALSE(ContainsAny(L"\u00C4nn@example.com", {L"\u00E4"}));
}

TEST(IsSelected, NoFragmentMatchesEverything) {
  EXPECT_TRUE(IsSelected(L"ann@example.com", {}));
  EXPECT_TRUE(IsSelected(L"", {}));
}

TEST(IsSelected, ComparesWhenThereIsAFragment) {
  EXPECT_TRUE(IsSelected(L"ann@example.com", {L"ann"}));
  EXPECT_FALSE(IsSelected(L"ann@example.com", {L"bob"}));
}

}  // namespace
