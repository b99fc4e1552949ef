#!/bin/sh
# Writes all files at the start of the system, before the daemons start. Ends with 0 when nothing failed.
#
# With procd, boot() of a script in /etc/init.d calls it; the script's START comes before that of the network.
failed=0
# Goes on when a change cannot be taken back: nobody can reach a router without files, to try again.
tessera-apply boot || failed=1
mkdir -p /var/run/uci
for service in pam dnsmasq ipsec network; do
  status=0
  tessera "$service" || status=$?
  case $service:$status in
    *:0) ;;
    ipsec:1) ;; # no tunnel was written: none is configured, or all wait for an address
    *)
      logger -t tessera "$service ended with status $status"
      failed=1
      ;;
  esac
done
exit "$failed"
