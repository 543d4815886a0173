# Packs BUILD and unpacks it elsewhere, as a user would; from there runs the tool and a client that
# find_package has found the library for, and one that pkg-config has.

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

run(${CMAKE_CPACK_COMMAND} --config ${BUILD}/CPackConfig.cmake -B ${work})
file(GLOB zip ${work}/*.zip)
file(ARCHIVE_EXTRACT INPUT ${zip} DESTINATION ${work})
file(GLOB package ${work}/kvtIP-*-mingw)
expect("kvtip [0-9.]+" ${package}/bin/kvtip.exe --version)

set(greeting "2001:db8::1 127 adapter")
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${work}/client
  -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${package})
run(${CMAKE_COMMAND} --build ${work}/client)
expect(${greeting} ${work}/client/client.exe)

run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${package}/lib/pkgconfig pkgconf --cflags --libs kvtIP)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c++20 -static ${CMAKE_CURRENT_LIST_DIR}/client.cpp -o ${package}/bin/client.exe ${flags})
expect(${greeting} ${package}/bin/client.exe)
