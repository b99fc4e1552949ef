"""Inputs of the benchmarks: configurations of any size, and the same data in the formats of the peers."""
import copy
import json


def static_interface(device, address, **dhcp_server):
    ipv4 = {'enable': True, 'type': 'static', 'address': address}
    if dhcp_server:
        ipv4['dhcp_server'] = {'enable': True, **dhcp_server}
    return {'type': 'ethernet', 'enable': True, 'device': f'/network/device/{device}', 'ipv4': ipv4}


def lease(i):
    n = i + 256
    return {'type': 'mac', 'mac': '02:00:%02x:%02x:%02x:%02x' % (n >> 24, n >> 16 & 255, n >> 8 & 255, n & 255),
            'name': f'host-{i}', 'ip': '10.%d.%d.%d' % (n >> 16, n >> 8 & 255, n & 255)}


def leases(count):
    """One network with that many static DHCP leases."""
    advanced = {'domain_suffix': 'lan.example', 'gateway': 'auto', 'mtu': 'auto', 'primary_dns': 'auto',
                'secondary_dns': 'none', 'primary_ntp': 'none', 'secondary_ntp': 'none', 'primary_wins': 'none',
                'secondary_wins': 'none', 'static_lease': [lease(i) for i in range(count)]}
    lan = static_interface('eth0', '10.0.0.1/8', lease_start='10', lease_end='200', lease_time='12h', advanced=advanced)
    return {'network': {'device': {'eth0': {'type': 'ethernet', 'name': 'eth0'}}, 'interface': {'lan': lan}}}


def lease_table(count):
    """The same leases in the format of the shell script."""
    return ''.join('%(mac)s %(name)s %(ip)s\n' % lease(i) for i in range(count))


def address(i):
    return '10.%d.%d.1/24' % (i >> 8, i & 255)


def interfaces(count):
    """That many Ethernet ports, each with a static address, a gateway and a name server."""
    ports = {f'eth{i}': {'type': 'ethernet', 'name': f'eth{i}'} for i in range(count)}
    entries = {}
    for i in range(count):
        entry = static_interface(f'eth{i}', address(i))
        entry['mtu'] = 1500
        entry['ipv4'].update(gateway=address(i).replace('.1/24', '.254'), dns=['192.0.2.53'], metric=i + 1)
        entries[f'lan{i}'] = entry
    return {'network': {'device': ports, 'interface': entries}}


def netplan(count):
    """The same ports in netplan's YAML."""
    lines = ['network:', '  version: 2', '  renderer: networkd', '  ethernets:']
    for i in range(count):
        gateway = address(i).replace('.1/24', '.254')
        lines += [f'    eth{i}:', f'      addresses: [{address(i)}]', '      mtu: 1500',
                  f'      routes: [{{to: default, via: {gateway}, metric: {i + 1}}}]',
                  '      nameservers: {addresses: [192.0.2.53]}']
    return '\n'.join(lines) + '\n'


def tunnels(count, example):
    """The pre-shared-key tunnel of the example router, that many times."""
    template = example['vpn']['ipsec']['tunnel']['headquarters']
    entries = {}
    for i in range(count):
        entry = copy.deepcopy(template)
        entry['remote']['peers'] = [{'hostname': '198.51.%d.%d' % (i >> 8, i & 255)}]
        entry['policy'][0]['remote']['network'] = address(i).replace('.1/24', '.0/24')
        entry['auth']['secret'] = f'secret of tunnel {i}'
        entries[f'tunnel{i}'] = entry
    network = {'device': {name: example['network']['device'][name] for name in ('eth0', 'eth1')},
               'interface': {name: static_interface(device, ip) for name, device, ip in
                             (('wan', 'eth0', '198.51.100.7/24'), ('lan', 'eth1', '192.168.10.1/24'))}}
    return {'network': network, 'vpn': {'ipsec': {'tunnel': entries}}}


def users(count):
    """That many users, the last one with a second factor, and the same number of servers of every kind."""
    servers = [{'hostname': f'auth-{i}.example', 'port': 1812, 'secret': f'secret]{i}'} for i in range(count)]
    return {'auth': {'user': {f'user-{i}': {'2fa': {'enable': i == count - 1}} for i in range(count)},
                     'method': ['radius', 'ldap', 'tacacs+', 'local'],
                     'radius': {'server': [{**server, 'timeout': 5} for server in servers], 'nas_id': 'bench'},
                     'ldap': {'server': [{'hostname': server['hostname'], 'port': 389} for server in servers],
                              'base_dn': 'dc=example', 'login_attribute': 'uid', 'tls': 'on', 'timeout': 5, 'group_attribute': 'groups'},
                     'tacacs+': {'server': servers, 'service': 'login', 'group_attribute': 'groups'}}}


def text(document):
    return json.dumps(document)
