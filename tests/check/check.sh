#!/bin/sh
# Compares the findings of tessera-config in each NAME.json of this folder with NAME.expected, and tests its options,
# outputs and exit statuses.
#
#   check.sh BIN_DIRECTORY
set -u
cd "$(dirname "$0")" || exit 1
program=$1/tessera-config
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# expect STATUS ERRORS ARGUMENTS...: compares standard output with standard input, and standard error with ERRORS.
expect() {
  status=$1
  printf '%s' "$2" >"$work/errors"
  shift 2
  "$program" "$@" >"$work/out" 2>"$work/err"
  got=$?
  [ "$got" = "$status" ] || { echo "$*: exit status $got, expected $status"; failed=1; }
  { diff -u - "$work/out" && diff -u "$work/errors" "$work/err"; } || { echo "$*: other output"; failed=1; }
}

for document in bounds.json effects.json mistakes.json network.json services.json values.json; do
  expected=${document%.json}.expected
  if grep -q ': error\[' "$expected"; then status=1; else status=0; fi
  expect "$status" '' check "$document" <"$expected"
done

usage='Usage: tessera-config check [--fail-on=GRADE] [--format=FORM] [--facts=FACTS] [--summary] FILE...
       tessera-config schema [--strict]
       tessera-config get [--json | --names] FILE PATH...
       tessera-config set [-n] [--create] [--json] FILE PATH VALUE [EDIT...]
       tessera-config unset [-n] FILE PATH [EDIT...]
       tessera-config rename [-n] FILE PATH NAME [EDIT...]
       tessera-config set [-n] FILE -
       tessera-config --help | --version
'
for arguments in '' check 'check --format=yaml a' 'check --fail-on' 'check --facts f' 'check --summary --format=sarif a' 'schema --lax'; do
  # shellcheck disable=SC2086 # a list of words
  expect 2 "$usage" $arguments </dev/null
done
expect 2 "tessera-config: there is no command 'chekc'
$usage" chekc all.json </dev/null
expect 1 '' check absent.json <<OUTPUT
absent.json: error[unreadable]: cannot be opened: No such file or directory; no service gets its files; name a readable file of at most 256 MiB
OUTPUT

# Grades, several files, standard input and pipes.
printf '{"system": {"nam": "x"}}\n' >"$work/odd.json"
odd='warning[unknown-key]: system.nam: unknown key, did you mean '"'name'"'?; it has no effect; correct its name, move it to its place or remove it'
expect 0 '' check "$work/odd.json" <<OUTPUT
$work/odd.json:1:13: $odd
OUTPUT
for bar in warning note; do
  expect 1 '' check --fail-on=$bar -- "$work/odd.json" <<OUTPUT
$work/odd.json:1:13: $odd
OUTPUT
done
{ printf '%100000s' '' && cat "$work/odd.json"; } >"$work/piped.json" # more than a pipe holds
[ "$("$program" check - /dev/fd/3 <"$work/odd.json" 3<<FILE
$(cat "$work/piped.json")
FILE
)" = "-:1:13: $odd
/dev/fd/3:1:100013: $odd" ] || { echo "standard input or a pipe is not read"; failed=1; }
# A name in a list, of a map that the document does not have.
echo '{"vpn": {"nemo": {"n": {"enable": true, "network": ["lan"]}}}}' >"$work/nameless.json"
"$program" check "$work/nameless.json" | grep -q "network.0: 'lan' is not an entry of network.interface;" ||
  { echo "the name of an absent map is not reported"; failed=1; }
