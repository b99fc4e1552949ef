#!/usr/bin/env python3
"""The tree of daemon files under stress: readers during a run, full disks, and everything that can be missing.

    ipsec_tree.py BIN_DIRECTORY
"""
import glob
import json
import os
import re
import subprocess
import sys
import threading

SETUP = """set -eu
mount -t tmpfs tmpfs /mnt
mkdir /mnt/etc /mnt/work
mount -t overlay overlay -o lowerdir=/etc,upperdir=/mnt/etc,workdir=/mnt/work /etc
mount -t tmpfs -o size=1m tmpfs /run
mkdir -p /etc/config/scep_client/ca /mnt/bin /run/uci
cd /etc/config/scep_client/ca
for file in scep_key.pem scep_cert.pem scep_peer_ca.pem; do echo kept >$file; done
ln -s "$(command -v rm)" /mnt/bin/rm
"""
TREE, CONF, SECRETS = "/run/ipsec.d", "/run/ipsec.conf", "/run/ipsec.secrets"
LIFETIMES = {"phase1_lifetime": "3h", "phase2_lifetime": "1h", "lifetime_margin": "9m"}


def tunnel(auth):
    return {"enable": True, "local": {"type": "interface", "interface": "wan"}, "ike": LIFETIMES, "auth": auth,
            "remote": {"ip_version": "ipv4", "peers": [{"hostname": "192.0.2.9"}]}}


def use(tunnels):
    with open("/etc/config/new", "w") as file:
        json.dump({"vpn": {"ipsec": {"tunnel": tunnels}}}, file)
    os.rename("/etc/config/new", "/etc/config/config.json")


def run(**options):
    """Runs tessera and gives its exit status and messages."""
    done = subprocess.run([tessera, "ipsec"], text=True, stderr=subprocess.PIPE, timeout=30, **options)
    return done.returncode, done.stderr.replace("writing RSA key\n", "").replace("tessera_ipsec: ", "")


def read(path):
    return open(path).read() if os.path.isfile(path) else ""


def snapshot():
    """Mode and content of all that a run leaves."""
    return {path: (oct(os.lstat(path).st_mode), os.readlink(path) if os.path.islink(path) else read(path))
            for path in glob.glob("/run/ipsec*") + glob.glob("/run/ipsec*/**", recursive=True)}


def check(what, good, *details):
    if not good:
        sys.exit(f"{what}: " + "\n".join(map(str, details)))
    print(f"{what}: good")


def read_while_it_runs():
    """Who looks the tree up by its path sees all of the old one, all of the new one, or none."""
    seen = {"old": 0, "new": 0, "none": 0, "partial": 0}
    sets = {kind: {f"{kind}_{number}" for number in range(30)} for kind in ("old", "new")}

    def look():
        while switching:
            try:
                before = os.stat(TREE).st_ino
                names = {name[:-5] for name in os.listdir(TREE + "/conf")}
                whole = all(read(f"{TREE}/conf/{name}.conf").endswith("\tauto=add\n\n") for name in names)
                if os.stat(TREE).st_ino == before:  # else it was replaced and removed meanwhile
                    seen[next((kind for kind in sets if whole and names == sets[kind]), "partial")] += 1
            except FileNotFoundError:
                seen["none"] += 1

    switching = False
    for number in range(41):
        use({name: tunnel({"type": "secret"}) for name in sets["new" if number % 2 else "old"]})
        run()
        if not switching:
            switching, reader = True, threading.Thread(target=look)
            reader.start()
    switching = False
    reader.join()
    check(f"seen by a reader: {seen}", seen["old"] > 0 and seen["new"] > 0 and seen["partial"] == 0)


def included(path):
    return re.findall(r"^include .*/(.*)\.", read(path), re.M)


def run_on_a_full_disk(reference):
    """However little room there is: what is included is complete, and what is not was complained about."""
    outcomes = set()
    for pages in range(30):
        with open("/run/other", "wb") as filler:
            room = os.statvfs("/run")
            os.posix_fallocate(filler.fileno(), 0, max(1, room.f_bavail - pages) * room.f_bsize)
        status, messages = run()
        os.unlink("/run/other")
        after = snapshot()
        whole = all(after.get(path) == reference[path] for name in included(CONF) + included(SECRETS)
                    for path in reference if f"/{name}." in path)
        agreed = included(CONF) == included(SECRETS) and after[CONF][1].startswith("config setup\n\n")
        if not whole or (messages == "") != (after == reference) or (status == 0) != (agreed and bool(included(CONF))):
            sys.exit(f"with {pages} pages of room: status {status}, {messages}, {after}")
        outcomes.add((status, len(included(CONF)), bool(messages)))
        run()
    check(f"on a full disk: {sorted(outcomes)}", (0, 3, False) in outcomes and (1, 0, True) in outcomes)
    check("with room again", run() == (0, "") and snapshot() == reference)


