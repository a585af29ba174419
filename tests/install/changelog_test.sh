#!/bin/sh
# changelog_test.sh CHANGELOG VERSION: the changelog has the form of Keep a Changelog, and its newest release is VERSION.
set -eu

changelog=$1
version=$2

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
