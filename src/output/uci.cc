#include "output/uci.h"

#include <cstdarg>
#include <cstring>

#include "main/owned.h"
#include "main/strings.h"
#include "output/quote.h"

void uci_write_section(FILE *out, const char *type, const char *name_format, ...) {
  va_list arguments;
  va_start(arguments, name_format);
  fprintf(out, "\nconfig %s ", type);
  vfprintf(out, name_format, arguments);
  fprintf(out, "\n");
  va_end(arguments);
}

void uci_write_section_anon(FILE *out, const char *type) {
  fprintf(out, "\nconfig %s\n", type);
}

void uci_write_option(FILE *out, const char *name, const char *value_format, ...) {
  va_list arguments;
  va_start(arguments, value_format);
  uci_write_option_string(out, name, format_arguments(value_format, arguments).c_str());
  va_end(arguments);
}

// True when the table replaces a character of the string.
static bool needs_escape(const char *string, const EscapePair *table) {
  for (const EscapePair *pair = table; pair->from != nullptr; pair++) {
    if (strchr(string, *pair->from) != nullptr) return true;
  }
  return false;
}

void uci_write_option_string(FILE *out, const char *name, const char *value) {
  OwnedString copy;  // most values need none
  if (needs_escape(or_empty(value), uci_escape_table)) copy = escaped(value, uci_escape_table);
  fprintf(out, "\toption %s \"%s\"\n", name, copy != nullptr ? copy.get() : or_empty(value));
}

void uci_write_option_int(FILE *out, const char *name, int32_t value) {
  fprintf(out, "\toption %s %d\n", name, value);
}

void uci_write_option_bool(FILE *out, const char *name, bool value) {
  uci_write_option_int(out, name, value ? 1 : 0);
}

void uci_write_option_list(FILE *out, const char *name, char *const *list, const char *separator) {
  OwnedString joined(sl_join(list, separator));
  if (joined != nullptr) uci_write_option_string(out, name, joined.get());
}

void uci_write_list_entry(FILE *out, const char *name, const char *value) {
  fprintf(out, "\tlist %s \"%s\"\n", name, or_empty(value));
}

static void write_row(FILE *out, const ConfigNode *config, const OptionRow &row) {
  switch (row.kind) {
    case OptionKind::string:
      return uci_write_option_string(out, row.option, config_get_string(config, row.key));
    case OptionKind::integer:
      return uci_write_option_int(out, row.option, config_get_int(config, row.key));
    case OptionKind::boolean:
      return uci_write_option_bool(out, row.option, config_get_bool(config, row.key));
    case OptionKind::seconds:
      return uci_write_option_int(out, row.option, config_get_duration(config, row.key));
  }
}

void uci_write_options(FILE *out, const ConfigNode *config, std::span<const OptionRow> rows) {
  for (const OptionRow &row : rows) write_row(out, config, row);
}

void uci_write_address(FILE *out, const char *address_option, const char *length_option, const char *address) {
  if (address == nullptr) return;
  uci_write_option_string(out, address_option, string_before(address, '/').c_str());
  const char *slash = strchr(address, '/');
  if (slash != nullptr) uci_write_option_string(out, length_option, string_before(slash + 1, '/').c_str());
}
