#!/bin/sh
# Runs tessera on the router of a case directory, and compares the outcome with the case's expected/.
#
#   run.sh [--update] [--tessera PROGRAM] [--watch] BIN_DIRECTORY CASE_DIRECTORY
#
# A case holds `args`, with a command line of tessera in each line (several run one after the other on the same router),
# and, when it needs them, `config.json`, `runtime.json` and `rootfs/`. Its expected/ holds, unless they are empty:
#   var/run/...    the files written
#   directories    mode and name of each new directory
#   removed        the names of removed files
#   runtime.json   the runtime store, when the run changed it
#   stdout, stderr what tessera printed
#   status         the exit status, when it is not 0
# --update writes expected/ instead, for review. PROGRAM is run in place of BIN_DIRECTORY/tessera. --watch runs it with
# valgrind, which reports leaks and uses of uninitialized memory.
set -eu
umask 022

update=
program=
watch=
while [ $# -gt 2 ]; do
  case $1 in
    --update) update=yes ;;
    --tessera) shift; program=$1 ;;
    --watch) watch=yes ;;
    *) echo "run.sh: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done
[ $# -eq 2 ] || { echo "usage: run.sh [--update] [--tessera PROGRAM] [--watch] BIN_DIRECTORY CASE_DIRECTORY" >&2; exit 2; }
bin=$1
case=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM HUP
actual=$work/actual
if [ -n "$watch" ]; then
  mkdir "$work/watch"
  cp "$bin/tessera" "$work/watch" # a preview shows the directory of the program that it runs
  program=$work/watch/watch
  cat >"$program" <<'WATCH'
#!/bin/sh
exec valgrind -q --vgdb=no --leak-check=full --error-exitcode=99 "$(dirname "$0")/tessera" "$@"
WATCH
  chmod 700 "$program"
fi

preview() {
  set -- -o "$@"
  [ ! -e "$case/runtime.json" ] || set -- -r "$case/runtime.json" "$@"
  [ ! -e "$case/rootfs" ] || set -- -f "$case/rootfs" "$@"
  [ -z "$program" ] || set -- --tessera "$program" "$@"
  if [ -e "$case/config.json" ]; then set -- -c "$case/config.json" "$@"; else set -- -c '' "$@"; fi
  "$bin/tessera-preview" "$@"
}

status=0
if [ "$(wc -l <"$case/args")" -eq 1 ]; then
  # shellcheck disable=SC2046 # a command line of words
  preview "$actual" $(cat "$case/args") >"$work/stdout" 2>"$work/stderr" || status=$?
else
  preview "$actual" "$(paste -sd, "$case/args")" >"$work/stdout" 2>"$work/stderr" || status=$?
fi
[ -d "$actual" ] || { cat "$work/stderr" >&2; exit 1; }
# Messages name the file that the preview got, whose directory differs in each clone: replace it. Remove the preview's own
# messages.
awk -v given="$case/config.json" -v inside=/etc/config/config.json '
  /^tessera-preview: / { next }
  (at = index($0, given)) { $0 = substr($0, 1, at - 1) inside substr($0, at + length(given)) } 1
' "$work/stderr" >"$work/messages"
mv "$work/messages" "$work/stderr"

for stream in stdout stderr; do
  [ ! -s "$work/$stream" ] || cp "$work/$stream" "$actual"
done
[ "$status" -eq 0 ] || echo "$status" >"$actual/status"
(cd "$actual" && find var -mindepth 2 -type d -printf '%m %p\n' 2>/dev/null | LC_ALL=C sort -k2) >"$work/directories" || :
[ ! -s "$work/directories" ] || cp "$work/directories" "$actual"

# Remove the store when it is the same as after a run that does nothing.
if [ -e "$actual/runtime.json" ]; then
  if [ -e "$case/runtime.json" ]; then preview "$work/before" nothing; else mkdir "$work/before"; fi
  [ -e "$work/before/runtime.json" ] || echo '{}' >"$work/before/runtime.json"
  ! cmp -s "$work/before/runtime.json" "$actual/runtime.json" || rm "$actual/runtime.json"
fi

# Only these two files may be readable for everybody; all others may hold a secret.
wrong=$(cd "$actual" && find . -path './var/*' -type f ! -perm 0600 \
  ! \( -perm 0644 \( -path ./var/run/dnsmasq.conf -o -path ./var/run/hostnamesniffer.cfg \) \) -printf '%m %p\n')
[ -z "$wrong" ] || { echo "Files with a wrong mode:"; echo "$wrong"; exit 1; }

# Directories are compared by their list, because the repository cannot hold empty ones.
find "$actual" -mindepth 1 -type d -empty -delete
if [ -n "$update" ]; then
  rm -rf "$case/expected"
  [ -z "$(ls "$actual")" ] || cp -R "$actual" "$case/expected"
  exit 0
fi
expected=$case/expected
[ -e "$expected" ] || { expected=$work/nothing && mkdir "$expected"; }
diff -ruN --no-dereference "$expected" "$actual"
