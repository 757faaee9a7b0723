// What a command is to the rest of the program.
#pragma once

// One command. Each command's file ends in its own, a constant called kCheckQsf and so on; the
// dispatcher has the list of them. Main thread only.
struct Command {
  // By which it is called, in any letter case: "-checkQsf".
  const wchar_t* word;
  // What the general help screen says of it.
  const wchar_t* summary;
  // Writes the command's own help screen, whose first word is the program's short name.
  void (*printUsage)(const wchar_t* programName);
  // Runs the command with the whole command line, from which it picks its own switches. Returns 0,
  // or 1 when it did not get to its work. The list commands return an HRESULT.
  int (*handler)(int argc, wchar_t** argv, const wchar_t* programName);
};
