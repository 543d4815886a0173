# Cross build for 64-bit Windows with Clang, on the headers and libraries of the GCC cross compiler.

include(${CMAKE_CURRENT_LIST_DIR}/mingw-gcc.cmake)

execute_process(
  COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE gcc_folder OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET gcc_folder PARENT_PATH gcc_folder)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# Clang calls -nostdinc++ unused when it links.
set(CMAKE_CXX_FLAGS_INIT
  "-Wno-unused-command-line-argument -nostdinc++ -isystem ${gcc_folder}/include/c++ -isystem ${gcc_folder}/include/c++/x86_64-w64-mingw32")
set(link_flags "-B${gcc_folder} -L${gcc_folder}")
# GNU's linker would warn of every inline function that the two compilers gave a section of another size.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link_flags} -Wl,--no-warnings")
# It takes a minute to link the tests, which have many sections; LLVM's linker takes a second. That one must be allowed to
# find an inline function in the C++ runtime as well.
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags} -fuse-ld=lld -Wl,--allow-multiple-definition")
