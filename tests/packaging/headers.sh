#!/usr/bin/env bash
# Each installed header compiles alone, and all together, under a strict consumer's warnings of both compilers.
source "$(dirname "$0")/common.sh"

warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Woverloaded-virtual
  -Wnon-virtual-dtor -Wcast-align -Wcast-qual -Wdouble-promotion -Wformat=2 -Wundef -Wnull-dereference -Werror)
export INCLUDE=$PREFIX/include WARNINGS="${warnings[*]}"

# One compiler, and headers that are included twice.
compile() {
  local compiler=$1
  shift
  # shellcheck disable=SC2086
  printf '#include <%s>\n' "$@" "$@" | "$compiler" -std=c++20 $WARNINGS -I"$INCLUDE" -fsyntax-only -x c++ - ||
    { echo "$compiler refuses $*"; return 1; }
}
export -f compile

mapfile -t headers < <(find "$INCLUDE" -name '*.h' -printf '%P\n')
[ ${#headers[@]} -gt 0 ] || fail "no header is installed"
printf '%s\n' "${headers[@]}" | xargs -P 2 -I{} bash -c 'compile g++ {}' || fail "a header does not compile alone"
compile clang++ "${headers[@]}" || fail "the headers do not compile together"
