#!/usr/bin/python3
"""Makes applies, confirmations and reverts fail or end, and checks what is left of the router's configuration.

faults.py BIN_DIRECTORY SOURCE_DIRECTORY [--full] [--calls=NAME,...]

Each command runs on a private router, several times for each system call that it makes: the call fails; the process is
killed before the call together with all others; and, for an apply, the process alone, so that its guard takes over. A
power failure is simulated after each call that changes a file: everything that was not synced is lost. After that,
"tessera-apply boot" and one more run of the services have to leave the complete old or new configuration: the old one when
nobody confirmed or the command failed, the new one when the command reported success. Without --full only a few calls are
tried, with --calls only calls with these names. Needs root.
"""
import collections
import itertools
import os
import re
import shutil
import signal
import subprocess
import sys
import time

OWN = ('unshare', '--pid', '--fork', '--mount-proc', '--kill-child', '-m', '-n', '-u')
BIN, SOURCE = (os.path.abspath(path) for path in sys.argv[1:3])
FULL = '--full' in sys.argv
NAMES = [name for option in sys.argv if option.startswith('--calls=') for name in option[8:].split(',')]
SERVICES = ('pam', 'dnsmasq', 'ipsec', 'network')
CONFIG = '/etc/config/config.json'
PENDING = '/etc/config/pending'
EARLIER = '/etc/config/history/1.json'  # no command may change it
TRACE = '/media/trace'
APPLY = f'{BIN}/tessera-apply'
NEW = '/media/new.json'
MEMORY = ('brk', 'mmap', 'futex', 'mprotect')  # when these fail, the C library may end the process
CHANGES = ('rename', 'unlink', 'fsync', 'link', 'mkdir', 'write', 'openat', 'chmod', 'fchmod')


def call(*words, check=True):
    return subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=check)


def own_files():
    # Hide the machine's certificates and devices: each of them would add the same calls.
    for path in ('/run', '/media', '/etc/config', '/etc/ssl/certs', '/sys/class/net'):
        call('mount', '-t', 'tmpfs', 'tmpfs', path)
    with open(f'{SOURCE}/tests/apply/router.json', encoding='utf-8') as file:
        old = file.read()
    with open(NEW, 'w', encoding='utf-8') as file:
        file.write(old.replace('192.168.1.', '192.168.2.').replace('12h', '1d'))
    os.mkdir('/etc/config/history', 0o700)
    for path, content in ((CONFIG, old), (EARLIER, '{}')):
        with open(path, 'w', encoding='utf-8') as file:
            file.write(content)
    start_again()


def run_services():
    for service in SERVICES:
        status = call(f'{BIN}/tessera', service, check=False).returncode
        assert status == (service == 'ipsec'), (service, status)


def start_again():
    """Starts the system again: an empty /run, then the services."""
    for name in os.listdir('/run'):
        path = f'/run/{name}'
        shutil.rmtree(path) if os.path.isdir(path) and not os.path.islink(path) else os.unlink(path)
    os.mkdir('/run/uci')
    run_services()


def read(path):
    with open(path, 'rb') as file:
        return file.read()


def state():
    """The document and the files of the services."""
    names = ['pam.conf', 'radius.conf', 'ldap.conf', 'dnsmasq.conf', 'ipsec.conf', 'ipsec.secrets', 'uci/network']
    paths = [CONFIG, EARLIER, *(f'/run/{name}' for name in names)]
    return {path: read(path) for path in paths if os.path.exists(path)}


def copy(source, target):
    os.makedirs(target, exist_ok=True)
    call('cp', '-a', f'{source}/.', target)  # keeps the holes in the files of the runtime store


def save(name):
    for path in ('/run', '/etc/config'):
        copy(path, f'/media/{name}{path}')


def restore(name):
    try:
        while os.waitpid(-1, os.WNOHANG)[0]:  # guards that ended are children of this process
            pass
    except ChildProcessError:
        pass
    for path in ('/run', '/etc/config'):
        for entry in os.listdir(path):
            entry = f'{path}/{entry}'
            shutil.rmtree(entry) if os.path.isdir(entry) else os.unlink(entry)
        copy(f'/media/{name}{path}', path)


# A command, the saved state in which it starts, and the states in which it may end: with success, and otherwise.
Case = collections.namedtuple('Case', 'name words start succeeds otherwise')
CASES = [
    Case('apply', (NEW,), 'old', 'new', 'old'),
    Case('apply --confirm', (NEW, '--confirm', '9999'), 'old', 'old', 'old'),
    Case('confirm', ('confirm',), 'waiting', 'new', 'old new'),
    Case('revert', ('rollback',), 'waiting', 'old', 'old'),
    Case('boot', ('boot',), 'waiting', 'old', 'old'),
]


