# Embedding the three- and four-man Syzygy tables: tesmar_syzygy_library(NAME FOLDER)
# makes a static library NAME that defines EMBEDDED_TABLES, one record for each of the
# 70 file names. The files that FOLDER holds go into read-only data, each on a 64-byte
# boundary; a name that FOLDER lacks gets a record with no data, which the engine treats
# as a table that can't be opened.
set(TESMAR_SYZYGY_SIGNATURES
  KBBvK KBNvK KBPvK KBvK KBvKB KBvKN KBvKP KNNvK KNPvK KNvK KNvKN KNvKP KPPvK KPvK KPvKP
  KQBvK KQNvK KQPvK KQQvK KQRvK KQvK KQvKB KQvKN KQvKP KQvKQ KQvKR KRBvK KRNvK KRPvK
  KRRvK KRvK KRvKB KRvKN KRvKP KRvKR)

function(tesmar_syzygy_library name folder)
  set(names "")
  foreach(signature ${TESMAR_SYZYGY_SIGNATURES})
    list(APPEND names "${signature}.rtbw" "${signature}.rtbz")
  endforeach()
  # The records are searched by name in byte order.
  list(SORT names COMPARE STRING)

  set(assembly "")
  set(declarations "")
  set(records "")
  set(files "")
  set(found 0)
  set(index 0)
  foreach(file_name ${names})
    set(path "${folder}/${file_name}")
    if(EXISTS "${path}" AND NOT IS_DIRECTORY "${path}")
      file(SIZE "${path}" size)
      set(symbol "tesmar_syzygy_file_${index}")
      string(APPEND assembly
        "    \".balign 64\\n\"\n"
        "    \".globl ${symbol}\\n\"\n"
        "    \"${symbol}:\\n\"\n"
        "    \".incbin \\\"${path}\\\"\\n\"\n")
      # The assembler's name, verbatim on every object format (Mach-O would prefix an underscore).
      string(APPEND declarations "extern \"C\" const uint8_t ${symbol}[] __asm__(\"${symbol}\");\n")
      string(APPEND records "    {\"${file_name}\", ${size}u, ${symbol}},\n")
      list(APPEND files "${path}")
      math(EXPR found "${found} + 1")
    else()
      string(APPEND records "    {\"${file_name}\", 0u, nullptr},\n")
    endif()
    math(EXPR index "${index} + 1")
  endforeach()
  message(STATUS "${name}: ${found} of the 70 three- and four-man Syzygy files found in ${folder}")

  set(SYZYGY_FOLDER "${folder}")
  set(SYZYGY_ASSEMBLY "${assembly}")
  set(SYZYGY_DECLARATIONS "${declarations}")
  set(SYZYGY_RECORDS "${records}")
  set(source "${CMAKE_BINARY_DIR}/generated/${name}.cpp")
  configure_file("${CMAKE_SOURCE_DIR}/cmake/embedded_syzygy.cpp.in" "${source}" @ONLY)
  # Like the network: data defined in assembly stays out of link-time optimisation.
  set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${files}" COMPILE_OPTIONS -fno-lto)
  add_library(${name} STATIC "${source}")
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/src")
endfunction()
