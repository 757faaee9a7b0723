// Who has initialised MAPI: a thread does so for itself; the process is initialised while any
// thread is.
#pragma once

namespace lab {

void InitializeThread();
// Remembers that an injected failure kept this thread from initialising MAPI: what it then calls
// is refused without a note in the journal.
void InitializationRefused();
// Undoes one InitializeThread of the calling thread, and writes down what is left when it is the
// last of the process.
void UninitializeThread();

// To be called when a thread and when the process ends.
void ThreadEnds();
void ProcessEnds();

}  // namespace lab
