// What the commands' help screens are made of.
#pragma once

#include <initializer_list>

// Option lines that several screens share.
inline constexpr const wchar_t* kProfileOption = L"\t-p\tThe profile name.";
inline constexpr const wchar_t* kEmailOption = L"\t-e\temail1 email2 ...";
inline constexpr const wchar_t* kRestartOption = L"\t-c\tRestart controller service on completion.";
inline constexpr const wchar_t* kVerboseOption = L"\t-v\tShow verbose output.";

// Writes the lines to the wide standard output.
void PrintTexts(std::initializer_list<const wchar_t*> lines);

// Writes a help screen: the program's name with the synopsis behind it, an empty line, the options.
//
// Kept: the synopses of -checkQsf, -compactQsf, -purgeQsf and -listServers leave out the "-c" that
// their option lists have. Switch lists and help lines are not made from each other for that
// reason.
void PrintUsage(const wchar_t* programName, const wchar_t* synopsis,
                std::initializer_list<const wchar_t*> options);
