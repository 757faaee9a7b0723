#include "lab/repair/timers.h"

#include <windows.h>

#include <map>
#include <utility>

namespace lab {
namespace {

std::map<UINT_PTR, std::function<void()>> g_actions;

void CALLBACK OnTimer(HWND, UINT, UINT_PTR timer, DWORD) {
  KillTimer(nullptr, timer);
  auto action = g_actions.extract(timer);
  if (!action.empty()) action.mapped()();
}

}  // namespace

void RunAfter(uint32_t milliseconds, std::function<void()> action) {
  g_actions[SetTimer(nullptr, 0, milliseconds, OnTimer)] = std::move(action);
}

}  // namespace lab
