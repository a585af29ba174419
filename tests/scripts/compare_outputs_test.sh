#!/usr/bin/env bash
# compare_outputs_test.sh COMPARE_OUTPUTS PROGRAM: a program does what it does itself, and whatever another one does
# otherwise is found.
set -euo pipefail
compare=("$1" --samples /nowhere --only 'xrdimage sample out')
program=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT

fail() {
  cat "$work/said"
  echo "$*"
  exit 1
}

# compare_with STATUS NEW [OPTION...]
compare_with() {
  local expected=$1 new=$2 status=0
  shift 2
  "${compare[@]}" "$@" "$program" "$new" >"$work/said" 2>&1 || status=$?
  [ $status -eq "$expected" ] || fail "the exit status is $status, and not $expected"
}

# program_that NAME: the program, with the cases of standard input behind it.
program_that() {
  # shellcheck disable=SC2016 # for the script that is written
  printf '#!/bin/sh\nstatus=0\n"%s" "$@" || status=$?\ncase "$*" in\n%s\nesac\nexit $status\n' "$program" "$(cat)" >"$work/$1"
  chmod +x "$work/$1"
}

compare_with 0 "$program"
grep -q '^1[0-9] commands .* 0 differ, 0 differ as allowed$' "$work/said" || fail "not all is the same"

program_that differs <<'CASES'
  *"--size 63") echo more >&2 ;;
  *"--size 4097") status=7 ;;
  *"--seed x") echo more ;;
  *"--size 65 --seed 0") printf x >>out.mar2300 ;;
  *"--size 512 --seed 9") touch more ;;
  *"--size 64") chmod 600 out.mar2300 ;;
  *"--seed 18446744073709551615") rm out.mar2300 ;;
CASES
compare_with 1 "$work/differs"
grep -q ' 7 differ, 0 differ as allowed$' "$work/said" || fail "not seven commands differ"
found() {
  grep -A 1 -- "$1$" "$work/said" | grep -q -- "$2" || fail "$1: $2 is not found"
}
found "--size 63" "^    standard error: line 2: '' and 'more'$"
found "--size 4097" "^    exit status: line 1: '2' and '7'$"
found "--seed x" "^    standard output: line 1: '' and 'more'$"
found "--size 65 --seed 0" "^    file out.mar2300: line 1: '-rw-r--r-- "
found "--size 512 --seed 9" "^    file more: only NEW has it$"
found "--size 64" "^    file out.mar2300: line 1: '-rw-r--r-- .* and '-rw------- "
found "--seed 18446744073709551615" "^    file out.mar2300: only OLD has it$"

printf '# on purpose\n--size 6[345]\n--size 4097$\n\n' >"$work/allowed"
compare_with 1 "$work/differs" --allow "$work/allowed"
grep -q ' 3 differ, 4 differ as allowed$' "$work/said" || fail "not three commands differ that may not"
echo '--(seed|size)' >"$work/allowed"
compare_with 0 "$work/differs" --allow "$work/allowed"

program_that overwrites <<'CASES'
  *"--size 64") printf x >>data/made.edf ;;
CASES
compare_with 1 "$work/overwrites"
grep -q '^    made.edf: ' "$work/said" || fail "a frame that was overwritten is not found"
compare_with 1 "$program" --only '^nothing$'
