#!/usr/bin/env bash
# hardening_test.sh FILE...: whether libraries or programs are linked and compiled so that a mistake in them is hard to use.
set -euo pipefail

status=0
# check FILE WHAT COMMAND...: the command's success tells.
check() {
  local file=$1 what=$2
  shift 2
  "$@" || {
    echo "$file: $what"
    status=1
  }
}

has() { grep -q -- "$1" <<<"$2"; }
lacks() { ! has "$@"; }

for file; do
  segments=$(readelf -lW "$file")
  dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  check "$file" "is not position-independent" has "^Elf file type is DYN" "$segments"
  check "$file" "has no read-only relocations" has GNU_RELRO "$segments"
  check "$file" "binds functions when they are called first" has "BIND_NOW" "$dynamic"
  check "$file" "has relocations in its code" lacks TEXTREL "$dynamic"
  check "$file" "has an executable stack" has "GNU_STACK .* RW  *0x" "$segments"
  check "$file" "has a segment that is written and executed" lacks " RWE " "$segments"
  check "$file" "has no stack protector" has "__stack_chk_fail" "$symbols"
  check "$file" "has no checked library calls" has "__[a-z]*_chk" "$symbols"
done
exit "$status"
