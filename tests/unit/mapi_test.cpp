#include "src/platform/mapi.h"

#include <gtest/gtest.h>

#include <array>

namespace platform {
namespace {

std::array<SPropValue, 2> TwoNumbers() {
  std::array<SPropValue, 2> values = {};
  values[0].ulPropTag = values[1].ulPropTag = PROP_TAG(PT_LONG, 0x6000);
  values[1].Value.l = 7;
  return values;
}

TEST(PropertyAt, IsTheOneAtThatPlace) {
  std::array<SPropValue, 2> values = TwoNumbers();
  EXPECT_EQ(PropertyAt(values, 1).Value.l, 7);
  EXPECT_EQ(PropertyAt(SRow{0, 2, values.data()}, 1).Value.l, 7);
}

TEST(PropertyAt, OneThatIsMissingIsAnError) {
  std::array<SPropValue, 2> values = TwoNumbers();
  for (const SPropValue& missing :
       {PropertyAt(values, 2), PropertyAt(SRow{0, 1, values.data()}, 1), PropertyAt(SRow{}, 0)}) {
    EXPECT_EQ(PROP_TYPE(missing.ulPropTag), ULONG{PT_ERROR});
    EXPECT_EQ(missing.Value.err, MAPI_E_NOT_FOUND);
  }
}

}  // namespace
}  // namespace platform
