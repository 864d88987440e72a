#!/usr/bin/env bash
# The shared libraries show the names of their namespaces only, carry a version in their name, and find each other; every
# class and function of the installed headers is marked as shown.
source "$(dirname "$0")/common.sh"

for library in qk_logging tovik tovik_ftp_bridge; do
  file=$PREFIX/$LIBDIR/lib$library.so
  nm -DC --defined-only --format=posix "$file" | sed -E 's/ [A-Za-z] [0-9a-f ]*$//' >shown
  grep -q '^\(qk\|tovik\)::' shown || fail "$library shows nothing"
  ! grep -vE '^((typeinfo( name)?|vtable|(non-virtual|virtual) thunk|TLS (init|wrapper) function) (for|to) )?(qk|tovik)::' \
    shown || fail "$library shows names that are not its own"
  readelf -d "$file" | grep -q "SONAME.*\[lib$library.so.${VERSION%.*}\]" || fail "$library has another name inside"
done

# A class or function that is declared at the left margin and defined elsewhere.
declared='^((class|struct) (\w+ )?\w+( final)?( : .*)? \{|[a-z][A-Za-z_:<>&* ]* [&*]?\w+\(.*[;,]$)'
! grep -rnE "$declared" "$PREFIX/include" | grep -vE '_API |:(using|inline|static_assert|constexpr|template) ' ||
  fail "these are not marked as shown"
