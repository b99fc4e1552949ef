// Quoting and escaping for each notation that values are written in. A null string reads as "".
#ifndef TESSERA_OUTPUT_QUOTE_H
#define TESSERA_OUTPUT_QUOTE_H

#include <string>

#include "main/owned.h"
#include "platform/tools.h"

// For the value of a UCI option, which is written between double quotes on one line.
extern const EscapePair uci_escape_table[];

// For a secret in an argument of a PAM module, which is written between brackets.
extern const EscapePair bracket_escape_table[];

// A copy with the replacements of the table.
OwnedString escaped(const char *string, const EscapePair *table);

// Escapes a string for use between double quotes in the file of dnsmasq: backslashes and double quotes get a backslash.
std::string dnsmasq_escape_quoted(const char *string);

// Escapes a string for use between single quotes in a shell word.
std::string shell_quote_single(const char *string);

// True when the string has no special meaning to a shell.
bool is_plain_word(const char *string);

// Escapes a string for use in a pattern of glob: it then matches only itself.
std::string glob_literal(const char *string);

// An item of a list of peer identities: the identity between double quotes, then truncated to 250 bytes, which may
// remove the closing quote.
std::string quoted_peer_id(const char *identity);

#endif
