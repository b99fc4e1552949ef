// Writes the configuration of the DNS forwarder and DHCP server, and the host-name sniffer's list of domains.
#include "dnsmasq/dnsmasq.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "main/mappers.h"
#include "main/print.h"
#include "main/text.h"
#include "output/files.h"
#include "platform/config.h"
#include "platform/network.h"
#include "platform/runt.h"
#include "platform/tools.h"

NetworkModel *dnsmasq_network_model = nullptr;

namespace {

const char conf_path[] = "/var/run/dnsmasq.conf";
const char sniffer_path[] = "/var/run/hostnamesniffer.cfg";
const char web_filter_id_path[] = "/etc/config/web-filter-id";
const size_t web_filter_id_length = 16;

// The fixed host names of the built-in speed test, and its sets: above every number that a policy route can have.
const char *const speedtest_hosts[] = {"speedtest-1.tessera.example", "speedtest-2.tessera.example"};
const int speedtest_set4 = 200;
const int speedtest_set6 = 201;

bool web_filter_enabled(const ConfigNode *root) {
  return config_object_has_key(root, "firewall", "web_filter") && config_get_bool(root, "firewall.web_filter.enable");
}

void write_global_options(FILE *file, const ConfigNode *root) {
  print(file, web_filter_enabled(root) ? "resolv-file=/var/run/web-filter-resolv.dnsmasq\n"
                                       : "resolv-file=/var/run/resolv.dnsmasq\n");
  print(file,
        "cache-size=150\n"
        "domain-needed\n"
        "bogus-priv\n"
        "no-hosts\n"
        "dhcp-script=/bin/dnsmasq-script.sh\n"
        "bind-dynamic\n");
  print(file, config_get_bool(root, "network.advanced.dhcp_persistent_lease")
                  ? "dhcp-leasefile=/etc/config/dhcp.leases\n"
                  : "dhcp-leasefile=/var/run/dhcp.leases\n");
  if (config_get_bool(root, "network.advanced.sequential_dhcp_allocation")) print(file, "dhcp-sequential-ip\n");
}

void write_dns_options(FILE *file, const ConfigNode *dns) {
  if (!config_get_bool(dns, "cache_negative_responses")) print(file, "no-negcache\n");
  if (config_get_bool(dns, "query_all_servers")) print(file, "all-servers\n");
  if (config_get_bool(dns, "stop_dns_rebind")) {
    print(file, "stop-dns-rebind\n");
    if (config_get_bool(dns, "rebind_localhost_ok")) print(file, "rebind-localhost-ok\n");
  }
}

// The identity under which the web filter's cloud knows this device; the service stores it once it has registered.
void write_web_filter_identity(FILE *file, const ConfigNode *root) {
  if (!web_filter_enabled(root)) return;
  if (!equals(config_get_string(root, "firewall.web_filter.service"), "umbrella")) return;
  if (!is_there(web_filter_id_path)) {
    log_debug("Umbrella device ID has not been obtained yet");
    return;
  }
  OwnedText id(file_read(web_filter_id_path));
  if (id == nullptr || strlen(id.get()) != web_filter_id_length) {
    log_error("Ignoring invalid Umbrella device ID. Try deleting the web-filter-id file");
    return;
  }
  fprintf(file, "umbrella=deviceid:%s\n", id.get());
}

void write_upstream_servers(FILE *file, const ConfigNode *dns) {
  for (const ConfigNode *server = config_array_first(config_array(dns, "server")); server != nullptr;
       server = config_array_next(server)) {
    const char *domain = text_at(server, "domain");
    const char *separator = is_set(domain) ? "/" : "";
    fprintf(file, "server=%s%s%s%s\n", separator, domain, separator, text_at(server, "address"));
  }
}

void write_allowlist(FILE *file, const ConfigNode *dns) {
  const ConfigNode *allowlist = config_array(dns, "allowlist");
  size_t count = config_array_count(allowlist);
  if (count > 0) print(file, "address=/#/\n");
  for (size_t i = 0; i < count; i++) fprintf(file, "server=/%s/#\n", or_empty(config_array_get_string(allowlist, i)));
}

void write_host_records(FILE *file, const ConfigNode *dns) {
  print(file, "host-record=localhost,127.0.0.1\n");
  for (const ConfigNode *host = config_array_first(config_array(dns, "host")); host != nullptr;
       host = config_array_next(host)) {
    fprintf(file, "host-record=%s,%s\n", text_at(host, "name"), text_at(host, "address"));
  }
}

void write_interfaces(FILE *file) {
  for (const NetworkNode *interface = network_first_type(dnsmasq_network_model, NETWORK_NODE_INTERFACE);
       interface != nullptr; interface = network_next_type(dnsmasq_network_model, interface, NETWORK_NODE_INTERFACE)) {
    dnsmasq_walk_interface(file, interface);
  }
}

// One domain-based policy route: the forwarder fills the sets of this index from its answers, the sniffer from the host
// names it sees. `sniffer` is null when its file could not be opened.
void write_policy_route(FILE *file, FILE *sniffer, const ConfigNode *policy, int index) {
  const ConfigNode *domains = config_array(policy, "dst.domain");
  size_t count = config_array_count(domains);
  print(file, "ipset=");
  for (size_t i = 0; i < count; i++) {
    const char *domain = or_empty(config_array_get_string(domains, i));
    fprintf(file, "/%s", domain);
    if (sniffer != nullptr) fprintf(sniffer, "%s%s", i > 0 ? "," : "", domain);
  }
  const char *version = config_get_string(policy, "ip_version");
  int family = 6;
  if (equals(version, "any")) {
    family = 1;
    fprintf(file, "/domain-policy-%d,domain6-policy-%d\n", index, index);
  } else if (equals(version, "ipv4")) {
    family = 4;
    fprintf(file, "/domain-policy-%d\n", index);
  } else {
    fprintf(file, "/,domain6-policy-%d\n", index);
  }
  if (sniffer != nullptr) fprintf(sniffer, " %d %d\n", family, index);
}

// Every element counts for the index, written or not: the packet filter numbers the sets by position.
void write_policy_routes(FILE *file, FILE *sniffer, const ConfigNode *root) {
  if (!config_object_has_key(root, "network", "route") || !config_object_has_key(root, "network.route", "policy"))
    return;
  int index = 0;
  for (const ConfigNode *policy = config_array_first(config_array(root, "network.route.policy")); policy != nullptr;
       policy = config_array_next(policy), index++) {
    if (config_get_bool(policy, "enable") && equals(config_get_string(policy, "dst.type"), "domain"))
      write_policy_route(file, sniffer, policy, index);
  }
}

void write_speedtest(FILE *file, FILE *sniffer) {
  OwnedText interface(runt_get_string("remote_builtin.speedtest.interface"));
  if (!is_set(interface.get())) return;
  fprintf(file, "ipset=/%s/%s/domain-policy-%d,domain6-policy-%d\n", speedtest_hosts[0], speedtest_hosts[1],
          speedtest_set4, speedtest_set6);
  if (sniffer == nullptr) return;
  fprintf(sniffer, "%s,%s 4 %d\n", speedtest_hosts[0], speedtest_hosts[1], speedtest_set4);
  fprintf(sniffer, "%s,%s 6 %d\n", speedtest_hosts[0], speedtest_hosts[1], speedtest_set6);
}

// The status does not tell that a file is incomplete, so the log must.
void finish(OwnedStream stream, const char *path) {
  if (!close_output(std::move(stream))) log_error("error writing %s: %s", path, strerror(errno));
}

void write_files(FILE *file, const ConfigNode *root) {
  const ConfigNode *dns = config_object(root, "service.dns");
  write_global_options(file, root);
  write_dns_options(file, dns);
  write_web_filter_identity(file, root);
  write_upstream_servers(file, dns);
  write_allowlist(file, dns);
  write_host_records(file, dns);

  OwnedModel model(network_load(root));
  dnsmasq_network_model = model.get();
  write_interfaces(file);

  OwnedStream sniffer = open_output(sniffer_path, public_mode);
  write_policy_routes(file, sniffer.get(), root);
  if (runt_init() != 0) log_error("failed to initialize runt interface");
  write_speedtest(file, sniffer.get());
  runt_deinit();

  dnsmasq_forget_model();
  dnsmasq_network_model = nullptr;
  model.reset();
  if (sniffer != nullptr) finish(std::move(sniffer), sniffer_path);
}

}  // namespace

int32_t map_dnsmasq(const ConfigNode *root, int32_t, char **) {
  // The daemon and the sniffer drop their privileges before they read their files again, and neither holds a secret.
  OwnedStream conf = open_output(conf_path, public_mode);
  if (conf == nullptr) return 1;

  write_files(conf.get(), root);
  finish(std::move(conf), conf_path);
  return 0;
}
