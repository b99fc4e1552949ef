#!/usr/bin/python3
"""Runs in which something fails, ends or interferes: what they report, and what readers find afterwards.

faults.py BIN_DIRECTORY SOURCE_DIRECTORY INJECT FAILING_MEMORY_LIBRARY [--full] [GROUP...]

Every run starts on a router that holds the files of an earlier configuration ("old") and ends in one outcome:
  same      exit status 0, all files as an undisturbed run writes them
  reported  a status other than 0 or a message
  silent    status 0, no message, but other files
  crash     ended by a signal
  hang      not over after a time that no limit allows
A table says which outcomes and which file states are right. Needs root; works in namespaces of its own.
"""
import collections
import ctypes
import errno
import fcntl
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

BIN, SOURCE, INJECT, MEMORY = (os.path.abspath(path) for path in sys.argv[1:5])
FULL = '--full' in sys.argv
GROUPS = [argument for argument in sys.argv[5:] if argument != '--full']
SERVICES = ('pam', 'dnsmasq', 'network', 'ipsec')
# Files that readers are promised whole.
WHOLE = {'pam': ('pam.conf', 'radius.conf', 'ldap.conf'), 'network': ('uci/network',), 'dnsmasq': (), 'ipsec': ()}
CONFIG = '/etc/config/config.json'
PATIENCE = 60
CALLS = {int(number): name for name, number in re.findall(
    r'#define __NR_(\w+) (\d+)', subprocess.run(['gcc', '-E', '-dM', '-include', 'asm/unistd.h', '-x', 'c', '/dev/null'],
                                              capture_output=True, text=True, check=True).stdout)}
problems = []


def shell(script):
    subprocess.run(['bash', '-ec', script], check=True)


def enter():
    """Mount and network namespaces with a fresh /run and an /etc to write to."""
    clone_newns, clone_newnet = 0x20000, 0x40000000
    if ctypes.CDLL(None, use_errno=True).unshare(clone_newns | clone_newnet) != 0:
        raise OSError(ctypes.get_errno(), 'unshare')
    shell(f'''mount --make-rprivate /; mount -t tmpfs tmpfs /media; mkdir /media/upper /media/work /media/programs
        mount -t overlay overlay /etc -o lowerdir=/etc,upperdir=/media/upper,workdir=/media/work
        mount -t tmpfs tmpfs /run; mkdir -p /etc/config /run/uci; cp -a {SOURCE}/examples/branch-office/rootfs/etc/. /etc/''')


def configure(text):
    with open(CONFIG, 'w', encoding='utf-8') as file:
        file.write(text)


def rich(old=False):
    """A configuration with something of everything; the old one differs in every file."""
    documents = []
    for path in ('examples/branch-office', 'tests/golden/pam-every-method'):
        with open(f'{SOURCE}/{path}/config.json', encoding='utf-8') as file:
            documents.append(file.read().replace('192.168.', '192.178.') if old else file.read())
    document = {**json.loads(documents[0]), 'auth': json.loads(documents[1])['auth']}
    if old:
        document['auth']['idle_timeout'] = 77
        for method in ('radius', 'ldap'):
            document['auth'][method]['server'][0]['port'] = 77
    return json.dumps(document)


def content(path):
    """What is at a path: the used start of a file and its size, or the target of a link."""
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
        if inside.split('/')[0] == 'mount':  # the mount program's own
            continue
        for name in set(directories) - {'mount'}:
            found[os.path.join(inside, name)] = None
        for name in files:
            found[os.path.join(inside, name)] = content(os.path.join(place, name))
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
    """The runtime store as text; a tree is compared by this, not by the store's bytes."""
    data = state.get('runt/data.mdb')
    if data not in known_stores:
        dump = subprocess.run([f'{BIN}/runt', 'dump'], capture_output=True, text=True, timeout=PATIENCE)
        known_stores[data] = dump.stdout if dump.returncode == 0 else f'unreadable: {dump.stderr}'
    return known_stores[data]


Run = collections.namedtuple('Run', 'status message tree facts report')


