// What the tool's sources print, read from them as text.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <utility>

// A source file, relative to the folder and with slashes, and what is found in it.
using SourceText = std::pair<std::string, std::wstring>;

struct SourceFormats {
  // The formats of lines. A function's name that is known stands in its place; one that a caller
  // gives stays "%hs". What is put together of pieces has "%s" for those that are no literals.
  std::set<SourceText> lines;
  // What goes into the wide standard output without a line's function, put together likewise, "\n"
  // for std::endl.
  std::set<SourceText> streamed;
  // The names of functions and objects that lead to standard output, at each place where what they
  // print cannot be read from their arguments.
  std::multiset<SourceText> opaque;
};

// Reads all sources below `folder` but those of its subfolder `left`.
SourceFormats ReadSourceFormats(const std::filesystem::path& folder, const std::string& left);
