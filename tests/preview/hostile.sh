#!/bin/sh
# Previews a hostile configuration and hostile files: neither the services nor the checkers may reach the machine. Run as
# root, the script repeats everything as an ordinary user, and in a root directory that is not a mount point.
#
#   hostile.sh BIN_DIRECTORY
set -u
umask 022
failures=0
fail() {
  echo "hostile: $*"
  failures=$((failures + 1))
}

if [ "${HOSTILE_WORK-}" ]; then
  work=$HOSTILE_WORK
else
  work=$(realpath "$(mktemp -d)")
  trap 'rm -rf "$work"' EXIT
  chmod 777 "$work"
  cp "$0" "$1/tessera" "$1/tessera-preview" "$1/runt" "$work"
fi
cd "$work" || exit 1
PATH=$PATH:/usr/sbin:/sbin

# A library that prints a word when it is loaded, and a checker in place of dnsmasq that prints what it can reach.
[ -e evil.c ] || cat >evil.c <<'C'
#include <unistd.h>
__attribute__((constructor)) static void load(void) { (void)!write(2, "EVIL\n", 5); }
C
[ -e probe.c ] || cat >probe.c <<'C'
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

static void found(const char *what) { printf("dnsmasq: %s at line 1 of probe\n", what); }

static void list(const char *path, const char *expected) {
  DIR *directory = opendir(path);
  for (struct dirent *entry; directory != NULL && (entry = readdir(directory)) != NULL;) {
    char name[300];
    snprintf(name, sizeof name, " %s ", entry->d_name);
    if (entry->d_name[0] != '.' && strstr(expected, name) == NULL) found(name);
  }
}

int main(void) {
  static const char *const closed[] = {"/proc/1/root", "/proc/1/cwd", "/proc/1/fd/3", "/etc/shadow", "/bin/sh",
                                       "/proc/sys/kernel/core_pattern", "/sys/kernel"};
  char line[200];
  FILE *status = fopen("/proc/self/status", "r");
  while (status != NULL && fgets(line, sizeof line, status) != NULL) {
    if (strncmp(line, "Cap", 3) == 0 && strstr(line, "0000000000000000") == NULL) found("a capability");
    if (strcmp(line, "NoNewPrivs:\t0\n") == 0) found("new privileges");
  }
  for (size_t i = 0; i < sizeof closed / sizeof *closed; i++) {
    if (open(closed[i], i == 5 ? O_WRONLY : O_RDONLY) >= 0) found(closed[i]);
  }
  list("/dev", " fd full null random stderr stdin stdout tty urandom zero ");
  list("/var/run", " dnsmasq.conf uci ");
  list("/", " dev etc lib lib32 lib64 libx32 proc run sys tmp usr var ");
  struct ifaddrs *interfaces = NULL;
  getifaddrs(&interfaces);
  for (; interfaces != NULL; interfaces = interfaces->ifa_next) {
    if (strcmp(interfaces->ifa_name, "lo") != 0) found("a network");
  }
  if (mknod("/tmp/node", S_IFBLK | 0600, 0x700) == 0) found("a device");
  if (mount(NULL, "/", NULL, MS_REMOUNT | MS_BIND, NULL) == 0) found("a mount");
  if (unshare(CLONE_NEWUSER) == 0) found("a user namespace");
  for (char **variable = environ; *variable != NULL; variable++) {
    if (strncmp(*variable, "PATH=", 5) != 0) found(*variable);
  }
  return 0;
}
C
if [ ! -e dnsmasq ]; then
  cc -shared -fPIC -o evil.so evil.c || exit 1
  cc -static -o dnsmasq probe.c || exit 1
fi

# An uploaded file with options that write, load and read files, in all spellings that OpenVPN accepts.
cat >config.json <<JSON
{"vpn": {"openvpn": {"client": {"c": {"enable": true, "use_file": true, "config_file":
"client\ndev tun\nremote a.example\nlog $work/victim\n--log-append $work/fifo\n\"status\" '$work/victim'\nwr\\\\itepid $work/victim\nproviders $work/evil.so\nsetenv opt plugin $work/evil.so\nengine $work/evil.so\nconfig $work/private\n<connection>\nremote b.example\nreplay-persist $work/victim\n</connection>\n<tls-auth>\nlog in a key\n</tls-auth>\nroute-up \"$work/dnsmasq x\"\ntls-verify $work/dnsmasq\nscript-security 2\n"
}}}}}
JSON

