#!/usr/bin/python3
"""Measures tessera and compares it with other programs (peers), and prints the tables in Markdown.

    bench.py [--sizes smoke|small|full] [--only SERIES,...] BIN_DIRECTORY

Everything runs in a mount namespace of its own, with empty file systems in memory over /var/run, /etc/config and all
places that are written to. performance.md explains the columns. "smoke" runs everything once on tiny inputs, without
peers and without tools that may be missing, and fails when something does not work; its figures are meaningless.
"""
import argparse
import datetime
import json
import os
import re
import shutil
import subprocess
import sys

import inputs

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PEERS = os.path.join(SOURCE, 'bench', 'peers')
EXAMPLE = os.path.join(SOURCE, 'examples', 'branch-office')
CONFIG = '/etc/config/config.json'
SCRATCH = '/run/.bench'
MEASURE = '/run/.etc/measure'
NETPLAN = '/usr/libexec/netplan/generate'

SIZES = {
    'smoke': {'leases': (10,), 'interfaces': (2,), 'tunnels': (2,), 'users': (2,)},
    'small': {'leases': (10, 1000, 10000), 'interfaces': (1, 10, 100, 1000), 'tunnels': (1, 10, 100),
              'users': (1, 10, 100, 1000)},
    'full': {'leases': (10, 100, 1000, 10000, 100000), 'interfaces': (1, 10, 100, 1000, 10000),
             'tunnels': (1, 10, 100, 1000, 2000), 'users': (1, 10, 100, 1000, 10000)},
}


class Failure(Exception):
    """A measured program failed."""


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL, **options)
    if done.returncode != 0:
        raise Failure(f'{" ".join(command)}: status {done.returncode}\n{done.stdout}{done.stderr}')
    return done


# --- The place where everything runs ---

def enter_namespaces():
    """Restarts this program in a mount namespace of its own, as root or in a user namespace."""
    if 'TESSERA_BENCH_INSIDE' in os.environ:
        return
    command = ['unshare', '--mount', '--uts', '--propagation', 'private']
    if os.geteuid() != 0:
        command.append('--map-root-user')
    os.environ['TESSERA_BENCH_INSIDE'] = '1'
    os.execvp('unshare', command + [sys.executable] + sys.argv)


def make_router():
    """Mounts empty file systems for all written files, and adds the parts of a router that the machine may lack."""
    def mount(where):
        run('mount', '-t', 'tmpfs', '-o', 'mode=0755', 'tmpfs', where)
    mount('/run')
    os.mkdir('/run/.etc')
    if not os.path.isdir('/etc/config'):
        for part in ('upper', 'work'):
            os.makedirs(f'/run/.etc/{part}')
        run('mount', '-t', 'overlay', 'overlay', '/etc', '-o',
            'lowerdir=/etc,upperdir=/run/.etc/upper,workdir=/run/.etc/work')
        os.mkdir('/etc/config')
    mount('/etc/config')
    mount('/sys/class/net')  # the devices of the example instead of the machine's
    shutil.copytree(EXAMPLE + '/rootfs/etc/config', '/etc/config', dirs_exist_ok=True)
    shutil.copytree(EXAMPLE + '/rootfs/sys/class/net', '/sys/class/net', dirs_exist_ok=True)


def clear_run():
    for entry in os.scandir('/run'):
        if entry.name == '.etc':
            continue
        if entry.is_dir(follow_symlinks=False):
            shutil.rmtree(entry.path)
        else:
            os.unlink(entry.path)
    os.makedirs(SCRATCH)
    os.mkdir('/run/uci')


# --- Measuring ---

class Measurer:
    def __init__(self, options):
        self.tessera = os.path.join(options.bin, 'tessera')
        self.runt = os.path.join(options.bin, 'runt')
        self.smoke = options.sizes == 'smoke'

    def cost(self, runs, commands):
        """The lowest value of each cost over all runs, for each of the commands."""
        runs = 1 if self.smoke else runs
        words = []
        for command in commands:
            words += ['--', *command] if words else command
        done = run(MEASURE, str(runs), *words)
        if done.stderr:
            raise Failure(done.stderr)
        keys = ('wall', 'cpu', 'peak')
        return [dict(zip(keys, map(int, line.split()))) for line in done.stdout.splitlines()]

    def instructions(self, command):
        """The number of instructions of the process, without its children."""
        if self.smoke:
            return 1
        done = run('valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', '--vgdb=no', *command)
        return int(re.search(r'Collected : (\d+)', done.stderr).group(1))

    def measure(self, command, runs):
        return {**self.cost(runs, [command])[0], 'instructions': self.instructions(command)}

    def service(self, name, runs, before=()):
        """Measures a service on the present configuration, after runs of the services `before`."""
        for other in before:
            run(self.tessera, other)
        done = run(self.tessera, name)
        if done.stdout or done.stderr:
            raise Failure(f'{name}: unexpected output\n{done.stdout}{done.stderr}')
        return self.measure([self.tessera, name], runs)

    def configure(self, document, facts=None):
        clear_run()
        with open(CONFIG, 'w', encoding='utf-8') as file:
            file.write(document)
        if facts:
            run(self.runt, 'load', facts)


