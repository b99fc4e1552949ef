#include "config/syntax.h"

const char *syntax_problem(rapidjson::ParseErrorCode code, const char *rest, bool at_end) {
  if (at_end && code != rapidjson::kParseErrorDocumentEmpty) return "the file ends too early";
  if (rest[0] == '/' && (rest[1] == '/' || rest[1] == '*')) return "JSON has no comments";
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "the file is empty";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "something follows the end of the document";
    case rapidjson::kParseErrorValueInvalid:
      return *rest == ']' ? "a comma before the closing bracket"
                          : "expected a value: a string in double quotes, a number, true, false, an object or an array";
    case rapidjson::kParseErrorObjectMissName:
      return *rest == '}' ? "a comma before the closing bracket" : "expected a member name in double quotes";
    case rapidjson::kParseErrorObjectMissColon:
      return "expected ':' after the member name";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return "expected ',' or '}'";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return "expected ',' or ']'";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "expected four hexadecimal digits after \\u";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair in a \\u escape";
    case rapidjson::kParseErrorStringEscapeInvalid:
      // The parser has the same code for both problems.
      return *rest == '\\' ? "unknown escape after '\\'" : "a control character in a string has to be escaped";
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "a string without its closing quote";
    case rapidjson::kParseErrorNumberTooBig:
      return "number too big";
    case rapidjson::kParseErrorNumberMissFraction:
      return "expected digits after the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
      return "expected digits in the exponent";
    default:
      return "not JSON";
  }
}

bool is_between_values(rapidjson::ParseErrorCode code) {
  return code == rapidjson::kParseErrorObjectMissName || code == rapidjson::kParseErrorObjectMissCommaOrCurlyBracket ||
         code == rapidjson::kParseErrorArrayMissCommaOrSquareBracket;
}