def prepare():
    """Saves the states in which the cases start, and returns those in which they may end."""
    states = {'old': state()}
    save('old')
    call(APPLY, NEW, '--confirm', '9999')
    save('waiting')
    states['new'] = state()
    kill_guards()
    restore('old')
    assert states['old'].keys() == states['new'].keys()
    assert all(states['old'][path] != states['new'][path] for path in (CONFIG, '/run/dnsmasq.conf', '/run/uci/network'))
    return states


def guards():
    """The processes of a command that still run."""
    for name in filter(str.isdigit, os.listdir('/proc')):
        try:
            if os.readlink(f'/proc/{name}/exe') == APPLY and read(f'/proc/{name}/stat').split()[2] != b'Z':
                yield int(name)
        except OSError:
            pass


def kill_guards():
    for process in guards():
        try:
            os.kill(process, signal.SIGKILL)
        except ProcessLookupError:
            pass


def traced(case, *options, alone=False):
    """Runs the command under strace. Its processes end with it, unless it is killed `alone`."""
    restore(case.start)
    own = () if alone else ('unshare', '--pid', '--fork', '--kill-child', 'sh', '-c', '"$@"; exit $?', 'sh')
    return call(*own, 'strace', '-qq', '-o', TRACE, *options, APPLY, *case.words, check=False)


def made_calls(case):
    before = collections.Counter()
    assert traced(case).returncode == 0
    for name in re.findall(r'^(\w+)\(', read(TRACE).decode(errors='replace'), re.MULTILINE):
        before[name] += 1
        if name not in ('execve', 'exit_group'):
            yield name, before[name]


def judge(states, allowed):
    """Starts the system, and returns what is wrong then; empty when nothing is."""
    result = call(APPLY, 'boot', check=False)
    if result.returncode != 0:
        return f'boot ends with {result.returncode}: {result.stderr}'
    run_services()
    if os.path.exists(PENDING):
        return 'a change is still pending'
    found = state()
    if any(found == states[name] for name in allowed.split()):
        return ''
    names = [name for name, each in states.items() if each == found]
    return f'the state is {names or "a mixture"}, not {allowed}'


def fail_calls(case, states, calls):
    for name, number in calls:
        result = traced(case, '-e', f'inject={name}:error=EIO:when={number}')
        allowed = case.succeeds if result.returncode == 0 else case.otherwise
        problem = judge(states, allowed)
        if name not in MEMORY and (result.returncode < 0 or result.returncode >= 128):
            problem = problem or f'ended by a signal: {result.returncode}'
        yield f'{name} {number} fails', problem and f'{problem} (status {result.returncode}: {result.stderr[-300:]})'


def kill_calls(case, states, calls):
    for name, number in calls:
        traced(case, '-e', f'inject={name}:signal=SIGKILL:when={number}')
        yield f'killed with all at {name} {number}', judge(states, f'{case.succeeds} {case.otherwise}')


def kill_alone(case, states, calls):
    """The guard alone has to restore the old state, also of the services."""
    for name, number in calls:
        traced(case, '-e', f'inject={name}:signal=SIGKILL:when={number}', alone=True)
        until = time.monotonic() + 60
        while time.monotonic() < until and list(guards()):
            time.sleep(0.01)
        problem = 'nothing is taken back' if list(guards()) else ''
        kill_guards()
        if not problem and state() not in states.values():
            problem = 'the guard leaves a mixture'
        yield f'killed alone at {name} {number}', problem or judge(states, f'{case.succeeds} {case.otherwise}')


# ---- Power failure: a model of /etc/config in which only synced data survives

