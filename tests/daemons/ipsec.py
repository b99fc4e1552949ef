#!/usr/bin/env python3
"""Real IKE daemons run from the files of `tessera ipsec`.

    ipsec.py BIN_DIRECTORY

Two hosts in their own namespaces, each with its own configuration and run, set up tunnels with every kind of
authentication. Then one daemon loads a connection of every kind. Debian's daemon does not know three keywords of the
device's daemon: the test removes exactly these lines, and any other complaint makes it fail. At the end the tree of files
is replaced while it is read, on a full disk, over leftovers, and without keys and commands.
"""
import glob
import json
import os
import re
import subprocess
import sys
import tempfile
import threading
import time

UNKNOWN_KEYWORDS = re.compile(r"^\t(if_id|righthostsweight|righthostssequence)=.*\n", re.M)
COMPLAINT = re.compile(r"(?i)^#|fail|error|invalid|unknown|unable|ignor|missing|not found|bad ")
STRONGSWAN_CONF = """charon {
  load = random nonce aes md5 sha1 sha2 hmac kdf gmp pem pkcs1 pkcs8 x509 pubkey revocation constraints \
kernel-libipsec kernel-netlink socket-default stroke updown xauth-generic
  plugins { kernel-libipsec { load = yes } }
  filelog { test { path = %s
                   flush_line = yes } }
}
pki { load = random nonce sha1 sha2 gmp pem pkcs1 x509 pubkey }
"""
HOST_SETUP = """set -eu
mount -t tmpfs tmpfs "$1"
for tree in usr etc; do
  mkdir "$1/$tree" "$1/$tree.work"
  mount -t overlay overlay -o "lowerdir=/$tree,upperdir=$1/$tree,workdir=$1/$tree.work" "/$tree"
done
mount -t tmpfs tmpfs /run
rm -rf /etc/ipsec.d
mkdir -p /etc/config/scep_client/ca
for name in ipsec.d ipsec.conf ipsec.secrets; do ln -sfn "/var/run/$name" "/etc/$name"; done
printf '#!/bin/sh\\necho "$PLUTO_VERB $*" >>/run/updown.log\\n' >/usr/bin/ipsec-updown.sh
chmod 755 /usr/bin/ipsec-updown.sh
ip link set lo up
ip address add "10.$2.0.1/24" dev lo
ip address add "10.9.0.$2/24" dev "wan$2"
ip link set "wan$2" up
"""
PROPOSALS = {"phase1_proposal": [{"cipher": "aes256", "hash": "sha256", "dh_group": "modp2048"}],
             "phase2_proposal": [{"cipher": "aes256", "hash": "sha256", "dh_group": "none"}]}
LIFETIMES = {"phase1_lifetime": "3h", "phase2_lifetime": "1h", "lifetime_margin": "9m"}


def merged(base, changes):
    """The settings of `base` with those of `changes` on top, objects member by member."""
    if not isinstance(base, dict) or not isinstance(changes, dict):
        return changes
    return {key: merged(base.get(key), changes[key]) if key in changes else base[key]
            for key in [*base, *(key for key in changes if key not in base)]}


def start_host(number):
    """A host with the address 10.9.0.NUMBER and the network 10.NUMBER.0.0/24 behind it."""
    holder = subprocess.Popen(["unshare", "-m", "-n", "-u", "sh", "-c", "echo ready; exec sleep 1000"],
                              stdout=subprocess.PIPE, text=True)
    holder.stdout.readline()
    scratch = tempfile.mkdtemp()
    host = {"number": number, "enter": ["nsenter", "-t", str(holder.pid), "-m", "-n", "-u", "--"],
            "root": f"/proc/{holder.pid}/root", "log": f"{scratch}.log"}
    if number == 1:
        subprocess.run("ip link add wan1 type veth peer name wan2".split(), check=True)
    subprocess.run(["ip", "link", "set", f"wan{number}", "netns", str(holder.pid)], check=True)
    on(host, "sh", "-c", HOST_SETUP, "sh", scratch, str(number))
    write(host, "/etc/strongswan.conf", STRONGSWAN_CONF % host["log"])
    return host


