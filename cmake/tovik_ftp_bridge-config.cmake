# find_package(tovik_ftp_bridge [COMPONENTS static|shared]) defines qk::logging, tovik::tovik and tovik::ftp_bridge.
# Without a component, BUILD_SHARED_LIBS decides; if it is not set, the libraries are static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)

set(_tovik_kind ${tovik_ftp_bridge_FIND_COMPONENTS})
if(NOT _tovik_kind AND BUILD_SHARED_LIBS)
  set(_tovik_kind shared)
elseif(NOT _tovik_kind)
  set(_tovik_kind static)
endif()

# The libraries have global state: a program must not link both the static and the shared ones.
if(_tovik_kind STREQUAL "static" OR _tovik_kind STREQUAL "shared")
  include(${CMAKE_CURRENT_LIST_DIR}/qk-${_tovik_kind}.cmake)
  include(${CMAKE_CURRENT_LIST_DIR}/tovik-${_tovik_kind}.cmake)
else()
  set(tovik_ftp_bridge_FOUND FALSE)
  set(tovik_ftp_bridge_NOT_FOUND_MESSAGE "COMPONENTS must be either static or shared, not: ${_tovik_kind}")
endif()
unset(_tovik_kind)
