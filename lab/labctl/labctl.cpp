// labctl: makes and shows a simulated installation.
#include <string>
#include <vector>

#include "lab/labctl/verbs.h"

int wmain(int argc, wchar_t** argv) {
  return lab::RunVerb(std::vector<std::wstring>(argv + 1, argv + argc));
}