def on(host, *command, **options):
    done = subprocess.run([*host["enter"], *command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60, **options)
    if done.returncode != 0:
        sys.exit(f"{command} gave {done.returncode}:\n{done.stdout}")
    return done.stdout


def write(host, path, text):
    on(host, "sh", "-c", 'cat >"$1"', "sh", path, input=text)


def configure(host, tunnels, more=None):
    """Runs tessera on the host, and returns the names of the connections that it wrote."""
    number = host["number"]
    facts = {"system.mac": "00:11:22:33:44:55", "system.serial": "S-1"}
    for part, address, netmask in (
            ("wan.ipv4", f"10.9.0.{number}", "24"), ("lan.ipv4", f"10.{number}.0.1", "24"),
            ("wan.ipv6", "fd00:9::1", "64"), ("lan.ipv6", "fd00:1::1", "64"), ("inner.ipv4", "192.0.2.77", "24")):
        facts |= {f"network.interface.{part}.{key}": value for key, value in (
            ("ready", "1"), ("address", address), ("netmask", netmask), ("passthrough", str(int("inner" in part))))}
    config = merged({"vpn": {"ipsec": {"tunnel": tunnels}}}, more or {})
    write(host, "/etc/config/config.json", json.dumps(config))
    on(host, runt, "load", "/dev/stdin", input=json.dumps(facts))
    said = on(host, tessera, "ipsec").replace("writing RSA key\n", "")  # openssl reports what it does
    if said:
        sys.exit(f"tessera: {said}")
    texts = {path: on(host, "cat", path) for path in (
        f"/run/ipsec.d/conf/{name}.conf" for name in config["vpn"]["ipsec"]["tunnel"])}
    for path, text in texts.items():
        write(host, path, UNKNOWN_KEYWORDS.sub("", text))
    return re.findall(r"^conn (.*)", "".join(texts.values()), re.M)


def start_daemon(host, connections):
    """Starts the daemon; fails unless it loads every connection without a complaint."""
    open(host["log"], "w").close()
    starter = subprocess.Popen([*host["enter"], "/usr/lib/ipsec/starter", "--nofork", "--debug"],
                               stdout=open(host["log"], "a"), stderr=subprocess.STDOUT)
    until = time.time() + 30
    text = ""
    while len(re.findall("added (?:configuration|child to existing configuration) '", text)) < len(connections):
        if time.time() > until or starter.poll() is not None:
            sys.exit(f"the daemon did not load every connection:\n{text}")
        time.sleep(0.05)
        text = open(host["log"]).read()
    complaints = [line for line in text.splitlines() if COMPLAINT.search(line)]
    if complaints:
        sys.exit("the daemon complains:\n" + "\n".join(complaints))
    return starter, text


def stop_daemon(starter):
    starter.terminate()
    starter.wait(20)


def expect(what, text, *patterns):
    for pattern in patterns:
        if not re.search(pattern, text):
            sys.exit(f"{what}: no {pattern} in\n{text}")


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          **options).stdout


def make_keys():
    """Keys and certificates of both hosts, signed by one authority that also has a revocation list."""
    keys = {}
    os.chdir(tempfile.mkdtemp())
    for name in ("root", "other", "1", "2"):
        run("openssl", "genrsa", "-traditional", "-out", f"{name}.key", "2048")
        authority = ["-CA", "root.crt", "-CAkey", "root.key"] if name in "12" else []
        run("openssl", "req", "-x509", "-key", f"{name}.key", "-subj", f"/C=CH/O=tessera test/CN={name}",
            "-days", "30", "-out", f"{name}.crt", *authority)
        keys[name] = {"key": open(f"{name}.key").read(), "cert": open(f"{name}.crt").read(),
                      "public": run("openssl", "rsa", "-in", f"{name}.key", "-pubout")}
    keys["locked"] = run("openssl", "rsa", "-in", "1.key", "-traditional", "-aes256", "-passout", "pass:" + PASSPHRASE)
    keys["crl"] = run("ipsec", "pki", "--signcrl", "--cacert", "root.crt", "--cakey", "root.key", "--outform", "pem")
    return keys


def identity(kind, value=None):
    return {"id": {"type": kind, f"{kind}_id": value} if value else {"type": kind}}


def policy(local, remote, protocol="any", local_port="any", remote_port="any"):
    return {"local": {"protocol": protocol, "port": local_port, **local},
            "remote": {"protocol": protocol, "port": remote_port, "network": remote}}


