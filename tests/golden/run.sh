#!/bin/sh
# Runs tessera on the router of a case directory and compares all that comes of it with the case's expected/.
#
#   run.sh [--update] [--tessera PROGRAM] [--watch] BIN_DIRECTORY CASE_DIRECTORY
#
# A case holds `args`, a command line of tessera in each line (several run one after the other on the same router), and
# when it needs them `config.json`, `runtime.json` and `rootfs/`. Its expected/ holds, when there is something to hold:
#   var/run/...    the files written
#   directories    mode and name of each directory that was made
#   removed        the names of files that are gone
#   runtime.json   the runtime store, when the run changed it
#   stdout, stderr what tessera printed
#   status         the exit status, when it is not 0
# --update writes expected/ instead, for review. PROGRAM takes the place of BIN_DIRECTORY/tessera. --watch looks for leaks
# and for uses of memory without a value.
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
  cp "$bin/tessera" "$work/watch" # a preview reaches what is beside the program that it is given
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
# The preview names the file that it was given: its directory differs from clone to clone. Its own messages are not the
# program's.
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

# The store as it was, from a run that does nothing.
if [ -e "$actual/runtime.json" ]; then
  if [ -e "$case/runtime.json" ]; then preview "$work/before" nothing; else mkdir "$work/before"; fi
  [ -e "$work/before/runtime.json" ] || echo '{}' >"$work/before/runtime.json"
  ! cmp -s "$work/before/runtime.json" "$actual/runtime.json" || rm "$actual/runtime.json"
fi

# What the readers of these two files may read is everybody's business; everything else may hold a secret.
wrong=$(cd "$actual" && find . -path './var/*' -type f ! -perm 0600 \
  ! \( -perm 0644 \( -path ./var/run/dnsmasq.conf -o -path ./var/run/hostnamesniffer.cfg \) \) -printf '%m %p\n')
[ -z "$wrong" ] || { echo "Files with a wrong mode:"; echo "$wrong"; exit 1; }

# Directories are compared by their list: the repository cannot keep empty ones.
find "$actual" -mindepth 1 -type d -empty -delete
if [ -n "$update" ]; then
  rm -rf "$case/expected"
  [ -z "$(ls "$actual")" ] || cp -R "$actual" "$case/expected"
  exit 0
fi
expected=$case/expected
[ -e "$expected" ] || { expected=$work/nothing && mkdir "$expected"; }
diff -ruN --no-dereference "$expected" "$actual"
