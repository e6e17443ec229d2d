# Debian's mingw-w64 g++. The programs run under Wine on the development machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_DLLTOOL x86_64-w64-mingw32-dlltool)
set(CMAKE_WIDL x86_64-w64-mingw32-widl)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)

set(TESSEL_MACHINE x64)
# Programs run without an emulator, and the simulated notebook has the control device.
set(TESSEL_NATIVE ON)
set(TESSEL_OPTIMISATION -O2)
set(TESSEL_DEBUG_INFORMATION -g)
set(TESSEL_LINK_OPTIONS
  -static -Wl,--high-entropy-va -Wl,--dynamicbase -Wl,--nxcompat -Wl,--no-insert-timestamp)
set(TESSEL_STACK_PROTECTOR stackprotector.c)
set(TESSEL_WINDRES x86_64-w64-mingw32-windres --preprocessor=cat -O coff)
set(TESSEL_DLLTOOL_MACHINE i386:x86-64)
# mingw-w64 10 lacks the first; it has the second only for programs that use no msvcrt.
set(TESSEL_IMPORTS capability universalruntime)
