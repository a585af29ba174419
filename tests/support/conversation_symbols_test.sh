#!/bin/sh
# The flat functions and the frame library speak through support/conversation.h alone: no other object of their
# archives uses the standard streams, the shell, or what libtiff says by itself.
# Usage: conversation_symbols_test.sh ARCHIVE...
set -eu

work=$(mktemp -d)
trap 'rm -r "$work"' EXIT

# Objects, and the symbols that are their business.
cat >"$work/allowed" <<'END'
conversation.cpp.o stdin stdout stderr printf puts system vprintf
files.cpp.o fopen
assertion.cpp.o __assert_fail
tiff.cpp.o TIFFOpen TIFFSetWarningHandler
END

nm -A --undefined-only "$@" | sed -n 's/^[^:]*:\([^:]*\):.* U \([^@]*\).*$/\1 \2/p' |
  sed 's/ __\([a-z]*\)_chk$/ \1/; s/ fopen64$/ fopen/; s/_unlocked$//' | sort -u >"$work/used"

grep -q '^edf.cpp.o ' "$work/used" || {
  echo "the archives hold no readers"
  exit 1
}
grep -q '^conversation.cpp.o stdout$' "$work/used" || {
  echo "nothing prints"
  exit 1
}
awk 'BEGIN {
       count = split("stdin stdout stderr printf vprintf puts putchar perror system popen fopen freopen __assert_fail " \
                     "TIFFOpen TIFFSetWarningHandler TIFFSetErrorHandler", names, " ")
       for (i = 1; i <= count; ++i) watched[names[i]] = 1
     }
     NR == FNR { for (i = 2; i <= NF; ++i) allowed[$1 " " $i] = 1; next }
     $2 in watched && !($0 in allowed) { print $1 " uses " $2; bad = 1 }
     END { exit bad }' "$work/allowed" "$work/used"
