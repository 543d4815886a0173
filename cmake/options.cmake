# The options of every target of the project: target kvtip_options. The library's sources are also compiled with
# kvtip_checks.

add_library(kvtip_options INTERFACE)
add_library(kvtip_checks INTERFACE)
target_include_directories(kvtip_options INTERFACE ${PROJECT_SOURCE_DIR}/include)

if(WIN32)
  # All sources see the same version of the platform's headers, because records of older versions are shorter.
  # The library binds entries that the headers call deprecated on purpose.
  target_compile_definitions(kvtip_options INTERFACE
    _WIN32_WINNT=0x0A00 WINVER=0x0A00 WIN32_LEAN_AND_MEAN NOMINMAX _WINSOCK_DEPRECATED_NO_WARNINGS)
endif()

if(MSVC)
  target_compile_options(kvtip_options INTERFACE /W4 $<$<BOOL:${KVTIP_WARNINGS_AS_ERRORS}>:/WX> /permissive- /utf-8 /EHsc)
  target_link_options(kvtip_options INTERFACE /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /Brepro)
  return()
endif()

target_compile_options(kvtip_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wno-format-nonliteral
  # Sources that are compiled as one shadow each other's names.
  $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<BOOL:${KVTIP_WARNINGS_AS_ERRORS}>:-Werror>)
# The binaries contain no path of the build machine.
target_compile_options(kvtip_options INTERFACE
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)

if(WIN32)
  # With -static, the binaries contain the C++ runtime and need system libraries only. Without a time stamp, the
  # same sources always give the same bytes.
  target_link_options(kvtip_options INTERFACE -static -Wl,--no-insert-timestamp
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # GCC's driver adds these itself.
    target_link_libraries(kvtip_options INTERFACE stdc++ gcc_eh winpthread)
  endif()
endif()

if(KVTIP_CHECKS)
  target_compile_definitions(kvtip_options INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(kvtip_checks INTERFACE
    -fsanitize=undefined -fsanitize-undefined-trap-on-error -fstack-protector-strong)
  target_link_options(kvtip_options INTERFACE -fstack-protector-strong)
endif()
