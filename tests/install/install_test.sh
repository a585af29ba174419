#!/usr/bin/env bash
# install_test.sh SOURCES BUILD VERSION LIBDIR CC CXX [program] [frame] [python]: installs the build to a folder of its own and
# builds programs against it, by pkg-config and by CMake, with the shared and the static library; then once more where the folder
# was moved to. Folders have blanks in their names.
set -euo pipefail

sources=$1
build=$2
version=$3
libdir=$4
export CC=$5 CXX=$6
shift 6
with_program=
with_frame=
with_python=
for part; do declare "with_$part=yes"; done

work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
cd "$work"
unset LD_LIBRARY_PATH DISPLAY WAYLAND_DISPLAY

fail() {
  echo "$*"
  exit 1
}

# quietly COMMAND...: its output is shown when it fails.
quietly() {
  "$@" >log 2>&1 || {
    cat log
    fail "failed: $*"
  }
}

# Exactly the files that are expected, where the GNU conventions have them.
check_layout() {
  {
    cat <<EOF
include/xrdimage.h
$libdir/cmake/xrdimage/xrdimageConfig.cmake
$libdir/cmake/xrdimage/xrdimageConfigVersion.cmake
$libdir/cmake/xrdimage/xrdimageStaticTargets-release.cmake
$libdir/cmake/xrdimage/xrdimageStaticTargets.cmake
$libdir/cmake/xrdimage/xrdimageTargets-release.cmake
$libdir/cmake/xrdimage/xrdimageTargets.cmake
$libdir/libxrdimage.a
$libdir/libxrdimage.so
$libdir/libxrdimage.so.${version%%.*}
$libdir/libxrdimage.so.$version
$libdir/pkgconfig/xrdimage.pc
share/doc/xrdimage/CHANGELOG.md
share/doc/xrdimage/LICENSE
share/doc/xrdimage/README.md
share/doc/xrdimage/examples/CMakeLists.txt
share/doc/xrdimage/examples/process.c
EOF
    [ -z "$with_frame" ] || cat <<EOF
include/xrdframe.h
include/xrdframe.hpp
$libdir/cmake/xrdframe/xrdframeConfig.cmake
$libdir/cmake/xrdframe/xrdframeConfigVersion.cmake
$libdir/cmake/xrdframe/xrdframeStaticTargets-release.cmake
$libdir/cmake/xrdframe/xrdframeStaticTargets.cmake
$libdir/cmake/xrdframe/xrdframeTargets-release.cmake
$libdir/cmake/xrdframe/xrdframeTargets.cmake
$libdir/libxrdframe.a
$libdir/libxrdframe.so
$libdir/libxrdframe.so.${version%%.*}
$libdir/libxrdframe.so.$version
$libdir/pkgconfig/xrdframe.pc
share/doc/xrdimage/examples/xrdframe/CMakeLists.txt
share/doc/xrdimage/examples/xrdframe/picture.c
share/doc/xrdimage/examples/xrdframe/picture.cpp
EOF
    [ -z "$with_program" ] || cat <<EOF
bin/xrdimage
libexec/xrdimage/xv
libexec/xrdimage/zimg
share/bash-completion/completions/xrdimage
share/man/man1/xrdimage.1
share/zsh/site-functions/_xrdimage
EOF
    [ -z "$with_python" ] || printf 'lib/python3/dist-packages/xrdimage/%s\n' \
      LICENSE __init__.py _checks.py _core.pyi "$(basename "$build"/python/xrdimage/_core.*.so)" classic.py py.typed
  } | LC_ALL=C sort >expected
  (cd "$1" && find . ! -type d ! -name FindFFTW2.cmake) | sed 's|^\./||' | LC_ALL=C sort >installed
  diff expected installed || fail "other files are installed (>) than expected (<)"
  if readelf -d "$1/$libdir/libxrdimage.so" "$1"/bin/* 2>/dev/null | grep -E 'R(UN)?PATH'; then
    fail "something installed has a path of its own to look for libraries"
  fi
}

# The library that callers are linked with, and what they are called with.
library=xrdimage
arguments=()

# flags OPTION...: an array of what pkg-config says. Its quoting is that of the shell.
flags() {
  eval "flags=($(pkg-config "$@" $library))"
}

# check_caller shared|static CALLER PREFIX: it runs, and with the library that it was to be linked with.
check_caller() {
  local uses
  uses=$(LD_LIBRARY_PATH="$3/$libdir" ldd "$2" | grep lib$library || true)
  case $1 in
    shared) [[ $uses == *"$3/$libdir/lib$library.so.${version%%.*} "* ]] || fail "$2 does not use $3: $uses" ;;
    static) [ -z "$uses" ] || fail "$2 is linked with a shared library: $uses" ;;
  esac
  LD_LIBRARY_PATH="$3/$libdir" quietly "$2" "${arguments[@]}"
}

# by_pkg_config PREFIX SOURCE COMPILER...: a caller, by the compiler with its options.
by_pkg_config() {
  local prefix=$1 source=$2 flags
  shift 2
  export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
  [ "$(pkg-config --modversion $library)" = "$version" ] || fail "$library.pc has another version than $version"
  flags --cflags
  quietly "$@" -I"$sources" -c "$source" "${flags[@]}" -o caller.o
  flags --libs
  quietly "$1" caller.o "${flags[@]}" -o shared
  check_caller shared ./shared "$prefix"
  # Where both libraries are, -l takes the shared one.
  flags --static --libs
  quietly "$1" caller.o "${flags[@]/#-l$library/-l:lib$library.a}" -o static
  check_caller static ./static "$prefix"
}

# by_cmake PREFIX LANGUAGE CALLER...
by_cmake() {
  local prefix=$1 language=$2 caller
  shift 2
  rm -rf by_cmake
  quietly cmake -G Ninja -S "$sources/tests/install/callers" -B by_cmake -DLANGUAGE="$language" -DVERSION="$version" -DLIBRARY=$library \
    -DCMAKE_PREFIX_PATH="$prefix"
  quietly cmake --build by_cmake
  for caller; do
    check_caller shared "by_cmake/${caller}_shared" "$prefix"
    check_caller static "by_cmake/${caller}_static" "$prefix"
  done
}

# The example is built as its own files say, and takes a 4 x 4 frame to one of 2 x 2.
check_example() {
  local prefix=$1 examples=$1/share/doc/xrdimage/examples flags status=0
  export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
  [ "$(wc -l <"$examples/process.c")" -lt 60 ] || fail "the example has grown"
  flags --cflags --libs
  mkdir example
  quietly "$CC" -Wall -Wextra -Werror "$examples/process.c" "${flags[@]}" -o example/process
  quietly cmake -G Ninja -S "$examples" -B by_cmake_too -DCMAKE_PREFIX_PATH="$prefix"
  quietly cmake --build by_cmake_too

  # What view() runs: the program's own stand-ins, or ones that note what they are asked for.
  if [ -n "$with_program" ]; then
    local companions=$prefix/libexec/xrdimage
  else
    local companions=$PWD/companions
    mkdir companions
    printf '#!/bin/sh\necho zimg "$@"; echo picture >process.png\n' >companions/zimg
    printf '#!/bin/sh\necho xv: "$@"\n' >companions/xv
    chmod +x companions/*
  fi
  {
    printf '{\nDim_1 = 4 ;\nDim_2 = 4 ;\nDataType = UnsignedInteger ;\n}\n'
    printf '\1\0\0\0%.0s' {1..15}
    printf '\0\1\0\0'
  } >example/frame.edf
  (
    cd example
    export PATH=$PATH:$companions LD_LIBRARY_PATH=$prefix/$libdir
    ./process frame.edf binned.edf >said 2>&1 || status=$?
    if [ $status -ne 0 ] || ! grep -q '^xv: .*process.png' said || [ ! -s process.png ]; then
      cat said
      fail "the example ends with status $status, and nothing was shown"
    fi
    tail -c 16 binned.edf | od -An -tu4 | tr -s ' ' >counts
    [ "$(cat counts)" = " 4 4 4 259" ] || fail "the example binned to$(cat counts) instead of 4 4 4 259"
    ../by_cmake_too/process frame.edf again.edf >said 2>&1 || fail "the example, built by CMake, fails"
    cmp binned.edf again.edf

    ! ./process missing.edf out.edf >said 2>&1 || fail "the example does not see that the frame is missing"
    ! ./process frame.edf missing/out.edf >said 2>&1 || fail "the example does not see that nothing was written"
    ! PATH=/usr/bin:/bin ./process frame.edf out.edf >said 2>&1 || fail "the example does not see that nothing was shown"
  )
}

# The frame library: the caller of its tests in the C of 1989 and as C++, and the examples, which make one picture.
check_frame_library() {
  local prefix=$1 caller=$sources/tests/install/callers/frame_caller.c picture
  local examples=$prefix/share/doc/xrdimage/examples/xrdframe
  printf '{\nDim_1 = 4 ;\nDim_2 = 2 ;\nDataType = UnsignedInteger ;\n}\n' >frame.edf
  printf '\1\0\0\0%.0s' {1..7} >>frame.edf
  printf '\0\1\0\0' >>frame.edf
  library=xrdframe arguments=(frame.edf)
  by_pkg_config "$prefix" "$caller" "$CC" -std=c89 -pedantic-errors -Wall -Wextra -Werror
  by_pkg_config "$prefix" "$caller" "$CXX" -x c++ -std=c++20 -pedantic-errors -Wall -Wextra -Werror
  by_cmake "$prefix" C frame_caller
  ./static frame.edf | grep -qx 'maximum_counts 256' || fail "the static library tells other counts"
  if ldd static by_cmake/frame_caller_shared | grep fftw; then fail "the frame library is linked with FFTW"; fi

  for picture in "$examples"/picture.{c,cpp}; do
    [ "$(wc -l <"$picture")" -lt 40 ] || fail "$picture has grown"
  done
  rm -rf by_cmake_too
  quietly cmake -G Ninja -S "$examples" -B by_cmake_too -DCMAKE_PREFIX_PATH="$prefix"
  quietly cmake --build by_cmake_too
  for picture in by_cmake_too/picture_{c,cpp}; do
    LD_LIBRARY_PATH=$prefix/$libdir "$picture" frame.edf "$picture.png" >said || fail "$picture fails"
    grep -q 'Dim_1 = 4' said || fail "$picture does not print the header"
    grep -q '^counts from 1 to 256, mean 32.8' said || fail "$picture tells: $(cat said)"
    ! LD_LIBRARY_PATH=$prefix/$libdir "$picture" missing.edf "$picture.png" >said 2>&1 || fail "$picture finds no failure"
    grep -q 'No such file' said || fail "$picture does not say what is wrong"
  done
  cmp by_cmake_too/picture_{c,cpp}.png
  library=xrdimage arguments=()
  rm -r by_cmake_too frame.edf
}

# The program finds zimg beside itself.
check_program() {
  "$1/bin/xrdimage" --version | grep -qxF "xrdimage $version" || fail "xrdimage --version tells another version"
  quietly "$1/bin/xrdimage" sample sample.mar2300 --size 1200
  mkdir viewer
  printf '#!/bin/sh\ncp "$@" %s/shown.png\n' "$PWD" >viewer/xv
  chmod +x viewer/xv
  PATH=$PWD/viewer:$PATH quietly "$1/bin/xrdimage" view --classic sample.mar2300
  [ -s shown.png ] || fail "the program did not find its zimg"
  "$1/bin/xrdimage" view --classic sample.mar2300 >log 2>&1 && fail "a picture is shown without a display"
  grep -qx 'xv: there is no viewer .*' log || fail "the program did not find its xv"
  rm -r sample.mar2300 shown.png viewer
}

# The Python package needs nothing but itself and NumPy.
check_python() {
  [ "$(PYTHONPATH="$1/lib/python3/dist-packages" PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c \
    'import xrdimage; print(xrdimage.__version__, xrdimage.__file__)')" = \
    "$version $1/lib/python3/dist-packages/xrdimage/__init__.py" ] || fail "Python does not find the package in $1"
}

prefix="$work/a prefix"
quietly cmake --install "$build" --prefix "$prefix"
check_layout "$prefix"
by_pkg_config "$prefix" "$sources/tests/header/c_caller.c" "$CC" -std=c11
by_pkg_config "$prefix" "$sources/tests/header/cpp_caller.cpp" "$CXX" -std=c++20
by_pkg_config "$prefix" "$sources/tests/install/callers/c89_caller.c" "$CC" -std=c89 -pedantic-errors -Wall -Wextra -Werror
by_cmake "$prefix" C c_caller c89_caller
by_cmake "$prefix" CXX cpp_caller
[ -z "$with_frame" ] || check_frame_library "$prefix"
[ -z "$with_program" ] || check_program "$prefix"

mkdir moved
mv "$prefix" "moved/another prefix"
prefix="$work/moved/another prefix"
by_pkg_config "$prefix" "$sources/tests/header/c_caller.c" "$CC" -std=c11
by_cmake "$prefix" C c_caller c89_caller
[ -z "$with_frame" ] || check_frame_library "$prefix"
check_example "$prefix"
[ -z "$with_python" ] || check_python "$prefix"
[ -z "$with_program" ] || check_program "$prefix"
if grep -rlF "$work/a prefix" "$prefix"; then
  fail "these files name the prefix to which they were installed first"
fi
