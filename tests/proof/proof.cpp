#include "tests/proof/proof.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace proof {
namespace {

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

// Says with each failure how to repeat it.
class SeedListener : public ::testing::EmptyTestEventListener {
  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (result.failed()) std::printf("QRV_SEED=%u\n", Seed());
  }
};

[[maybe_unused]] const bool kListens = [] {
  ::testing::UnitTest::GetInstance()->listeners().Append(new SeedListener);
  return true;
}();

}  // namespace

bool IsWhole() { return Variable("QRV_PROOF") == "whole"; }

uint32_t Seed() {
  static const std::string kGiven = Variable("QRV_SEED");
  return kGiven.empty() ? 1 : static_cast<uint32_t>(std::stoul(kGiven));
}

void Record(std::string_view row, uint64_t count) {
  ::testing::Test::RecordProperty("row", std::string(row));
  ::testing::Test::RecordProperty("cases", std::to_string(count));
}

}  // namespace proof
