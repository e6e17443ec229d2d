# Debian's clang for Windows, with the runtimes of llvm/build. TESSEL_MACHINE is the machine: x64 or arm64. On the
# development machine, programs for x64 run under Wine, and those for ARM64 in an emulator.
set(CMAKE_SYSTEM_NAME Windows)
# To share the runtimes between build folders, set TESSEL_LLVM in the environment at the first configuration.
set(runtimes "$ENV{TESSEL_LLVM}")
if(NOT runtimes)
  set(runtimes "${CMAKE_CURRENT_LIST_DIR}/../build/llvm")
endif()
set(TESSEL_LLVM "${runtimes}" CACHE PATH "The folder of the runtimes")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSEL_LLVM TESSEL_MACHINE)

if(TESSEL_MACHINE STREQUAL "x64")
  set(CMAKE_SYSTEM_PROCESSOR x86_64)
  set(TESSEL_DLLTOOL_MACHINE i386:x86-64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
  # Programs run without an emulator.
  set(TESSEL_NATIVE ON)
else()
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
  set(TESSEL_DLLTOOL_MACHINE arm64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/arm64-run)
  set(TESSEL_NATIVE OFF)
endif()

set(target ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET ${target})
set(CMAKE_CXX_COMPILER_TARGET ${target})
set(CMAKE_C_FLAGS_INIT "--config=${TESSEL_LLVM}/${TESSEL_MACHINE}/clang.cfg")
set(CMAKE_CXX_FLAGS_INIT "--config=${TESSEL_LLVM}/${TESSEL_MACHINE}/clang.cfg")
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_DLLTOOL llvm-dlltool-19)
set(TESSEL_WINDRES llvm-windres-19 --target=${target} -O coff)
# CMake's default list names import libraries that the runtimes lack.
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_FIND_ROOT_PATH ${TESSEL_LLVM}/${TESSEL_MACHINE}/sysroot)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/llvm/build ${TESSEL_LLVM} ${TESSEL_MACHINE}
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
