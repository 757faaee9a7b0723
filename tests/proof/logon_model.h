// The model of the five workers that open stores.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/proof/model_run.h"

namespace e2e {

enum class LogonMode { kCheck, kCreate };

// Opens the stores of the users with these names. Sets the results that are collected, by name, and
// returns the result of the whole.
uint32_t LogonToStores(ModelRun& run, const Strings& names, LogonMode mode,
                       std::map<std::string, uint32_t>* results);

}  // namespace e2e