def run(service, wrapper=(), environment=(), **options):
    """One run and what it leaves; the status is negative for a signal, None for a hang."""
    reader, writer = os.pipe()
    save = fcntl.fcntl(writer, fcntl.F_DUPFD, 10)

    def prepare(own=options.pop('prepare', None)):
        os.dup2(save, 3)
        if own:
            own()
    process = subprocess.Popen([*wrapper, f'{BIN}/tessera', service], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, preexec_fn=prepare, close_fds=False, start_new_session=True,
                               env={**os.environ, **dict(environment)}, **options)
    os.close(writer)
    os.close(save)
    try:
        message = process.communicate(timeout=PATIENCE)[1].decode(errors='replace')
        status = process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        message, status = process.communicate()[1].decode(errors='replace'), None
    with open(reader, encoding='ascii') as file:
        report = file.read().split() if status is not None else []
    if wrapper and wrapper[0] == INJECT and report:
        status = os.waitstatus_to_exitcode(int(report.pop(0)))
    after = tree()
    return Run(status, message, after, facts(after), report)


def visible(state):
    return {name: what for name, what in state.items() if not name.startswith('runt')}


class Router:
    """The old state, and what an undisturbed run of each service makes of it."""

    def __init__(self):
        configure(rich(old=True))
        shell(f'{BIN}/runt load {SOURCE}/examples/branch-office/runtime.json')
        for service in SERVICES:
            run(service)
        self.old = tree()
        configure(rich())
        self.new = {}
        for service in SERVICES:
            restore(self.old)
            self.new[service] = run(service)
            assert self.new[service].status == 0 and not self.new[service].message, self.new[service].message
            for name in WHOLE[service]:
                assert self.old[name] != self.new[service].tree[name], name

    def outcome(self, service, result):
        new = self.new[service]
        if result.status is None:
            return 'hang'
        if result.status < 0 or result.status in (134, 135, 139):
            return 'crash'
        if result.status != 0 or result.message:
            return 'reported'
        return 'same' if visible(result.tree) == visible(new.tree) and result.facts == new.facts else 'silent'

    def check_files(self, what, service, result):
        """Files that are promised whole are the old or the new ones; the store is readable and has a whole batch."""
        for name in WHOLE[service]:
            if result.tree.get(name) not in (self.old.get(name), self.new[service].tree[name]):
                problems.append(f'{what}: /run/{name} is neither old nor new')
        if result.facts not in (facts(self.old), self.new[service].facts):
            problems.append(f'{what}: the runtime store is neither old nor new: {result.facts[:200]}')


def spread(positions, most):
    """All of them, or a part that holds the first, the last and some between."""
    if FULL or len(positions) <= most:
        return positions
    return sorted({positions[round(i * (len(positions) - 1) / (most - 1))] for i in range(most)})


# Errors that the call may end with on a router in trouble; the first alone in the short form.
ERRORS = {'openat': (errno.EMFILE, errno.EACCES, errno.EINTR), 'write': (errno.ENOSPC, errno.EIO, errno.EINTR),
          'mmap': (errno.ENOMEM,), 'brk': (errno.ENOMEM,), 'read': (errno.EIO, errno.EINTR), None: (errno.EIO, errno.EPERM)}

# Silent losses that the behaviour itself fixes: PAM write errors are nobody's business, nor those of the interface
# manager's file and of the protocols' side files.
OPENING = ('openat', 'fcntl', 'newfstatat', 'fstat', 'fchmod', 'lseek', 'fstatfs')
SILENT = {'pam': (*OPENING, 'write', 'rename', 'full'), 'dnsmasq': OPENING, 'network': (*OPENING, 'write', 'mkdir', 'full'),
          'ipsec': ('mkdir', 'rename', 'clone3', 'mmap')}  # of these the swap and the removal of the old tree
# Calls that cannot fail, that a failure cannot be made up for (brk, close), or whose failure no program looks at.
NEVER = ('brk', 'close', 'exit_group', 'getpid', 'getuid', 'geteuid', 'getgid', 'getegid', 'gettid', 'futex', 'rt_sigreturn')


