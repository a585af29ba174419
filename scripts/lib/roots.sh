# shellcheck shell=bash
# Debian 12 systems in folders, for what needs another system than this one. Needs root, steps.sh and packages.sh.
# They come from where this machine has its own packages from: its apt knows the server, the keys and the proxy.

# debian_source: "PLACE SERVER", the entry of apt's sources for Debian 12, as FILE:NUMBER, and its server.
debian_source() {
  # shellcheck disable=SC2016 # apt fills these in
  apt-get indextargets --format '$(SOURCESENTRY) $(SITE)' 'Created-By: Packages' 'Codename: bookworm' 'Label: Debian' \
    'Component: main' | sed -n 1p
}

# keyring_of PLACE: the file of keys that the entry states, if it does. NUMBER counts lines in a list, and paragraphs in
# files of the newer form.
keyring_of() {
  local file=${1%:*} number=${1##*:}
  case $file in
    *.sources) awk -v RS= -v number="$number" 'NR == number' "$file" | sed -nE 's|^signed-by: *(/[^ ]+).*|\1|Ip' ;;
    *) sed -nE "${number}s|^[^#]*\[[^]]*signed-by=(/[^] ]+).*|\1|p" "$file" ;;
  esac
}

# find_source LOG: sets `place` and `server`.
find_source() {
  read -r place server < <(debian_source) || {
    # What a server has is known when its lists have been fetched.
    quietly "$1" apt-get update
    read -r place server < <(debian_source)
  } || {
    say "failed: apt has no source of Debian 12 (bookworm) on this machine"
    return 1
  }
}

# make_clean_root ARCH FOLDER: a minimal system that nothing was added to, if it is not there.
make_clean_root() {
  [ ! -d "$2" ] || return 0
  need_packages "$(dirname "$2")/packages.log" "${ROOT_PACKAGES[@]}"
  local place server keyring http_proxy=${http_proxy-} https_proxy=${https_proxy-}
  find_source "$2.log"
  keyring=$(keyring_of "$place")
  eval "$(apt-config shell http_proxy Acquire::http::Proxy https_proxy Acquire::https::Proxy)"
  http_proxy=${http_proxy#DIRECT} https_proxy=${https_proxy#DIRECT} # apt's word for none
  say "making a Debian 12 ($1) root: $2"
  rm -rf "$2.new"
  quietly "$2.log" env http_proxy="$http_proxy" https_proxy="$https_proxy" debootstrap --arch="$1" --variant=minbase \
    ${keyring:+--keyring="$keyring"} bookworm "$2.new" "$server"
  printf 'Acquire::http::Proxy "%s";\nAcquire::https::Proxy "%s";\n' "$http_proxy" "$https_proxy" \
    >"$2.new/etc/apt/apt.conf.d/80proxy"
  mv "$2.new" "$2"
}
