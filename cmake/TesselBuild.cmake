# How every target of the project is compiled and linked.

# The presets make warnings errors: CMAKE_COMPILE_WARNING_AS_ERROR.
set(TESSEL_WARNINGS -Wall -Wextra)
# For all but tests and benchmark. In C++ -Wconversion includes -Wsign-conversion.
set(TESSEL_PRODUCT_WARNINGS -Wshadow -Wconversion -Wno-sign-conversion)

# Makes the import library that mingw lacks.
set(TESSEL_CAPABILITY ${CMAKE_BINARY_DIR}/libcapability.a)
add_custom_command(
  OUTPUT ${TESSEL_CAPABILITY}
  COMMAND ${CMAKE_DLLTOOL} -m ${TESSEL_DLLTOOL_MACHINE} -d ${CMAKE_SOURCE_DIR}/cmake/capability.def
          -l ${TESSEL_CAPABILITY}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/capability.def VERBATIM)
add_custom_target(import_libraries DEPENDS ${TESSEL_CAPABILITY})

# The symbols of what ships go into a .pdb, without the command line; those for gdb are in the program.
set(TESSEL_DEBUG_INFORMATION
    "$<$<CONFIG:Release>:-g;-gcodeview;-gno-codeview-command-line;SHELL:-Xclang -gsrc-hash=sha256>")

set(TESSEL_WINDOWS_LIBRARIES
    ${TESSEL_CAPABILITY} rpcrt4 advapi32 ole32 oleaut32 cfgmgr32)

# Sets warnings, the include folder, and the flags that make all paths in the programs and symbols relative to the top
# folder. -Qn leaves out the version of the compiler, which names the release of Debian.
function(tessel_configure target)
  # Ninja names the sources relative to the build folder.
  file(RELATIVE_PATH sources ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR}/)
  target_compile_options(${target} PRIVATE ${TESSEL_WARNINGS}
    -ffunction-sections -fdata-sections
    -fstack-protector-strong -Qn ${TESSEL_DEBUG_INFORMATION}
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${sources}=" "-ffile-prefix-map=${CMAKE_BINARY_DIR}=.")
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE folder)
  if(NOT folder MATCHES "^(tests|benchmark)(/|$)")
    target_compile_options(${target} PRIVATE ${TESSEL_PRODUCT_WARNINGS})
  endif()
  target_compile_definitions(${target} PRIVATE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000004)
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  add_dependencies(${target} import_libraries)
endfunction()

# Adds a console program with the entry point wmain. It needs only Windows' own DLLs.
function(tessel_program target)
  add_executable(${target} ${ARGN})
  tessel_configure(${target})
  tessel_link_static(${target})
  target_link_options(${target} PRIVATE -municode)
endfunction()

# Adds the version resource that Explorer shows: version, company, copyright, product and `description`.
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
  file(STRINGS ${CMAKE_SOURCE_DIR}/LICENSE copyright REGEX "^Copyright")
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}.res.o)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${script} @ONLY)
  add_custom_command(OUTPUT ${resource} COMMAND ${TESSEL_WINDRES} ${script} ${resource}
                     DEPENDS ${script} VERBATIM)
  target_sources(${target} PRIVATE ${resource})
  set_source_files_properties(${resource} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
endfunction()

# Links a program: random addresses of 64 bits, no execution of data, Control Flow Guard (clang.cfg has it), Windows'
# DLLs only from its system folder (LOAD_LIBRARY_SEARCH_SYSTEM32), compatible with the shadow stacks of x64 processors,
# and the same bytes from the same sources. The version numbers are those that Microsoft's linker writes for ARM64. The
# program contains only the file name of its .pdb.
function(tessel_link_static target)
  target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,--icf=safe -Wl,-Xlink=-brepro
    -Wl,--major-os-version=6,--minor-os-version=2,--major-subsystem-version=6,--minor-subsystem-version=2
    -Wl,-Xlink=-dependentloadflag:0x800
    "$<$<CONFIG:Release>:-Wl,--pdb=;-Wl,-Xlink=-pdbaltpath:%_PDB%;-Wl,-Xlink=-pdbsourcepath:.>")
  if(TESSEL_MACHINE STREQUAL "x64")
    target_link_options(${target} PRIVATE -Wl,-Xlink=-cetcompat)
  endif()
endfunction()