def calls(router, service):
    """Each system call of the run fails in turn."""
    names = [CALLS[int(number)] for number in run_fresh(router, service, INJECT, '0', '0').report]
    main = names.index('fcntl')  # the first call of its own; before it is the dynamic linker's work
    table = collections.defaultdict(collections.Counter)
    for name in sorted(set(names[main:]) - set(NEVER)):
        positions = [index + 1 for index, each in enumerate(names) if each == name and index >= main]
        for position in spread(positions, 2):
            errors = ERRORS.get(name, ERRORS[None])
            for error in errors if FULL else errors[:1]:
                result = run_fresh(router, service, INJECT, str(position), str(error))
                # How often a child is asked for its end differs: another call may have got the number.
                hit = CALLS[int(result.report[position - 1])] if len(result.report) >= position else 'none'
                if hit in NEVER:
                    continue
                judge(router, table[hit], f'{service}: {hit} number {position} of {len(names)} calls fails with '
                      f'{errno.errorcode[error]}', service, hit, result)
    return table


def run_fresh(router, service, *wrapper, **options):
    restore(router.old)
    return run(service, wrapper, **options)


def judge(router, counter, what, service, cause, result):
    outcome = router.outcome(service, result)
    counter[outcome] += 1
    if outcome in ('crash', 'hang') or (outcome == 'silent' and cause not in SILENT[service]):
        problems.append(f'{what}: {outcome}, status {result.status} {result.message[:200]}')
    for name in WHOLE[service] if service != 'network' or cause not in SILENT[service] else ():
        found, whole = result.tree.get(name, (b'',))[0], router.new[service].tree[name][0]
        if not found.endswith(b'\n') or (found != whole and whole.startswith(found)):
            problems.append(f'{what}: /run/{name} is cut')
    if result.facts not in (facts(router.old), router.new[service].facts):
        problems.append(f'{what}: the runtime store is neither old nor new')


def memory(router, service):
    """Each allocation of the run fails in turn."""
    preload = {'LD_PRELOAD': MEMORY}
    restore(router.old)
    count = int(run(service, environment={**preload, 'FAILING_ALLOCATION': '0'}.items()).report[0])
    counter = collections.Counter()
    for number in spread(list(range(1, count + 1)), 60):
        restore(router.old)
        result = run(service, environment={**preload, 'FAILING_ALLOCATION': str(number)}.items())
        judge(router, counter, f'{service}: allocation {number} of {count} fails', service, 'memory', result)
    return {'allocation': counter}


def kills(router, service):
    """The run is killed at each of its system calls; the next one puts everything right."""
    total = len(run_fresh(router, service, INJECT, '0', '0').report)
    new = router.new[service]
    counter = collections.Counter()
    for position in spread(list(range(1, total + 1)), 40):
        what = f'{service}: killed at call {position} of {total}'
        result = run_fresh(router, service, INJECT, str(position), 'kill')
        if result.status != -signal.SIGKILL:
            problems.append(f'{what}: status {result.status}')
        router.check_files(what, service, result)
        states = set()
        for name in set(visible(new.tree)) | set(visible(router.old)):
            old, fresh, found = (state.get(name, 'missing') for state in (router.old, new.tree, result.tree))
            if old != fresh or found != old:
                states.add({str(found): 'cut', 'missing': 'missing', str(fresh): 'new', str(old): 'old'}[str(found)])
        counter['+'.join(sorted(states))] += 1
        after = run(service)
        left = {name for name in after.tree if name not in new.tree and not name.startswith('runt')}
        same = {name: what for name, what in visible(after.tree).items() if name not in left} == visible(new.tree)
        if after.status != 0 or after.message or not same or after.facts != new.facts:
            problems.append(f'{what}: the next run gives status {after.status} {after.message}')
        for name in left:
            counter['leaves ' + re.sub(r'[0-9]+$', 'PID', name)] += 1
    return {'killed': counter}


