#!/usr/bin/python3
"""Makes runs fail, end or meet other runs, and checks what they report and which files readers find.

faults.py BIN_DIRECTORY SOURCE_DIRECTORY FAILING_MEMORY_LIBRARY [--full] [GROUP...]

Every run starts on a router with the files of an earlier configuration ("old"), and has one of these outcomes:
  same      the status and all files of an undisturbed run, and no other message
  reported  a status other than 0 or a message, perhaps with other files
  silent    status 0 and no message, but other files
  crash     ended by a signal, or a finding of a sanitizer
  hang      still running after a time that no limit allows
Tables say which outcomes and which states of files are right. Cases that mostly wait run only with --full. Needs root;
works in its own namespaces, also of processes, because it kills programs.
"""
import collections
import ctypes
import errno
import fcntl
import json
import os
import re
import resource
import select
import shutil
import signal
import subprocess
import sys
import time

if os.getpid() != 1:
    os.execvp('unshare', ['unshare', '--pid', '--fork', '--mount-proc', '--kill-child', '-m', '-n', '-u', *sys.argv])

BIN, SOURCE, MEMORY = (os.path.abspath(path) for path in sys.argv[1:4])
FULL = '--full' in sys.argv
GROUPS = [argument for argument in sys.argv[4:] if argument != '--full'] or [
    *['waits'] * FULL, 'rows', 'together', 'calls', 'kills', 'memory']
SERVICES = ('pam', 'dnsmasq', 'network', 'ipsec')
# Files that are replaced in one step, so that readers always find them complete.
WHOLE = {'pam': ('pam.conf', 'radius.conf', 'ldap.conf'), 'network': ('uci/network',), 'dnsmasq': (), 'ipsec': ()}
CONFIG = '/etc/config/config.json'
PATIENCE = 100
TRACE = '/media/trace'
problems = []


def shell(script):
    subprocess.run(['bash', '-ec', script], check=True)


def own_files():
    """Enters a mount namespace with an empty /run, /media and /etc/config, and writes the configuration."""
    if ctypes.CDLL(None, use_errno=True).unshare(0x20000) != 0:  # CLONE_NEWNS
        raise OSError(ctypes.get_errno(), 'unshare')
    shell('for path in /run /media /etc/config; do mount -t tmpfs tmpfs $path; done; mkdir /media/programs')
    configure(rich())


def configure(text, path=CONFIG):
    with open(path, 'w', encoding='utf-8') as file:
        file.write(text)


def rich(old=False, servers=1):
    """A configuration that uses every feature; with `old`, one that gives another content of every file."""
    documents = []
    for path in ('examples/branch-office', 'tests/golden/pam-every-method'):
        with open(f'{SOURCE}/{path}/config.json', encoding='utf-8') as file:
            documents.append(file.read().replace('192.168.', '192.178.') if old else file.read())
    document = {**json.loads(documents[0]), 'auth': json.loads(documents[1])['auth']}
    if old:
        document['auth']['idle_timeout'] = 77
    for method in ('radius', 'ldap') if old or servers > 1 else ():
        first = document['auth'][method]['server'][0]
        document['auth'][method]['server'][:1] = [{**first, 'port': 77 if old else 78}] * servers
    return json.dumps(document)


def content(path):
    """The content at a path: the start of a file up to its first hole, and its size; or the target of a link."""
    if os.path.islink(path):
        return os.readlink(path)
    if not os.path.isfile(path):
        return 'a pipe'
    with open(path, 'rb') as file:
        size = os.fstat(file.fileno()).st_size
        used = os.lseek(file.fileno(), 0, os.SEEK_HOLE) if size else 0
        file.seek(0)
        return file.read(used), size


def tree():
    """Everything below /run: directories, links and files."""
    found = {}
    for place, directories, files in os.walk('/run'):
        inside = place[len('/run/'):]
        directories[:] = set(directories) - {'mount'}  # the mount program's own
        found.update({os.path.join(inside, name): None for name in directories})
        found.update({os.path.join(inside, name): content(os.path.join(place, name)) for name in files})
    return found


