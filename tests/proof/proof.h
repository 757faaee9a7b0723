// What the proofs share. A proof runs many cases of one kind: a sample in every test run, all of
// them when `scripts/prove` asks, which reads what each test records.
#pragma once

#include <cstdint>
#include <string_view>

namespace proof {

// Whether all cases are to run (QRV_PROOF=whole in the environment) and not a sample.
bool IsWhole();

// What the test's generated inputs begin with: QRV_SEED of the environment, else 1. It is shown
// when the test fails.
uint32_t Seed();

// Notes in the test's result that it has run `count` cases, to be added up under `row`, which is a
// command
// ("-findUsers") or a kind of input ("registry values").
void Record(std::string_view row, uint64_t count);

}  // namespace proof
