# Use Debian's library folder under every prefix, not only under /usr, where GNUInstallDirs chooses it anyway: the
# compiler, CMake and pkg-config search it.
if(PROJECT_IS_TOP_LEVEL AND EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Libraries, under the prefix")
endif()
include(GNUInstallDirs)

# Adds a static and a shared library from the same objects: <namespace>::<name>_static and <namespace>::<name>_shared.
# <namespace>::<name> is the one that BUILD_SHARED_LIBS selects, in the source tree and in the installed package.
#
#     tovik_add_library(<target> NAME <namespace>::<name> SOURCES <file>... [LINK <namespace>::<name>...])
function(tovik_add_library target)
  cmake_parse_arguments(PARSE_ARGV 1 library "" "NAME" "SOURCES;LINK")
  string(REPLACE "::" ";" name ${library_NAME})
  list(GET name 0 namespace)
  list(GET name 1 exported)

  add_library(${target}_objects OBJECT ${library_SOURCES})
  # Functions of these libraries are not replaced at run time, so calls inside them may be inlined.
  target_compile_options(${target}_objects PRIVATE -fno-semantic-interposition)
  target_link_libraries(${target}_objects PUBLIC Threads::Threads ${library_LINK} PRIVATE tovik_warnings)
  target_include_directories(${target}_objects
    PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/source)
  set_target_properties(${target}_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

  foreach(kind IN ITEMS static shared)
    string(TOUPPER ${kind} KIND)
    add_library(${target}_${kind} ${KIND} $<TARGET_OBJECTS:${target}_objects>)
    list(TRANSFORM library_LINK APPEND _${kind} OUTPUT_VARIABLE dependencies)
    target_link_libraries(${target}_${kind} PUBLIC Threads::Threads ${dependencies})
    target_compile_features(${target}_${kind} PUBLIC cxx_std_20)
    target_include_directories(${target}_${kind} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    set_target_properties(${target}_${kind} PROPERTIES OUTPUT_NAME ${target} EXPORT_NAME ${exported})
    add_library(${library_NAME}_${kind} ALIAS ${target}_${kind})
    if(TOVIK_INSTALL)
      install(TARGETS ${target}_${kind} EXPORT ${namespace}_${kind}
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
    endif()
  endforeach()

  # Don't export instantiations of standard library templates.
  set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  target_link_options(${target}_shared PRIVATE LINKER:--version-script=${exports})
  # Before 1.0 each minor version may break the ABI.
  set_target_properties(${target}_shared PROPERTIES
    LINK_DEPENDS ${exports}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  # The tests of this project use hidden symbols, so they link the static libraries.
  if(BUILD_SHARED_LIBS AND NOT PROJECT_IS_TOP_LEVEL)
    add_library(${library_NAME} ALIAS ${target}_shared)
  else()
    add_library(${library_NAME} ALIAS ${target}_static)
  endif()
endfunction()