def tunnel(me, peer, changes):
    """The settings, with `changes`, of a tunnel on host `me` to host `peer`."""
    return merged({
        "enable": True, "type": "esp", "mode": "tunnel", "ike": {"version": "ikev2", **LIFETIMES, **PROPOSALS},
        "local": {"type": "interface", "interface": "wan", **identity("fqdn", f"host{me}.example")},
        "remote": {"ip_version": "ipv4", "peer_selection": "round_robin", "peers": [{"hostname": f"10.9.0.{peer}"}],
                   **identity("fqdn", f"host{peer}.example")},
        "policy": [policy({"type": "network", "network": "lan"}, f"10.{peer}.0.0/24")],
        "auth": {"type": "secret", "secret": SECRET}}, changes)


SECRET = 'it\'s "secret" %s 100% \\ $(id) ü'
PASSPHRASE = "pass 'phrase' \"%s\""


def main():
    keys = make_keys()
    dn = {number: f"C=CH, O=tessera test, CN={number}" for number in (1, 2)}
    xauth = {"ike": {"version": "ikev1", "mode": "main"},
             "xauth_client": {"enable": True, "username": "road.warrior", "password": "pass word"},
             "dpd": {"enable": True, "delay": 30, "timeout": 120}}
    subnets = r"10\.1\.0\.0/24 === 10\.2\.0\.0/24"
    x509 = {number: {
        "local": identity("raw", dn[number]), "remote": identity("raw", dn[3 - number]),
        "auth": {"type": "x509", "private_key": keys[str(number)]["key"], "cert": keys[str(number)]["cert"]}}
        for number in (1, 2)}
    lan = {"type": "network", "network": "lan"}
    # For each case the changes of each host's tunnel, and what the first daemon must report about it.
    cases = {
        "psk": ({1: {"ike": {"initiate": True}}, 2: {}}, ["IKEv2.*pre-shared key", subnets]),
        "xauth": ({1: xauth, 2: xauth}, ["IKEv1", subnets]),
        "rsa": ({1: {"auth": {"type": "rsasig", "private_key": keys["locked"], "private_key_passphrase": PASSPHRASE,
                              "peer_public_key": keys["2"]["public"]}},
                 2: {"auth": {"type": "rsasig", "private_key": keys["2"]["key"],
                              "peer_public_key": keys["1"]["public"]}}}, ["public key reauthentication"]),
        "x509": ({1: merged(x509[1], {"auth": {"peer_verify": "ca", "crls": [{"crl": keys["crl"]}],
                                               "peer_ca": keys["root"]["cert"] + keys["other"]["cert"]}}),
                  2: merged(x509[2], {"auth": {"peer_verify": "cert", "peer_cert": keys["1"]["cert"]}})},
                 [re.escape(dn[1]), re.escape(dn[2])]),
        "ports": (
            {1: {"policy": [policy(lan, "10.2.0.0/24", "tcp", "any", "80"),
                            policy({"type": "custom", "custom": "10.1.0.0/25"}, "10.2.0.0/24", "udp", "53")]},
             2: {"policy": [policy(lan, "10.1.0.0/24", "tcp", "80"),
                            policy({"type": "custom", "custom": "10.2.0.0/24"}, "10.1.0.0/25", "udp", "any", "53")]}},
            [r"10\.1\.0\.0/24\[tcp\] === 10\.2\.0\.0/24\[tcp/http\]",
             r"10\.1\.0\.0/25\[udp/domain\] === 10\.2\.0\.0/24\[udp\]"]),
    }
    hosts = [start_host(number) for number in (1, 2)]
    for name, (sides, signs) in cases.items():
        run_case(hosts, name, sides, signs)
    load_every_kind(hosts[0], keys)
    on(hosts[0], "mount", "-o", "remount,size=1m", "/run")
    replace_the_tree(hosts[0], keys)
    miss_everything(hosts[0], keys)


def bring_up(hosts, connections):
    """The first host sets up the connections. It tries several times: the daemon may lose a second exchange that arrives
    before the end of the first one."""
    for _ in range(4):
        for connection in connections:
            on(hosts[0], "ipsec", "stroke", "up-nb", connection)
        until = time.time() + 6
        while time.time() < until:
            status = on(hosts[0], "ipsec", "status")
            if all(re.search(rf"{connection}{{\d+}}: *INSTALLED", status) for connection in connections):
                return
            time.sleep(0.05)
        for connection in connections:
            on(hosts[0], "ipsec", "stroke", "down-nb", connection)
    sys.exit("\n".join([f"{connections} do not come up:", *(open(host["log"]).read() for host in hosts)]))


