# The package that `cmake --install` and `cpack` make, in components: runtime to run a program, development to build
# one, tools for the command line.

include(CMakePackageConfigHelpers)

install(TARGETS kvtIP EXPORT kvtIP
  RUNTIME DESTINATION bin COMPONENT runtime
  ARCHIVE DESTINATION lib COMPONENT development
  INCLUDES DESTINATION include)
install(FILES README.md DESTINATION share/doc/kvtIP COMPONENT runtime)

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
# The licences of what the binaries contain go wherever a binary goes.
foreach(component IN ITEMS runtime tools)
  install(FILES LICENSE packaging/THIRD-PARTY-NOTICES.txt DESTINATION share/doc/kvtIP COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR "the kvtIP authors")
# A program cannot use a DLL that another family of compilers built.
set(CPACK_SYSTEM_NAME win64-mingw)
if(MSVC)
  set(CPACK_SYSTEM_NAME win64-msvc)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
