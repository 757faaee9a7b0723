// The switches that say how an added store differs from an ordinary one.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "lab/common/installation.h"

namespace lab {

// The words behind a verb.
using Words = std::vector<std::wstring>;

// Thrown when the words make no sense. Without a text the verb's usage is told.
struct NotUnderstood : std::runtime_error {
  explicit NotUnderstood(const std::string& text = {}) : std::runtime_error(text) {}
};

// Takes the switches out of `words`, which keeps the rest in order. Throws NotUnderstood with the
// offending word when a switch is unknown or its value is missing or wrong.
StoreOptions TakeStoreOptions(Words* words);

// One line of help for each switch.
std::string DescribeStoreOptions();

}  // namespace lab
