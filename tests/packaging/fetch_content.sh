#!/usr/bin/env bash
# A project that fetches the sources builds and runs, here with the shared libraries.
source "$(dirname "$0")/common.sh"

build_consumer fetch_content -DTOVIK="$SOURCE_DIR" -DBUILD_SHARED_LIBS=ON -DCMAKE_UNITY_BUILD=ON
needs_shared fetch_content-build/session || fail "the shared libraries are not used"
serve "$FTP_SERVE"
expect_session fetch_content-build/session