def restore(state):
    for name in os.listdir('/run'):
        path = '/run/' + name
        shutil.rmtree(path) if os.path.isdir(path) and not os.path.islink(path) else os.unlink(path)
    for name, what in state.items():
        path = '/run/' + name
        if what is None:
            os.mkdir(path)
        elif isinstance(what, str):
            os.symlink(what, path)
        else:
            with open(os.open(path, os.O_WRONLY | os.O_CREAT, 0o600), 'wb') as file:
                file.write(what[0])
                file.truncate(what[1])


known_stores = {}


def facts(state):
    """The runtime store as a string: states are compared with it, not with the bytes of the store."""
    data = state.get('runt/values')
    if data not in known_stores:
        dump = subprocess.run([f'{BIN}/runt', 'dump'], capture_output=True, text=True, timeout=PATIENCE)
        known_stores[data] = dump.stdout if dump.returncode == 0 else f'unreadable: {dump.stderr}'
    return known_stores[data]


Run = collections.namedtuple('Run', 'status message tree facts')


def run(service, *wrapper, environment=(), prepare=lambda: None):
    """Runs a service once. Returns its outcome; the status is negative for a signal, None for a hang."""
    process = subprocess.Popen([*wrapper, f'{BIN}/tessera', service], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, preexec_fn=prepare, close_fds=False, start_new_session=True,
                               env={**os.environ, **dict(environment)})
    try:
        message = process.communicate(timeout=PATIENCE)[1].decode(errors='replace')
        status = process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        message, status = '', None
    after = tree()
    return Run(status, message, after, facts(after))


def traced(*options):
    return 'strace', '-qq', '-o', TRACE, *options


def trace():
    return content(TRACE)[0].decode(errors='replace')


def made_calls(router, service):
    """The system calls of an undisturbed run: name, and number among the calls of that name."""
    router.run(service, *traced())
    before = collections.Counter()
    for name in re.findall(r'^(\w+)\(', trace(), re.MULTILINE):
        before[name] += 1
        yield name, before[name]


def visible(state):
    return {name: what for name, what in state.items() if not name.startswith('runt')}


class Router:
    """The old state, and the outcome of an undisturbed run of each service."""

    def __init__(self, servers=1):
        configure(rich(old=True, servers=servers))
        restore({'uci': None})
        shell(f'{BIN}/runt load {SOURCE}/examples/branch-office/runtime.json')
        for service in SERVICES:
            run(service)
        self.old = tree()
        self.text = rich(servers=servers)
        configure(self.text)
        self.new = {service: self.run(service) for service in SERVICES}
        for service, result in self.new.items():
            assert result.status == 0 and not result.message, result.message
            for name in WHOLE[service]:
                assert self.old[name] != result.tree[name], name

    def run(self, service, *wrapper, **options):
        restore(self.old)
        return run(service, *wrapper, **options)

    def judge(self, what, service, result, allowed, whole='uncut'):
        """Returns the outcome, and adds a problem when it is not `allowed`. `whole` says what is promised about the files
        in WHOLE: "uncut", or "exact" for the old or the new file, or "" for nothing. Unless it is None, the store has to
        hold a complete batch, too."""
        new = self.new[service]
        alike = (visible(result.tree), result.facts) == (visible(new.tree), new.facts)
        if result.status is None:
            outcome = 'hang'
        elif result.status < 0 or result.status in (134, 135, 139) or re.search('Sanitizer|runtime error:', result.message):
            outcome = 'crash'
        elif alike and result.status == new.status and result.message in ('', new.message):
            outcome = 'same'
        else:
            outcome = 'reported' if result.status != 0 or result.message else 'silent'
        if outcome not in allowed.split():
            problems.append(f'{what}: {outcome}, status {result.status} {result.message[:200]}')
        for name in WHOLE[service] if whole else ():
            old, fresh, found = (state.get(name, (b'missing',))[0] for state in (self.old, new.tree, result.tree))
            cut = not found.endswith(b'\n') or (found != fresh and fresh.startswith(found))
            if found not in (old, fresh) if whole == 'exact' else name in result.tree and cut:
                problems.append(f'{what}: /run/{name} is neither old nor new: {len(found)} bytes')
        if whole is not None and result.facts not in (facts(self.old), new.facts):
            problems.append(f'{what}: the runtime store is neither old nor new: {result.facts[:200]}')
        return outcome


