#!/usr/bin/env bash
# What is installed: each public header and no private one, both kinds of library, what finds them, the tools with
# their pages and what completes their options, and nothing else.
source "$(dirname "$0")/common.sh"

{
  for library in qk tovik; do (cd "$SOURCE_DIR/utils/$library/include" && find . -name '*.h' -printf 'include/%P\n'); done
  for library in qk_logging tovik tovik_ftp_bridge; do
    printf "$LIBDIR/lib$library.%s\n" a so "so.${VERSION%.*}" "so.$VERSION"
  done
  package=$LIBDIR/cmake/tovik_ftp_bridge
  printf "$package/tovik_ftp_bridge-%s.cmake\n" config config-version
  for file in {qk,tovik}-{static,shared}; do printf "$package/$file%s.cmake\n" '' "-${BUILD_TYPE,,}"; done
  echo "$LIBDIR/pkgconfig/tovik_ftp_bridge.pc"
  for tool in ftp_fetch ftp_serve; do printf '%s\n' "bin/$tool" "share/man/man1/$tool.1"; done
  echo share/bash-completion/completions/ftp_fetch
} | sort >expected
find "$PREFIX" ! -type d -printf '%P\n' | sort >installed
diff expected installed || fail "lines with > should not be installed, lines with < should"
