// The store files that profiles use, recognised under any spelling.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "src/platform/file_path.h"

// Answers whether a file is one of those in use. Lives on the main thread.
class InUseFiles {
 public:
  // Each path stands as key and value, in the ANSI code page, in lower case.
  using Paths = std::map<std::string, std::string>;

  // `paths` must outlive the object.
  explicit InUseFiles(const Paths& paths) : paths_(paths), next_(paths.begin()) {}

  // Whether `path` is among the paths, to the letter. Quickest when asked in their order.
  bool ContainsPath(const std::string& path);

  // Whether `file` is the same file as one of them, however both are spelled; not when the file
  // system does not tell. The first call looks up all of them.
  bool ContainsFile(const std::wstring& file);

 private:
  void LookUpIdentities();

  const Paths& paths_;
  // Behind the last path that was found: a directory's files come mostly in the order of their
  // paths, and the next one then needs no search.
  Paths::const_iterator next_;
  std::optional<std::set<platform::FileIdentity>> identities_;
};
