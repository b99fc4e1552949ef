// Quoting and escaping: each notation that a value is written in has its function here. Null reads as "".
#ifndef TESSERA_OUTPUT_QUOTE_H
#define TESSERA_OUTPUT_QUOTE_H

#include <string>

#include "main/owned.h"
#include "platform/tools.h"

// For the value of a UCI option, which is written between double quotes and ends with its line.
extern const EscapePair uci_escape_table[];

// For a secret in an argument of a PAM module, which is written between brackets.
extern const EscapePair bracket_escape_table[];

// The string with the replacements of a table.
OwnedString escaped(const char *string, const EscapePair *table);

// A string for between double quotes in the file of dnsmasq: a backslash precedes each backslash and double quote.
std::string dnsmasq_escape_quoted(const char *string);

// A string for between single quotes in a shell word.
std::string shell_quote_single(const char *string);

// True when the string is nothing but itself to a shell.
bool is_plain_word(const char *string);

// A pattern for glob that matches nothing but the string.
std::string glob_literal(const char *string);

// An identity as an item of a list of peer identities: between double quotes, and truncated to 250 characters.
std::string quoted_peer_id(const char *identity);

#endif
