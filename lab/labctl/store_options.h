// The switches that say how an added store differs from an ordinary one.
#pragma once

#include <string>
#include <vector>

#include "lab/common/installation.h"

namespace lab {

// Takes the switches out of `words`, which keeps the rest in order. False, with the offending word
// in `error`, when a switch is unknown or its value is missing or wrong.
bool TakeStoreOptions(std::vector<std::wstring>* words, StoreOptions* options, std::string* error);

// One line of help for each switch.
std::string DescribeStoreOptions();

}  // namespace lab