def tmpfs_with(kib):
    """A /run of its own with the old files and so much room left."""
    def prepare(router):
        shell('mount -t tmpfs tmpfs /run')
        restore(router.old)
        if kib is None:
            shell('mount -o remount,ro /run')
        else:
            shell(f'mount -o remount,size=$(($(du -sk /run | cut -f1) + {kib}))k /run')
    return prepare


def in_place_of(path, make):
    def prepare(router):
        restore(router.old)
        subprocess.run(['rm', '-rf', path], check=True)
        make(path)
    return prepare


def program(name, text):
    """A program that takes the place of one that is run as a child."""
    def prepare(router):
        restore(router.old)
        with open(os.open(f'/media/programs/{name}', os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o755), 'w') as file:
            file.write('#!/bin/sh\n' + text)
    return prepare


def limited(limit, value):
    return {'prepare': lambda: resource.setrlimit(limit, (value, value))}


held = []


def holding(path):
    """A lock that another program holds and never gives back."""
    def prepare(router):
        restore(router.old)
        held.append(os.open(path, os.O_RDONLY))
        fcntl.flock(held[-1], fcntl.LOCK_EX)
    return prepare


ALL = ' '.join(SERVICES)
# What happens, to which services, what the router is like, how the run is started, outcomes that are right.
ROWS = [
    *((f'file system with {kib} KiB left', ALL, tmpfs_with(kib), {}, 'same reported full') for kib in (0, 4, 8, 16, 32)),
    ('read-only file system', ALL, tmpfs_with(None), {}, 'reported'),
    *((f'{count} descriptors', ALL, None, limited(resource.RLIMIT_NOFILE, count), 'same reported full')
      for count in (*range(3, 9), 12)),
    *((f'files of at most {size} bytes', ALL, None, limited(resource.RLIMIT_FSIZE, size), 'same reported full')
      for size in (0, 1000, 8192)),
    ('configuration: a pipe', ALL, in_place_of(CONFIG, os.mkfifo), {}, 'reported'),
    ('configuration: a directory', ALL, in_place_of(CONFIG, os.mkdir), {}, 'reported'),
    ('configuration: endless', 'pam', in_place_of(CONFIG, lambda path: os.symlink('/dev/zero', path)), {}, 'reported'),
    *((f'{path}: {what}', service, in_place_of('/run/' + path, make), {}, outcomes)
      for what, make in (('a pipe', os.mkfifo), ('a directory', os.mkdir)) for service, path, outcomes in (
          ('dnsmasq', 'dnsmasq.conf', 'reported'), ('ipsec', 'ipsec.conf', 'reported'),
          ('network', 'uci/network.new', 'reported'), ('dnsmasq', 'hostnamesniffer.cfg', 'silent'))),
    ('store: cut', 'dnsmasq network', lambda router: (restore(router.old), os.truncate('/run/runt/data.mdb', 9000)), {},
     'reported'),
    ('store: foreign', 'dnsmasq network', lambda router: (restore(router.old), shell('yes | head -c 90000 >/run/runt/data.mdb')),
     {}, 'reported'),
    ('store: never made, nothing left', 'network', lambda router: (
        shell('mount -t tmpfs tmpfs /run; mkdir /run/uci /run/runt; head -c 999999 /dev/zero >/run/filler; '
              'mount -o remount,size=$(du -sk /run | cut -f1)k /run')), {}, 'reported'),
    ('store: a writer is stuck', 'network', holding('/run/runt/data.mdb'), {}, 'reported'),
    ('a run is stuck', 'network', holding('/run/uci'), {}, 'reported'),
    ('a run is stuck', 'ipsec', holding('/run'), {}, 'reported'),
    ('child hangs', 'network', program('md5sum', 'echo $$ >>/media/children; sleep 1000'), {}, 'reported'),
    ('child writes without end', 'network', program('md5sum', 'yes'), {}, 'reported'),
    ('child is missing', 'ipsec', program('rm', 'exit 1'), {}, 'silent'),
]
ONE_CHILD = '{"vpn": {"openvpn": {"client": {"c": {"enable": true, "server": "a"}}}}}'


