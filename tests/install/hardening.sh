#!/bin/sh
# Prints which protections against the abuse of memory errors a program lacks, and fails when one lacks any. First it
# tests itself, with programs that each lack one protection.
#
#   hardening.sh CC PROGRAM...
set -eu
cc=$1
shift
scratch=$(mktemp)
trap 'rm -f "$scratch"' EXIT

# The instruction with which GCC touches each page of a large frame; Clang uses an ordinary store.
probes='or[ql]  *.0x0,.*(%rsp)'
! "$cc" --version | grep -q clang || probes=

lacks() {
  headers=$(readelf -hldW "$1")
  symbols=$(nm -D --undefined-only --format=posix "$1")
  lack() { echo "$headers" | grep -qE "$1" || echo "$2"; }
  lack 'Flags:.* PIE' 'a random address'
  lack 'GNU_RELRO' 'read-only tables of addresses'
  lack 'Flags:.* NOW' 'addresses that are final at the start'
  lack 'GNU_STACK .* RW +0x' 'a stack without code'
  lack 'GNU_EH_FRAME' 'tables for tracing a crash'
  echo "$headers" | grep -q ' \.text .*\.rodata' && echo 'constants that cannot be executed'
  echo "$symbols" | grep -q '^__stack_chk_fail' || echo 'a guarded stack'
  echo "$symbols" | grep -q '^__[a-z]*_chk[ @]' || echo 'checked sizes'
  case $(uname -m) in
    x86_64)
      objdump --disassemble=main "$1" | grep -q endbr64 || echo 'marked targets of jumps'
      [ -z "$probes" ] || objdump -d --no-show-raw-insn "$1" | grep -q "$probes" ||
        echo 'a stack that cannot grow past its guard'
      ;;
  esac
}

marks=
[ "$(uname -m)" != x86_64 ] || marks=-fcf-protection

# check EXPECTED FLAG: compares what a program lacks that is built like tessera, but with the flag.
check() {
  printf '%s\n' '#include <stdio.h>' 'int main(int c, char **v) { char t[9000]; return sprintf(t, "%s", v[c - 1]); }' |
    $cc -x c -O1 -fPIE -fstack-protector-strong -fstack-clash-protection $marks -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 \
      -pie -Wl,-z,relro,-z,now,-z,noexecstack,-z,separate-code "$2" -o "$scratch" -
  found=$(lacks "$scratch")
  [ "$found" = "$1" ] || { echo "hardening: with $2 found '$found', expected '$1'"; exit 1; }
}
check '' -O1
check 'a random address' -no-pie
check 'read-only tables of addresses' -Wl,-z,norelro
check 'addresses that are final at the start' -Wl,-z,lazy
check 'a stack without code' -Wl,-z,execstack
check 'tables for tracing a crash' -Wl,--no-eh-frame-hdr
check 'constants that cannot be executed' -Wl,-z,noseparate-code
if [ -n "$marks" ]; then
  check 'marked targets of jumps' -fcf-protection=none
  [ -z "$probes" ] || check 'a stack that cannot grow past its guard' -fno-stack-clash-protection
fi
check 'a guarded stack' -fno-stack-protector
check 'checked sizes' -U_FORTIFY_SOURCE

status=0
for program in "$@"; do
  lacks "$program" >"$scratch"
  sed "s|^|$program lacks |" "$scratch"
  [ ! -s "$scratch" ] || status=1
done
exit $status
