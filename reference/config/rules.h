// The rules that the checker applies to a configuration document: their names, grades and texts. The checker's
// messages, the list in the manual page and the rules of a SARIF log are made from these rows.
//
// RULE(name, severity, grade, about, wrong, outcome, cure):
// - `name` is shown with "-" instead of "_" and never changes after a release, as scripts filter by it.
// - `grade` is what a run does with such a document.
// - `about` describes the rule in a phrase.
// - `wrong` is the message; "" when the code that reports the finding has a message of its own, which a run logs too.
// - `outcome` says what the mistake leads to, `cure` what to write instead.
//
// Each "{name}" in these texts is replaced by a value of the finding. The same name always gives the same value.
#ifndef TESSERA_REFERENCE_CONFIG_RULES_H
#define TESSERA_REFERENCE_CONFIG_RULES_H

#include <cstddef>
#include <cstdint>
#include <string>

// Findings of the loader and the network model, in a run and in a check.
#define TESSERA_DOCUMENT_RULES(RULE)                                                                                   \
  RULE(unreadable, error, refused, "a file that cannot be read", "", "no service gets its files",                      \
       "name a readable file of at most 256 MiB")                                                                      \
  RULE(syntax, error, refused, "a document that is not JSON", "",                                                      \
       "the document is refused, no service gets its files",                                                           \
       "write JSON without comments and without commas before closing brackets")                                       \
  RULE(wrong_type, error, refused, "a value of the wrong type", "",                                                    \
       "the document is refused, no service gets its files", "write a value of the type that the key has")             \
  RULE(number_range, error, refused, "a number outside of the range of its key", "",                                   \
       "the document is refused, no service gets its files", "write a number in that range")                           \
  RULE(duration, error, refused, "a value that is not a duration", "",                                                 \
       "the document is refused, no service gets its files", "write seconds as a number, or a string such as \"12h\"") \
  RULE(characters, error, refused, "characters that a string or name cannot hold", "",                                 \
       "the document is refused, no service gets its files", "remove the characters")                                  \
  RULE(entry_name, error, refused, "the name of an entry that cannot name a section", "",                              \
       "the document is refused, no service gets its files", "rename the entry, and what refers to it")                \
  RULE(repeated_name, error, refused, "a name that occurs twice in its object", "",                                    \
       "the document is refused, no service gets its files", "keep one of the two")                                    \
  RULE(nesting, error, refused, "objects and arrays that are nested too deeply", "",                                   \
       "the document is refused, no service gets its files", "nest no more than 64 levels")                            \
  RULE(unknown_key, warning, ignored, "a key that tessera does not know", "", "it has no effect",                      \
       "correct its name, move it to its place or remove it")                                                          \
  RULE(dangling_reference, error, ignored, "a reference that names nothing", "", "what depends on it is left out",     \
       "name an existing entry, or remove the reference")                                                              \
  RULE(unknown_word, error, ignored, "a type of a device, interface or part that tessera does not know", "",           \
       "its sections are missing", "write one of the listed types")                                                    \
  RULE(vlan_base, error, ignored, "a VLAN without a base device", "", "the interfaces on it have no device",           \
       "set its device to a port, bridge or bond")