run_checks() {
  echo untouched >victim
  echo "confidential words" >private
  chmod 600 victim private
  mkfifo fifo
  mkdir -p rootfs/var/run rootfs/etc
  hidden=/.machine$work/victim
  ./tessera-preview -c config.json --verify --summary network >output 2>&1 || fail "status $?"
  grep -E 'OpenVPN|EVIL|confidential|key' output | diff -u - /dev/fd/3 3<<'OUTPUT' || fail "options of OpenVPN"
accepted by OpenVPN: /var/run/config_file_c
/var/run/config_file_c:8: OpenVPN: warning: "log" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:9: OpenVPN: warning: "log-append" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:10: OpenVPN: warning: "status" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:11: OpenVPN: warning: "writepid" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:12: OpenVPN: warning: "providers" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:13: OpenVPN: warning: "plugin" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:14: OpenVPN: warning: "engine" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:15: OpenVPN: warning: "config" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:18: OpenVPN: warning: "replay-persist" is left out of the check: OpenVPN would act on it
/var/run/config_file_c:23: OpenVPN: warning: the command of "route-up" is not checked
/var/run/config_file_c:24: OpenVPN: warning: the command of "tls-verify" is not checked
OUTPUT

  # A hostile checker.
  ./tessera-preview -c config.json --verify --summary dnsmasq >output 2>&1 || fail "a checker may: $(cat output)"
  grep -q '^accepted by dnsmasq' output || fail "dnsmasq was not checked: $(cat output)"

  # Links at the paths of the services' files do not lead out of the sandbox.
  for target in "$work/victim" "$hidden" "$work/fifo" "/proc/1/root$work/victim" "/proc/1/fd/3"; do
    ln -sf "$target" rootfs/var/run/dnsmasq.conf
    ln -sf "$work/private" rootfs/etc/hosts
    ./tessera-preview -c config.json -f rootfs --show-secrets dnsmasq >output 2>&1
    grep -q 'confidential' output && fail "$target is read"
  done
  [ "$(cat victim)" = untouched ] || fail "a file was written"

  # A named pipe, and a file that is too large, are refused.
  for path in fifo huge; do
    rm -rf rootfs out
    mkdir rootfs
    if [ $path = fifo ]; then mkfifo rootfs/fifo; else truncate -s 1T rootfs/huge; fi
    timeout 20 ./tessera-preview -c '' -f rootfs -o out pam >output 2>&1
    [ $? -eq 3 ] && [ "$(wc -l <output)" -eq 1 ] && [ ! -e out ] || fail "$path: $(cat output)"
  done
  mkdir -p elsewhere
  ln -sf elsewhere out
  ./tessera-preview -c '' -o out pam >output 2>&1
  [ $? -eq 3 ] && [ -z "$(ls elsewhere)" ] || fail "a link in the place of OUTDIR: $(cat output)"
  rm -rf rootfs out elsewhere victim private fifo output config.json
}

run_checks
if [ "$(id -u)" -eq 0 ] && [ -z "${HOSTILE_WORK-}" ]; then
  export HOSTILE_WORK="$work"
  setpriv --reuid=65534 --regid=65534 --clear-groups ./hostile.sh || fail "as an ordinary user"
  mkdir -p jail
  unshare -m sh -c 'cd jail && mkdir -p usr etc dev proc tmp mnt root && mount --bind /etc etc && mount --rbind /dev dev &&
    mount --rbind /usr usr && mount -t proc proc proc && mkdir -p ".$HOSTILE_WORK" && mount --bind .. ".$HOSTILE_WORK" &&
    for link in bin lib lib32 lib64 libx32 sbin; do [ ! -L /$link ] || ln -s usr/$link $link; done &&
    exec chroot . "$HOSTILE_WORK/hostile.sh"' || fail "in a root directory that is not a mount point"
fi
[ "$failures" -eq 0 ]
