# Packs BUILD and unpacks it elsewhere, as a user would. From there it runs the tool and clients of the interface and of
# the classes, built with find_package and with pkg-config. A third pair builds a copy of SOURCE as a part of itself: it
# gets the library alone, and the same DLL.

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

set(clients interface classes)
set(greeting_interface "2001:db8::1 ERROR_INVALID_PARAMETER version")
set(greeting_classes "2001:db8::1 127 adapter")

# build_clients(NAME CLIENTS OPTION...): builds CLIENTS into the folder NAME, and runs them.
set(configure ${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}
  -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=${COMPILER})
function(build_clients name clients)
  list(JOIN clients " " names)
  run(${configure} -B ${work}/${name} -DCLIENTS=${names} ${ARGN})
  run(${CMAKE_COMMAND} --build ${work}/${name})
  foreach(client IN LISTS clients)
    expect(${greeting_${client}} ${work}/${name}/${client}.exe)
  endforeach()
endfunction()

run(${CMAKE_CPACK_COMMAND} --config ${BUILD}/CPackConfig.cmake -B ${work})
file(GLOB zip ${work}/*.zip)
file(ARCHIVE_EXTRACT INPUT ${zip} DESTINATION ${work})
file(GLOB package ${work}/kvtIP-*-mingw)
expect("kvtip [0-9.]+" ${package}/bin/kvtip.exe --version)

build_clients(found "${clients}" -DCMAKE_PREFIX_PATH=${package})

# Compilers of other families get the interface, by the other import library. For the classes they get a message.
build_clients(foreign interface -DCMAKE_PREFIX_PATH=${package} -DFOREIGN_COMPILER=ON)
execute_process(
  COMMAND ${configure} -B ${work}/refused -DCLIENTS=classes -DCMAKE_PREFIX_PATH=${package} -DFOREIGN_COMPILER=ON
  OUTPUT_QUIET ERROR_VARIABLE refusal RESULT_VARIABLE result)
if(result EQUAL 0 OR NOT refusal MATCHES "kvtIP::classes is only for compilers that CMake calls MINGW")
  message(FATAL_ERROR "a foreign compiler got the classes: ${result} ${refusal}")
endif()

set(package_interface kvtIP)
set(package_classes kvtIP-classes)
foreach(client IN LISTS clients)
  run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${package}/lib/pkgconfig pkgconf --cflags --libs ${package_${client}})
  separate_arguments(flags UNIX_COMMAND "${output}")
  run(${COMPILER} -std=c++20 -static ${CMAKE_CURRENT_LIST_DIR}/${client}.cpp -o ${package}/bin/${client}.exe ${flags})
  expect(${greeting_${client}} ${package}/bin/${client}.exe)
endforeach()

# Each binary comes with the notices of the works that it contains.
foreach(component IN ITEMS runtime tools)
  run(${CMAKE_COMMAND} --install ${BUILD} --component ${component} --prefix ${work}/${component})
  file(READ ${work}/${component}/share/doc/kvtIP/THIRD-PARTY-NOTICES.txt notices)
  foreach(holder IN ITEMS "Free Software Foundation" "mingw-w64 project" "Lucent" "Lockless" "Henry Schreiner")
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
build_clients(subproject "${clients}" -DKVTIP_SOURCE=${copy} -DCMAKE_BUILD_TYPE=RelWithDebInfo
  -DCMAKE_UNITY_BUILD=${UNITY})
file(GLOB_RECURSE programs ${work}/subproject/*.exe)
list(FILTER programs EXCLUDE REGEX /CMakeFiles/)
list(TRANSFORM programs REPLACE "^.*/" "")
list(SORT programs)
if(NOT programs STREQUAL "classes.exe;interface.exe")
  message(FATAL_ERROR "a subproject built more than the library: ${programs}")
endif()
run(${STRIP} -o ${work}/subproject.dll ${work}/subproject/kvtIP.dll)

# The sections' contents: the header holds the time at which the DLL was stripped.
function(read_sections dll result)
  execute_process(COMMAND ${OBJDUMP} -s ${dll} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE ${dll} "" output "${output}")
  set(${result} "${output}" PARENT_SCOPE)
endfunction()

read_sections(${package}/bin/kvtIP.dll packed)
read_sections(${work}/subproject.dll built_again)
if(NOT packed STREQUAL built_again)
  message(FATAL_ERROR "the DLL differs when it is built in another folder")
endif()
