// Makes of the product's wmain a program that says one line more when wmain has returned and the
// process ends.
#include "src/console/console.h"

namespace {

class LateLine {
 public:
  ~LateLine() { PrintLine(L"\u4E2D: late"); }
} lateLine;

}  // namespace
