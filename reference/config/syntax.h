// What is wrong with a document that is not JSON.
#ifndef TESSERA_REFERENCE_CONFIG_SYNTAX_H
#define TESSERA_REFERENCE_CONFIG_SYNTAX_H

#include <rapidjson/error/error.h>

// The problem in words. `rest` is the content from the place on where the parser gave up.
const char *syntax_problem(rapidjson::ParseErrorCode code, const char *rest, bool at_end);

// True for a problem that lies between two values, so that the name of the last one does not lead to it.
bool is_between_values(rapidjson::ParseErrorCode code);

#endif
