#include "network/uci.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <map>

#include "main/print.h"
#include "main/text.h"
#include "network/network.h"

namespace {

// A value ends with its line, so a line feed is handed on as a backslash and an "n"; the third character escapes the
// backslash.
const EscapePair uci_escape_table[] = {{"\"", "\\\""}, {"\\", "\\\\"}, {"\n", "\\\\n"}, {nullptr, nullptr}};

const int32_t worst_metric = INT32_MAX;

const char ipsec_tunnel_prefix[] = "vpn.ipsec.tunnel.";

// From the id of a source interface's configuration to the key of the first passthrough interface that lists it. Built
// at the first question of a run, so that a pass over all interfaces stays linear.
using PassthroughIndex = std::map<size_t, const char *>;
std::unique_ptr<PassthroughIndex> passthrough_index;

std::unique_ptr<PassthroughIndex> index_passthrough_sources(const NetworkNode *root) {
  auto index = std::make_unique<PassthroughIndex>();
  for (const NetworkNode *node = network_first_type(root, NETWORK_NODE_INTERFACE); node != nullptr;
       node = network_next_type(root, node, NETWORK_NODE_INTERFACE)) {
    if (network_interface_type(node) != NETWORK_INTERFACE_PASSTHROUGH) continue;
    const ConfigNode *config = network_config(node);
    const ConfigNode *sources = config_array(config, "passthrough.src");
    size_t count = config_array_count(sources);
    // The first interface that lists a source keeps it.
    for (size_t i = 0; i < count; i++)
      index->emplace(config_node_id(config_array_get_ref(sources, i)), or_empty(config_key(config)));
  }
  return index;
}

// An option, the line that most of the file is made of: put together here, it goes to the stream in one call.
void write_line(FILE *out, const char *name, const char *quote, const char *value, size_t value_length) {
  static const char start[] = "\toption ";
  char line[256];
  size_t name_length = strlen(name);
  if (name_length + value_length > sizeof line - sizeof "\toption  \"\"\n") {
    print(out, {start, name, " ", quote});
    fwrite_unlocked(value, 1, value_length, out);
    return print(out, {quote, "\n"});
  }
  memcpy(line, start, sizeof start - 1);
  char *end = line + sizeof start - 1;
  end = std::copy_n(name, name_length, end);
  *end++ = ' ';
  if (*quote != '\0') *end++ = *quote;
  end = std::copy_n(value, value_length, end);
  if (*quote != '\0') *end++ = *quote;
  *end++ = '\n';
  fwrite_unlocked(line, 1, static_cast<size_t>(end - line), out);
}

enum class Extent { whole, before_slash };

// The option with an escaped value: the text, or what stands before its first "/".
void write_escaped(FILE *out, const char *name, const char *value, Extent extent) {
  static const char slash_and_escaped[] = "/\"\\\n";
  const char *stops = slash_and_escaped + (extent == Extent::whole ? 1 : 0);
  OwnedText escaped;
  size_t length = strcspn(value, stops);
  if (value[length] != '\0' && value[length] != '/') {
    escaped.reset(escape(value, uci_escape_table));
    value = or_empty(escaped.get());
    length = strcspn(value, extent == Extent::whole ? "" : "/");
  }
  write_line(out, name, "\"", value, length);
}

// The option with a value that needs no quotes.
void write_bare_value(FILE *out, const char *name, const char *value) {
  write_line(out, name, "", value, strlen(value));
}

// False for an IPsec tunnel whose watched link did not pass; nothing else is judged by it.
bool tunnel_is_healthy(const ConfigNode *config) {
  OwnedText path(config_path(config));
  const size_t prefix_length = sizeof ipsec_tunnel_prefix - 1;
  if (strncmp(or_empty(path.get()), ipsec_tunnel_prefix, prefix_length) != 0) return true;
  OwnedText passed(runt_get_string_pathf("vigil.ipsec_%s.passed", path.get() + prefix_length));
  return equals(passed.get(), "y");
}

}  // namespace

void uci_write_section(FILE *out, const char *type, const char *name_format, ...) {
  va_list arguments;
  va_start(arguments, name_format);
  const std::string name = format_arguments(name_format, arguments);
  va_end(arguments);
  print(out, {"\nconfig ", type, " ", name.c_str(), "\n"});
}

void uci_write_named_interface(FILE *out, const char *prefix, const char *name) {
  print(out, {"\nconfig interface ", prefix, or_empty(name), "\n"});
}

void uci_write_section_anon(FILE *out, const char *type) {
  print(out, {"\nconfig ", type, "\n"});
}

