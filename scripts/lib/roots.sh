# shellcheck shell=bash
# Debian 12 systems in folders, for what needs another system than this one. Needs root, steps.sh and packages.sh.

# make_clean_root ARCH FOLDER: a minimal system that nothing was added to, if it is not there.
make_clean_root() {
  [ ! -d "$2" ] || return 0
  need_packages "$(dirname "$2")/packages.log" "${ROOT_PACKAGES[@]}"
  say "making a Debian 12 ($1) root: $2"
  rm -rf "$2.new"
  quietly "$2.log" debootstrap --arch="$1" --variant=minbase bookworm "$2.new" http://deb.debian.org/debian
  mv "$2.new" "$2"
}
