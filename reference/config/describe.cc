// What the manual and the JSON Schema say about a key.
#include "config/schema.h"

namespace {

// What a value of that kind looks like in the document, where its type does not tell.
const char *form_of(const SchemaRow &row) {
  switch (row.kind) {
    case Kind::duration:
      return " Seconds, or a text with a unit out of ms s m h d w, such as \"90s\".";
    case Kind::reference:
      return (row.flags & row_interface_name) != 0 ? "" : " The path of an entry, such as \"/network/device/eth0\".";
    default:
      return "";
  }
}

}  // namespace

std::string schema_description(uint16_t index) {
  const SchemaRow &row = schema_row(index);
  const SchemaText &about = schema_texts[index];
  if (*about.description == '\0') return {};
  bool list = row.kind == Kind::array;
  std::string text = about.description;
  text += form_of(list ? schema_row(row.child) : row);
  if (*about.unit != '\0') text += std::string(" Unit: ") + about.unit + ".";
  return text;
}
