# Packs BUILD and unpacks it elsewhere, as a user would. From there it runs the tool and clients of the interface and of
# the classes, built with find_package and with pkg-config.

set(work_folder package)
include(${CMAKE_CURRENT_LIST_DIR}/clients.cmake)

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
  run(${COMPILER} -std=c++20 -static ${CMAKE_CURRENT_LIST_DIR}/client/${client}.cpp -o ${package}/bin/${client}.exe ${flags})
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
