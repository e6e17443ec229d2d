# Debian's clang for ARM64 Windows, with the runtimes of llvm/build: for the programs that ship. On the development
# machine they run under emulation.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
# To share the runtimes between build folders, set TESSEL_LLVM in the environment at the first configuration.
set(TESSEL_LLVM "$ENV{TESSEL_LLVM}" CACHE PATH "The folder of the runtimes")
if(NOT TESSEL_LLVM)
  set(TESSEL_LLVM "${CMAKE_CURRENT_LIST_DIR}/../build/llvm")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSEL_LLVM)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET aarch64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET aarch64-w64-mingw32)
set(CMAKE_C_FLAGS_INIT "--config=${TESSEL_LLVM}/arm64.cfg")
set(CMAKE_CXX_FLAGS_INIT "--config=${TESSEL_LLVM}/arm64.cfg")
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_DLLTOOL llvm-dlltool-19)
# CMake's default list names import libraries that the runtimes lack.
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_FIND_ROOT_PATH ${TESSEL_LLVM}/sysroot)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/arm64-run)

set(TESSEL_MACHINE arm64)
set(TESSEL_NATIVE OFF)
# Small code: no command needs much processor time.
set(TESSEL_OPTIMISATION -Os)
# The symbols go into a .pdb, without the command line. The program contains only the file name of the .pdb.
set(TESSEL_DEBUG_INFORMATION -g -gcodeview -gno-codeview-command-line
  "SHELL:-Xclang -gsrc-hash=sha256")
# The version numbers are those that Microsoft's linker writes for ARM64.
set(TESSEL_LINK_OPTIONS
  -Wl,--major-os-version=6,--minor-os-version=2,--major-subsystem-version=6,--minor-subsystem-version=2
  -Wl,--pdb= -Wl,-Xlink=-pdbaltpath:%_PDB% -Wl,-Xlink=-pdbsourcepath:. -Wl,-Xlink=-brepro -Wl,--icf=safe)
# For __try.
set(TESSEL_TRY_OPTIONS -fms-extensions)
set(TESSEL_WINDRES llvm-windres-19 --target=aarch64-w64-mingw32 -O coff)
set(TESSEL_DLLTOOL_MACHINE arm64)
set(TESSEL_IMPORTS capability)

get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  message(STATUS "Preparing the runtimes for ARM64")
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/llvm/build ${TESSEL_LLVM} COMMAND_ERROR_IS_FATAL ANY)
endif()
