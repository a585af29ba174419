# shellcheck shell=bash
# The Debian 12 packages that the scripts need. Needs steps.sh.

# The library and the program.
export BUILD_PACKAGES=(g++ cmake ninja-build libtiff-dev fftw-dev libpng-dev libcli11-dev nlohmann-json3-dev zlib1g-dev libbz2-dev)
# What the library calls at run time.
export RUN_PACKAGES=(file)
# What the tests use: among them programs that read what this one writes, and locales with a decimal comma.
export TEST_PACKAGES=(libgtest-dev binutils bzip2 groff-base zsh imagemagick libtiff-tools locales python3-numpy pkg-config
  strace)
# What the benchmarks use, gtest for the tests' naive functions.
export BENCH_PACKAGES=(libbenchmark-dev libgtest-dev python3)

# For builds with sanitizers and fuzzing; llvm-14 names source lines in reports.
export CLANG_PACKAGES=(clang-14 libclang-rt-14-dev llvm-14)

# For XRDIMAGE_PYTHON; and for its tests, of which one runs docs/azimuthal.py.
export PYTHON_PACKAGES=(pybind11-dev python3-dev python3-numpy)
export PYTHON_TEST_PACKAGES=("${PYTHON_PACKAGES[@]}" python3-pytest python3-matplotlib python3-pil mypy binutils)

# For XRDIMAGE_FFT=fftw3.
export FFTW3_PACKAGES=(libfftw3-dev pkg-config)

# For making Debian packages; lintian checks them, and their test makes a clean system.
export PACKAGE_PACKAGES=(dpkg-dev file)
export ROOT_PACKAGES=(debootstrap debian-archive-keyring)

# For the commands in the documents, besides what the scripts among them need.
export DOCUMENT_PACKAGES=(parallel python3 lintian "${PACKAGE_PACKAGES[@]}")

# Those of the packages that are not installed.
missing_packages() {
  local package
  local -A installed=()
  while read -r package; do
    installed[$package]=1
  done < <(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null | sed -n 's/^installed //p')
  for package; do
    [ -n "${installed[$package]-}" ] || printf '%s\n' "$package"
  done
}

# need_packages LOG PACKAGE...: installs those that are missing, as root or with sudo. Does nothing when all are there.
need_packages() {
  local log=$1
  shift
  if ! command -v dpkg-query apt-get >/dev/null; then
    say "this is not Debian 12, whose packages are needed: $*"
    return 1
  fi
  # Scripts that run at the same time wait for each other's lists of packages.
  mkdir -p "$(dirname "$log")"
  local lock
  exec {lock}>"$log.lock"
  flock "$lock"
  install_missing "$log" "$@"
  exec {lock}>&-
}

install_missing() {
  local log=$1
  shift
  local -a missing
  mapfile -t missing < <(missing_packages "$@" | sort -u)
  [ "${#missing[@]}" -gt 0 ] || return 0

  local -a as_root=(env DEBIAN_FRONTEND=noninteractive)
  if [ "$EUID" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      say "as root, install these first: apt-get install ${missing[*]}"
      return 1
    fi
    as_root=(sudo "${as_root[@]}")
  fi
  say "installing Debian packages: ${missing[*]}"
  # A list that cannot be fetched matters only if it has one of the packages: then the installation fails.
  "${as_root[@]}" apt-get update >/dev/null 2>&1 </dev/null || true
  quietly "$log" "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "${missing[@]}"
}
