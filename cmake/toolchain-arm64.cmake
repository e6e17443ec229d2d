# Zig's clang for ARM64 Windows: the programs that ship, run under emulation on the development machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ZIG_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}/zig" CACHE INTERNAL "")
set(CMAKE_C_COMPILER ${ZIG_DIRECTORY}/bin/cc)
set(CMAKE_CXX_COMPILER ${ZIG_DIRECTORY}/bin/c++)
set(CMAKE_C_COMPILER_TARGET aarch64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-windows-gnu)
set(CMAKE_AR ${ZIG_DIRECTORY}/bin/ar)
set(CMAKE_RANLIB ${ZIG_DIRECTORY}/bin/ranlib)
set(CMAKE_DLLTOOL ${ZIG_DIRECTORY}/bin/dlltool)
set(CMAKE_WIDL x86_64-w64-mingw32-widl)
set(TESSEL_MACHINE arm64)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/arm64-run)

# Resources are the same for every machine until the linker has them: x64's compiler serves.
set(TESSEL_WINDRES x86_64-w64-mingw32-windres --preprocessor=cat -O res)
set(TESSEL_RESOURCE_SUFFIX .res)

# Zig compiles its runtime anew for each level of optimisation: one level for everything, and no program
# linked by CMake's own checks. The smaller one: nothing here waits for the processor.
set(TESSEL_OPTIMISATION -Os)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  message(STATUS "Preparing the ARM64 compiler")
  execute_process(COMMAND ${ZIG_DIRECTORY}/install ${CMAKE_CXX_COMPILER_TARGET} ${TESSEL_OPTIMISATION}
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
