// Which MAPI stub lies in the system directory, as tests and labctl set it.
//
// Under Wine nothing else is needed: a library of the system directory that is none of Wine's own
// is taken as it is when it is loaded by its full path, and one that is missing is not replaced.
#pragma once

#include <string>

namespace lab {

// The file of the system directory.
enum class StubPlace { kMapistub, kMapi32 };

enum class StubState {
  kOriginal,  // what was there before the first change
  kAbsent,    // no such file
  kPlaced,    // another library in its place
};

// Brings the file into `state`, whatever it was in. `program` is the library for kPlaced: the lab's
// mapistub.dll, or bare_stub.dll, which has no FGetComponentPath. The original is kept beside the
// file. False, with GetLastError, when the file system refuses.
bool SetStub(StubPlace place, StubState state, const std::wstring& program = {});

// The full path of the file.
std::wstring StubPath(StubPlace place);

// Sets the file while it lives and puts the original back afterwards.
class StubGuard {
 public:
  StubGuard(StubPlace place, StubState state, const std::wstring& program = {});
  StubGuard(const StubGuard&) = delete;
  StubGuard& operator=(const StubGuard&) = delete;
  ~StubGuard();

  bool Done() const { return done_; }

 private:
  const StubPlace place_;
  const bool done_;
};

}  // namespace lab
