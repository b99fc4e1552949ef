// Strings as the daemons read them: where quotes end, and which names are taken.
#ifndef TESSERA_REFERENCE_CHECK_QUOTES_H
#define TESSERA_REFERENCE_CHECK_QUOTES_H

// Whether dnsmasq finds the end of every double quote. In quotes a backslash takes the meaning of the character behind
// it, where dnsmasq knows what the two stand for.
bool is_closed(const char *string);

// The character at which the IPsec starter refuses a value: a "=" outside of double quotes, or a quote that nothing
// closes; NUL for none. "#" outside of quotes starts a comment; in them a backslash takes the meaning of the character
// behind it.
char starter_refusal(const char *string);

// Whether dnsmasq takes these names, with "," or "/" between them: ASCII, up to 63 bytes between dots.
bool is_domain(const char *string);

// The same for the host name of a lease, of letters, digits, '-' and '_'; what follows a dot is the domain.
bool is_host_name(const char *string);

#endif
