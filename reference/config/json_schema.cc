// Prints the schema table as a JSON Schema, draft 2020-12.
//
// By default it agrees with the loader: it accepts every document that the loader accepts, with unknown keys and words.
// The strict form is for editors: it accepts only known keys and words, and references in their full form. Neither form
// can forbid duplicate names, deep nesting, references to nothing, 1.0 for an integer, or durations that are too long.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "config/report.h"
#include "config/schema.h"

namespace {

// Both parts of an interface, ipv4 and ipv6, use the same table of keys, but some keys and types are for one of them.
struct Family {
  const char *key;
  const char *types;
  const char *others[6];  // keys of the other family, ended by null
};
constexpr Family families[] = {
    {"ipv4", "static dhcp hybrid", {"prefix_length", "prefix_id", "static", "dhcpv6_server", nullptr}},
    {"ipv6", "dhcpv6 prefix_delegation", {"address", "gateway", "dns", "dhcp_server", "dhcp_relay", nullptr}},
};

// A new object that an editor offers, for an object of that key or an entry of a map of that key.
struct Snippet {
  const char *key;
  Kind kind;
  const char *body;
};
constexpr Snippet snippets[] = {
    {"dhcp_server", Kind::object,
     R"({"enable": true, "lease_start": "100", "lease_end": "199", "lease_time": "12h", "advanced": {"gateway": "auto", )"
     R"("mtu": "auto", "primary_dns": "auto", "secondary_dns": "none", "primary_ntp": "none", "secondary_ntp": "none", )"
     R"("primary_wins": "none", "secondary_wins": "none"}})"},
    {"interface", Kind::map,
     R"({"type": "ethernet", "enable": true, "device": "/network/device/eth0", "ipv4": {"enable": true, )"
     R"("type": "static", "address": "192.168.1.1/24"}})"},
    {"tunnel", Kind::map,
     R"({"enable": true, "type": "esp", "mode": "tunnel", "ike": {"version": "ikev2", "initiate": true, )"
     R"("phase1_lifetime": "8h", "phase2_lifetime": "1h", "lifetime_margin": "9m", "phase1_proposal": [{"cipher": )"
     R"("aes256", "hash": "sha256", "dh_group": "modp2048"}], "phase2_proposal": [{"cipher": "aes256", "hash": )"
     R"("sha256", "dh_group": "modp2048"}]}, "local": {"type": "defaultroute"}, "remote": {"ip_version": "ipv4", )"
     R"("peer_selection": "round_robin", "peers": [{"hostname": "vpn.example"}]}, "auth": {"type": "secret", "secret": )"
     R"(""}})"},
};

struct Printer {
  FILE *out;
  bool strict;
  int indent = 0;
  const Family *family = nullptr;  // set while a part of an interface is printed in the strict form
};

void start_line(Printer &printer) {
  fprintf(printer.out, "\n%*s", printer.indent * 2, "");
}

void open_object(Printer &printer, const char *string) {
  fputs(string, printer.out);
  printer.indent++;
}

void close_object(Printer &printer) {
  printer.indent--;
  start_line(printer);
  fputs("}", printer.out);
}

void print_value(Printer &printer, const SchemaKey &key, Kind kind);

void print_quoted(FILE *out, const char *string, size_t length) {
  fputc('"', out);
  for (const char *at = string; at < string + length; at++) {
    if (*at == '"' || *at == '\\') fputc('\\', out);
    fputc(*at, out);
  }
  fputc('"', out);
}

// Prints the value that a key has when it is not written.
void print_default(FILE *out, const SchemaKey &key) {
  constexpr const char *empty_values[] = {
      "null", "{}", "{}", "[]", "\"\"", "false", "0", "0", "0", "\"\"",
  };
  if (key.fallback != Fallback::none)
    fprintf(out, "\"default\": \"%s\", ", fallback_of(key));
  else
    fprintf(out, "\"default\": %s, ", empty_values[static_cast<unsigned>(key.kind)]);
}

void print_examples(FILE *out, const SchemaKey &key, Kind kind) {
  if (kind == Kind::duration)
    fputs(R"("examples": ["90s", "12h", 3600], )", out);
  else if (kind == Kind::reference)
    fprintf(out, "\"examples\": [\"%s\"], ", key.interface_name ? "wan" : "/network/device/eth0");
}

// Prints the snippet for an object, or for each entry of a map.
void print_snippet(FILE *out, const SchemaKey &key, Kind kind) {
  for (const Snippet &snippet : snippets) {
    const bool fits = snippet.kind == key.kind && kind == Kind::object && strcmp(snippet.key, key.name) == 0;
    if (fits) fprintf(out, R"("defaultSnippets": [{"label": "new %s", "body": %s}], )", key.name, snippet.body);
  }
}

// Prints the start of the schema of a value. Entries of maps and elements of arrays have no description.
void start_value(Printer &printer, const SchemaKey &key, Kind kind) {
  fputs("{", printer.out);
  if (kind == key.kind) {
    std::string description = schema_description(key);
    fputs("\"description\": ", printer.out);
    print_quoted(printer.out, description.data(), description.size());
    fputs(", ", printer.out);
    print_default(printer.out, key);
  }
  if (kind != key.kind || key.kind != Kind::array) print_examples(printer.out, key, kind);
  print_snippet(printer.out, key, kind);
}

bool is_of_other_family(const Printer &printer, const SchemaKey &key) {
  if (printer.family == nullptr) return false;
  for (const char *const *other = printer.family->others; *other != nullptr; other++)
    if (strcmp(*other, key.name) == 0) return true;
  return false;
}

// Prints the schema of a member. In the strict form, the members of a part of an interface depend on its family.
void print_member(Printer &printer, const SchemaKey &member) {
  const Family *outer = printer.family;
  const SchemaKey *server = schema_member(member, "dhcpv6_server");
  for (const Family &family : families)
    if (printer.strict && server != nullptr && strcmp(family.key, member.name) == 0) printer.family = &family;
  if (printer.family == outer) printer.family = nullptr;
  if (outer != nullptr && strcmp(member.name, "type") == 0) {
    SchemaKey type = member;
    type.words = outer->types;
    print_value(printer, type, type.kind);
  } else {
    print_value(printer, member, member.kind);
  }
  printer.family = outer;
}

void print_members(Printer &printer, const SchemaKey &key) {
  if (key.member_count > 0) {
    fputs(",", printer.out);
    start_line(printer);
    open_object(printer, "\"properties\": {");
    const char *separator = "";
    for (const SchemaKey &member : members_of(key)) {
      if (is_of_other_family(printer, member)) continue;
      fputs(separator, printer.out);
      separator = ",";
      start_line(printer);
      fprintf(printer.out, "\"%s\": ", member.name);
      print_member(printer, member);
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

// Prints the listed words. If other strings are valid too, editors still offer these words.
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
      if (printer.strict)
        fprintf(printer.out, R"("type": "integer", "minimum": %d, "maximum": %d})", std::min(key.low, 0), key.high);
      else
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
