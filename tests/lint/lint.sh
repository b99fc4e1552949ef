#!/bin/sh
# Format and static analysis of the source tree. It runs all checks before it fails.
#
#   lint.sh BUILD_DIRECTORY    holds compile_commands.json
#   lint.sh --format           only formats the sources
set -u
cd "$(dirname "$0")/../.." || exit 1
folders='src reference tools doc'
failed=

formatted() {
  # shellcheck disable=SC2086 # a list of words
  find $folders tests bench \( -name '*.cc' -o -name '*.h' -o -name '*.c' \) -print0
}
if [ "$1" = --format ]; then
  formatted | xargs -0 clang-format -i
  exit
fi
build=$1

# check NAME COMMAND...: runs a check, and prints how long it took.
check() {
  name=$1
  shift
  began=$(date +%s)
  "$@" || { failed="$failed $name"; }
  echo "lint: $name: $(($(date +%s) - began)) s"
}

check_format() {
  formatted | xargs -0 clang-format --dry-run -Werror
}

# The analyzer's shallow mode does all checks, but does not follow calls deeply: it needs a third of the time.
check_files() {
  # shellcheck disable=SC2086 # a list of words
  find $folders -name '*.cc' -print0 |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$build" --extra-arg=-Xclang --extra-arg=-analyzer-config \
      --extra-arg=-Xclang --extra-arg=mode=shallow 2>"$build/clang-tidy.log" ||
    { grep -v ' warnings\? generated' "$build/clang-tidy.log"; return 1; }
}

check_program() {
  # shellcheck disable=SC2086 # a list of words
  cppcheck --quiet -j "$(nproc)" --enable=warning,performance,portability --error-exitcode=1 \
    --suppressions-list=tests/lint/cppcheck.txt --language=c++ --std=c++20 -Isrc -Ireference -Itools $folders
}

# Excluded: "A && B || C", and expressions in single quotes that another program expands. Both are intended.
check_scripts() {
  find tools tests bench cmake -type f \( -name '*.sh' -o -path '*/apply/examples/*' -perm /100 ! -name '*.init' \) -print0 |
    xargs -0 shellcheck -e SC2015,SC2016 cmake/postinst .ci/run
}

check format check_format
check shellcheck check_scripts
check cppcheck check_program
check clang-tidy check_files
[ -z "$failed" ] || { echo "lint: failed:$failed"; exit 1; }
