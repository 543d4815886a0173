# Packs BUILD and unpacks it elsewhere, as a user would. From there it runs the tool and two clients, built with
# find_package and with pkg-config. A third client builds a copy of SOURCE as a part of itself: it gets the library alone,
# and the same DLL.

set(work ${CMAKE_CURRENT_BINARY_DIR}/package)
file(REMOVE_RECURSE ${work})

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ECHO_OUTPUT_VARIABLE
    COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
  set(output ${output} PARENT_SCOPE)
endfunction()

function(expect text program)
  run(${EMULATOR} ${program} ${ARGN})
  if(NOT output MATCHES "^${text}\r?\n$")
    message(FATAL_ERROR "expected ${text}, found ${output}")
  endif()
endfunction()

# build_client(NAME OPTION...): builds the client's project into the folder NAME, and runs it.
set(greeting "2001:db8::1 127 adapter")
function(build_client name)
  run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${work}/${name}
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=${COMPILER} ${ARGN})
  run(${CMAKE_COMMAND} --build ${work}/${name})
  expect(${greeting} ${work}/${name}/client.exe)
endfunction()

run(${CMAKE_CPACK_COMMAND} --config ${BUILD}/CPackConfig.cmake -B ${work})
file(GLOB zip ${work}/*.zip)
file(ARCHIVE_EXTRACT INPUT ${zip} DESTINATION ${work})
file(GLOB package ${work}/kvtIP-*-mingw)
expect("kvtip [0-9.]+" ${package}/bin/kvtip.exe --version)

build_client(client -DCMAKE_PREFIX_PATH=${package})

run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${package}/lib/pkgconfig pkgconf --cflags --libs kvtIP)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c++20 -static ${CMAKE_CURRENT_LIST_DIR}/client.cpp -o ${package}/bin/client.exe ${flags})
expect(${greeting} ${package}/bin/client.exe)

# Each binary comes with the notices of the works that it contains.
foreach(component IN ITEMS runtime tools)
  run(${CMAKE_COMMAND} --install ${BUILD} --component ${component} --prefix ${work}/${component})
  file(READ ${work}/${component}/share/doc/kvtIP/THIRD-PARTY-NOTICES.txt notices)
  foreach(holder IN ITEMS "Free Software Foundation" "mingw-w64 project" "Lucent" "Lockless" "Henry Schreiner" "Niels Lohmann")
    if(NOT notices MATCHES "Copyright[^\n]*${holder}")
      message(FATAL_ERROR "no copyright notice of ${holder} in component ${component}")
    endif()
  endforeach()
endforeach()

set(copy ${work}/another/folder)
file(MAKE_DIRECTORY ${copy})
foreach(part IN ITEMS CMakeLists.txt cmake include src)
  file(COPY ${SOURCE}/${part} DESTINATION ${copy})
endforeach()
build_client(subproject -DKVTIP_SOURCE=${copy} -DCMAKE_BUILD_TYPE=RelWithDebInfo)
file(GLOB_RECURSE programs ${work}/subproject/*.exe)
list(FILTER programs EXCLUDE REGEX /CMakeFiles/)
if(NOT programs STREQUAL "${work}/subproject/client.exe")
  message(FATAL_ERROR "a subproject built more than the library: ${programs}")
endif()
run(${STRIP} -o ${work}/subproject.dll ${work}/subproject/kvtIP.dll)
run(${CMAKE_COMMAND} -E compare_files ${package}/bin/kvtIP.dll ${work}/subproject.dll)
