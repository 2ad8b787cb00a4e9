# Embedding a network blob: tesmar_network_library(NAME FILE) makes a static
# library NAME that holds FILE as the symbol tesmar_embedded_network.
set(TESMAR_NETWORK_SIZE 20990976)

function(tesmar_network_library name file)
  cmake_parse_arguments(ARG "GENERATED" "" "" ${ARGN})
  if(ARG_GENERATED)
    # Made at build time by a custom command of the same directory: no size to check yet.
  elseif(NOT EXISTS "${file}")
    message(FATAL_ERROR "Network blob ${file} does not exist")
  else()
    file(SIZE "${file}" size)
    if(NOT size EQUAL TESMAR_NETWORK_SIZE)
      message(FATAL_ERROR "Network blob ${file} has ${size} bytes; a network of this engine has exactly "
                          "${TESMAR_NETWORK_SIZE} (0x1404C00)")
    endif()
  endif()
  set(NETWORK_FILE "${file}")
  set(NETWORK_SIZE ${TESMAR_NETWORK_SIZE})
  set(source "${CMAKE_BINARY_DIR}/generated/${name}.cpp")
  configure_file("${CMAKE_SOURCE_DIR}/cmake/embedded_network.cpp.in" "${source}" @ONLY)
  # The blob is defined in assembly, which link-time optimisation would hide from the linker.
  set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${file}" COMPILE_OPTIONS -fno-lto)
  add_library(${name} STATIC "${source}")
endfunction()
