#!/usr/bin/env bash
# Each installed header compiles alone, under a strict consumer's warnings, with both compilers.
source "$(dirname "$0")/common.sh"

warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Woverloaded-virtual
  -Wnon-virtual-dtor -Wcast-align -Wcast-qual -Wdouble-promotion -Wformat=2 -Wundef -Wnull-dereference -Werror)
export INCLUDE=$PREFIX/include WARNINGS="${warnings[*]}"

# One compiler and one header, included twice.
compile() {
  printf '#include <%s>\n#include <%s>\n' "$2" "$2" >"$1-${2//\//-}.cpp"
  # shellcheck disable=SC2086
  "$1" -std=c++20 $WARNINGS -I"$INCLUDE" -fsyntax-only "$1-${2//\//-}.cpp" || { echo "$1 refuses $2"; return 1; }
}
export -f compile

find "$INCLUDE" -name '*.h' -printf '%P\n' >headers
[ -s headers ] || fail "no header is installed"
for compiler in g++ clang++; do sed "s/^/$compiler /" headers; done |
  xargs -P 2 -L 1 bash -c 'compile "$@"' compile || fail "a header does not compile alone"
