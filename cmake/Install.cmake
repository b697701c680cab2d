# ./run install PREFIX: headers, DLL, import library, run-time DLLs and the CMake package.
include(CMakePackageConfigHelpers)

# The run-time DLLs stand beside every program that is built, and are installed beside the DLL.
if(MINGW)
  foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(
      COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
      OUTPUT_VARIABLE path
      OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${path})
      find_file(path_${name} ${name} PATHS /usr/x86_64-w64-mingw32/lib NO_DEFAULT_PATH REQUIRED)
      set(path ${path_${name}})
    endif()
    file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR})
  endforeach()
endif()

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(
  TARGETS Lib_Ostrel
  EXPORT Lib_OstrelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(
  EXPORT Lib_OstrelTargets
  NAMESPACE Lib_Ostrel::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Lib_Ostrel)
configure_package_config_file(
  cmake/Lib_OstrelConfig.cmake.in ${CMAKE_BINARY_DIR}/Lib_OstrelConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Lib_Ostrel)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/Lib_OstrelConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/Lib_OstrelConfig.cmake
              ${CMAKE_BINARY_DIR}/Lib_OstrelConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Lib_Ostrel)