def spread(positions, most):
    """All positions with --full; otherwise the first, the last and some between, at most `most`."""
    if FULL or len(positions) <= most:
        return positions
    return sorted({positions[round(i * (len(positions) - 1) / (most - 1))] for i in range(most)})


# Errors with which a call may fail on a router; without --full only the first one.
ERRORS = {'openat': (errno.EMFILE, errno.EACCES, errno.EINTR), 'write': (errno.ENOSPC, errno.EIO, errno.EINTR),
          'mmap': (errno.ENOMEM,), 'brk': (errno.ENOMEM,), 'read': (errno.EIO, errno.EINTR), None: (errno.EIO, errno.EPERM)}

# Calls whose failure is not reported, by design: write errors of PAM files, of the network file and of the protocols' side
# files.
OPENING = ('openat', 'fcntl', 'newfstatat', 'fstat', 'fchmod', 'lseek', 'fstatfs')
SILENT = {'pam': (*OPENING, 'write', 'rename'), 'dnsmasq': OPENING, 'network': (*OPENING, 'write', 'mkdir'),
          'ipsec': ('mkdir', 'rename', 'clone3', 'mmap')}  # of these the swap and the removal of the old tree
# Calls that cannot fail, whose failure cannot be simulated (brk, close), or whose failure no program checks.
NEVER = ('brk', 'close', 'exit_group', 'getpid', 'getuid', 'geteuid', 'getgid', 'getegid', 'gettid', 'futex', 'rt_sigreturn')


def calls(router, service):
    """Each system call of the run fails in turn."""
    made = list(made_calls(router, service))
    made = made[made.index(('poll', 1)):]  # the program's first call; the calls before are the dynamic linker's
    table = collections.Counter()
    for name in sorted({name for name, _ in made} - set(NEVER)):
        silent = name in SILENT[service]
        for number in spread([number for each, number in made if each == name], 2):
            for error in ERRORS.get(name, ERRORS[None])[:None if FULL else 1]:
                result = router.run(service, *traced('-e', f'inject={name}:error={errno.errorcode[error]}:when={number}'))
                if '(INJECTED)' in trace():  # the number of waits for a child varies
                    table[name, router.judge(f'{service}: {name} number {number} fails with {errno.errorcode[error]}', service,
                                             result, 'same reported' + ' silent' * silent,
                                             '' if service == 'network' and silent else 'uncut')] += 1
    return table


def memory(router, service):
    """Each allocation of the run fails in turn."""
    def result(number):
        return router.run(service, environment={'LD_PRELOAD': MEMORY, 'FAILING_ALLOCATION': str(number)})
    count = int(result(0).message)
    assert count > 20, 'the library of failing memory is not in use'
    return collections.Counter(
        ('allocation', router.judge(f'{service}: allocation {number} of {count} fails', service, result(number),
                                    'same reported')) for number in spread(list(range(1, count + 1)), 60))


def kills(router, service):
    """The run is killed at each of its system calls; the next run has to repair everything."""
    new = router.new[service]
    table = collections.Counter()
    for name, number in spread(list(made_calls(router, service)), 40):
        what = f'{service}: killed at {name} number {number}'
        result = router.run(service, *traced('-e', f'inject={name}:signal=SIGKILL:when={number}'))
        if 'killed by SIGKILL' not in trace():
            continue
        router.judge(what, service, result, 'crash', 'exact')
        states = set()
        for name in set(visible(new.tree)) | set(visible(router.old)):
            old, fresh, found = (state.get(name, 'missing') for state in (router.old, new.tree, result.tree))
            if old != fresh or found != old:
                states.add({str(found): 'cut', 'missing': 'missing', str(fresh): 'new', str(old): 'old'}[str(found)])
        table['killed', '+'.join(sorted(states))] += 1
        after = run(service)
        left = {name for name in after.tree if name not in new.tree and not name.startswith('runt')}
        same = {name: found for name, found in visible(after.tree).items() if name not in left} == visible(new.tree)
        if after.status != 0 or after.message or not same or after.facts != new.facts:
            problems.append(f'{what}: the next run gives status {after.status} {after.message}')
        table.update(('leaves', re.sub(r'[0-9]+$', 'PID', name)) for name in left)
    return table


