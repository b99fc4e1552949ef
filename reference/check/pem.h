// Checks the form of PEM strings.
#ifndef TESSERA_REFERENCE_CHECK_PEM_H
#define TESSERA_REFERENCE_CHECK_PEM_H

#include <string_view>

// True for a string with a PEM block whose label ends with `label`, such as "PRIVATE KEY". The block must be base64,
// and the base64 of an unencrypted block must be complete DER. The values inside the DER are not checked. The END line
// may hold other characters after the dashes only if `more_may_follow` is true.
bool is_pem(std::string_view string, std::string_view label, bool more_may_follow);

#endif
