# What the tests of this folder share: COMPILER builds clients in the folder work_folder, and EMULATOR runs them.

set(work ${CMAKE_CURRENT_BINARY_DIR}/${work_folder})
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
set(configure ${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}/client
  -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=${COMPILER})
function(build_clients name clients)
  list(JOIN clients " " names)
  run(${configure} -B ${work}/${name} -DCLIENTS=${names} ${ARGN})
  run(${CMAKE_COMMAND} --build ${work}/${name})
  foreach(client IN LISTS clients)
    expect(${greeting_${client}} ${work}/${name}/${client}.exe)
  endforeach()
endfunction()