def room(kib):
    """Leaves so much room in /run."""
    return lambda: shell(f'mount -o remount,size=$(($(du -sk /run | cut -f1) + {kib}))k /run')


def in_place_of(path, make):
    return lambda: (subprocess.run(['rm', '-rf', path], check=True), make(path))


def program(name, text):
    """A script in place of a program that a run starts."""
    def prepare():
        with open(os.open(f'/media/programs/{name}', os.O_WRONLY | os.O_CREAT, 0o755), 'w', encoding='ascii') as file:
            file.write('#!/bin/sh\n' + text)
    return prepare


def limited(limit, value):
    return lambda: resource.setrlimit(limit, (value, value))


def hold(path):
    """Takes a lock, as another program that never releases it."""
    create = 0 if os.path.isdir(path) else os.O_CREAT
    fcntl.flock(os.open(path, os.O_RDONLY | create, 0o600), fcntl.LOCK_EX)


def lose_reader():
    """Standard error is a pipe without a reader."""
    reader, writer = os.pipe()
    os.close(reader)
    os.dup2(writer, 2)


def fill_log():
    """Standard error is a full pipe, whose reader does not read."""
    reader, writer = os.pipe()
    os.set_inheritable(reader, True)
    while select.select([], [writer], [], 0)[1]:
        os.write(writer, bytes(select.PIPE_BUF))
    os.dup2(writer, 2)


def fill_terminal():
    """Standard error is a terminal that nobody reads: it reports that it has room, but for less than a line."""
    ends, room = None, 0
    for least in (0, 1):
        ends = os.openpty()
        os.set_blocking(ends[1], False)
        try:
            while least == 0 or room > 1:
                os.write(ends[1], b'x')
                room += 1 - 2 * least
        except BlockingIOError:
            pass
    os.set_blocking(ends[1], True)
    os.set_inheritable(ends[0], True)
    os.dup2(ends[1], 2)


# dnsmasq logs a duplicate lease, ipsec a tunnel without an interface; network starts four children.
LEASE = '{"type": "mac", "mac": "00:11:22:33:44:55", "ip": "10.0.0.9"}'
LOGGING = '''{"network": {"device": {"eth1": {"type": "ethernet"}}, "interface": {"lan": {"type": "ethernet", "enable": true,
  "device": "/network/device/eth1", "ipv4": {"enable": true, "type": "static", "address": "10.0.0.1/24", "dhcp_server":
  {"enable": true, "lease_start": "10", "lease_end": "20", "advanced": {"static_lease": [%s, %s]}}}}}},
 "vpn": {"ipsec": {"tunnel": {"t": {"enable": true}}}, "openvpn": {"client": {%s}}}}
''' % (LEASE, LEASE, ', '.join('"c%d": {"enable": true, "server": "a"}' % number for number in range(4)))
ANY = {'pam': 'same silent reported', 'network': 'same silent reported', 'dnsmasq': 'same reported', 'ipsec': 'same reported'}
ALL = ' '.join(SERVICES)


def each(services, outcomes):
    return dict.fromkeys(services.split(), outcomes)


