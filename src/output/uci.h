// Writers for the lines of the UCI network file. No other function prints into that file.
//
// All write to the caller's open stream. They do not close it and do not report errors. Values are escaped and written
// in double quotes. Section names are written as they are, because UCI has no quotes there.
#ifndef TESSERA_OUTPUT_UCI_H
#define TESSERA_OUTPUT_UCI_H

#include <cstdint>
#include <cstdio>
#include <span>

#include "platform/config.h"

// A section header after an empty line: `config TYPE NAME`, or `config TYPE` for an anonymous section.
void uci_write_section(FILE *out, const char *type, const char *name_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_section_anon(FILE *out, const char *type);

// One option line: with a formatted string; with a string (null is ""); with a number; with a boolean as 1 or 0.
void uci_write_option(FILE *out, const char *name, const char *value_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_option_string(FILE *out, const char *name, const char *value);
void uci_write_option_int(FILE *out, const char *name, int32_t value);
void uci_write_option_bool(FILE *out, const char *name, bool value);

// One option line with the strings of the list, joined by `separator`; no line for an empty or null list.
void uci_write_option_list(FILE *out, const char *name, char *const *list, const char *separator);

// One entry of a UCI list, not escaped; null is "".
void uci_write_list_entry(FILE *out, const char *name, const char *value);

// An option made from one configuration value, and the type of that value.
enum class OptionKind { string, integer, boolean, seconds };
struct OptionRow {
  const char *option;  // UCI name
  const char *key;     // configuration path, relative to the node that is passed
  OptionKind kind = OptionKind::string;
};

// Writes one option for each row, in order; absent values as "" or 0.
void uci_write_options(FILE *out, const ConfigNode *config, std::span<const OptionRow> rows);

// Splits ADDRESS or ADDRESS/LENGTH into two options. Without "/" there is no second option; everything from a second
// "/" on is ignored. Writes nothing for null.
void uci_write_address(FILE *out, const char *address_option, const char *length_option, const char *address);

#endif
