#!/usr/bin/env bash
# The three .deb packages hold what they should, depend on what they should, and install, work and remove in a root of
# their own: the system's dpkg database is only read.
source "$(dirname "$0")/common.sh"

(cd "$BUILD_DIR" && "$CPACK" -B "$work/packages") >log 2>&1 || { cat log; fail "cpack failed"; }
suffix=${VERSION}_$(dpkg --print-architecture).deb
runtime=libtovik-ftp-bridge${VERSION%.*}
names=("$runtime" libtovik-ftp-bridge-dev tovik-ftp-tools)
for name in "${names[@]}"; do [ -f "packages/${name}_$suffix" ] || fail "no package $name"; done
field() { dpkg-deb -f "packages/$1_$suffix" "$2"; }

# Which package holds a file decides which one a user has to install.
dpkg-deb -c "packages/${runtime}_$suffix" | grep -v '/$' | awk '{print $6}' >files
! grep -vE "^\./usr/$LIBDIR/lib[a-z_]+\.so\.[0-9.]+$" files || fail "$runtime holds more than shared libraries"
[ "$(wc -l <files)" = 6 ] || fail "$runtime does not hold three libraries and their links"
dpkg-deb -c "packages/libtovik-ftp-bridge-dev_$suffix" | grep -v '/$' | awk '{print $6}' >files
! grep -vE "^\./usr/(include/.*\.h|$LIBDIR/(lib.*\.(a|so)|cmake/.*\.cmake|pkgconfig/.*\.pc))$" files ||
  fail "the development package holds more than it takes to build"
dpkg-deb -c "packages/tovik-ftp-tools_$suffix" | grep -v '/$' | awk '{print $6}' >files
! grep -vE '^\./usr/(bin/ftp_(fetch|serve)|share/man/man1/ftp_(fetch|serve)\.1|share/bash-completion/completions/ftp_fetch)$' files ||
  fail "the tools' package holds more than tools"
[ "$(field libtovik-ftp-bridge-dev Depends)" = "$runtime (= $VERSION)" ] || fail "the development package floats"

# A root in which what the packages may depend on counts as installed, with the two programs that their scripts run.
root=$work/root
mkdir -p "$root"/{bin,sbin,etc} "$root"/var/lib/dpkg/{info,updates,triggers}
dpkg-query -s libc6 libgcc-s1 libstdc++6 >"$root/var/lib/dpkg/status"
for program in /bin/sh /sbin/ldconfig; do
  cp "$program" "$root$program"
  for library in $(ldd "$program" | grep -oE '/[^ ]+'); do cp --parents "$library" "$root"; done
done
echo "/usr/$LIBDIR" >"$root/etc/ld.so.conf"
as_root=()
[ "$(id -u)" = 0 ] || as_root=(unshare --map-root-user)
in_root() { "${as_root[@]}" "$@" >log 2>&1 || { cat log; fail "$* failed"; }; }
private_dpkg() { in_root dpkg --root="$root" --log=/dev/null --force-bad-path "$@"; }
linker_knows() { in_root chroot "$root" /sbin/ldconfig -p && grep -q libtovik_ftp_bridge log; }

in_root chroot "$root" /sbin/ldconfig
find "$root" | sort >before
private_dpkg -i packages/*.deb
linker_knows || fail "the dynamic linker does not know the libraries"

export LD_LIBRARY_PATH=$root/usr/$LIBDIR
serve "$root/usr/bin/ftp_serve"
"$root/usr/bin/ftp_fetch" "ftp://demo:secret@$address/" -o fetched --quiet
diff -r served fetched
build_consumer find_package -DVERSION="$VERSION" -DKIND=shared -DCMAKE_PREFIX_PATH="$root/usr"
expect_session find_package-build/session

private_dpkg -P "${names[@]}"
! linker_knows || fail "the dynamic linker still knows the libraries"
find "$root" | sort >after
# What dpkg itself keeps is not a package's.
diff before after | grep '^>' | grep -v "$root/var/lib/dpkg/" && fail "these are left over"
exit 0