# What is wrong, the right outcomes by service, a function that changes the router, one that runs in the process before the
# program starts, what is promised about files ("untouched": none may change), and another configuration.
Row = collections.namedtuple('Row', 'what outcomes router start whole text', defaults=(None, None, 'uncut', None))
WAITS = [
    Row('configuration: a pipe', each(ALL, 'reported'), in_place_of(CONFIG, os.mkfifo), whole='untouched'),
    Row('store: a writer is stuck', each('network', 'reported'), lambda: hold('/run/runt')),
    *(Row('a run is stuck', each(service, 'reported'), lambda path=f'/run/tessera-{service}.lock': hold(path))
      for service in SERVICES),
    Row('children hang', each('network', 'reported'), program('md5sum', 'echo $$ >/media/child; sleep 1000'),
        whole='', text=LOGGING),
    Row('the log is not read', each('dnsmasq ipsec', 'same'), None, fill_log, text=LOGGING),
    Row('the terminal is not read', each('dnsmasq', 'same'), None, fill_terminal, text=LOGGING),
]
ROWS = [
    Row('no room left', {**ANY, 'pam': 'silent'}, room(0), whole='exact pam'),
    *(Row(f'{kib} KiB of room left', ANY, room(kib), whole='exact pam') for kib in (4, 8, 12, 16, 24, 32, 64)),
    Row('512 KiB of room left', each(ALL, 'same'), room(512)),
    Row('read-only file system', each(ALL, 'reported'), lambda: shell('mount -o remount,ro /run'), whole='untouched'),
    *(Row(f'{count} descriptors', {**ANY, 'dnsmasq': 'same silent reported'}, None, limited(resource.RLIMIT_NOFILE, count))
      for count in (*range(3, 9), 12)),
    *(Row(f'files of at most {size} bytes', ANY, None, limited(resource.RLIMIT_FSIZE, size), 'exact pam')
      for size in (0, 1000, 8192)),
    Row('configuration: a directory', each(ALL, 'reported'), in_place_of(CONFIG, os.mkdir), whole='untouched'),
    Row('configuration: endless', each('pam', 'reported'), in_place_of(CONFIG, lambda path: os.symlink('/dev/zero', path)),
        whole='untouched'),
    *(Row(f'{path}: {what}', each(service, outcomes), in_place_of('/run/' + path, make), whole=whole)
      for what, make in (('a pipe', os.mkfifo), ('a directory', os.mkdir)) for service, path, outcomes, whole in (
          ('dnsmasq', 'dnsmasq.conf', 'reported', 'untouched'), ('ipsec', 'ipsec.conf', 'reported', 'untouched'),
          ('network', 'uci/network.new', 'reported', 'exact'), ('dnsmasq', 'hostnamesniffer.cfg', 'silent', ''))),
    Row('store: cut', each('dnsmasq network ipsec', 'reported'), lambda: os.truncate('/run/runt/values', 90), whole=None),
    Row('store: foreign', each('dnsmasq network ipsec', 'reported'), lambda: shell('yes | head -c 90000 >/run/runt/values'),
        whole=None),
    Row('store: never made, nothing left', each('network', 'reported'), lambda: (shell('rm -r /run/runt/*'), room(0)()),
        whole=None),
    Row('child writes without end', each('network', 'reported'), program('md5sum', 'yes'), whole='', text=LOGGING),
    Row('no program to remove the old tree', each('ipsec', 'silent'), program('rm', 'exit 1'), whole=None),
    Row('standard streams are closed', each('dnsmasq ipsec', 'same'), None, lambda: os.closerange(0, 3), text=LOGGING),
    Row('the reader of the log is gone', each('dnsmasq ipsec', 'same'), None, lose_reader, text=LOGGING),
]


def row(router, service, each_row):
    """Runs the service once on the router of a row."""
    what = f'{service}: {each_row.what}'
    if each_row.text:
        configure(each_row.text)
        router.new[service] = router.run(service)
        assert router.new[service].message or service == 'network'
    configure(each_row.text or router.text)
    restore(router.old)
    (each_row.router or (lambda: None))()
    before = visible(tree())
    result = run(service, environment={'PATH': '/media/programs:' + os.environ['PATH']}, prepare=each_row.start or (lambda: None))
    whole = each_row.whole if each_row.whole != 'exact pam' else 'exact' if service == 'pam' else ''
    outcome = router.judge(what, service, result, each_row.outcomes[service], whole)
    unnamed = {'openvpn/-roadwarriors.ovpn'}  # the name when the host name is not known
    left = visible(result.tree).keys() - before - router.new[service].tree.keys() - unnamed
    if left and whole is not None:
        problems.append(f'{what}: leaves {left}')
    if whole == 'untouched' and visible(result.tree) != before:
        problems.append(f'{what}: files have changed')
    if os.path.exists('/media/child') and os.path.exists('/proc/' + content('/media/child')[0].decode().strip()):
        problems.append(f'{what}: the child is still there')
    return collections.Counter({(each_row.what, outcome): 1})


