#!/bin/bash
# package_test.sh VERSION: installs the Debian packages that lie beside it, on a system that has nothing yet, uses them and
# removes them. README.md lies there, too, and real frames may. scripts/package --test runs it.
set -euo pipefail
set -x
version=$1
cd "$(dirname "$0")"
packages=(*_*.deb)
names=("${packages[@]%%_*}")

fail() {
  echo "$*"
  exit 1
}

apt() {
  apt-get -o Dpkg::Options::=--force-unsafe-io -o Dpkg::Use-Pty=0 -y --no-install-recommends "$@" >log 2>&1 || {
    cat log
    fail "failed: apt-get $*"
  }
}

# The library and, where there is a package, the program, without anything for development.
mapfile -t used < <(printf './%s\n' "${packages[@]}" | grep -v -- -dev_)
apt install "${used[@]}"
ldconfig -p | grep 'libxrdimage\.so\.1 ' || fail "the library is not in the linker's cache"

frames=(*.mar2300)
if [ -x /usr/bin/xrdimage ]; then
  [ "$(xrdimage --version)" = "xrdimage $version" ]
  xrdimage sample generated.mar2300
  frames=(*.mar2300)
  for frame in "${frames[@]}"; do
    xrdimage info "$frame" | grep -x 'size:  *2300 x 2300 pixels'
  done
  # Debian's form of the notices, and what it adds.
  sed -n '/^Comment:$/,/^Files:/ { s/^ \.$//; s/^ //; p }' /usr/share/doc/xrdimage/copyright | sed '1d; s/^\.$//' >notices
  xrdimage licenses | sed '1,/^-----/d' | sed 1d >printed
  head -n "$(wc -l <printed)" notices | cmp - printed
  # The picture is made by the program's own zimg.
  mkdir viewers
  printf '#!/bin/sh\ncp "$@" %s/shown.png\n' "$PWD" >viewers/xv
  chmod +x viewers/xv
  PATH=$PWD/viewers:$PATH xrdimage view --classic generated.mar2300
  [ -s shown.png ]
fi

# c_block NUMBER: one of the README's programs in C.
c_block() {
  awk -v number="$1" '/^```$/ { inside = 0 } inside { print } /^```c$/ { inside = ++count == number }' README.md
}

# The README's program for the flat library: linked with the shared library, found in the usual places, and with the static
# one, found by pkg-config.
apt install ./libxrdimage-dev_*.deb ./libxrdframe-dev_*.deb gcc libc6-dev pkg-config
[ "$(pkg-config --modversion xrdimage)" = "$version" ]
c_block 2 >example.c
cc example.c -lxrdimage -o shared
ldd shared | grep libxrdimage.so.1
# shellcheck disable=SC2046 # words are what pkg-config gives
cc example.c $(pkg-config --static --cflags --libs xrdimage | sed 's/-lxrdimage/-l:libxrdimage.a/') -o static
if ldd static | grep libxrdimage; then fail "the static library was not linked"; fi
for caller in shared static; do
  for frame in "${frames[@]}"; do
    [ ! -e "$frame" ] || ./$caller "$frame" | grep -E '^2300 x 2300 pixels from [0-9]+ to [0-9]+$'
  done
  if ./$caller README.md; then fail "$caller takes README.md for a frame"; fi
done
cc -Wall -Wextra -Werror /usr/share/doc/libxrdimage-dev/examples/process.c -lxrdimage -o process
{
  printf '{\nDim_1 = 4 ;\nDim_2 = 4 ;\nDataType = UnsignedInteger ;\n}\n'
  printf '\1\0\0\0%.0s' {1..16}
} >frame.edf
# Its last step needs zimg and xv, which are in the program's package.
PATH=$PATH:/usr/libexec/xrdimage ./process frame.edf binned.edf || [ ! -x /usr/bin/xrdimage ]
[ "$(tail -c 16 binned.edf | od -An -tu4 | tr -s ' ')" = " 4 4 4 4" ]

# The other library, which needs nothing of the first.
ldconfig -p | grep 'libxrdframe\.so\.1 ' || fail "the frame library is not in the linker's cache"
[ "$(pkg-config --modversion xrdframe)" = "$version" ]
c_block 1 >frame_example.c
cc -Wall -Wextra -Werror frame_example.c -lxrdframe -o shared
ldd shared | grep libxrdframe.so.1
if ldd shared | grep -E 'fftw|xrdimage'; then fail "the frame library is linked with what it does not need"; fi
# shellcheck disable=SC2046 # words are what pkg-config gives
cc frame_example.c $(pkg-config --static --cflags --libs xrdframe | sed 's/-lxrdframe/-l:libxrdframe.a/') -o static
for caller in shared static; do
  ./$caller frame.edf $caller.png
  if ./$caller missing.edf missing.png 2>messages; then fail "$caller makes a picture of a frame that is missing"; fi
  grep 'No such file' messages
done
cmp shared.png static.png
cc -Wall -Wextra -Werror /usr/share/doc/libxrdframe-dev/examples/picture.c -lxrdframe -o picture
./picture frame.edf example.png | grep 'counts from 1 to 1, mean 1.00'
cmp shared.png example.png

# What is installed is what was packaged, and all of it goes.
[ -z "$(dpkg --verify "${names[@]}")" ] || fail "installed files are not as they were packaged"
dpkg -L "${names[@]}" | sort -u >installed
apt purge "${names[@]}"
while read -r path; do # folders that other packages have, too, stay
  if [ "$path" != /. ] && [ -e "$path" ] && ! dpkg -S "$path"; then fail "$path is left"; fi
done <installed
left=$(find / -xdev \( -path /test -o -path /proc -o -path /var/log -o -path /var/cache/apt \) -prune -o \( -name '*xrdimage*' -o -name '*xrdframe*' \) -print)
[ -z "$left" ] || fail "these are left: $left"
if ldconfig -p | grep -E 'xrdimage|xrdframe'; then fail "the linker's cache still has the library"; fi
