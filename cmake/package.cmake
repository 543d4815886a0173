# What `cmake --install` and `cpack` hand out, in components: runtime for whoever runs a program, development
# for whoever builds one, tools for the command line.

include(CMakePackageConfigHelpers)

install(TARGETS kvtIP EXPORT kvtIP
  RUNTIME DESTINATION bin COMPONENT runtime
  ARCHIVE DESTINATION lib COMPONENT development
  INCLUDES DESTINATION include)
install(FILES LICENSE README.md DESTINATION share/doc/kvtIP COMPONENT runtime)

install(DIRECTORY include/ip include/kvt DESTINATION include COMPONENT development
  PATTERN detail EXCLUDE) # the library's own
install(EXPORT kvtIP NAMESPACE kvtIP:: FILE kvtIPConfig.cmake DESTINATION lib/cmake/kvtIP
  COMPONENT development)
write_basic_package_version_file(kvtIPConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kvtIPConfigVersion.cmake DESTINATION lib/cmake/kvtIP
  COMPONENT development)
configure_file(cmake/kvtIP.pc.in kvtIP.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kvtIP.pc DESTINATION lib/pkgconfig COMPONENT development)

if(TARGET kvtip)
  install(TARGETS kvtip RUNTIME DESTINATION bin COMPONENT tools)
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR "the kvtIP authors")
# Programs of one family of compilers cannot use the DLL of another.
set(CPACK_SYSTEM_NAME win64-mingw)
if(MSVC)
  set(CPACK_SYSTEM_NAME win64-msvc)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
