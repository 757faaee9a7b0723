// The one type of MAPI's that is fuzzed.
#pragma once

struct MAPIUID {
  unsigned char ab[16];
};
