#pragma once

namespace e2e {

// Makes the desktop be there until the test program ends. Under Wine it is a process: started by
// the program under test, as soon as that or its COM needs a window, it would keep that program's
// standard handles until it ends by itself. Call it in the set-up of tests of such programs.
void KeepDesktop();

}  // namespace e2e
