#!/usr/bin/env bash
# A project that has the sources among its own builds and runs. It needs nothing that tests and examples need, its
# language standard stays its own, and nothing but its own program is installed.
source "$(dirname "$0")/common.sh"

build_consumer add_subdirectory -DTOVIK="$SOURCE_DIR" -DCMAKE_UNITY_BUILD=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON
serve "$FTP_SERVE"
expect_session add_subdirectory-build/session
cmake --install add_subdirectory-build --prefix installed >log
[ "$(cd installed && find . -type f)" = ./bin/session ] || { cat log; fail "more is installed than the host's program"; }
