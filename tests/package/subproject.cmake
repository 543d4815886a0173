# Two clients build a copy of SOURCE as a part of themselves: they get the library alone, with the same bytes as DLL.

set(work_folder subproject)
include(${CMAKE_CURRENT_LIST_DIR}/clients.cmake)

set(copy ${work}/another/folder)
file(MAKE_DIRECTORY ${copy})
foreach(part IN ITEMS CMakeLists.txt cmake include src)
  file(COPY ${SOURCE}/${part} DESTINATION ${copy})
endforeach()
build_clients(build "${clients}" -DKVTIP_SOURCE=${copy} -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_UNITY_BUILD=${UNITY}
  "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=${FLAGS}")
file(GLOB_RECURSE programs ${work}/build/*.exe)
list(FILTER programs EXCLUDE REGEX /CMakeFiles/)
list(TRANSFORM programs REPLACE "^.*/" "")
list(SORT programs)
if(NOT programs STREQUAL "classes.exe;interface.exe")
  message(FATAL_ERROR "a subproject built more than the library: ${programs}")
endif()

# The contents of a DLL's sections, without debug information: the header holds the time at which it was stripped.
function(read_sections dll result)
  run(${STRIP} -o ${work}/stripped.dll ${dll})
  execute_process(COMMAND ${OBJDUMP} -s ${work}/stripped.dll OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  set(${result} "${output}" PARENT_SCOPE)
endfunction()

read_sections(${DLL} built)
read_sections(${work}/build/kvtIP.dll built_again)
if(NOT built STREQUAL built_again)
  message(FATAL_ERROR "the DLL differs when it is built in another folder")
endif()
