#!/usr/bin/env bash
# A project that finds the installed package builds and runs, with either kind of library.
source "$(dirname "$0")/common.sh"

serve "$FTP_SERVE"
for kind in static shared; do
  build_consumer find_package -DVERSION="$VERSION" -DKIND="$kind" -DCMAKE_PREFIX_PATH="$PREFIX"
  expect_session find_package-build/session
  if [ "$kind" = shared ]; then
    needs_shared find_package-build/session || fail "the shared libraries are not used"
  elif needs_shared find_package-build/session; then
    fail "the static libraries are not used"
  fi
  rm -r find_package find_package-build
done

refuses() {
  ! cmake -S "$SOURCE_DIR/tests/packaging/consumer/find_package" -B refused -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" "$@" \
    >log 2>&1 || fail "found with $*"
  grep -q "$reason" log || { cat log; fail "refused for another reason"; }
  rm -r refused
}
reason='COMPONENTS must be either static or shared' refuses -DVERSION="$VERSION" -DKIND='static;shared'
reason='compatible with requested version' refuses -DVERSION="$((${VERSION%%.*} + 1))" -DKIND=static
