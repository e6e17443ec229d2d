# How every target of the project is compiled and linked.

set(TESSEL_WARNINGS -Wall -Wextra -Werror)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(TESSEL_DLLTOOL_MACHINE arm64)
else()
  set(TESSEL_DLLTOOL_MACHINE i386:x86-64)
endif()

# Import libraries that mingw-w64 10 does not have or, of the universal runtime beside msvcrt, not in parts:
# made of their .def files here.
foreach(name capability universalruntime)
  set(definition ${CMAKE_SOURCE_DIR}/cmake/${name}.def)
  set(library ${CMAKE_BINARY_DIR}/lib${name}.a)
  add_custom_command(
    OUTPUT ${library}
    COMMAND ${CMAKE_DLLTOOL} -m ${TESSEL_DLLTOOL_MACHINE} -d ${definition} -l ${library}
    DEPENDS ${definition} VERBATIM)
  list(APPEND TESSEL_IMPORT_LIBRARIES ${library})
endforeach()
add_custom_target(import_libraries DEPENDS ${TESSEL_IMPORT_LIBRARIES})

set(TESSEL_WINDOWS_LIBRARIES
    ${TESSEL_IMPORT_LIBRARIES} rpcrt4 advapi32 ole32 oleaut32 cfgmgr32)

# Warnings, include root and the flags that keep paths of the build machine out of the programs.
function(tessel_configure target)
  target_compile_options(${target} PRIVATE ${TESSEL_WARNINGS}
    -ffunction-sections -fdata-sections -g "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
  target_compile_definitions(${target} PRIVATE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000004)
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  add_dependencies(${target} import_libraries)
endfunction()

# A console program with the wide entry point wmain, needing no DLL but Windows' own.
function(tessel_program target)
  add_executable(${target} ${ARGN})
  tessel_configure(${target})
  tessel_link_static(${target})
  tessel_wide_entry(${target})
endfunction()

# Gives a program the version resource that Explorer shows: version, company, product and `description`.
function(tessel_version_resource target description)
  get_target_property(version_internal_name ${target} OUTPUT_NAME)
  if(NOT version_internal_name)
    set(version_internal_name ${target})
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(version_file_type 1)
    set(version_file_name ${version_internal_name}.exe)
  else()
    set(version_file_type 2)
    set(version_file_name ${version_internal_name}.dll)
  endif()
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}${TESSEL_RESOURCE_SUFFIX})
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${script} @ONLY)
  add_custom_command(OUTPUT ${resource} COMMAND ${TESSEL_WINDRES} ${script} ${resource}
                     DEPENDS ${script} VERBATIM)
  target_sources(${target} PRIVATE ${resource})
  set_source_files_properties(${resource} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
endfunction()

# How a program is linked: no DLL but Windows' own, random high-entropy addresses, no execution of data, and the
# same bytes from the same sources.
function(tessel_link_static target)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    # All of it is zig's default, but its stacks are of 16 MB. -s is for the runtime alone, which has the build
    # machine's paths in its symbols.
    target_link_options(${target} PRIVATE -s -Wl,--stack,1048576)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${ZIG_DIRECTORY}/tool)
  else()
    target_link_options(${target} PRIVATE
      -static -Wl,--gc-sections -Wl,--high-entropy-va -Wl,--dynamicbase -Wl,--nxcompat
      -Wl,--no-insert-timestamp)
  endif()
endfunction()

# Makes wmain the entry point of a program. Zig has no start-up object for it.
function(tessel_wide_entry target)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_sources(${target} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/wideentry.c)
  else()
    target_link_options(${target} PRIVATE -municode)
  endif()
endfunction()
