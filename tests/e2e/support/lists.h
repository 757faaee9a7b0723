// The lists that tests write down, and how they are joined.
#pragma once

#include <string>
#include <vector>

namespace e2e {

// A program's lines.
using Strings = std::vector<std::string>;

// `more` behind `first`.
template <class Element>
std::vector<Element> operator+(std::vector<Element> first, const std::vector<Element>& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

}  // namespace e2e
