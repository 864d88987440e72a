# What the packaging tests share. Each runs in a temporary directory of its own, outside the tree.
set -euo pipefail

work=$(mktemp -d)
server=
cleanup() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
cd "$work"

fail() {
  echo "$*" >&2
  exit 1
}

# Starts a server program with two files in its tree; the pipe is how the test waits until it listens.
serve() {
  mkdir served
  echo one >served/first.txt
  echo two >served/second.txt
  mkfifo said
  "$1" served --listen 127.0.0.1:0 --user demo --password secret >said &
  server=$!
  local line
  read -r -t 60 line <said || fail "$1 did not start"
  address=${line##* }
}

# Runs a program, built from examples/session.cpp, against that server.
expect_session() {
  timeout 60 "$1" "${address%:*}" "${address##*:}" demo secret >names 2>log || { cat log; fail "$1 ended with $?"; }
  [ "$(sort names)" = $'first.txt\nsecond.txt' ] || { cat names; fail "$1 printed other names"; }
}

# Configures and builds a project that stands in the consumer directory, once copied here.
build_consumer() {
  local project=$1
  shift
  cp -r "$SOURCE_DIR/tests/packaging/consumer/$project" "$project"
  cp "$SOURCE_DIR/examples/session.cpp" "$project"
  cmake -S "$project" -B "$project-build" -G Ninja "$@" >log 2>&1 || { cat log; fail "$project does not configure"; }
  cmake --build "$project-build" -j 2 >log 2>&1 || { cat log; fail "$project does not build"; }
}

needs_shared() { readelf -d "$1" | grep -q 'NEEDED.*libtovik_ftp_bridge'; }
