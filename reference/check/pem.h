// What PEM strings have to look like.
#ifndef TESSERA_REFERENCE_CHECK_PEM_H
#define TESSERA_REFERENCE_CHECK_PEM_H

#include <string_view>

// True for a string that holds a block whose label ends with `label`, such as "PRIVATE KEY": base64 between its two
// lines, and in that, unless it is encrypted, whole DER. What the numbers in it mean is not looked at. The last line
// holds nothing else unless more may follow.
bool is_pem(std::string_view string, std::string_view label, bool more_may_follow);

#endif
