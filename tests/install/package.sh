#!/bin/sh
# Tests the Debian package: its files and dependencies, that its programs work after it is installed, and that it leaves
# nothing when it is removed.
#
#   package.sh BUILD_DIRECTORY
set -eu
if [ "${TESSERA_OWN_MOUNTS-}" != yes ]; then
  TESSERA_OWN_MOUNTS=yes exec unshare -m "$0" "$@"
fi
build=$1
scratch=$(mktemp -d)
trap 'umount -R "$scratch/root" 2>/dev/null; rm -rf "$scratch"' EXIT

fail() {
  echo "package: $*" >&2
  exit 1
}

(cd "$scratch" && cpack --config "$build/CPackConfig.cmake" -B "$scratch") >"$scratch/log" 2>&1 ||
  { cat "$scratch/log" >&2; fail "cpack failed"; }
package=$(find "$scratch" -maxdepth 1 -name 'tessera_*.deb')
[ -n "$package" ] || fail "no package was made"
field() {
  dpkg-deb -f "$package" "$1"
}
for need in libc6 libssl3; do
  field Depends | grep -qw "$need" || fail "does not say that it needs $need: $(field Depends)"
done
dpkg-deb -c "$package" | awk '{print $6}' >"$scratch/list"
for path in sbin/tessera bin/runt bin/tessera-config bin/tessera-preview bin/tessera-apply \
  lib/systemd/system/tessera@ipsec.service lib/tmpfiles.d/tessera.conf \
  share/man/man8/tessera.8 share/man/man5/tessera.json.5 \
  share/doc/tessera/html/tessera.json.5.html share/doc/tessera/changelog.Debian \
  share/doc/tessera/copyright share/doc/tessera/examples/branch-office/config.json; do
  grep -q "^\./usr/$path\(\.gz\)\{0,1\}$" "$scratch/list" || fail "lacks $path"
done
dpkg-deb --fsys-tarfile "$package" | tar -xO ./usr/share/doc/tessera/changelog.Debian.gz | gzip -d >"$scratch/changelog"
[ "$(dpkg-parsechangelog -l "$scratch/changelog" -S Version)" = "$(field Version)" ] || fail "has the changelog of another version"
if grep -vE '^\./(usr/((s?bin|lib|libexec|lib/tmpfiles\.d|share|share/(doc|man|bash-completion))/.*)?)?$' "$scratch/list"; then
  fail "holds files at other places"
fi

# A private system: a view of this machine whose changes are discarded.
root=$scratch/root
mkdir "$root"
mount -t tmpfs none "$root"
mkdir "$root/changes" "$root/work" "$root/all"
mount -t overlay overlay -o "lowerdir=/,upperdir=$root/changes,workdir=$root/work" "$root/all"
cp "$package" "$root/all/tmp/tessera.deb"
inside() {
  chroot "$root/all" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"
}
mount -t proc none "$root/all/proc"
mount -t tmpfs none "$root/all/run"
mount --rbind /dev "$root/all/dev"
inside dpkg -i /tmp/tessera.deb >"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; fail "cannot be installed"; }
example=/usr/share/doc/tessera/examples/branch-office
inside tessera-config check $example/config.json || fail "the installed example is not accepted"
inside tessera-preview -c $example/config.json -r $example/runtime.json dnsmasq | grep -q '^dhcp-range=lan,' ||
  fail "the installed preview shows nothing"
inside tessera-explain -c $example/config.json system.name | grep -q '^/var/run/' ||
  fail "the installed tessera-explain finds nothing"
mkdir -p "$root/all/etc/config"
cp "$root/all$example/config.json" "$root/all/etc/config"
for service in pam network; do
  inside tessera $service || fail "the installed program does not run for $service"
done
[ "$(inside stat -c '%a %n' /run/uci /run/uci/network | tr '\n' ' ')" = "755 /run/uci 600 /run/uci/network " ] ||
  fail "the network file is not there"
[ "$(inside stat -c %a /run/pam.conf)" = 600 ] || fail "the installed program wrote a file with another mode"
inside runt set fact.x 1
[ "$(inside runt get fact.x)" = 1 ] || fail "the installed store does not work"
[ "$(inside find /etc/tessera/reload.d -printf '%m %p\n')" = "755 /etc/tessera/reload.d" ] || fail "there is no directory for hooks"
inside dpkg -P tessera >"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; fail "cannot be removed"; }
left=$(find "$root/changes/usr" ! -type d ! -type c | head)
[ -z "$left" ] || fail "leaves files: $left"
