# The second compiler: clang over the headers and libraries of the mingw-w64 GCC. It knows
# -Wthread-safety, and it finds what GCC takes for granted.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-toolchain.cmake)

# Where that GCC keeps what is its own.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE qrv_gcc_root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET qrv_gcc_root PARENT_PATH qrv_gcc_root)

set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)

# __GXX_TYPEINFO_EQUALITY_INLINE: as GCC sets it, whose library has that comparison out of line.
set(CMAKE_CXX_FLAGS_INIT "-D__GXX_TYPEINFO_EQUALITY_INLINE=0 \
-isystem ${qrv_gcc_root}/include/c++ -isystem ${qrv_gcc_root}/include/c++/x86_64-w64-mingw32 -Qunused-arguments")
# lld: ld notes at each link that the sections that clang and GCC share have different sizes.
# -pthread: GCC's library needs winpthread behind it, which only GCC adds by itself.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${qrv_gcc_root} -L${qrv_gcc_root} -pthread")
endforeach()
