# find_package(tovik_ftp_bridge [COMPONENTS static|shared]) brings qk::logging, tovik::tovik and tovik::ftp_bridge.
# Without a component BUILD_SHARED_LIBS decides: static where it is not set.
include(CMakeFindDependencyMacro)
find_dependency(Threads)

set(_tovik_kind ${tovik_ftp_bridge_FIND_COMPONENTS})
if(NOT _tovik_kind AND BUILD_SHARED_LIBS)
  set(_tovik_kind shared)
elseif(NOT _tovik_kind)
  set(_tovik_kind static)
endif()

# The libraries keep state of the process: both kinds in one program would be two of each.
if(_tovik_kind STREQUAL "static" OR _tovik_kind STREQUAL "shared")
  include(${CMAKE_CURRENT_LIST_DIR}/qk-${_tovik_kind}.cmake)
  include(${CMAKE_CURRENT_LIST_DIR}/tovik-${_tovik_kind}.cmake)
else()
  set(tovik_ftp_bridge_FOUND FALSE)
  set(tovik_ftp_bridge_NOT_FOUND_MESSAGE "The components are static and shared, one of them; asked for: ${_tovik_kind}")
endif()
unset(_tovik_kind)
