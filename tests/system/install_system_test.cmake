# Installs the package into an empty folder, builds a stranger's project against it, runs it.
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
foreach(
  file
  include/Lib_Ostrel.h
  include/CHTTP.h
  include/framework/afxwin.h
  bin/Lib_Ostrel.dll
  bin/libstdc++-6.dll
  bin/libgcc_s_seh-1.dll
  bin/libwinpthread-1.dll
  lib/cmake/Lib_Ostrel/Lib_OstrelConfig.cmake)
  if(NOT EXISTS ${WORK}/prefix/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${WORK}/prefix
    -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH
    "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${EMULATOR} ${WORK}/build/stranger.exe)
