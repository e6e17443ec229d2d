# Debian's mingw-w64 g++: the programs run under Wine on the development machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(TESSEL_WINDRES x86_64-w64-mingw32-windres --preprocessor=cat -O coff)
set(TESSEL_RESOURCE_SUFFIX .res.o)
set(CMAKE_DLLTOOL x86_64-w64-mingw32-dlltool)
set(CMAKE_WIDL x86_64-w64-mingw32-widl)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(TESSEL_OPTIMISATION -O2)
set(TESSEL_MACHINE x64)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)

function(tessel_link_static target)
  target_link_options(${target} PRIVATE
    -static -Wl,--gc-sections -Wl,--high-entropy-va -Wl,--dynamicbase -Wl,--nxcompat
    -Wl,--no-insert-timestamp)
endfunction()

function(tessel_wide_entry target)
  target_link_options(${target} PRIVATE -municode)
endfunction()