class Disk:
    def __init__(self):
        self.files = {}  # number -> [content, synced content]
        self.names, self.synced = {}, {}  # path -> number: now, and after a power failure
        for place, _, names in os.walk('/etc/config'):
            for name in names:
                path = os.path.join(place, name)
                content = read(path)
                self.names[path] = len(self.files)
                self.files[len(self.files)] = [content, content]
        self.synced = dict(self.names)

    def step(self, name, arguments):
        """Applies a system call to the model. Returns False when the call changes nothing."""
        paths = [text.encode('latin-1').decode('unicode_escape') for text in re.findall(r'"((?:[^"\\]|\\.)*)"', arguments)]
        opened = re.match(r'\d+<(/etc/config[^>]*)>', arguments)
        if name == 'openat' and 'O_CREAT' in arguments:
            self.names[paths[0]] = len(self.files)
            self.files[len(self.files)] = [b'', b'']
        elif name == 'write' and opened:
            self.files[self.names[opened[1]]][0] += paths[0].encode('latin-1')
        elif name == 'fsync' and opened[1] in self.names:
            self.files[self.names[opened[1]]][1] = self.files[self.names[opened[1]]][0]
        elif name == 'fsync':
            inside = opened[1] + '/'
            here = {path: number for path, number in self.names.items() if os.path.dirname(path) + '/' == inside}
            self.synced = {path: number for path, number in self.synced.items() if os.path.dirname(path) + '/' != inside}
            self.synced.update(here)
        elif name == 'rename':
            self.names[paths[1]] = self.names[paths[0]]
            if self.names[paths[0]] is not None:
                del self.names[paths[0]]
        elif name == 'link':
            self.names[paths[1]] = self.names[paths[0]]
        elif name == 'unlink':
            self.names.pop(paths[0], None)
        else:
            return False
        return True

    def remains(self):
        """The possible states after a power failure: in each of the two directories only the synced names, or all."""
        for names, earlier in itertools.product((self.synced, self.names), repeat=2):
            yield {path: self.files[number][1] for path, number in
                   [each for each in names.items() if '/history/' not in each[0]] +
                   [each for each in earlier.items() if '/history/' in each[0]]}


def lose_power(case, states, calls):
    restore(case.start)
    disk = Disk()
    options = ('-y', '-s', '1000000', '-e', 'trace=openat,write,fsync,rename,link,unlink')
    assert traced(case, *options).returncode == 0
    seen = []
    for number, (name, arguments) in enumerate(re.findall(r'^(\w+)\((.*)\) += \d+', read(TRACE).decode('latin-1'), re.MULTILINE)):
        concerns = '/etc/config' in arguments and disk.step(name, arguments)
        for remains in disk.remains() if concerns else ():
            if remains in seen:
                continue
            seen.append(remains)
            restore('old')
            shutil.rmtree('/etc/config/history', ignore_errors=True)
            os.makedirs('/etc/config/history', mode=0o700)
            os.unlink(CONFIG)
            for path, content in remains.items():
                with open(path, 'wb') as file:
                    file.write(content)
            problem = judge(states, f'{case.succeeds} {case.otherwise}')
            yield f'power is lost after call {number}, {name}', problem
    assert len(seen) > 1
    # A confirmation that was reported has to survive a power failure.
    *_, last = seen
    assert case.name != 'confirm' or PENDING not in last


def some(calls, count):
    """A few of the calls that change a file."""
    chosen = [each for each in calls if each[0] in ('rename', 'unlink', 'fsync', 'link')]
    return [chosen[i * len(chosen) // count] for i in range(count)] if len(chosen) > count else chosen


def work(case):
    """Runs one case on private files, and prints the number of runs and what was wrong."""
    own_files()
    states = prepare()
    calls = [each for each in made_calls(case) if not NAMES or each[0] in NAMES]
    if not FULL:
        calls = some(calls, 1)
    changes = [each for each in calls if each[0] in CHANGES]
    works = True
    for kind in (lose_power, kill_alone, fail_calls, kill_calls):
        if kind is kill_alone and case.name != 'apply':
            continue
        count = 0
        problems = []
        for what, problem in kind(case, states, changes if kind is kill_alone else calls):
            count += 1
            if problem:
                problems.append(f'FAILED: {case.name}: {what}: {problem}\n')
        line = f'{case.name:16} {kind.__name__:12} {count:5} runs, {len(problems)} wrong\n'
        os.write(1, (line + ''.join(problems)).encode())
        works = works and count > 0 and not problems
    return works


def main():
    """Runs each case in its own namespaces, as many at a time as there are processors."""
    if '--work' in sys.argv:
        return not work(next(case for case in CASES if case.name == sys.argv[-1]))
    os.makedirs('/etc/config', exist_ok=True)
    waiting = [case.name for case in CASES]
    begun, failed = 0, False
    while waiting or begun:
        if waiting and begun < os.cpu_count():
            subprocess.Popen([*OWN, *sys.argv, '--work', waiting.pop(0)])
            begun += 1
        else:
            failed |= os.wait()[1] != 0
            begun -= 1
    return failed


sys.exit(main())
