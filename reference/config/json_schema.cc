// The schema table as a JSON Schema, draft 2020-12.
//
// By default it agrees with the loader: what the loader takes is valid, also keys that it only warns about and words
// that no writer knows. The strict form is for editors: it lists the known keys and words as the only ones and wants
// references in their full form. What neither can say: duplicate names, nesting depth, what a reference names, 1.0 in
// place of an integer, texts of over-long durations.
#include <cstdio>
#include <cstring>

#include "config/report.h"
#include "config/schema.h"

namespace {

struct Printer {
  FILE *out;
  bool strict;
  int indent = 0;
};

void start_line(Printer &printer) {
  fprintf(printer.out, "\n%*s", printer.indent * 2, "");
}

void open_object(Printer &printer, const char *text) {
  fputs(text, printer.out);
  printer.indent++;
}

void close_object(Printer &printer) {
  printer.indent--;
  start_line(printer);
  fputs("}", printer.out);
}

void print_value(Printer &printer, const SchemaKey &key, Kind kind);

void print_quoted(FILE *out, const char *text, size_t length) {
  fputc('"', out);
  for (const char *at = text; at < text + length; at++) {
    if (*at == '"' || *at == '\\') fputc('\\', out);
    fputc(*at, out);
  }
  fputc('"', out);
}

// The start of a value's schema, with its description. Entries and elements have none of their own.
void start_value(Printer &printer, const SchemaKey &key, Kind kind) {
  fputs("{", printer.out);
  std::string description = kind == key.kind ? schema_description(key) : "";
  if (description.empty()) return;
  fputs("\"description\": ", printer.out);
  print_quoted(printer.out, description.data(), description.size());
  fputs(", ", printer.out);
}

void print_members(Printer &printer, const SchemaKey &key) {
  if (key.member_count > 0) {
    fputs(",", printer.out);
    start_line(printer);
    open_object(printer, "\"properties\": {");
    for (const SchemaKey &member : members_of(key)) {
      if (&member != key.members) fputs(",", printer.out);
      start_line(printer);
      fprintf(printer.out, "\"%s\": ", member.name);
      print_value(printer, member, member.kind);
    }
    close_object(printer);
  }
  fputs(",", printer.out);
  start_line(printer);
  fputs(printer.strict ? "\"additionalProperties\": false" : R"("additionalProperties": {"$ref": "#/$defs/unknown"})",
        printer.out);
}

void print_array(Printer &printer, const SchemaKey &key) {
  open_object(printer, "\"type\": \"array\",");
  start_line(printer);
  fputs("\"items\": ", printer.out);
  print_value(printer, key, key.element);
  close_object(printer);
}

void print_map(Printer &printer, const SchemaKey &key) {
  open_object(printer, "\"type\": \"object\",");
  start_line(printer);
  fprintf(printer.out, R"("propertyNames": {"minLength": 1, "maxLength": 63, "not": {"pattern": "[^A-Za-z0-9_%s]"}},)",
          key.hyphen ? "-" : "");
  start_line(printer);
  fputs("\"additionalProperties\": ", printer.out);
  print_value(printer, key, key.element);
  close_object(printer);
}

// The words that a text may be. Where others do too, editors offer these all the same.
void print_words(const Printer &printer, const SchemaKey &key) {
  bool others = key.others != OtherWords::useless || !printer.strict;
  fputs(others ? ", \"anyOf\": [{\"enum\": [" : ", \"enum\": [\"\", ", printer.out);
  for (const char *word = key.words; *word != '\0';) {
    size_t length = strcspn(word, " ");
    print_quoted(printer.out, word, length);
    word += length;
    if (*word == '\0') break;
    fputs(", ", printer.out);
    word++;
  }
  fputs(others ? "]}, {\"type\": \"string\"}]" : "]", printer.out);
}

void print_string(Printer &printer, const SchemaKey &key, Kind kind) {
  fputs("\"type\": \"string\"", printer.out);
  if (key.words != nullptr) print_words(printer, key);
  if (key.fallback != nullptr) fprintf(printer.out, ", \"default\": \"%s\"", key.fallback);
  fprintf(printer.out, R"(, "not": {"pattern": "[\\x00-\\x%s\\x7F]"})",
          key.many_lines ? R"(08\\x0B\\x0C\\x0E-\\x1F)" : "1F");
  if (kind == Kind::reference && printer.strict) {
    fprintf(printer.out, ", \"pattern\": \"%s\"", key.interface_name ? "^[A-Za-z0-9_]*$" : "^$|^/[^/]");
  }
  fputs("}", printer.out);
}

void print_object(Printer &printer, const SchemaKey &key) {
  open_object(printer, "\"type\": \"object\"");
  print_members(printer, key);
  close_object(printer);
}

void print_value(Printer &printer, const SchemaKey &key, Kind kind) {
  constexpr const char *integer = R"("type": "integer", "minimum": -2147483648, "maximum": 2147483647})";
  start_value(printer, key, kind);
  switch (kind) {
    case Kind::object:
      print_object(printer, key);
      break;
    case Kind::map:
      print_map(printer, key);
      break;
    case Kind::array:
      print_array(printer, key);
      break;
    case Kind::string:
    case Kind::reference:
      print_string(printer, key, kind);
      break;
    case Kind::boolean:
      fputs("\"type\": \"boolean\"}", printer.out);
      break;
    case Kind::integer:
      fputs(integer, printer.out);
      break;
    case Kind::number:
      fputs("\"type\": \"number\"}", printer.out);
      break;
    case Kind::duration:
      fprintf(printer.out,
              R"("anyOf": [{%s, {"type": "string", "pattern": "^[0-9]+(ms|[smhdw])$", "not": {"pattern": "\\n"}}]})",
              integer);
      break;
    case Kind::ignored:
      break;
  }
}

}  // namespace

void config_print_json_schema(FILE *out, bool strict) {
  Printer printer{.out = out, .strict = strict};
  open_object(printer, "{");
  start_line(printer);
  fputs("\"$schema\": \"https://json-schema.org/draft/2020-12/schema\",", out);
  start_line(printer);
  fputs("\"title\": \"Router configuration read by tessera\",", out);
  if (!strict) {
    start_line(printer);
    fputs(R"("$defs": {"unknown": {"not": {"type": "null"}, "items": {"$ref": "#/$defs/unknown"},)", out);
    fputs(R"( "additionalProperties": {"$ref": "#/$defs/unknown"}}},)", out);
  }
  start_line(printer);
  fputs("\"type\": \"object\"", out);
  print_members(printer, described_schema);
  close_object(printer);
  fputs("\n", out);
}