def together(router, service):
    """Runs of two configurations at the same time, with readers and writers of the store: no mixture, no endless wait."""
    rounds = 100 if FULL else 12
    configure(rich(old=True, servers=400), '/media/old.json')
    restore(router.old)
    states = [run(service, prepare=lambda: None) for text in (rich(old=True, servers=400), router.text) if not configure(text)]
    loops = [subprocess.Popen(['unshare', '-m', 'bash', '-c', f'{bind}for ((i = 0; i < {rounds}; i++)); do {command} || exit 1; done'],
                              close_fds=False)
             for bind, command in (('', f'{BIN}/tessera {service}'), ('', f'{BIN}/runt set writer.x $i'),
                                   (f'mount --bind /media/old.json {CONFIG}; ', f'{BIN}/tessera {service}'))]
    while any(loop.poll() is None for loop in loops):
        for name in WHOLE[service]:
            if content('/run/' + name) not in [state.tree[name] for state in states]:
                problems.append(f'{service}: a reader saw a torn /run/{name}')
        time.sleep(0.002)
    if any(loop.returncode for loop in loops):
        problems.append(f'{service}: statuses of runs at once: {[loop.returncode for loop in loops]}')
    after = visible(tree())
    mixed = [{name for name in after.keys() | visible(state.tree) if after.get(name) != state.tree.get(name)} for state in states]
    if all(mixed) and service != 'dnsmasq' and not (service == 'pam' and set(after) == set(visible(states[0].tree))):
        problems.append(f'{service}: runs at once leave a mixture: {mixed}')
    return collections.Counter({('runs', ''): 2 * rounds})


def begin(group, function, *arguments):
    """Starts a process with private files that runs the function and prints its findings."""
    process = os.fork()
    if process == 0:
        try:
            own_files()
            lines = [f'{group:8} {arguments[1]:8} {what:34} {count:5} {outcome}\n'
                     for (what, outcome), count in sorted(function(*arguments).items())]
            os.write(1, ''.join(lines + [f'FAILED: {problem}\n' for problem in problems]).encode())
            os._exit(len(problems) != 0)
        except BaseException:
            sys.excepthook(*sys.exc_info())
            os._exit(1)
    return process


def main():
    """Runs the waiting cases all at the same time, the others as many at a time as there are processors."""
    shell(f'''mount -t tmpfs tmpfs /media; mkdir /media/upper /media/work
        mount -t overlay overlay /etc -o lowerdir=/etc,upperdir=/media/upper,workdir=/media/work
        mkdir -p /etc/config; cp -a {SOURCE}/examples/branch-office/rootfs/etc/. /etc/''')
    own_files()
    small, large = Router(), Router(servers=400)
    work = []
    for group in GROUPS:
        rows = {'waits': WAITS, 'rows': ROWS}.get(group)
        if rows:
            work += [(group, row, large, service, each_row) for each_row in rows for service in each_row.outcomes]
        else:
            work += [(group, globals()[group], large if group == 'together' else small, service) for service in SERVICES]
    begun, busy, failed = set(), set(), False
    while work or begun:
        if work and len(busy) < os.cpu_count():
            each_work = work.pop(0)
            process = begin(*each_work)
            begun.add(process)
            if each_work[0] != 'waits':
                busy.add(process)
            continue
        process, status = os.wait()  # what others have started and left comes here too
        failed |= process in begun and status != 0
        begun, busy = begun - {process}, busy - {process}
    sys.exit(failed)


main()
