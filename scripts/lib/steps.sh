# shellcheck shell=bash
# Steps of a script: one line to the user each; the details are in a log that is shown only when a step fails.

# Standard output stays free for what the script is asked for.
say() {
  printf '== %s\n' "$*" >&2
}

# quietly LOG COMMAND...: runs the command with its output in the log.
quietly() {
  local log=$1 status=0
  shift
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 </dev/null || status=$?
  [ "$status" -ne 0 ] || return 0
  cat "$log" >&2
  say "failed: $*"
  return "$status"
}

# configure SOURCES PRESET DIRECTORY [OPTION...]: makes or updates a build directory.
configure() {
  local sources=$1 preset=$2 directory=$3
  shift 3
  quietly "$directory.log" cmake -S "$sources" --preset "$preset" -B "$directory" "$@"
}

# build DIRECTORY [OPTION OF NINJA...]
build() {
  local directory=$1
  shift
  quietly "$directory.log" cmake --build "$directory" -- "$@"
}

# take_objects FROM TO: what was compiled in one build directory serves in another that is new, where the command would be
# the same: ninja looks at that.
take_objects() {
  local from=$1 to=$2 part
  [ ! -d "$to" ] && [ -f "$from/.ninja_deps" ] || return 0
  mkdir "$to"
  for part in .ninja_log .ninja_deps CMakeFiles/xrdimage_objects.dir frames program python; do
    if [ -e "$from/$part" ]; then
      (cd "$from" && cp -a --parents "$part" "$to")
    fi
  done
}
