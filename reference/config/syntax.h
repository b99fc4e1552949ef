// Messages about documents that are not JSON.
#ifndef TESSERA_REFERENCE_CONFIG_SYNTAX_H
#define TESSERA_REFERENCE_CONFIG_SYNTAX_H

#include <rapidjson/error/error.h>

// The message for an error of the parser. `rest` is the content from the place of the error on; `at_end` is true when
// that is the end of the file.
const char *syntax_problem(rapidjson::ParseErrorCode code, const char *rest, bool at_end);

// True for an error between two values: the path of the last value is not the path of the error.
bool is_between_values(rapidjson::ParseErrorCode code);

#endif
