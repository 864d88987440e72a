# The fuzzers, by name. Each is fuzz/<name>.cpp, and its seeds are fuzz/seeds/<name>.
set(fuzzers host_port listing packetizer reply_reader session)

# Adds a program with a fuzzer and the sources in ARGN that call it.
function(add_fuzzer_program program fuzzer)
  add_executable(${program} ${PROJECT_SOURCE_DIR}/fuzz/${fuzzer}.cpp ${ARGN})
  # Fuzzers set and read private state.
  target_compile_options(${program} PRIVATE -fno-access-control)
  target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/utils/tovik/source)
  target_link_libraries(${program} PRIVATE tovik::ftp_bridge tovik_warnings)
  if(fuzzer STREQUAL session)
    target_link_options(${program} PRIVATE -Wl,--wrap=connect)
  endif()
endfunction()