def run_case(hosts, name, sides, signs):
    daemons = []
    for host in hosts:
        number = host["number"]
        connections = configure(host, {name: tunnel(number, 3 - number, sides[number])})
        if name == "xauth" and number == 2:  # tessera writes only clients: turn this one into a server
            path = "/run/ipsec.d/conf/xauth.conf"
            text = on(host, "cat", path).replace("xauth=client", "xauth=server").replace("leftauth2", "rightauth2")
            write(host, path, re.sub(r"\txauth_identity.*\n", "", text))
        daemons.append(start_daemon(host, connections))
    bring_up(hosts, connections)
    state = on(hosts[0], "ipsec", "statusall")
    expect(name, state, "ESTABLISHED", *signs)
    expect(name, on(hosts[1], "ipsec", "statusall"), "ESTABLISHED", "INSTALLED")
    expect(name, on(hosts[0], "cat", "/run/updown.log"), rf"up-client -x ipsec1 -n {len(connections)}\n")
    if name == "psk":
        on(hosts[0], "busybox", "ping", "-c", "1", "-W", "5", "-I", "10.1.0.1", "10.2.0.1")
        expect(name, on(hosts[0], "ipsec", "statusall"), r" 84 bytes_i \(1 pkt.* 84 bytes_o \(1 pkt")
    if name == "xauth":
        expect(name, open(hosts[1]["log"]).read(), "XAuth authentication of 'road.warrior' successful")
    if name == "rsa":
        for host in hosts:
            expect(name, on(host, "cat", "/run/ipsec.d/certs/rsa.pub"), "BEGIN PUBLIC KEY")
    if name == "x509":
        expect(name, on(hosts[0], "cat", "/run/ipsec.d/conf/x509.conf"), r'\trightca="asn1dn:#[0-9a-f]+"\n')
        expect(name, state, 'ca: +"C=CH, O=tessera test, CN=root"')
        expect(name, daemons[0][1], r'loaded ca certificate "C=CH, O=tessera test, CN=other"', "loaded crl from")
    for host, daemon in zip(hosts, daemons):
        stop_daemon(daemon[0])
        on(host, "rm", "-f", "/run/updown.log")
    print(f"{name}: up")


def load_every_kind(host, keys):
    """The daemon loads one connection of every kind of identity, policy, exchange and authentication."""
    own = keys["1"]
    peers = [{"hostname": "10.9.0.2", "weight": 3, "peer_id": {"enable": True, **identity("fqdn", "a.example")}},
             {"hostname": "10.9.0.3"}]
    kinds = {f"id_{kind}": {"local": identity(kind, value), "remote": identity(kind, value)} for kind, value in {
        "any": None, "raw": "@#6b", "ipv4": "10.9.0.1", "ipv6": "fd00::1", "rfc822": "@[a@b.example]",
        "fqdn": "gw.example", "keyid": "key", "mac_address": None, "serial_number": None}.items()}
    kinds |= {
        "no_policy": {"policy": []},
        "policies": {"modecfg_client": {"enable": True}, "mgmt": 3, "local": {"interface": "inner"}, "policy": [
            policy({"type": "address", "address": "lan"}, "10.2.0.0/16"),
            policy({"type": "address", "address": "lan"}, "fd00:2::/64", "udp", "500"),
            policy({"type": "network", "network": "lan"}, "fd00:2::/64"),
            policy({"type": "custom", "custom": "0.0.0.0/0"}, "", "icmp", "8"),
            policy({"type": "request"}, "10.2.0.0/16"), policy({"type": "request"}, "::/0"),
            policy({"type": "dynamic", "protocol_other": 47}, "", "other")]},
        "six": {"remote": {"ip_version": "ipv6", "peers": [{"hostname6": "fd00:9::2"}]}, "policy": []},
        "anybody": {"remote": {"peers": [{"hostname": "any"}]}, "ike": {"fragmentation": "never"}},
        "weighted": {"remote": {"peer_selection": "weighted", "peers": peers}, "ike": {"fragmentation": "accept"}},
        "aggressive": {"ike": {"version": "ikev1", "mode": "aggressive", "fragmentation": "always"}},
        "transport": {"mode": "transport", "policy": [], "type": "ah", "force_udp_encap": True},
        "detecting": {"dpd": {"enable": True, "delay": 30, "timeout": 90}, "ike": {"initiate": True}},
        "several_proposals": {"ike": {key: PROPOSALS[key] + PROPOSALS["phase1_proposal"] for key in PROPOSALS}},
        "hub": {"mode": "transport", "policy": []},
        "given_key": {"auth": {"type": "rsasig", "private_key": own["key"], "public_key": own["public"],
                               "peer_public_key": keys["2"]["public"]}},
        "enrolled": {"auth": {"type": "scep", "scep_client": "ca"},
                     "local": identity("raw", "C=CH, O=tessera test, CN=1")},
    }
    client = "/etc/config/scep_client/ca/scep_"
    for file, text in (("key.pem", own["key"]), ("cert.pem", own["cert"]), ("peer_ca.pem-1", keys["root"]["cert"]),
                       ("peer_ca.pem-2", keys["other"]["cert"]), ("crl.pem", keys["crl"])):
        write(host, client + file, text)
    tunnels = {name: tunnel(1, 2, changes) for name, changes in kinds.items()}
    connections = configure(host, tunnels, {"network": {
        "route": {"service": {"nhrp": {"network": [{"ipsec": "hub"}]}}},
        "scep_client": {"ca": {"crl": {"enable": True}}}}})
    stop_daemon(start_daemon(host, connections)[0])
    print(f"{len(connections)} connections loaded")


