# qrv_options: what every target of the project is compiled with.
add_library(qrv_options INTERFACE)
target_compile_definitions(qrv_options INTERFACE
  WIN32_LEAN_AND_MEAN NOMINMAX STRICT _WIN32_WINNT=0x0A00 WINVER=0x0A00)
target_include_directories(qrv_options INTERFACE ${PROJECT_SOURCE_DIR})

if(MSVC)
  # The runtime is linked in: nothing beside the executable.
  set(CMAKE_MSVC_RUNTIME_LIBRARY MultiThreaded$<$<CONFIG:Debug>:Debug>)
  # C4996: the C library functions that the program's behaviour is pinned to are "deprecated" there.
  target_compile_options(qrv_options INTERFACE /utf-8 /W4 /wd4996 /permissive-
    $<$<BOOL:${QRV_WARNINGS_AS_ERRORS}>:/WX>)
else()
  target_compile_options(qrv_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow
    -Woverloaded-virtual -Wcast-qual -ffunction-sections -fdata-sections
    # Win32 hands out function pointers as FARPROC; the cast from it is the only way in.
    -Wno-cast-function-type
    $<$<BOOL:${QRV_WARNINGS_AS_ERRORS}>:-Werror>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
  # -static: nothing but the platform's own libraries beside the executable.
  target_link_options(qrv_options INTERFACE -static -Wl,--gc-sections)
  # The same sources make the same file: neither the time nor the place of the build goes into it.
  target_link_options(qrv_options INTERFACE -Wl,--no-insert-timestamp)
  target_compile_options(qrv_options INTERFACE
    -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()

# Moves the debug symbols of `target` into a file beside it and strips the target.
function(qrv_split_symbols target)
  if(MSVC OR NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR NOT QRV_OBJCOPY)
    return()
  endif()
  # objcopy would put the time of its run into the file's header.
  set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${QRV_OBJCOPY})
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${objcopy} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${objcopy} --strip-all $<TARGET_FILE:${target}>
    COMMAND ${objcopy} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# What is made in this folder from now on has no debug symbols in a release build: Wine reads a program
# as a whole at each start, and the tests start thousands.
macro(qrv_leave_out_symbols)
  if(NOT MSVC AND CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-g0)
    add_link_options(-s)
  endif()
endmacro()
