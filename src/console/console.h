// The way to the console. Everything that the program says goes to the wide standard output, one
// line at a time; nothing goes to standard error and there is no log file. Help screens, and what
// the scan command says above its own of wrong switches, are written into the stream without these
// functions: they come before any other thread.
#pragma once

#include <string>
#include <type_traits>

#include "src/console/console_format.h"

// Puts a ConsoleStreamBuffer on standard output behind std::wcout, to the process's end. To be
// called before anything is printed, and again when standard output has become another.
void SetUpConsole();

// What PrintLine does when its format has been checked. Called by nothing else.
void PrintFormattedLine(const wchar_t* format, ...);

// Formats one line with Microsoft's wide printf rules (%s takes a wide string, %hs a narrow one)
// and writes it with a line end, flushed. An empty result writes nothing at all, not even the line
// end: a separator line is the format L" ". Of a text of 255 characters or more the first 254 are
// shown. May be called from any thread; lines of different threads never mix. `format` is a
// literal; one that does not fit the arguments does not compile.
template <typename... Arguments>
void PrintLine(LineFormat<std::type_identity_t<Arguments>...> format, Arguments... arguments) {
  PrintFormattedLine(format.Text(), arguments...);
}

// Writes a text of any length as it stands, with a line end, flushed. May be called from any thread
// as well.
void PrintText(const std::wstring& text);