void uci_write_value(FILE *out, const char *name, const char *value) {
  write_escaped(out, name, or_empty(value), Extent::whole);
}

void uci_write_option(FILE *out, const char *name, const char *value_format, ...) {
  va_list arguments;
  va_start(arguments, value_format);
  const std::string value = format_arguments(value_format, arguments);
  va_end(arguments);
  uci_write_value(out, name, value.c_str());
}

void uci_write_option_int(FILE *out, const char *name, int32_t value) {
  write_bare_value(out, name, Decimal(value));
}

void uci_write_option_bool(FILE *out, const char *name, bool value) {
  write_bare_value(out, name, value ? "1" : "0");
}

void uci_write_option_text(FILE *out, const char *name, const ConfigNode *config, const char *key) {
  uci_write_value(out, name, config_get_string(config, key));
}

void uci_write_option_list(FILE *out, const char *name, char *const *list, const char *separator) {
  OwnedText joined(sl_join(list, separator));
  if (joined != nullptr) uci_write_value(out, name, joined.get());
}

void uci_write_option_texts(FILE *out, const char *name, const ConfigNode *config, const char *key) {
  const ConfigNode *text = config_array_first(config_array(config, key));
  if (text == nullptr) return;
  const ConfigNode *next = config_array_next(text);
  if (next == nullptr) return uci_write_value(out, name, config_string_get(text));
  std::string joined = or_empty(config_string_get(text));
  for (; next != nullptr; next = config_array_next(next))
    append_pieces(joined, {" ", or_empty(config_string_get(next))});
  uci_write_value(out, name, joined.c_str());
}

void uci_write_list_entry(FILE *out, const char *name, const char *value) {
  print(out, {"\tlist ", name, " \"", or_empty(value), "\"\n"});
}

void uci_write_options(FILE *out, const ConfigNode *config, const OptionRow *rows) {
  for (const OptionRow *row = rows; *row->option != '\0'; row++) {
    switch (row->kind) {
      case OptionKind::text:
        uci_write_option_text(out, row->option, config, row->key);
        break;
      case OptionKind::integer:
        uci_write_option_int(out, row->option, config_get_int(config, row->key));
        break;
      case OptionKind::boolean:
        uci_write_option_bool(out, row->option, config_get_bool(config, row->key));
        break;
      case OptionKind::seconds:
        uci_write_option_int(out, row->option, config_get_duration(config, row->key));
        break;
    }
  }
}

void uci_write_address(FILE *out, const char *address_option, const char *length_option, const char *address) {
  if (address == nullptr) return;
  write_escaped(out, address_option, address, Extent::before_slash);
  const char *slash = strchr(address, '/');
  if (slash != nullptr) write_escaped(out, length_option, slash + 1, Extent::before_slash);
}

void uci_write_interface_section(FILE *out, const NetworkNode *node) {
  uci_write_named_interface(out, "", network_interface_name(node));
}

void uci_write_ifname(FILE *out, const NetworkNode *node) {
  if (node == nullptr || network_find_parent(node, NETWORK_NODE_RADIO) != nullptr) return;
  uci_write_value(out, "ifname", network_name(node));
}

void uci_write_metric(FILE *out, const ConfigNode *config) {
  int32_t metric = config_get_int(config, "metric");
  if (metric == 0) return;
  if (config_get_bool(config, "vigil.enable") && !tunnel_is_healthy(config)) metric = worst_metric;
  uci_write_option_int(out, "metric", metric);
}

bool uci_write_passthrough(FILE *out, const NetworkNode *node) {
  if (passthrough_index == nullptr)
    passthrough_index = index_passthrough_sources(network_find_parent(node, NETWORK_NODE_ROOT));
  const NetworkNode *owner =
      network_type(node) == NETWORK_NODE_PROTO ? network_find_parent(node, NETWORK_NODE_INTERFACE) : node;
  auto found = passthrough_index->find(config_node_id(network_config(owner)));
  if (found == passthrough_index->end()) return false;
  uci_write_value(out, "passthrough", found->second);
  return true;
}

void uci_forget_passthrough_sources() {
  passthrough_index.reset();
}

OwnedText shell_quote_single(const char *text) {
  if (text == nullptr) return nullptr;
  static const char quoted_quote[] = "'\\''";
  OwnedText quoted(static_cast<char *>(malloc(4 * strlen(text) + 1)));
  if (quoted == nullptr) end_without_memory();
  char *end = quoted.get();
  for (; *text != '\0'; text++) {
    if (*text == '\'')
      end = std::copy_n(quoted_quote, sizeof quoted_quote - 1, end);
    else
      *end++ = *text;
  }
  *end = '\0';
  return quoted;
}
