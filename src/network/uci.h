// Writers of the UCI network file: the only functions that print into it.
//
// All of them write to the caller's open stream, close nothing and report nothing. Values stand in double quotes and
// are escaped; section names stand bare, as UCI knows no quotes there.
#ifndef TESSERA_NETWORK_UCI_H
#define TESSERA_NETWORK_UCI_H

#include <cstdint>
#include <cstdio>

#include "main/owned.h"
#include "platform/config.h"
#include "platform/network.h"

// Section headers, each after an empty line; the last one is that of an interface whose name is `prefix` and `name`,
// null standing for "".
void uci_write_section(FILE *out, const char *type, const char *name_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_section_anon(FILE *out, const char *type);
void uci_write_named_interface(FILE *out, const char *prefix, const char *name);

// One option line each: with a formatted text; with a finished one (null is ""), for which no format has to be read;
// with a number; with a truth value; with the text at `key`, "" when there is none.
void uci_write_option(FILE *out, const char *name, const char *value_format, ...) __attribute__((format(printf, 3, 4)));
void uci_write_value(FILE *out, const char *name, const char *value);
void uci_write_option_int(FILE *out, const char *name, int32_t value);
void uci_write_option_bool(FILE *out, const char *name, bool value);
void uci_write_option_text(FILE *out, const char *name, const ConfigNode *config, const char *key);

// The list as one value with `separator` between its entries; an empty or null list writes no line.
void uci_write_option_list(FILE *out, const char *name, char *const *list, const char *separator);

// The texts of the array at `key` as one value with blanks between them; an absent or empty array writes no line.
void uci_write_option_texts(FILE *out, const char *name, const ConfigNode *config, const char *key);

// One unescaped entry of a UCI list.
void uci_write_list_entry(FILE *out, const char *name, const char *value);

// What a row of an option table reads from the configuration and how it is written. The texts are part of the row: the
// pointers to them would have to be set right at every start, also of services that write no such option.
enum class OptionKind : char { text, integer, boolean, seconds };
struct OptionRow {
  char option[22];  // UCI name; "" ends a table
  char key[26];     // configuration path, relative to the node that is passed
  OptionKind kind;
};

// Writes one option per row, in order, absent values as "" or 0.
void uci_write_options(FILE *out, const ConfigNode *config, const OptionRow *rows);

// Splits ADDRESS or ADDRESS/LENGTH into two options; without "/" the second one is left out, and what follows a second
// "/" is ignored.
void uci_write_address(FILE *out, const char *address_option, const char *length_option, const char *address);

// The header of an interface or part, named as the interface manager knows it.
void uci_write_interface_section(FILE *out, const NetworkNode *node);

// `ifname` with the node's name; nothing for a null node or a device that belongs to a radio.
void uci_write_ifname(FILE *out, const NetworkNode *node);

// `metric`, unless it is 0; the worst metric there is for an IPsec tunnel whose watched link did not pass.
void uci_write_metric(FILE *out, const ConfigNode *config);

// `passthrough` with the key of the first passthrough interface that takes this interface as a source; true when
// there is one.
bool uci_write_passthrough(FILE *out, const NetworkNode *node);

// Drops what uci_write_passthrough has learned about the model; due before the model is freed.
void uci_forget_passthrough_sources();

// A copy fit to stand between single quotes in a shell word; null for null.
OwnedText shell_quote_single(const char *text);

#endif
