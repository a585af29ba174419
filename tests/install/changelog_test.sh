#!/bin/sh
# changelog_test.sh CHANGELOG VERSION CITATION: the changelog has the form of Keep a Changelog, and its newest release is
# VERSION, of its day in CITATION, too.
set -eu

changelog=$1
version=$2
citation=$3

fail() {
  echo "$changelog: $*"
  exit 1
}

headings=$(grep '^## ' "$changelog")
[ "$(echo "$headings" | head -n 1)" = "## [Unreleased]" ] || fail "does not begin with what is not released yet"
releases=$(echo "$headings" | sed 1d)
wrong=$(echo "$releases" | grep -vE '^## \[[0-9]+\.[0-9]+\.[0-9]+\] - [0-9]{4}-[0-9]{2}-[0-9]{2}( \[YANKED\])?$' || true)
[ -z "$wrong" ] || fail "is no heading of a release: $wrong"
newest=$(echo "$releases" | sed -n '1s/^## \[\(.*\)\].*/\1/p')
[ "$newest" = "$version" ] || fail "the newest release is $newest, but this is version $version"
[ "$releases" = "$(echo "$releases" | sort -t. -k1.5,1nr -k2,2nr -k3,3nr)" ] || fail "releases are not in order"
wrong=$(grep '^### ' "$changelog" | grep -vE '^### (Added|Changed|Deprecated|Removed|Fixed|Security)$' || true)
[ -z "$wrong" ] || fail "no kind of change: $wrong"
day=$(echo "$releases" | sed -n '1s/.* - //p')
for line in "version: $version" "date-released: $day"; do
  grep -qx "$line" "$citation" || fail "and $citation, which lacks \"$line\", differ"
done
