#!/bin/sh
# The shared library exports the functions that its version script lists, no more and no fewer, each in the version that
# the script gives it, and the public header declares each of them and nothing else. It has its own name as SONAME.
# Usage: exports_test.sh LIBRARY VERSION_SCRIPT HEADER MACRO [UNWANTED]: MACRO stands before each declaration; UNWANTED is
# a library that it must not be linked with.
set -eu

library=$1
exports_map=$2
header=$3
macro=$4
unwanted=${5-}

work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
status=0

# name@@version: the names between "global:" and "local:", and the version that stands before the brace.
awk '/[{]/ { version = $1 }
     /global:/ { global = 1 }
     /local:/ { global = 0 }
     global && match($1, /^[A-Za-z_][A-Za-z0-9_]*;/) { print substr($1, 1, RLENGTH - 1) "@@" version }' "$exports_map" |
  sort >"$work/listed-versions"
sed 's/@.*//' "$work/listed-versions" | sort >"$work/listed"

# The versions themselves are symbols, too: absolute ones.
nm -D --defined-only "$library" | awk '$2 != "A" { print $3 }' | sort >"$work/exported-versions"

# Declarations may span lines; comments are none. The name stands before the first parenthesis.
sed 's|/\*.*\*/||; /^#/d; \|/\*|,\|\*/|d' "$header" | tr '\n' ' ' | tr ';' '\n' |
  sed -n 's/.*'"$macro"' [^(]*[ *]\([A-Za-z_][A-Za-z0-9_]*\)(.*/\1/p' | sort >"$work/declared"

# compare A B WHAT: the two lists are the same.
compare() {
  if ! diff "$work/$1" "$work/$2" >"$work/difference"; then
    echo "$3:"
    cat "$work/difference"
    status=1
  fi
}

if ! [ -s "$work/listed" ]; then
  echo "$exports_map lists nothing"
  status=1
fi
compare listed-versions exported-versions "$exports_map (<) and the library's dynamic symbols (>) differ"
compare listed declared "$exports_map (<) and the functions that the header declares (>) differ"

soname=$(basename "$library" | sed 's/\.so.*/.so.1/')
if ! readelf -d "$library" | grep SONAME | grep -qF "[$soname]"; then
  echo "$library is not named $soname"
  status=1
fi
if [ -n "$unwanted" ] && readelf -d "$library" | grep "NEEDED.*$unwanted"; then
  echo "$library is linked with $unwanted"
  status=1
fi
exit $status
