# The unit tests: the library's objects in one program, whose imports and heap the tests control.

add_library(unit_test_objects OBJECT
  support/heap.cpp
  support/main.cpp
  support/scripted_changes.cpp
  support/scripted_kernel.cpp
  support/scripted_services.cpp
  support/scripted_sockets.cpp
  support/scripted_system.cpp
  unit/adapters_interface_test.cpp
  unit/adapters_test.cpp
  unit/address_text_test.cpp
  unit/address_values_test.cpp
  unit/binding_test.cpp
  unit/changes_interface_test.cpp
  unit/connect_interface_test.cpp
  unit/connections_interface_test.cpp
  unit/conversions_test.cpp
  unit/dns_test.cpp
  unit/iphlp_test.cpp
  unit/misuse_test.cpp
  unit/names_interface_test.cpp
  unit/names_test.cpp
  unit/neighbours_interface_test.cpp
  unit/ping_interface_test.cpp
  unit/primary_interface_test.cpp
  unit/resolve_interface_test.cpp
  unit/routes_interface_test.cpp
  unit/scenarios_test.cpp
  unit/sockets_test.cpp
  unit/start_test.cpp
  unit/text_interface_test.cpp
  unit/values_test.cpp)
target_include_directories(unit_test_objects PRIVATE support ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(unit_test_objects PRIVATE KVTIP_STATIC)
target_link_libraries(unit_test_objects PUBLIC kvtip_options gtest)
# Together, the sources compile in half the time.
set_target_properties(unit_test_objects PROPERTIES UNITY_BUILD_BATCH_SIZE 4)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GNU's linker is slow with the many sections that GCC makes without optimisation.
  target_compile_options(unit_test_objects PRIVATE -O1)
else()
  # GCC would take what inline functions of precompiled headers do for faults.
  target_precompile_headers(unit_test_objects PRIVATE support/scripted_system.h <gtest/gtest.h>)
endif()

set(wrapped LoadLibraryW FreeLibrary GetModuleHandleW GetProcAddress GetSystemDirectoryW
  InitializeCriticalSection DeleteCriticalSection EnterCriticalSection LeaveCriticalSection RegOpenKeyExW RegCloseKey RegEnumKeyExW
  RegQueryValueExW ExpandEnvironmentStringsW MultiByteToWideChar WideCharToMultiByte)
list(TRANSFORM wrapped PREPEND __imp_)
list(APPEND wrapped GetAdaptersInfo GetBestInterface GetBestRoute GetNetworkParams malloc calloc realloc free)
list(TRANSFORM wrapped PREPEND -Wl,--wrap=)

# add_unit_tests(NAME TARGET OBJECT...): adds the test NAME of the library that these objects are.
function(add_unit_tests name target)
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE unit_test_objects iphlpapi)
  # GNU's linker takes half a minute to keep the debug information of the objects.
  target_link_options(${target} PRIVATE ${wrapped} -Wl,--strip-debug)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX UNITY_BUILD OFF)
  add_gtest(${name} ${target})
endfunction()

add_unit_tests(unit unit_tests
  $<TARGET_OBJECTS:kvtip_objects> $<TARGET_OBJECTS:kvtip_small_objects> $<TARGET_OBJECTS:kvtip_text>)
# The compilers' objects go together, so that the tests need not be compiled once more for the other one's library.
if(KVTIP_TESTED_BUILD)
  file(GLOB_RECURSE objects ${KVTIP_TESTED_BUILD}/src/*.obj)
  list(FILTER objects INCLUDE REGEX "/kvtip_[a-z_]+\\.dir/")
  if(NOT objects)
    message(FATAL_ERROR "${KVTIP_TESTED_BUILD} has no compiled library: build it first")
  endif()
  add_unit_tests(unit.tested_build tested_build_unit_tests ${objects})
endif()
