# The second compiler: clang over the headers and libraries of the mingw-w64 GCC. It knows
# -Wthread-safety, and it finds what GCC takes for granted.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-toolchain.cmake)

set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)

set(qrv_gcc_root /usr/lib/gcc/x86_64-w64-mingw32/12-posix)
set(CMAKE_CXX_FLAGS_INIT
    "-isystem ${qrv_gcc_root}/include/c++ -isystem ${qrv_gcc_root}/include/c++/x86_64-w64-mingw32 -Qunused-arguments")
# -pthread: GCC's library needs winpthread behind it, which only GCC adds by itself.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-B${qrv_gcc_root} -L${qrv_gcc_root} -pthread")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-B${qrv_gcc_root} -L${qrv_gcc_root} -pthread")