// Findings of the check alone: a run does not look for them. Some of them a service logs when it writes its files.
#define TESSERA_CHECK_RULES(RULE)                                                                                      \
  /* Words and switches. */                                                                                            \
  RULE(useless_word, warning, questionable, "a word that no writer knows", "'{word}' is not one of: {words}",          \
       "it has no effect, or the effect of another word", "write one of these words")                                  \
  RULE(doubtful_word, warning, questionable, "a word that the daemon may not know",                                    \
       "'{word}' is not a known word{hint}", "the daemon gets it as it is written",                                    \
       "write a word that the daemon knows")                                                                           \
  RULE(undeclared_name, warning, questionable, "the name of an entry in a map that has no entries",                    \
       "'{name}' should be an entry of {map}, which has no entries",                                                   \
       "it works only if the router knows the name from elsewhere", "add the entry, or correct the name")              \
  RULE(never_enabled, warning, questionable, "settings without enable", "enable is not set",                           \
       "this is off, and its other settings have no effect", "write \"enable\": true, or \"enable\": false")           \
  RULE(stands_on_disabled, warning, questionable, "an enabled interface on a bridge, bond or tunnel that is off",      \
       "the interface is on {device}, which is not enabled", "the interface has no device and stays down",             \
       "write \"enable\": true there, or name another device")                                                         \
  RULE(no_device, warning, questionable, "an interface without a device",                                              \
       "the interface is on no device that the system has", "its sections name no device, and it stays down",          \
       "set device to a port, bridge, bond or VLAN")                                                                   \
  RULE(no_part, note, questionable, "an interface without an enabled address family",                                  \
       "neither ipv4 nor ipv6 is enabled", "the interface gets no section", "enable ipv4 or ipv6")                     \
  /* dnsmasq. */                                                                                                       \
  RULE(dnsmasq_value, error, questionable, "a value that makes dnsmasq refuse its file", "{problem}",                  \
       "dnsmasq does not start", "{cure}")                                                                             \
  RULE(dnsmasq_effect, warning, questionable, "a value that dnsmasq reads differently or does not use", "{problem}",   \
       "dnsmasq accepts the line, but does not do what it says", "{cure}")                                             \
  RULE(dhcp_range, error, questionable, "a lease range that is not a range of addresses",                              \
       "'{first}' to '{last}' is not a range of addresses", "dnsmasq does not start",                                  \
       "write two addresses of the subnet or their last numbers, the lower one first")                                 \
  RULE(dhcp_option_form, warning, questionable, "a DHCP option without a known datatype", "{problem}",                 \
       "only value_bytes is sent, without a size", "{cure}")                                                           \
  RULE(dhcp_range_outside, warning, questionable, "leases outside of the subnet",                                      \
       "{address} is not in the subnet {subnet}", "dnsmasq never leases it", "write an address of the subnet")         \
  RULE(dhcp_options_unset, warning, questionable, "options of a DHCP server that are not set", "{keys} not set",       \
       "{outcome}", "write auto, custom or none")                                                                      \
  RULE(dhcp_lease_time, warning, questionable, "a lease time below 120 seconds", "lease_time is {seconds} seconds",    \
       "leases last 120 seconds", "write 120 seconds or more")                                                         \
  RULE(dhcp_unused, warning, questionable, "a DHCP server where none can run", "dhcp_server has no effect {where}",    \
       "clients get no addresses from here", "give ipv4 the type static, or remove dhcp_server")                       \
  RULE(dhcp_hybrid, warning, questionable, "a DHCP server on a hybrid interface",                                      \
       "the DHCP server of a hybrid interface serves only while the runtime fact hybrid.lanmode is true",              \
       "clients get no addresses at other times", "give ipv4 the type static if the server must always run")           \
  RULE(dhcp_lan_mode, warning, questionable, "a mistake in a DHCP server on a hybrid interface", "{problem}",          \
       "{outcome} while the runtime fact hybrid.lanmode is true", "{cure}")                                            \
  RULE(dhcp_taken, error, questionable, "a DHCP server on the device of a passthrough interface",                      \
       "the passthrough interface {interface} has the same device", "the DHCP server or relay is left out",            \
       "give one of the two another device")                                                                           \
  RULE(lease_twice, warning, questionable, "an address that is reserved twice in one server",                          \
       "the address '{address}' is already reserved by {other}", "the run logs it and leaves this reservation out",    \
       "reserve another address")                                                                                      \
  RULE(lease_elsewhere, error, questionable, "an address that two DHCP servers reserve",                               \
       "the address '{address}' is already reserved by {other}", "dnsmasq does not start", "reserve another address")  \
  RULE(lease_outside, warning, questionable, "a reservation outside of the subnet",                                    \
       "{address} is not in the subnet {subnet}", "dnsmasq never leases it", "reserve an address of the subnet")       \
  RULE(lease_of_router, warning, questionable, "a reservation of the router's own address",                            \
       "'{address}' is the router's own address on this interface", "dnsmasq never leases it",                         \
       "reserve another address")                                                                                      \
  /* The network file. */                                                                                              \
  RULE(address, error, questionable, "an address that an interface cannot have", "{problem}",                          \
       "the interface stays down", "{cure}")                                                                           \
  RULE(address_ends, warning, questionable, "the first or last address of a subnet as the router's address",           \
       "'{address}' is the {end} address of its subnet", "other machines do not reach it",                             \
       "write an address between the two")                                                                             \
  RULE(gateway_outside, warning, questionable, "a gateway outside of the subnet",                                      \
       "the gateway {gateway} is not in the subnet {subnet}", "the kernel refuses routes through it",                  \
       "write an address of the subnet")                                                                               \
  RULE(subnet_twice, warning, questionable, "two interfaces in one subnet", "{subnet} overlaps the subnet of {other}", \
       "traffic to it leaves through only one of the two", "give each interface a subnet of its own")                  \
  RULE(vlan_id, error, questionable, "a number that is not a VLAN ID", "{problem}",                                    \
       "the interfaces on the VLAN stay down", "{cure}")                                                               \
  RULE(uci_value, warning, questionable, "a value that the interface manager does not accept", "{problem}",            \
       "the interface manager ignores it", "{cure}")                                                                   \
  RULE(uci_quotes, error, questionable, "a value that ends the quotes around it", "{problem}",                         \
       "the interface manager cannot read the file from here on", "{cure}")                                            \
  RULE(uci_missing, warning, questionable, "a missing or unusable setting that a section needs", "{problem}",          \
       "the interface manager gets no usable value and cannot set this up", "{cure}")                                  \
  RULE(empty_options, note, questionable, "options that are written empty because keys are left out",                  \
       "{keys} not set", "their options are written empty, which the interface manager reads as not set",              \
       "set them if the other side expects them")                                                                      \
  RULE(section_name, error, questionable, "a section name that the interface manager cannot read",                     \
       "the section name '{name}' holds '{character}'",                                                                \
       "the interface manager ignores its header and adds its lines to the section before it",                         \
       "use only letters, digits and _ in the names of the underlying devices")                                        \
  RULE(section_twice, error, questionable, "two sections of one name",                                                 \
       "the section name '{name}' is also used by {other}", "the interface manager makes one section of both",         \
       "rename one of the two entries")                                                                                \
  RULE(device_twice, warning, questionable, "two devices of one name",                                                 \
       "the device name '{name}' is also used by {other}", "the kernel has only one of the two",                       \
       "give one of the two another name")                                                                             \
  RULE(device_name, warning, questionable, "a device name that the kernel or a daemon does not accept",                \
       "the device name '{name}' {problem}", "the device is not found or not created",                                 \
       "use up to 15 letters, digits, '-' and '_'")                                                                    \
  RULE(two_masters, warning, questionable, "a device that is a member of two bridges or bonds",                        \
       "{device} is already a member of {other}", "the kernel lets it be a member of only one",                        \
       "remove it from one of the two")                                                                                \
  RULE(own_member, warning, questionable, "a device that is a member of itself", "{device} is a member of itself",     \
       "the kernel refuses it", "name another device")                                                                 \
  RULE(member_with_interface, warning, questionable, "a member of a bridge or bond with an interface of its own",      \
       "{device} is a member of {other}, and the interface {interface} is on it", "the interface gets no traffic",     \
       "set the device of the interface to the bridge or bond")                                                        \
  RULE(bond_left_out, error, questionable, "a bond that is not written", "{problem}", "the bond is left out",          \
       "{cure}")                                                                                                       \
  RULE(bridge_options, warning, questionable, "link options of an interface on a bridge",                              \
       "{keys} of an interface on a bridge has no effect", "the bridge has a section of its own, which decides",       \
       "remove it, or set it on the members")                                                                          \
  RULE(link_options_differ, warning, questionable, "link options that differ between the parts of an interface",       \
       "{key} is {value} here and {other} in {part}", "the options of one section apply to the whole device",          \
       "write the same in both parts")                                                                                 \
  RULE(mtu_twice, warning, questionable, "an MTU of an interface and another one of its part",                         \
       "mtu is {value} here and {other} in the interface", "the interface manager uses the MTU of the interface",      \
       "write one of the two")                                                                                         \
  RULE(route_dst, warning, questionable, "a destination that does not parse",                                          \
       "'{value}' is not an IPv4 address or network", "the route is written without its target",                       \
       "write an address or a network such as 10.0.0.0/8")                                                             \
  RULE(route_host_bits, warning, questionable, "a destination with host bits",                                         \
       "'{network}' has bits set after its prefix length", "the kernel refuses the route", "write {masked}")           \
  RULE(route_no_dst, warning, questionable, "a route without a destination", "dst is not set",                         \
       "the interface manager makes it a route to the host 0.0.0.0", "write 0.0.0.0/0 for a default route")            \
  RULE(route_no_interface, warning, questionable, "a route without an interface", "{problem}",                         \
       "the interface manager ignores the route", "set interface to an interface with IPv4")                           \
  RULE(route_value, warning, questionable, "a value that a route cannot have", "{problem}",                            \
       "the kernel refuses the route or reads it differently", "{cure}")                                               \
  RULE(multicast_interfaces, warning, questionable, "a multicast entry with several interfaces",                       \
       "the entry has {count} interfaces",                                                                             \
       "the kernel keeps only one of its routes, as all have the same destination",                                    \
       "write an entry with its own metric for each interface")                                                        \
  RULE(policy_value, warning, questionable, "a policy route that matches nothing", "{problem}",                        \
       "no address is added to its sets", "{cure}")                                                                    \
  RULE(nhrp_name, warning, questionable, "an NHRP network that names other tunnels than meant", "{problem}",           \
       "the wrong tunnels get no interface section", "write whole names of tunnels, and nothing else")                 \
  /* IPsec. */                                                                                                         \
  RULE(ipsec_value, error, questionable, "a value that makes the IPsec starter refuse its file", "{problem}",          \
       "the IPsec daemon does not get the tunnel", "{cure}")                                                           \
  RULE(ipsec_effect, warning, questionable, "a value that the IPsec daemon reads differently or does not use",         \
       "{problem}", "the tunnel comes up differently or not at all", "{cure}")                                         \
  RULE(ipsec_skipped, error, questionable, "a tunnel that a run skips", "{problem}",                                   \
       "the run logs it and skips the tunnel", "{cure}")                                                               \
  RULE(ipsec_proposals, note, questionable, "a tunnel without proposals", "{keys} empty",                              \
       "the IPsec daemon proposes its own list, which depends on its version",                                         \
       "list the algorithms that both ends agree on")                                                                  \
  RULE(ipsec_no_margin, warning, questionable, "a tunnel without a lifetime margin", "ike.lifetime_margin is not set", \
       "keys expire before they are renewed, and the tunnel goes down each time", "write a margin such as \"9m\"")     \
  RULE(ipsec_margin, warning, questionable, "a lifetime margin that is not below both lifetimes",                      \
       "the margin of {margin} s is not below the shorter lifetime of {lifetime} s",                                   \
       "the run logs it and writes a quarter of the lifetime", "write a shorter margin")                               \
  RULE(ipsec_selector, warning, questionable, "a policy whose protocol or port is empty", "{keys} not set",            \
       "the selector is written without a value, as in [/]", "write any to match all")                                 \
  /* OpenVPN, other tunnels, serial ports. */                                                                          \
  RULE(openvpn_value, error, questionable, "a value that makes OpenVPN refuse its file", "{problem}",                  \
       "OpenVPN does not start", "{cure}")                                                                             \
  RULE(openvpn_effect, warning, questionable, "a value that OpenVPN reads differently or does not use", "{problem}",   \
       "the connection comes up differently or not at all", "{cure}")                                                  \
  RULE(serial_unused, warning, questionable, "a dial-in port without settings", "ppp_dialin is not set",               \
       "the port gets no interface", "add the object ppp_dialin")                                                      \
  /* Who may log in. */                                                                                                \
  RULE(auth_value, warning, questionable, "a value that keeps a RADIUS server from being asked", "{problem}",          \
       "the module does not ask this server", "{cure}")                                                                \
  RULE(auth_effect, warning, questionable, "a value that an authentication module reads differently", "{problem}",     \
       "the module gets another value", "{cure}")                                                                      \
  RULE(auth_no_server, warning, questionable, "a method without servers", "there is no {method} server",               \
       "the method is left out", "add a server, or remove the method from auth.method")                                \
  RULE(auth_no_local, note, questionable, "a list of methods without local", "local is not in auth.method",            \
       "nobody can log in while no server answers", "add \"local\" to auth.method")                                    \
  RULE(auth_unused, warning, questionable, "servers that no method asks", "{method} is not in auth.method",            \
       "its servers are never asked", "add \"{method}\" to auth.method, or remove the servers")                        \
  RULE(dns_value, warning, questionable, "a setting of name resolution without effect", "{problem}",                   \
       "the line does not do what it says", "{cure}")                                                                  \
  /* Runtime facts. */                                                                                                 \
  RULE(facts_unreadable, error, questionable, "a facts file that cannot be used", "{problem}", "no fact is known",     \
       "write a flat JSON object of strings, as runt dump prints it")                                                  \
  RULE(fact_value, error, questionable, "a fact that is not a string", "{problem}", "runt load refuses the file",      \
       "write the value in double quotes")                                                                             \
  RULE(unknown_fact, warning, questionable, "a fact that no service reads",                                            \
       "no service reads the fact '{fact}'{hint}", "it has no effect", "correct its name or remove it")                \
  RULE(fact_of_nothing, warning, questionable, "a fact about an entry that the document does not have",                \
       "{map} has no entry '{name}'{hint}", "it has no effect", "correct the name in one of the two")

