#include "src/commands/compact_thread.h"

#include <gtest/gtest.h>

#include "tests/unit/captured_output.h"

namespace {

TEST(CompactQsfThread, SaysSoWithoutParameters) {
  const CapturedOutput output;
  EXPECT_EQ(CompactQsfThread(nullptr), 0u);
  EXPECT_EQ(output.Text(), L"CompactQsfThread: lpvCompactQsfThreadParams i NULL\n");
}

}  // namespace
