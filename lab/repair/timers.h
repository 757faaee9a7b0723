// Actions that the message loop of the calling thread runs later. They need no window.
#pragma once

#include <cstdint>
#include <functional>

namespace lab {

// Runs `action` once, after `milliseconds` at the earliest, and never before the message that is
// being handled is done with.
void RunAfter(uint32_t milliseconds, std::function<void()> action);

}  // namespace lab