def miss_everything(keys):
    """Every tunnel that lacks something is skipped with one message of ours; the others do not suffer."""
    own = {"type": "rsasig", "private_key": keys["plain"], "peer_public_key": "x"}
    authority = {"type": "x509", "private_key": "x", "cert": "x", "peer_verify": "ca", "peer_ca": keys["cert"]}
    no_key = "public key generation failed for tunnel '{}' (exit {})"
    no_name = "failed to extract Distinguished Name from first certificate in CA chain for tunnel '{}'"
    good = {"good": tunnel({"type": "secret", "secret": "x"})}

    use(good | {"rsa": tunnel(own), "ca": tunnel(authority)})
    check("commands are there", run() == (0, "") and included(CONF) == ["good", "rsa", "ca"])
    check("commands are missing", run(env={"PATH": "/mnt/bin"}) == (
        0, no_key.format("rsa", 127) + "\n" + no_name.format("ca") + "\n") and included(CONF) == ["good"])

    use(good | {"rsa": tunnel(own | {"private_key": "garbage"}),
                "locked": tunnel(own | {"private_key": keys["locked"]}),
                "wrong": tunnel(own | {"private_key": keys["locked"], "private_key_passphrase": "wrong"}),
                "ca": tunnel(authority | {"peer_ca": "garbage"}),
                "pem": tunnel(authority | {"peer_ca": "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----"})})
    # Run with a terminal to prompt on.
    said = subprocess.run(["timeout", "30", "script", "-qec", tessera + " ipsec", "/dev/null"], text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout
    expected = [no_key.format(name, 1) for name in ("rsa", "locked", "wrong")]
    expected += [no_name.format(name) for name in ("ca", "pem")]
    check("garbage and locked keys", re.findall("tessera_ipsec: (.*)", said) == expected, said)
    left = glob.glob(TREE + "/certs/*.pub")
    check("no public key of a failed tunnel", left == [] and included(CONF) == ["good"], left)


def loads_libcrypto(service):
    done = subprocess.run([tessera, service], env=os.environ | {"LD_DEBUG": "files"}, text=True, stderr=subprocess.PIPE)
    return "libcrypto" in done.stderr


def main():
    keys = {"plain": None}
    for name, arguments in (("plain", "genrsa -traditional 2048"), ("locked", "rsa -aes128 -passout pass:x"),
                            ("cert", "req -x509 -key /dev/stdin -subj /CN=x")):
        keys[name] = subprocess.run(["openssl", *arguments.split()], input=keys["plain"], text=True,
                                    capture_output=True, check=True).stdout
    with open("/etc/strongswan.conf", "w") as file:
        file.write("pki { load = random nonce sha1 gmp pem pkcs1 x509 pubkey }\n")
    facts = {"network.interface.wan.ipv4.ready": "1", "network.interface.wan.ipv4.address": "192.0.2.1"}
    subprocess.run([runt, "load", "/dev/stdin"], input=json.dumps(facts), text=True, check=True)

    use({"key": tunnel({"type": "rsasig", "private_key": keys["plain"], "public_key": "x", "peer_public_key": "x"})})
    services = ("dnsmasq", "ipsec", "network", "pam")
    check("libcrypto is left alone", run() == (0, "") and not any(map(loads_libcrypto, services)))
    tunnels = {"psk": tunnel({"type": "secret", "secret": "x" * 3000}),
               "rsa": tunnel({"type": "rsasig", "private_key": keys["plain"], "peer_public_key": "x"}),
               "scep": tunnel({"type": "scep", "scep_client": "ca"})}
    use(tunnels)
    check("libcrypto encodes secrets", loads_libcrypto("ipsec"))
    os.umask(0o077)
    run()
    reference = snapshot()
    check("modes", {mode for mode, _ in reference.values()} == {"0o100600", "0o40755", "0o120777"}, reference)
    os.umask(0o022)
    run_on_a_full_disk(reference)
    read_while_it_runs()
    miss_everything(keys)
    check("keys of other services", read("/etc/config/scep_client/ca/scep_key.pem") == "kept\n")


if sys.argv[1] != "--inside":
    inside = ["unshare", "-m", "-n", "-u", "-p", "-f", "--kill-child", "--mount-proc", sys.executable, __file__]
    sys.exit(subprocess.run([*inside, "--inside", *sys.argv[1:]]).returncode)
tessera, runt = (os.path.abspath(f"{sys.argv[2]}/{name}") for name in ("tessera", "runt"))
if not os.path.samefile("/run", "/var/run"):
    sys.exit("/var/run is not /run here")
subprocess.run(["sh", "-c", SETUP], check=True)
main()
