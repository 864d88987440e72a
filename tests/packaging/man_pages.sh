#!/usr/bin/env bash
# The options that a tool's --help tells of are those of its manual page, which is well-formed.
source "$(dirname "$0")/common.sh"

for tool in "$FTP_FETCH" "$FTP_SERVE"; do
  page=$SOURCE_DIR/tools/man/$(basename "$tool").1
  groff -man -ww -Tutf8 "$page" >/dev/null 2>complaints
  [ ! -s complaints ] || { cat complaints; fail "$page is not well-formed"; }
  "$tool" --help >help
  grep -oE '^  (-[a-z],)?-[-a-z]+' help | grep -oE -- '-[-a-z]+' | sort >told
  # An option is the head of a paragraph: the line after .TP.
  sed -n '/^\.TP$/{n;s/\\-/-/g;s/\\f.//g;p}' "$page" | grep -oE '(^|[" ])-[-a-z]+' | tr -d ' "' | sort >described
  [ -s told ] || fail "$tool tells of no option"
  diff told described || fail "lines with < are missing in $page, lines with > are no options"
done