def rows(router, service):
    """Everything else that may be wrong with the router, and what a run makes of it."""
    table = {}
    for what, services, prepare, options, outcomes in ROWS:
        if service not in services.split():
            continue
        mounts = len(open('/proc/self/mountinfo', encoding='ascii').readlines())
        (prepare or (lambda router: restore(router.old)))(router)
        if 'child' in what and service == 'network':
            configure(ONE_CHILD)
        start = time.time()
        result = run(service, environment={'PATH': '/media/programs:' + os.environ['PATH']}.items(), **dict(options))
        outcome = router.outcome(service, result)
        table[what] = {outcome: 1}
        allowed = outcomes.split()
        right = outcome in allowed or (outcome == 'silent' and 'full' in allowed and service in ('pam', 'network', 'dnsmasq'))
        if not right or time.time() - start > 30:
            problems.append(f'{service}: {what}: {outcome}, status {result.status} {result.message[:300]}')
        if service == 'pam' or (service == 'network' and not re.search('KiB|bytes|nothing left', what)):
            for name in WHOLE[service]:
                found = result.tree.get(name)
                if found and name in router.old and not found[0].endswith(b'\n'):
                    problems.append(f'{service}: {what}: /run/{name} is cut')
        while held:
            os.close(held.pop())
        for name in os.listdir('/media/programs'):
            os.unlink('/media/programs/' + name)
        if len(open('/proc/self/mountinfo', encoding='ascii').readlines()) > mounts:
            shell('umount -l /run')
        shell(f'rm -rf {CONFIG}')
        configure(rich())
    if os.path.exists('/media/children'):
        for pid in open('/media/children', encoding='ascii').read().split():
            if os.path.exists(f'/proc/{pid}'):
                problems.append(f'the hanging child {pid} is still there')
    return {what: collections.Counter(counter) for what, counter in table.items()}


def together(router, service):
    """Runs of two configurations at once, with readers and store writers: no mixture, nobody waits for ever."""
    rounds = 100 if FULL else 12
    states = []
    for old in (True, False):
        configure(rich(old))
        shutil.copy(CONFIG, f'/media/{old}.json')
        restore(router.old)
        states.append(run(service))
    configure(rich())
    loops = [subprocess.Popen(['unshare', '-m', 'bash', '-c', f'mount --bind /media/{old}.json {CONFIG}; '
                               f'for ((i = 0; i < {rounds}; i++)); do {BIN}/tessera {service} || exit 1; done'])
             for old in (True, False)]
    loops.append(subprocess.Popen(['bash', '-c', f'for ((i = 0; i < {rounds}; i++)); do {BIN}/runt set writer.x $i || exit; done']))
    reads = 0
    while any(loop.poll() is None for loop in loops):
        for name in WHOLE[service]:
            reads += 1
            if content('/run/' + name) not in [state.tree[name] for state in states]:
                problems.append(f'{service}: a reader saw a torn /run/{name}')
        time.sleep(0.002)
    if any(loop.returncode for loop in loops):
        problems.append(f'{service}: statuses of runs at once: {[loop.returncode for loop in loops]}')
    after = tree()
    mixed = [{name for name in visible(state.tree) if after.get(name) != state.tree[name]} for state in states]
    if all(mixed) and service in ('network', 'ipsec', 'pam'):
        problems.append(f'{service}: runs at once leave a mixture: {mixed}')
    return {'at once': collections.Counter({'reads': reads, 'runs': 2 * rounds})}


def main():
    """One group after the other; without any, each in a process of its own, as the waits of one leave time to others."""
    if not GROUPS:
        each = [subprocess.Popen([*sys.argv, group]) for group in ('calls', 'memory', 'kills', 'rows', 'together')]
        sys.exit(any([process.wait() for process in each]))
    enter()
    router = Router()
    for group in GROUPS:
        lines = [f'{service:8} {row:34} ' + ', '.join(f'{count} {name}' for name, count in sorted(counter.items()))
                 for service in SERVICES for row, counter in globals()[group](router, service).items()]
        print(group, *lines, sep='\n  ', flush=True)
    for problem in problems:
        print('FAILED:', problem)
    sys.exit(bool(problems))


main()
