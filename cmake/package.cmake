# The package that `cmake --install` and `cpack` make, in components: runtime to run a program, development to build
# one, tools for the command line.

include(CMakePackageConfigHelpers)

install(TARGETS kvtIP
  RUNTIME DESTINATION bin COMPONENT runtime
  ARCHIVE DESTINATION lib COMPONENT development)
install(FILES README.md DESTINATION share/doc/kvtIP COMPONENT runtime)
# The pages and examples that README links.
install(FILES CHANGELOG.md CONTRIBUTING.md DESTINATION share/doc/kvtIP COMPONENT development)
install(DIRECTORY docs examples DESTINATION share/doc/kvtIP COMPONENT development PATTERN Doxyfile EXCLUDE)

install(DIRECTORY include/ip include/kvt DESTINATION include COMPONENT development
  PATTERN detail EXCLUDE) # the library's own
install(DIRECTORY include/kvtip DESTINATION include COMPONENT development)

# The compilers that can use the classes, by the variable that CMake sets for them.
set(family MINGW)
if(MSVC)
  set(family MSVC)
endif()
configure_package_config_file(cmake/kvtIPConfig.cmake.in kvtIPConfig.cmake INSTALL_DESTINATION lib/cmake/kvtIP
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(kvtIPConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kvtIPConfig.cmake ${PROJECT_BINARY_DIR}/kvtIPConfigVersion.cmake
  DESTINATION lib/cmake/kvtIP COMPONENT development)
foreach(name IN ITEMS kvtIP kvtIP-classes)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION lib/pkgconfig COMPONENT development)
endforeach()

# The import library that MSVC and lld-link read has the functions of the C interface alone.
if(MINGW)
  find_program(KVTIP_DLLTOOL llvm-dlltool)
  if(KVTIP_DLLTOOL)
    set(definition ${PROJECT_SOURCE_DIR}/src/kvtip/kvtIP.def)
    add_custom_command(OUTPUT kvtIP.lib DEPENDS ${definition}
      COMMAND ${KVTIP_DLLTOOL} -m i386:x86-64 -d ${definition} -l kvtIP.lib)
    add_custom_target(kvtIP_lib ALL DEPENDS kvtIP.lib)
    install(FILES ${PROJECT_BINARY_DIR}/kvtIP.lib DESTINATION lib COMPONENT development)
  else()
    kvtip_leave_out("kvtIP.lib" "it needs llvm-dlltool")
  endif()
endif()

if(TARGET kvtip)
  install(TARGETS kvtip RUNTIME DESTINATION bin COMPONENT tools)
endif()
# The licences of what the binaries contain go wherever a binary goes.
foreach(component IN ITEMS runtime tools)
  install(FILES LICENSE packaging/THIRD-PARTY-NOTICES.txt DESTINATION share/doc/kvtIP COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR "the kvtIP authors")
# The classes are for the family of compilers that built the DLL.
set(CPACK_SYSTEM_NAME win64-mingw)
if(MSVC)
  set(CPACK_SYSTEM_NAME win64-msvc)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
