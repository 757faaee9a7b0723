// Stands for another program that uses MAPI: loads the DLLs that its arguments name, prints "ready"
// and holds them until its standard input ends.
#include <windows.h>

#include <cstdio>

int wmain(int argc, wchar_t** argv) {
  for (int index = 1; index < argc; ++index) {
    if (!LoadLibraryW(argv[index])) {
      std::printf("cannot load %ls: error %lu\n", argv[index], GetLastError());
      return 1;
    }
  }
  std::puts("ready");
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  return 0;
}
