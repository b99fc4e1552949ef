#!/bin/sh
# Writes static leases like the start script of a router: leases.sh LEASES OUTPUT
# Each line of LEASES is a lease: hardware address, name, address.
{
  echo 'resolv-file=/var/run/resolv.dnsmasq
cache-size=150
domain-needed
bogus-priv
no-hosts
dhcp-script=/bin/dnsmasq-script.sh
bind-dynamic
dhcp-leasefile=/var/run/dhcp.leases
no-negcache
host-record=localhost,127.0.0.1

# network interface '"'lan'"' configurations
dhcp-range=lan,10.0.0.10,10.0.0.200,43200s
domain=lan.example,10.0.0.1/8 # domain name suffix
dhcp-option=net:lan,3,0.0.0.0 # gateway address
dhcp-option=net:lan,6,0.0.0.0 # dns server'
  while read -r mac name ip; do
    echo "dhcp-host=$mac,$name,$ip,net:lan"
  done <"$1"
} >"$2"