TREE, CONF, SECRETS = "/run/ipsec.d", "/run/ipsec.conf", "/run/ipsec.secrets"
# Files that a killed run, or somebody else, may have left at the paths of the tree.
LEFTOVERS = """cd /run && mkdir -p other ipsec.d.new/private ipsec.d.new/conf ipsec.d.old/x && mkfifo ipsec.d.new/secrets
echo kept >other/key && cp other/key other/rsa.pub && ln other/key ipsec.d.new/conf/rsa.conf
ln -s ../../other/key ipsec.d.new/private/rsa.rsa && ln -s ../other ipsec.d.new/certs"""


def use(host, tunnels):
    with open(host["root"] + "/etc/config/config.json", "w") as file:
        json.dump({"vpn": {"ipsec": {"tunnel": tunnels}}}, file)


def attempt(host, *wrapper):
    """Runs tessera on the host, and returns its exit status and messages."""
    done = subprocess.run([*host["enter"], *wrapper, tessera, "ipsec"], text=True, stdin=subprocess.DEVNULL, timeout=60,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout.replace("writing RSA key\n", "").replace("tessera_ipsec: ", "")


def read(path):
    return open(path).read() if os.path.isfile(path) else ""


def snapshot(host):
    """Mode and content of all files of the service."""
    paths = glob.glob(host["root"] + "/run/ipsec*") + glob.glob(host["root"] + "/run/ipsec*/**", recursive=True)
    return {path[len(host["root"]):].rstrip("/"): (
        oct(os.lstat(path).st_mode), os.readlink(path) if os.path.islink(path) else read(path)) for path in paths}


def included(host, path=CONF):
    return re.findall(r"^include .*/(.*)\.", read(host["root"] + path), re.M)


def check(what, good, *details):
    if not good:
        sys.exit(f"{what}: " + "\n".join(map(str, details)))
    print(f"{what}: good")


def replace_the_tree(host, keys):
    tunnels = {"psk": tunnel(1, 2, {"auth": {"secret": "x" * 3000}}), "scep": tunnel(1, 2, {
        "auth": {"type": "scep", "scep_client": "ca"}}), "rsa": tunnel(1, 2, {
            "auth": {"type": "rsasig", "private_key": keys["1"]["key"], "peer_public_key": "x"}})}
    use(host, tunnels)
    attempt(host)
    reference = snapshot(host)
    outcomes = set()
    for pages in range(30):  # of room: included tunnels are complete, and each other tunnel has a message
        with open(host["root"] + "/run/other", "wb") as filler:
            room = os.statvfs(host["root"] + "/run")
            os.posix_fallocate(filler.fileno(), 0, max(1, room.f_bavail - pages) * room.f_bsize)
        status, messages = attempt(host)
        os.unlink(host["root"] + "/run/other")
        after, names = snapshot(host), included(host)
        whole = all(after.get(path) == reference[path] for name in names for path in reference if f"/{name}." in path)
        agreed = names == included(host, SECRETS) and after[CONF][1].startswith("config setup\n\n")
        if not whole or (messages == "") != (after == reference) or (status == 0) != (agreed and bool(names)):
            sys.exit(f"with {pages} pages of room: status {status}, {messages}, {after}")
        outcomes.add((status, len(names), bool(messages)))
        attempt(host)
    check(f"on a full disk: {sorted(outcomes)}", (0, 3, False) in outcomes and (1, 0, True) in outcomes)
    on(host, "sh", "-c", LEFTOVERS)
    check("over leftovers", attempt(host) == (0, "") and snapshot(host) == reference, snapshot(host))
    check("others' files", on(host, "sh", "-c", "cd /run/other && cat * && rm -r ../other") == "kept\nkept\n")

    seen = {"old": 0, "new": 0, "none": 0, "partial": 0}
    sets = {kind: {f"{kind}_{number}" for number in range(30)} for kind in ("old", "new")}
    switching = True

    def look():
        """A reader of the path finds the complete old tree, the complete new tree, or none."""
        tree = host["root"] + TREE
        while switching:
            try:
                before = os.stat(tree).st_ino
                names = {name[:-5] for name in os.listdir(tree + "/conf")}
                whole = all(read(f"{tree}/conf/{name}.conf").endswith("\tauto=add\n\n") for name in names)
                if os.stat(tree).st_ino == before:  # otherwise the tree was replaced meanwhile
                    seen[next((kind for kind in sets if whole and names == sets[kind]), "partial")] += 1
            except FileNotFoundError:
                seen["none"] += 1

    reader = threading.Thread(target=look)
    for number in range(41):
        use(host, {name: tunnel(1, 2, {}) for name in sets["new" if number % 2 else "old"]})
        attempt(host)
        if number == 0:
            reader.start()
    switching = False
    reader.join()
    check(f"seen by a reader: {seen}", seen["old"] > 0 and seen["new"] > 0 and seen["partial"] == 0)


def miss_everything(host, keys):
    """Every tunnel that lacks something is skipped with one message; the other tunnels are written."""
    own = {"type": "rsasig", "private_key": keys["1"]["key"], "peer_public_key": "x"}
    authority = {"type": "x509", "private_key": "x", "cert": "x", "peer_verify": "ca", "peer_ca": keys["1"]["cert"]}
    locked = own | {"private_key": keys["locked"]}
    no_key = "public key generation failed for tunnel '{}' (exit {})"
    no_name = "failed to extract Distinguished Name from first certificate in CA chain for tunnel '{}'"

    def use_beside_a_good_one(**ways):
        use(host, {name: tunnel(1, 2, {"auth": auth}) for name, auth in {"good": {}, **ways}.items()})

    use_beside_a_good_one(rsa=own, ca=authority)
    check("commands are there", attempt(host) == (0, "") and included(host) == ["good", "rsa", "ca"])
    on(host, "sh", "-c", "mkdir /run/bin && ln -s $(command -v rm) /run/bin/rm")
    said = attempt(host, "env", "PATH=/run/bin")
    check("commands are missing", said == (0, no_key.format("rsa", 127) + "\n" + no_name.format("ca") + "\n") and
          included(host) == ["good"], said)

    use_beside_a_good_one(
        rsa=own | {"private_key": "garbage"}, locked=locked, wrong=locked | {"private_key_passphrase": "wrong"},
        ca=authority | {"peer_ca": "garbage"},
        pem=authority | {"peer_ca": "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----"})
    said = on(host, "timeout", "30", "script", "-qec", tessera + " ipsec", "/dev/null")  # a terminal to prompt on
    expected = [no_key.format(name, 1) for name in ("rsa", "locked", "wrong")]
    expected += [no_name.format(name) for name in ("ca", "pem")]
    check("garbage and locked keys", re.findall("tessera_ipsec: ([^\r\n]*)", said) == expected, said)
    left = glob.glob(host["root"] + TREE + "/certs/*.pub")
    check("no public key of a failed tunnel", left == [] and included(host) == ["good"], left)
    check("keys of other services", on(host, "cat", "/etc/config/scep_client/ca/scep_key.pem") == keys["1"]["key"])


if sys.argv[1] != "--inside":
    with tempfile.TemporaryDirectory() as scratch:
        inside = ["unshare", "-m", "-n", "-u", "-p", "-f", "--kill-child", "--mount-proc", sys.executable, __file__]
        sys.exit(subprocess.run([*inside, "--inside", *sys.argv[1:]], env=os.environ | {"TMPDIR": scratch}).returncode)
tessera, runt = (os.path.abspath(f"{sys.argv[2]}/{name}") for name in ("tessera", "runt"))
main()
