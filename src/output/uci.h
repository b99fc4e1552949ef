// Lines of the UCI network file: no other functions print into it.
//
// All of them write to the caller's open stream, close nothing and report nothing. Values are escaped and written in
// double quotes; names of sections are not, as UCI has no quotes there.
#ifndef TESSERA_OUTPUT_UCI_H
#define TESSERA_OUTPUT_UCI_H

#include <cstdint>
#include <cstdio>
#include <span>

#include "platform/config.h"

// Section headers, each after an empty line.
void uci_write_section(FILE *out, const char *type, const char *name_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_section_anon(FILE *out, const char *type);

// One option line each: with a formatted string; with the string itself (null is ""); with a number; with a boolean.
void uci_write_option(FILE *out, const char *name, const char *value_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_option_string(FILE *out, const char *name, const char *value);
void uci_write_option_int(FILE *out, const char *name, int32_t value);
void uci_write_option_bool(FILE *out, const char *name, bool value);

// The list as one value with `separator` between its entries; an empty or null list writes no line.
void uci_write_option_list(FILE *out, const char *name, char *const *list, const char *separator);

// One unescaped entry of a UCI list; null is "".
void uci_write_list_entry(FILE *out, const char *name, const char *value);

// What a row of an option table reads from the configuration and how it is written.
enum class OptionKind { string, integer, boolean, seconds };
struct OptionRow {
  const char *option;  // UCI name
  const char *key;     // configuration path, relative to the node that is passed
  OptionKind kind = OptionKind::string;
};

// Writes one option per row, in order, absent values as "" or 0.
void uci_write_options(FILE *out, const ConfigNode *config, std::span<const OptionRow> rows);

// Splits ADDRESS or ADDRESS/LENGTH into two options; without "/" the second one is left out, and what follows a second
// "/" is ignored.
void uci_write_address(FILE *out, const char *address_option, const char *length_option, const char *address);

#endif