// How bad the outcome is; tessera-config(8) defines the three.
enum class Severity : uint8_t { error, warning, note };

// What a run does with the same document.
enum class Grade : uint8_t {
  refused,       // logs it and ends
  ignored,       // logs it and goes on without the setting
  questionable,  // does not look for it
};

enum class Rule : uint8_t {
#define RULE(name, severity, grade, about, wrong, outcome, cure) name,
  TESSERA_DOCUMENT_RULES(RULE) TESSERA_CHECK_RULES(RULE)
#undef RULE
};

constexpr Grade grade_of(Rule rule) {
  constexpr Grade grades[] = {
#define RULE(name, severity, grade, about, wrong, outcome, cure) Grade::grade,
      TESSERA_DOCUMENT_RULES(RULE) TESSERA_CHECK_RULES(RULE)
#undef RULE
  };
  return grades[static_cast<size_t>(rule)];
}

// The texts of a rule, from its row above.
struct RuleWords {
  const char *name;
  Severity severity;
  const char *about;
  const char *wrong;
  const char *outcome;
  const char *cure;
};
const RuleWords &words_of(Rule rule);

// The number of rules.
size_t rule_count();

// The name of a rule for people, with "-" instead of "_".
inline std::string rule_name(const char *name) {
  std::string shown = name;
  for (char &letter : shown) letter = letter == '_' ? '-' : letter;
  return shown;
}

#endif
