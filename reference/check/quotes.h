// How the daemons read strings: where quotes end, and which names they accept.
#ifndef TESSERA_REFERENCE_CHECK_QUOTES_H
#define TESSERA_REFERENCE_CHECK_QUOTES_H

// True when dnsmasq finds a closing quote for every double quote. Between quotes, a backslash and one of the characters
// that dnsmasq can escape form an escape sequence. A quote directly behind a closing quote is an ordinary character.
bool is_closed(const char *string);

// The character at which the IPsec starter refuses a value: a "=" outside of double quotes, or a quote that nothing
// closes; NUL for none. "#" outside of quotes starts a comment; in them a backslash takes the meaning of the character
// behind it.
char starter_refusal(const char *string);

// Whether dnsmasq takes these names, with "," or "/" between them: ASCII, up to 63 bytes between dots.
bool is_domain(const char *string);

// The same for the host name of a lease, of letters, digits, '-' and '_'; what follows a dot is the domain.
bool is_host_name(const char *string);

// Whether dnsmasq takes it in a reservation: hardware addresses, addresses and names, with "," between them.
bool is_reservation(const char *string);

// The same for a client identifier, and what "," separates from it.
bool is_client(const char *string);

#endif
