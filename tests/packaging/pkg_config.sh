#!/usr/bin/env bash
# A program that is compiled by hand with what pkg-config says runs, with either kind of library.
source "$(dirname "$0")/common.sh"

export PKG_CONFIG_PATH=$PREFIX/$LIBDIR/pkgconfig
[ "$(pkg-config --modversion tovik_ftp_bridge)" = "$VERSION" ] || fail "pkg-config tells another version"
compile=("$CXX" -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror "$SOURCE_DIR/examples/session.cpp")
read -ra flags < <(pkg-config --cflags --libs tovik_ftp_bridge)
"${compile[@]}" "${flags[@]}" -o shared
read -ra flags < <(pkg-config --static --cflags --libs tovik_ftp_bridge)
"${compile[@]}" -static "${flags[@]}" -o static

serve "$FTP_SERVE"
needs_shared shared || fail "the shared libraries are not used"
LD_LIBRARY_PATH=$PREFIX/$LIBDIR expect_session ./shared
expect_session ./static
