#!/bin/sh
# Tests tessera-preview with scripts in place of tessera: what these see, what the preview shows and stores, and that the
# machine stays as it was. Run as root, the script repeats everything as an ordinary user.
#
#   preview.sh BIN_DIRECTORY
set -u
umask 022
work=$(realpath "$(mktemp -d)")
trap 'chmod -R u+rwx "$work" && rm -rf "$work"' EXIT
failures=0
here=$(dirname "$(realpath "$0")")

fail() {
  echo "preview: $*"
  failures=$((failures + 1))
}

# expect STATUS ARGUMENTS...: runs the preview; compares its status, and its output with standard input.
expect() {
  wanted=$1
  shift
  "$bin/tessera-preview" "$@" >"$work/output" 2>&1
  status=$?
  [ "$status" -eq "$wanted" ] || fail "$*: status $status, not $wanted"
  cat >"$work/wanted"
  diff -u "$work/wanted" "$work/output" || fail "$*: wrong output"
}

# says STATUS OUTPUT ARGUMENTS...: the same for an output of few lines.
says() {
  wanted=$1
  output=$2
  shift 2
  printf '%s' "${output:+$output
}" >"$work/said"
  expect "$wanted" "$@" <"$work/said"
}

# stand_in NAME [SCRIPT]: writes a script to run in place of tessera, without SCRIPT from standard input.
stand_in() {
  { echo '#!/bin/sh'; if [ $# -gt 1 ]; then echo "$2"; else cat; fi; } >"$work/$1"
  chmod 755 "$work/$1"
}

# Copy programs and inputs to a place where an ordinary user can read them.
bin=$work/bin
mkdir "$bin"
cp "$1/tessera-preview" "$1/runt" "$bin"
cp -R "$here/preview.sh" "$here/expected" "$work"
expected=$work/expected
chmod 755 "$work"
cd "$work" || exit 1
echo '{"name": "configuration", "auth": {"ldap": {"bind_password": "open sesame"}}}' >config.json
echo '{"kept": "1", "changed": "old \" value", "gone": "x"}' >runtime.json
mkdir -p rootfs/etc/ssl/certs rootfs/sys/class/net/eth0 rootfs/var/run/deep rootfs/run
echo preview-router >rootfs/etc/hostname
echo certificate >rootfs/etc/ssl/certs/ca.crt
echo 00:11:22:33:44:55 >rootfs/sys/class/net/eth0/address
for file in var/run/same var/run/rewritten var/run/deep/gone run/fact; do echo "${file##*/}" >"rootfs/$file"; done
ln -s deep rootfs/var/run/link
mkdir -p quiet rotated/var/run
printf 'base dc=example\nbindpw old\nssl on\n' >rotated/var/run/ldap.conf
printf '%s : PSK %s\n' a 0sYg== b 0sYQ== >rotated/var/run/ipsec.secrets
chmod 644 rotated/var/run/*
chmod 750 rootfs/var/run/deep
mkdir -p whole/proc/1 whole/var
ln -s ../tmp whole/var/run

stand_in look <<'LOOK'
echo "arguments: $*"
id -u
pwd
hostname
cat /etc/config/config.json /etc/ssl/certs/ca.crt /run/fact
echo /etc/config/* /var/run/* /run/uci /tmp/* /sys/class/net/*
cat /sys/class/net/eth0/address
(cd /dev && echo *)
stat -c '%a %n' /var/run/deep /var/run/same /tmp
[ /run -ef /var/run ] && [ -e /etc/passwd ] && [ -e /etc/ssl/openssl.cnf ] && [ -d /proc/$$ ]
LOOK
stand_in write <<'WRITE'
cd /var/run
echo text >dnsmasq.conf
chmod 644 dnsmasq.conf
umask 077
printf 'no line end' >"odd name"
mkdir -p tree/below empty
echo rewritten >rewritten
echo secret >tree/below/file
ln -s /etc/passwd tree/outside
ln -s .. tree/loop
rm deep/gone
runt=$(dirname "$0")/bin/runt
$runt set changed 'new'
$runt set added.10 b
$runt set added.9 a
$runt delete gone
[ -z "${2-}" ] || echo more >>dnsmasq.conf
echo problem >&2
exit 7
WRITE
stand_in trespass <<'TRESPASS'
for place in /usr /.machine/usr "$(dirname "$0")" /proc/sys/kernel; do
  (: >"$place/trespasser") 2>/dev/null && echo "$place"
done
[ -e /dev/log ] && echo log
for file in /etc/trespasser /trespasser /tmp/trespasser; do : >$file; done
exit 0
TRESPASS
stand_in killed 'kill -ABRT $$'
stand_in by_name <<'BY_NAME'
echo "ran $1"
[ "$1" = pam ] && exit 3
[ "$1" != ipsec ]
BY_NAME
stand_in silent 'exit 1'
stand_in look_around 'readlink -f /var/run; [ -e /proc/self/stat ]'
stand_in wait_for_end <<'WAIT'
exec 3>"$(dirname "$0")/pipe"
sleep 60 &
echo ready >&3
exec setsid sleep 60
WAIT
stand_in rotate <<'ROTATE'
printf 'base dc=example\nbindpw new\nssl on\n' >/var/run/ldap.conf
printf '%s : PSK %s\n' a 0sYQ== b 0sYg== >/var/run/ipsec.secrets
chmod 644 /var/run/*
ROTATE
stand_in complain 'echo "complain: /etc/config/config.json:1:2: password: \"open sesame\" is too long" >&2; exit 1'

run_checks() {
  set -- -c config.json -r runtime.json -f rootfs
  cp /proc/self/mountinfo "$work/mounts"

  expect 0 "$@" --tessera look network -p 'a b' <"$expected/look"
  [ "$(hostname)" != preview-router ] || fail "the machine's host name was changed"

  expect 7 "$@" --tessera write dnsmasq <"$expected/write"

  # Files are stored with their modes, links are not followed; then a later run is compared with them.
  says 7 problem "$@" --tessera write -o stored dnsmasq
  (cd stored && find . ! -name . -printf '%M %p %l\n' | LC_ALL=C sort -k2) >"$work/listing"
  diff -u - "$work/listing" <"$expected/listing" || fail "the stored files differ"
  says 7 "problem
6 files unchanged" "$@" --tessera write -d stored dnsmasq
  mkdir empty
  : >stored/var/run/blank
  chmod 600 stored/var/run/dnsmasq.conf
  rm stored/var/run/tree/loop
  expect 7 -c '' -f rootfs --tessera write -o empty/ -d stored/ dnsmasq more <"$expected/differences"
  [ "$(cat empty/var/run/dnsmasq.conf)" = "text
more" ] || fail "nothing stored in an empty directory"

  expect 0 -c '' --tessera trespass pam <"$expected/trespass"
  [ -z "$(ls /etc/trespasser /tmp/trespasser /trespasser 2>/dev/null)" ] || fail "the machine's files were written"

  expect 3 -c '' --tessera by_name all <<'OUTPUT'
ran pam
tessera-preview: pam ended with status 3
ran dnsmasq
ran ipsec
tessera-preview: ipsec ended with status 1
ran network
OUTPUT
  # A finding that all services report does not explain why ipsec failed.
  stand_in warned 'echo "x: unknown key" >&2; [ "$1" != ipsec ]'
  says 0 'x: unknown key' -c '' --tessera warned all
  expect 1 -c '' --tessera by_name network,ipsec <<'OUTPUT'
ran network
ran ipsec
tessera-preview: ipsec ended with status 1
OUTPUT
  expect 1 -c '' --tessera silent --summary -d rootfs/etc ipsec <<'OUTPUT'
tessera-preview: rootfs/etc: holds no var/run: was it stored with -o?
tessera-preview: ipsec ended with status 1: no tunnel was written
removed /hostname -1
removed /ssl/certs/ca.crt -1
2 files removed
OUTPUT
  says 0 /var/run -c '' -f whole --tessera look_around pam
  says 134 '' -c '' --tessera killed pam

  # Differences as a summary, in colour and as a status.
  says 0 "/var/run
no files" -c '' --tessera look_around --exit-code -d quiet pam
  expect 4 -c '' --tessera trespass --exit-code --summary -d quiet pam <"$expected/summary"
  expect 0 -c '' -f rootfs --tessera rotate --color=always -d rotated pam <"$expected/colour"
  says 1 'complain: config.json:1:2: password: "<secret>" is too long' -c config.json --tessera complain pam

  # A preview that fails leaves nothing behind.
  echo '{"a": 1}' >bad.json
  mkfifo rootfs/pipe
  plain='only files, directories and symbolic links can be laid over the root directory'
  usage='Usage: tessera-preview [-c CONFIG] [-r RUNTIME] [-f ROOTFS_DIR] [-o OUTDIR] [-d OLDDIR] [OPTIONS] NAME [ARGS]'
  while IFS='|' read -r arguments message; do
    # shellcheck disable=SC2086 # a list of words
    case $message in
      *:*) says 3 "$message" -c config.json $arguments pam ;;
      *) says 2 "tessera-preview: $message
$usage" $arguments ;;
    esac
  done <<ROWS
-c absent.json|tessera-preview: absent.json: No such file or directory
-c /dev/zero|tessera-preview: /dev/zero: File too large
--tessera absent|tessera-preview: absent: No such file or directory
--tessera config.json|tessera-preview: cannot start $work/config.json: Permission denied
-f config.json|tessera-preview: config.json: Not a directory
--tessera look -o stored|tessera-preview: stored: is not empty
--tessera look -o absent/below|tessera-preview: absent/below: No such file or directory
--tessera look -o never -r bad.json|runt: bad.json:1:7: a: expected a string
--tessera look -o never -f rootfs|tessera-preview: /pipe: $plain
|no service is named
all -p|ARGS are for a single service
pam,,network|a list of services holds only names of services
pam,|a list of services holds only names of services
--exit-code pam|--exit-code needs an OLDDIR to differ from
--color=often pam|--color takes auto, always or never
--nope pam|unrecognized option '--nope'
ROWS
  rm rootfs/pipe
  [ ! -e never ] || fail "a directory was left behind"

  # When the preview is ended by a signal, also by SIGKILL, all its processes end.
  for ending in TERM:143 KILL:137; do
    signal=${ending%:*}
    mkfifo pipe
    "$bin/tessera-preview" -c '' --tessera wait_for_end pam &
    preview=$!
    exec 4<pipe
    read -r _ <&4
    kill "-$signal" "$preview"
    wait "$preview" 2>/dev/null
    status=$?
    [ "$status" -eq "${ending#*:}" ] || fail "$signal gives status $status"
    timeout 5 cat <&4 || fail "something outlives the preview after $signal"
    exec 4<&-
    rm pipe
  done

  diff "$work/mounts" /proc/self/mountinfo || fail "the machine's mounts changed"
  rm -rf stored empty
}

run_checks
if [ "$(id -u)" -eq 0 ] && [ -z "${PREVIEW_TEST_USER-}" ]; then
  PREVIEW_TEST_USER=yes setpriv --reuid=65534 --regid=65534 --clear-groups "$work/preview.sh" "$bin" || fail "as an ordinary user"
fi
[ "$failures" -eq 0 ]
