#!/usr/bin/env bash
# notices_test.sh LICENSE PROGRAM FILE...: the program prints LICENSE, and LICENSE names what each of the built files has of
# others, and what it is linked with.
set -euo pipefail
licence=$1
program=$2
shift

status=0
complain() {
  echo "$licence: $*"
  status=1
}

"$program" licenses | cmp - "$licence" || complain "is not what '$program licenses' prints"

# notices LIBRARY: the names of the binaries that have it, by what LICENSE says.
notices() {
  sed -nE "s/^  $1 +in //p" "$licence" | grep -oE '[A-Za-z_]+'
}

# check_contents FILE NAME LIBRARY NAMESPACE
check_contents() {
  local said=no found=no
  grep -qx "$2" < <(notices "$3") && said=yes
  grep -q "\b$4::" < <(nm -C "$1") && found=yes
  [ $said = $found ] || complain "says '$said' to $3 in $2, but $1 says '$found'"
}

named=$(sed -n '/^Linked/,/^CLI11$/p' "$licence" | grep -oE '\b(lib|ld-)[a-z0-9_+]+')

for file; do
  name=$(basename "$file")
  name=${name%%.*}
  check_contents "$file" "$name" CLI11 CLI
  check_contents "$file" "$name" nlohmann-json nlohmann
  check_contents "$file" "$name" pybind11 pybind11
  linked=$(readelf -d "$file" | sed -nE 's/.*\(NEEDED\).*\[(.*)\.so.*/\1/p')
  [ -n "$linked" ] || complain "what $file is linked with is not known"
  for library in ${linked//-x86-64/}; do
    grep -qxF -- "$library" <<<"$named" || complain "does not name $library, with which $file is linked"
  done
done
exit $status
