# shellcheck shell=bash
# This very system, to be changed without changing it. Needs root, and a kernel with overlay file systems.

# in_throwaway FOLDER COMMAND...: runs the command, in namespaces of its own, as if in this system. What it changes, in
# the system or below the folder, which may be on another disk, is kept in memory and thrown away.
in_throwaway() {
  unshare --mount --pid --fork --kill-child bash -euo pipefail -c '
    folder=$1 top=/mnt
    shift
    mount -t tmpfs throwaway "$top"
    mkdir -p "$top"/{system,folder}.{changes,work} "$top/root"
    over() { mount -t overlay "$1" -o "lowerdir=$2,upperdir=$top/$1.changes,workdir=$top/$1.work" "$3"; }
    over system / "$top/root"
    mkdir -p "$top/root$folder"
    over folder "$folder" "$top/root$folder"
    mount -t proc proc "$top/root/proc"
    mount --rbind /dev "$top/root/dev"
    mount -t tmpfs tmp "$top/root/tmp"
    exec chroot "$top/root" "$@"' in_throwaway "$@"
}
