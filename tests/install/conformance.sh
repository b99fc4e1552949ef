#!/bin/sh
# The platform's libraries keep every promise, every operation of the headers is asked for at least once and named in
# the manual, and the program needs a device that holds its configuration.
#
#   conformance.sh CONFORMANCE CONFIGURATION [MANUAL OPERATION...]
set -eu
if [ "${TESSERA_OWN_MOUNTS-}" != yes ]; then
  TESSERA_OWN_MOUNTS=yes exec unshare -m "$0" "$@"
fi
conformance=$1
configuration=$2
manual=${3-}
shift $(($# > 2 ? 3 : 2))

fail() {
  echo "conformance: $*" >&2
  exit 1
}

mount -t tmpfs none /var/run
mkdir -p /etc/config
mount -t tmpfs none /etc/config
"$conformance" >/var/run/without 2>&1 && fail "passed on a device without the configuration"
grep -q '^not ok .* - config_load: ' /var/run/without || fail "did not say that the configuration is missing"
grep -q 'config.h and network.h did not run$' /var/run/without || fail "did not say what was not checked"
cp "$configuration" /etc/config/config.json
"$conformance" >/var/run/lines 2>/var/run/messages || { grep '^not ok' /var/run/lines >&2; fail "a promise is broken"; }
[ -s /var/run/messages ] && { cat /var/run/messages >&2; fail "messages besides the lines"; }
for operation in "$@"; do
  case $operation in
    sl_free|runt_entries_free) ;;  # give nothing that could be looked at
    *) grep -q " - $operation: " /var/run/lines || fail "nothing is asked of $operation" ;;
  esac
  grep -q "\`$operation\`" "$manual" || fail "$manual does not name $operation"
done

# A program linked with shared libraries finds out one that breaks a promise.
if ldd "$conformance" | grep -q libtools.so; then
  echo 'int sl_find(void) { return 1; } int config_get_duration(void) { return 90; }' |
    cc -shared -fPIC -x c -o /var/run/broken.so -
  LD_PRELOAD=/var/run/broken.so "$conformance" >/var/run/lines && fail "broken promises were not noticed"
  found=$(sed -n 's/^not ok [0-9]* - \([a-z_]*\): .*/\1/p' /var/run/lines | sort -u | tr '\n' ' ')
  [ "$found" = "config_get_duration sl_find " ] || fail "broken promises of other operations: $found"
  # A null where a text is due is no crash, and a crash in one group leaves the others.
  echo 'void *config_key(void) { return 0; } void runt_keys(void) { __builtin_trap(); }' |
    cc -shared -fPIC -x c -o /var/run/broken.so -
  LD_PRELOAD=/var/run/broken.so "$conformance" >/var/run/lines && fail "a crash was not noticed"
  for line in 'not ok .* - config_key: ' 'not ok .* - crashed in runt\.h: ' 'ok .* - config_array_count: '; do
    grep -q "^$line" /var/run/lines || fail "there is no line $line"
  done
fi
