#!/bin/sh
# Tests that the platform's libraries keep every promise, that tessera-conformance checks every operation of the headers,
# that the page names every operation, and that the program says so when the device does not hold its configuration.
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
    sl_free|runt_entries_free) ;;  # their effect cannot be seen
    *) grep -q " - $operation: " /var/run/lines || fail "$operation is not checked" ;;
  esac
  grep -q "\`$operation\`" "$manual" || fail "$manual does not name $operation"
done

# Replaces operations of shared libraries by wrong ones: the program has to find them.
if ldd "$conformance" | grep -q libtools.so; then
  echo 'int sl_find(void) { return 1; } int config_get_duration(void) { return 90; }' |
    cc -shared -fPIC -x c -o /var/run/broken.so -
  LD_PRELOAD=/var/run/broken.so "$conformance" >/var/run/lines && fail "broken promises were not noticed"
  found=$(sed -n 's/^not ok [0-9]* - \([a-z_]*\): .*/\1/p' /var/run/lines | sort -u | tr '\n' ' ')
  [ "$found" = "config_get_duration sl_find " ] || fail "broken promises of other operations: $found"
  # A null in place of a string does not crash the program, and after a crash in one group the others still run.
  echo 'void *config_key(void) { return 0; } void runt_keys(void) { __builtin_trap(); }' |
    cc -shared -fPIC -x c -o /var/run/broken.so -
  LD_PRELOAD=/var/run/broken.so "$conformance" >/var/run/lines && fail "a crash was not noticed"
  for line in 'not ok .* - config_key: ' 'not ok .* - crashed in runt\.h: ' 'ok .* - config_array_count: '; do
    grep -q "^$line" /var/run/lines || fail "there is no line $line"
  done
fi