expect 1 '' check --summary "$work/odd.json" absent.json "$work/odd.json" <<'OUTPUT'
2 × unknown-key system.nam (odd odd)
1 × unreadable  (absent)
OUTPUT
expect 1 '' check --summary --format=json absent.json "$work/odd.json" "$work/odd.json" <<OUTPUT
{"groups": [
  {"rule": "unknown-key", "severity": "warning", "path": "system.nam", "count": 2, "files": ["$work/odd.json", "$work/odd.json"]},
  {"rule": "unreadable", "severity": "error", "path": "", "count": 1, "files": ["absent.json"]}
]}
OUTPUT
expect 0 '' check --format github "$work/odd.json" <<OUTPUT
::warning file=$work/odd.json,line=1,col=13,title=unknown-key::${odd#*: }
OUTPUT
"$program" check --format=json mistakes.json absent.json >"$work/out"
[ "$(grep -c '"rule": ' "$work/out")" = $(($(wc -l <mistakes.expected) + 1)) ] || { echo "the JSON form holds other findings"; failed=1; }

# A character of several bytes is printed completely.
printf '{"network": {"device": {"e": {"type": "ethernet", "name": "µ0"}}, "vlan": {"v": {"device": "/network/device/e", "id": 7}}, "interface": {"i": {"type": "ethernet", "enable": true, "device": "/network/vlan/v", "ipv4": {"enable": true, "type": "dhcp"}}}}}' >"$work/micro.json"
"$program" check "$work/micro.json" | grep -q "'vlan4_µ0_7' holds 'µ'" || { echo "half a character is printed"; failed=1; }

# Facts, with a document that has no findings itself.
printf '{"network": {"interface": {"lan": {}}}, "vpn": {"ipsec": {"tunnel": {"bar": {}}}}}' >"$work/facts.json"
expect 1 '' check --facts=facts.facts "$work/facts.json" <facts.expected
printf '[]' >"$work/none"
expect 1 '' check --facts "$work/none" "$work/facts.json" <<OUTPUT
$work/none: error[facts-unreadable]: the file holds no object; no fact is known; write a flat JSON object of strings, as runt dump prints it
OUTPUT
head -c 5000000 /dev/zero | tr '\0' '[' >"$work/deep"
"$program" check --facts="$work/deep" "$work/facts.json" | grep -q 'error\[facts-unreadable\]' || { echo "a deep facts file is not refused"; failed=1; }

# Escape sequences in file names do not reach the terminal.
escape=$(printf '\033')
"$program" check "no${escape}[31m.json" | grep -qF 'no\x1b[31m.json: ' || { echo "the name of a file is printed without escapes"; failed=1; }

# The manual page lists the rules of the program.
"$program" check --rules >"$work/out"
sed '1,/Start of the output/d; /End of the output/,$d' ../../doc/tessera-config.8 | sed '1d; $d' | diff -u - "$work/out" ||
  { echo "tessera-config(8) lists other rules"; failed=1; }

# In LAN mode, the DHCP server of a hybrid interface is one like any other.
printf '{"hybrid.lanmode": "true"}' >"$work/lan-mode"
"$program" check --facts="$work/lan-mode" effects.json | grep -q 'error\[lease-elsewhere\]: network.interface.hybrid' || { echo "LAN mode is not known"; failed=1; }

# A check lists a thousand findings of a rule and a run logs a hundred; both say how many more there are.
awk 'BEGIN { printf "{\"system\": {"; for (i = 0; i < 1250; i++) printf "%s\"key%d\": 1", i ? ", " : "", i; print "}}" }' >"$work/many.json"
"$1"/tessera-preview -c "$work/many.json" pam >"$work/out" 2>&1
"$program" check --format=json "$work/many.json" >"$work/listed"
[ "$(grep -c '"path": "system.key' "$work/listed")" = 1000 ] || { echo "a check lists other findings than a thousand"; failed=1; }
grep -q '"path": "", "wrong": "findings of this rule that are not listed: 250"' "$work/listed" || { echo "a check hides how many findings there are"; failed=1; }
[ "$(grep -c 'unknown key$' "$work/out")" = 100 ] || { echo "a run logs all of many findings"; failed=1; }
grep -q ': 1150 more findings of the rule unknown-key$' "$work/out" || { echo "a run hides how many findings there are"; failed=1; }

"$program" --help | grep -q 'Exit status' || { echo "--help explains no exit status"; failed=1; }
"$program" schema 2>"$work/err" >/dev/full && { echo "a full disk is not noticed"; failed=1; }
[ -s "$work/err" ] || { echo "a full disk is not reported"; failed=1; }
exit $failed
