#!/bin/sh
# Writes all files at the start of the system, before the daemons. Ends with 0 when all went well.
#
# With procd it is called by the boot() of a script in /etc/init.d, whose START comes before that of the network.
failed=0
# What cannot be taken back is logged and tried again by later commands: without files there is no way to send them.
tessera-apply boot || failed=1
mkdir -p /var/run/uci
for service in pam dnsmasq ipsec network; do
  status=0
  tessera "$service" || status=$?
  case $service:$status in
    *:0) ;;
    ipsec:1) ;; # no tunnel was written: there is none, or it waits for an address
    *)
      logger -t tessera "$service ended with status $status"
      failed=1
      ;;
  esac
done
exit "$failed"
