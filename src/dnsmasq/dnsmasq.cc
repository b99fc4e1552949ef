// Writes the configuration of dnsmasq (DNS forwarder and DHCP server), and the list of domains for the host-name
// sniffer.
#include "dnsmasq/dnsmasq.h"

#include <cerrno>
#include <cstring>

#include "main/mappers.h"
#include "main/owned.h"
#include "main/strings.h"
#include "output/files.h"
#include "platform/ranges.h"

NetworkModel *dnsmasq_network_model = nullptr;
DnsmasqRun *dnsmasq_run = nullptr;

namespace {

const char conf_path[] = "/var/run/dnsmasq.conf";
const char sniffer_path[] = "/var/run/hostnamesniffer.cfg";
const char web_filter_id_path[] = "/etc/config/web-filter-id";
const size_t web_filter_id_length = 16;

// The host names of the built-in speed test, and the numbers of its sets, which lie above those of policy routes.
const char *const speedtest_hosts[] = {"speedtest-1.tessera.example", "speedtest-2.tessera.example"};
const int speedtest_set4 = 200;
const int speedtest_set6 = 201;

bool web_filter_enabled(const ConfigNode *root) {
  return config_object_has_key(root, "firewall", "web_filter") && config_get_bool(root, "firewall.web_filter.enable");
}

void write_global_options(FILE *file, const ConfigNode *root) {
  fprintf(file, "resolv-file=/var/run/%sresolv.dnsmasq\n", web_filter_enabled(root) ? "web-filter-" : "");
  fprintf(file,
          "cache-size=150\n"
          "domain-needed\n"
          "bogus-priv\n"
          "no-hosts\n"
          "dhcp-script=/bin/dnsmasq-script.sh\n"
          "bind-dynamic\n");
  bool persistent = config_get_bool(root, "network.advanced.dhcp_persistent_lease");
  fprintf(file, "dhcp-leasefile=%s/dhcp.leases\n", persistent ? "/etc/config" : "/var/run");
  if (config_get_bool(root, "network.advanced.sequential_dhcp_allocation")) fprintf(file, "dhcp-sequential-ip\n");
}

void write_dns_options(FILE *file, const ConfigNode *dns) {
  if (!config_get_bool(dns, "cache_negative_responses")) fprintf(file, "no-negcache\n");
  if (config_get_bool(dns, "query_all_servers")) fprintf(file, "all-servers\n");
  if (!config_get_bool(dns, "stop_dns_rebind")) return;
  fprintf(file, "stop-dns-rebind\n");
  if (config_get_bool(dns, "rebind_localhost_ok")) fprintf(file, "rebind-localhost-ok\n");
}

// Writes the ID of this device in the cloud of the web filter. Another service stores it after it has registered.
void write_web_filter_identity(FILE *file, const ConfigNode *root) {
  if (!web_filter_enabled(root)) return;
  if (!equals(config_get_string(root, "firewall.web_filter.service"), "umbrella")) return;
  if (!is_there(web_filter_id_path)) {
    log_debug("Umbrella device ID has not been obtained yet");
    return;
  }
  OwnedString id(file_read(web_filter_id_path));
  if (id == nullptr || strlen(id.get()) != web_filter_id_length) {
    log_error("Ignoring invalid Umbrella device ID. Try deleting the web-filter-id file");
    return;
  }
  fprintf(file, "umbrella=deviceid:%s\n", id.get());
}

void write_upstream_servers(FILE *file, const ConfigNode *dns) {
  for (const ConfigNode *server : elements(config_array(dns, "server"))) {
    const char *domain = string_at(server, "domain");
    const char *separator = is_set(domain) ? "/" : "";
    fprintf(file, "server=%s%s%s%s\n", separator, domain, separator, string_at(server, "address"));
  }
}

void write_allowlist(FILE *file, const ConfigNode *dns) {
  const ConfigNode *allowlist = config_array(dns, "allowlist");
  if (config_array_count(allowlist) > 0) fprintf(file, "address=/#/\n");
  for (const char *domain : string_elements(allowlist)) fprintf(file, "server=/%s/#\n", or_empty(domain));
}

void write_host_records(FILE *file, const ConfigNode *dns) {
  fprintf(file, "host-record=localhost,127.0.0.1\n");
  for (const ConfigNode *host : elements(config_array(dns, "host")))
    fprintf(file, "host-record=%s,%s\n", string_at(host, "name"), string_at(host, "address"));
}

void write_interfaces(FILE *file) {
  for (const NetworkNode *interface : nodes_of_type(dnsmasq_network_model, NETWORK_NODE_INTERFACE))
    dnsmasq_walk_interface(file, interface);
}

// Writes one policy route by domain. dnsmasq fills the sets of this index from its answers, the sniffer from the host
// names that it sees. `sniffer` is null when its file could not be opened.
void write_policy_route(FILE *file, FILE *sniffer, const ConfigNode *policy, int index) {
  fprintf(file, "ipset=");
  const char *separator = "";
  for (const char *domain : string_elements(config_array(policy, "dst.domain"))) {
    fprintf(file, "/%s", or_empty(domain));
    if (sniffer != nullptr) fprintf(sniffer, "%s%s", separator, or_empty(domain));
    separator = ",";
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

// The index counts every element, written or not, because the packet filter numbers the sets by position.
void write_policy_routes(FILE *file, FILE *sniffer, const ConfigNode *root) {
  if (!config_object_has_key(root, "network", "route") || !config_object_has_key(root, "network.route", "policy"))
    return;
  int index = 0;
  for (const ConfigNode *policy : elements(config_array(root, "network.route.policy"))) {
    if (config_get_bool(policy, "enable") && equals(config_get_string(policy, "dst.type"), "domain"))
      write_policy_route(file, sniffer, policy, index);
    index++;
  }
}

void write_speedtest(FILE *file, FILE *sniffer) {
  OwnedString interface(runt_get_string("remote_builtin.speedtest.interface"));
  if (!is_set(interface.get())) return;
  fprintf(file, "ipset=/%s/%s/domain-policy-%d,domain6-policy-%d\n", speedtest_hosts[0], speedtest_hosts[1],
          speedtest_set4, speedtest_set6);
  if (sniffer == nullptr) return;
  fprintf(sniffer, "%s,%s 4 %d\n", speedtest_hosts[0], speedtest_hosts[1], speedtest_set4);
  fprintf(sniffer, "%s,%s 6 %d\n", speedtest_hosts[0], speedtest_hosts[1], speedtest_set6);
}

// Closes the file. A message reports an incomplete file, as the exit status does not.
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
  DnsmasqRun run = begin_dnsmasq_run(model.get());
  dnsmasq_network_model = model.get();
  dnsmasq_run = &run;
  write_interfaces(file);

  OwnedStream sniffer = open_output(sniffer_path, public_mode);
  write_policy_routes(file, sniffer.get(), root);
  if (runt_init() != 0) log_error("failed to initialize runt interface");
  write_speedtest(file, sniffer.get());
  runt_deinit();

  dnsmasq_run = nullptr;
  dnsmasq_network_model = nullptr;
  model.reset();
  if (sniffer != nullptr) finish(std::move(sniffer), sniffer_path);
}

}  // namespace

int32_t map_dnsmasq(const ConfigNode *root, int32_t, char **) {
  // dnsmasq and the sniffer drop their privileges before they read their files again. The files hold no secrets.
  OwnedStream conf = open_output(conf_path, public_mode);
  if (conf == nullptr) return 1;

  write_files(conf.get(), root);
  finish(std::move(conf), conf_path);
  return 0;
}