# --- What is measured ---

PEER_RUNS = 30  # with fewer runs, the lowest times still vary by a tenth


def runs_for(size):
    """Many runs for small inputs, few runs for large ones."""
    return max(3, min(200, 20000 // size))


class Results:
    def __init__(self):
        self.costs = {}  # (series, size): row
        self.peers = []  # (series, size, peer, row, row of the peer)


def same_file(path, other):
    with open(path, 'rb') as one, open(other, 'rb') as two:
        if one.read() != two.read():
            raise Failure(f'{path} and {other} differ: the peer does not do the same work')


def measure_start(measurer, results):
    clear_run()
    results.costs['start-up', 1] = measurer.measure([measurer.tessera, 'nothing'], 2000)


def measure_example(measurer, results):
    with open(EXAMPLE + '/config.json', encoding='utf-8') as file:
        document = file.read()
    for service, before in (('pam', ()), ('dnsmasq', ()), ('ipsec', ()), ('network', ('ipsec',))):
        measurer.configure(document, EXAMPLE + '/runtime.json')
        results.costs[f'example, {service}', 1] = measurer.service(service, 50, before)


def measure_leases(measurer, results, sizes):
    for size in sizes:
        document = inputs.text(inputs.leases(size))
        measurer.configure(document, EXAMPLE + '/runtime.json')
        results.costs['dnsmasq, leases, facts', size] = measurer.service('dnsmasq', runs_for(size))
        measurer.configure(document)
        results.costs['dnsmasq, leases', size] = measurer.service('dnsmasq', runs_for(size))
        table, ash, jinja = (f'{SCRATCH}/{name}' for name in ('leases', 'ash', 'jinja'))
        with open(table, 'w', encoding='utf-8') as file:
            file.write(inputs.lease_table(size))
        commands = {'busybox ash': (['busybox', 'ash', PEERS + '/leases.sh', table, ash], ash),
                    'Python + Jinja2': (['/usr/bin/python3', PEERS + '/leases.py', CONFIG, jinja], jinja)}
        for peer, (command, output) in commands.items():
            if measurer.smoke:
                continue
            run(*command)
            same_file('/run/dnsmasq.conf', output)
            mine, theirs = measurer.cost(PEER_RUNS, [[measurer.tessera, 'dnsmasq'], command])
            results.peers.append(('leases', size, peer, mine, theirs))


def measure_interfaces(measurer, results, sizes):
    for size in sizes:
        measurer.configure(inputs.text(inputs.interfaces(size)))
        results.costs['network, interfaces', size] = measurer.service('network', runs_for(size))
        if measurer.smoke:
            continue
        root = SCRATCH + '/netplan'
        os.makedirs(root + '/etc/netplan')
        with open(root + '/etc/netplan/bench.yaml', 'w', encoding='utf-8') as file:
            file.write(inputs.netplan(size))
        os.chmod(file.name, 0o600)  # otherwise each run prints a warning
        command = [NETPLAN, '--root-dir', root]
        run(*command)
        networks = len([name for name in os.listdir(root + '/run/systemd/network') if name.endswith('.network')])
        if networks != size:
            raise Failure(f'netplan wrote {networks} networks instead of {size}')
        mine, theirs = measurer.cost(PEER_RUNS, [[measurer.tessera, 'network'], command])
        results.peers.append(('interfaces', size, 'netplan generate', mine, theirs))


def measure_tunnels(measurer, results, sizes):
    with open(EXAMPLE + '/config.json', encoding='utf-8') as file:
        example = json.load(file)
    for size in sizes:
        document = inputs.text(inputs.tunnels(size, example))
        for service, before in (('ipsec', ()), ('network', ('ipsec',))):
            measurer.configure(document, EXAMPLE + '/runtime.json')
            runs = runs_for(size * 20)
            results.costs[f'{service}, tunnels', size] = measurer.service(service, runs, before)


def measure_users(measurer, results, sizes):
    for size in sizes:
        measurer.configure(inputs.text(inputs.users(size)))
        results.costs['pam, users and servers', size] = measurer.service('pam', runs_for(size))


# --- Gates ---

# Millions of instructions, by series and size.
INSTRUCTIONS = {('dnsmasq, leases', 10): 0.4, ('dnsmasq, leases', 1000): 6.5, ('dnsmasq, leases', 10000): 60,
                ('network, interfaces', 1000): 50}
SLOWER_BY = 10  # each peer has to be slower by this factor at least
GATED_PEERS = {'netplan generate': 1, 'busybox ash': 1000, 'Python + Jinja2': 1000}  # from this size on


class Gate:
    def __init__(self, what, limit, value, unit='', at_least=False):
        self.what, self.limit, self.value, self.unit, self.at_least = what, limit, value, unit, at_least

    def row(self):
        limit = f'at {"least" if self.at_least else "most"} {self.limit:g}{self.unit}'
        met = self.value >= self.limit if self.at_least else self.value <= self.limit
        return [self.what, limit, f'{number(self.value)}{self.unit}', 'met' if met else '**missed**']


def gates(results):
    found = [Gate(f'{series}, {size:,}: instructions', INSTRUCTIONS[series, size], row['instructions'] / 1e6, ' M')
             for (series, size), row in results.costs.items() if (series, size) in INSTRUCTIONS]
    found += [Gate(f'{series}, {size:,}: peak memory', 2.5, row['peak'] * 1024 / 1e6, ' MB')
              for (series, size), row in results.costs.items() if (series, size) == ('dnsmasq, leases', 10)]
    for (series, size), row in results.costs.items():
        for times in (2, 10):
            more = results.costs.get((series, size * times))
            if size >= 1000 and more:
                found.append(Gate(f'{series}: instructions for {size * times:,} / for {size:,}', 1.05 * times,
                                  more['instructions'] / row['instructions']))
    found += [Gate(f'{series}, {size:,}: faster than {peer} by', SLOWER_BY, theirs['wall'] / mine['wall'], '', True)
              for series, size, peer, mine, theirs in results.peers if size >= GATED_PEERS[peer]]
    return found


# --- Tables ---

def number(value):
    if isinstance(value, int):
        return f'{value:,}'
    return f'{value:,.3f}' if value < 1 else f'{value:,.2f}' if value < 100 else f'{value:,.1f}'


def print_table(title, head, rows):
    print(f'\n### {title}\n')
    print('| ' + ' | '.join(head) + ' |')
    print('|---' + '|--:' * (len(head) - 1) + '|')
    for row in rows:
        print('| ' + ' | '.join(row) + ' |')


def print_costs(results):
    rows = [[series, number(size), number(row['wall'] / 1000), number(row['cpu'] / 1000),
             number(row['instructions'] / 1e6), number(row['peak'])]
            for (series, size), row in results.costs.items()]
    print_table('Cost of a run', ['run', 'size', 'wall ms', 'CPU ms', 'M instructions', 'peak KiB'], rows)


def print_peers(results):
    rows = [[series, number(size), peer, number(mine['wall'] / 1000), number(theirs['wall'] / 1000),
             number(theirs['wall'] / mine['wall'])] for series, size, peer, mine, theirs in results.peers]
    print_table('Beside peers on the same work',
                ['input', 'size', 'peer', 'tessera ms', 'peer ms', 'tessera is faster by'], rows)


def print_head():
    with open('/proc/cpuinfo', encoding='utf-8') as file:
        model = re.search(r'^model name\s*: (.*)', file.read(), re.MULTILINE)
    now = datetime.datetime.now(datetime.timezone.utc)
    kernel = os.uname()
    print(f'{now:%Y-%m-%d %H:%M} UTC, {os.cpu_count()} cores of {model.group(1) if model else "unknown kind"}, '
          f'{kernel.machine}, Linux {kernel.release.split("-")[0]}, '
          f'load at the end {os.getloadavg()[1]:.1f}')


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n', 1)[0])
    parser.add_argument('--sizes', choices=SIZES, default='small')
    parser.add_argument('--only', default='start-up,example,leases,interfaces,tunnels,users')
    parser.add_argument('bin')
    options = parser.parse_args()
    options.bin = os.path.abspath(options.bin)
    enter_namespaces()
    os.environ.clear()  # as at boot: the dynamic loader examines every variable
    os.environ.update(LC_ALL='C', PATH='/usr/sbin:/usr/bin:/sbin:/bin')
    make_router()
    run('cc', '-O2', '-static', '-o', MEASURE, os.path.join(SOURCE, 'bench', 'measure.c'))

    measurer, results, sizes = Measurer(options), Results(), SIZES[options.sizes]
    series = {'start-up': lambda: measure_start(measurer, results),
              'example': lambda: measure_example(measurer, results),
              'leases': lambda: measure_leases(measurer, results, sizes['leases']),
              'interfaces': lambda: measure_interfaces(measurer, results, sizes['interfaces']),
              'tunnels': lambda: measure_tunnels(measurer, results, sizes['tunnels']),
              'users': lambda: measure_users(measurer, results, sizes['users'])}
    for name in options.only.split(','):
        print(f'bench: {name}', file=sys.stderr)
        series[name]()
    print_head()
    print_costs(results)
    if measurer.smoke:
        return
    print_peers(results)
    print_table('Gates', ['what', 'gate', 'measured', ''], [gate.row() for gate in gates(results)])


if __name__ == '__main__':
    try:
        main()
    except Failure as failure:
        sys.exit(f'bench: {failure}')
