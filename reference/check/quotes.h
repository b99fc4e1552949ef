// How the daemons read strings: where quotes end, and which names they accept.
#ifndef TESSERA_REFERENCE_CHECK_QUOTES_H
#define TESSERA_REFERENCE_CHECK_QUOTES_H

// True when dnsmasq finds a closing quote for every double quote. Between quotes, a backslash and one of the characters
// that dnsmasq can escape form an escape sequence. A quote directly behind a closing quote is an ordinary character.
bool is_closed(const char *string);

// The character for which the IPsec starter refuses a value: "=" outside of double quotes, or a double quote without a
// closing one. NUL when it accepts the value. "#" outside of quotes starts a comment; inside them, a backslash escapes
// the next character.
char starter_refusal(const char *string);

// True when dnsmasq accepts the names, which have "," or "/" between them: ASCII, up to 63 bytes between dots.
bool is_domain(const char *string);

// True when dnsmasq accepts the host name of a lease: letters, digits, '-' and '_'. A dot begins the domain, which is
// not checked.
bool is_host_name(const char *string);

// True when dnsmasq accepts the words in a reservation: hardware addresses, addresses and names, with "," between them.
bool is_reservation(const char *string);

// True when dnsmasq accepts the string as a client identifier, which words of a reservation may follow after ",".
bool is_client(const char *string);

#endif
