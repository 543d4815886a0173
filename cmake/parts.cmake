# What the parts of the project need besides a compiler.

# kvtip_leave_out(PART REASON): says that PART is not built, and why. With KVTIP_REQUIRE_PARTS, which
# scripts/test sets, this is an error.
function(kvtip_leave_out part reason)
  if(KVTIP_REQUIRE_PARTS)
    message(FATAL_ERROR "kvtIP: ${part} cannot be built: ${reason}")
  endif()
  message(STATUS "kvtIP: ${part} left out: ${reason}")
endfunction()

# kvtip_header_library(NAME HEADER FOLDER): defines the target NAME, a library of headers alone, where HEADER
# is found. The folder that holds it on the build machine may hold that machine's own C headers too, which a
# cross compiler must not see: the target has a folder with a copy of FOLDER alone.
function(kvtip_header_library name header folder)
  find_path(${name}_location ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(${name}_location)
  if(${name}_location)
    set(copy ${PROJECT_BINARY_DIR}/include/${name})
    file(COPY ${${name}_location}/${folder} DESTINATION ${copy})
    add_library(${name} INTERFACE)
    target_include_directories(${name} SYSTEM INTERFACE ${copy})
  endif()
endfunction()

if(WIN32 AND KVTIP_BUILD_TOOL)
  kvtip_header_library(kvtip_cli11 CLI/CLI.hpp CLI)
endif()
