// A row of a table of cases. GoogleTest tells it, and the test that it makes, by its name.
//
//   struct SizeCase : NamedCase {
//     uint64_t bytes;
//   };
//   INSTANTIATE_TEST_SUITE_P(Sizes, SizeTest,
//                            ::testing::Values(SizeCase{"None", 0}, SizeCase{"One", 1}), kByName);
#pragma once

#include <ostream>
#include <string>

namespace e2e {

struct NamedCase {
  // With a constructor the name needs no braces of its own at the beginning of a row.
  constexpr NamedCase(const char* text) : name(text) {}

  const char* name;
};

inline std::ostream& operator<<(std::ostream& stream, const NamedCase& value) {
  return stream << value.name;
}

// Of a parameter of any type with a name.
inline constexpr auto kByName = [](const auto& test) { return std::string(test.param.name); };

}  // namespace e2e
