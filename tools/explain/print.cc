#include "explain/print.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "preview/strings.h"

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

// ---- Values

std::string place_of(const Printing &printing, const Setting &setting) {
  if (setting.is_fact) return printing.setup.facts_name;
  return printing.setup.config_name + ":" + std::to_string(setting.line) + ":" + std::to_string(setting.column);
}

bool is_hidden(const Printing &printing, const std::string &path, bool is_fact) {
  return printing.secrets.masks && (is_fact ? is_secret_name(path) : schema_at(path).secret);
}

// The value as JSON.
std::string json_value(const Printing &printing, const Setting &setting) {
  if (is_hidden(printing, setting.path, setting.is_fact)) return quoted("<secret>");
  return setting.json[0] == '"' ? quoted(masked(printing.secrets, "", setting.value)) : setting.json;
}

// What a change sets: of a fact a string, else JSON.
std::string new_value(const Printing &printing, const Change &change) {
  if (!is_hidden(printing, change.path, change.is_fact) || change.value == "\"\"") return change.value;
  return change.is_fact ? "<secret>" : quoted("<secret>");
}

// The JSON, cut where it is long or goes on in another line.
std::string shown(const std::string &json) {
  constexpr size_t longest = 60;
  size_t end = json.find("\\n");
  if (end == std::string::npos && json.size() <= longest) return json;
  return json.substr(0, std::min(end, longest)) + "...\"";
}

// A line of a file as it may reach a terminal: what a fact brought along may do no harm there.
std::string harmless(std::string line) {
  auto is_control = [](char byte) { return (static_cast<unsigned char>(byte) < ' ' && byte != '\t') || byte == 0x7F; };
  std::replace_if(line.begin(), line.end(), is_control, '?');
  return line;
}

std::string line_of(const DrivenLine &line) {
  return harmless(line.file + ":" + std::to_string(line.number) + ": " + line.text);
}

// ---- JSON

void put(Writer &writer, const char *key, const std::string &string) {
  writer.Key(key);
  writer.String(repaired_utf8(string).c_str());
}

void put_number(Writer &writer, const char *key, size_t number) {
  writer.Key(key);
  writer.Uint64(number);
}

void put_raw(Writer &writer, const char *key, const std::string &json) {
  writer.Key(key);
  writer.RawValue(json.c_str(), json.size(), rapidjson::kStringType);
}

template <typename Rows, typename Write>
void put_array(Writer &writer, const char *key, const Rows &rows, Write write) {
  writer.Key(key);
  writer.StartArray();
  for (const auto &row : rows) write(row);
  writer.EndArray();
}

template <typename Content>
void put_object(Writer &writer, Content content) {
  writer.StartObject();
  content();
  writer.EndObject();
}

template <typename Content>
void print_json(Content content) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 2);
  put_object(writer, [&] { content(writer); });
  puts(buffer.GetString());
}

void put_place(Writer &writer, const Setting &setting) {
  put(writer, setting.is_fact ? "fact" : "path", setting.path);
  if (setting.is_fact) return;
  put_number(writer, "line", setting.line);
  put_number(writer, "column", setting.column);
}

void put_condition(const Printing &printing, Writer &writer, const Setting &setting) {
  put(writer, setting.is_fact ? "fact" : "path", setting.path);
  if (setting.is_leaf) put_raw(writer, "value", json_value(printing, setting));
}

void put_lines(const Printing &printing, Writer &writer, const std::vector<LineAnswer> &answers) {
  put_array(writer, "lines", answers, [&](const LineAnswer &answer) {
    put_object(writer, [&] {
      put_number(writer, "line", answer.number);
      put(writer, "text", answer.text);
      put_array(writer, "from", answer.from,
                [&](const Setting *origin) { put_object(writer, [&] { put_place(writer, *origin); }); });
      put_array(writer, "while", answer.conditions, [&](const Setting *condition) {
        put_object(writer, [&] { put_condition(printing, writer, *condition); });
      });
      if (!answer.router_file.empty()) put(writer, "remark", "from the file " + answer.router_file);
      if (!answer.remark.empty()) put(writer, "remark", answer.remark);
    });
  });
}

void put_change(const Printing &printing, Writer &writer, const Change &change) {
  put_object(writer, [&] {
    put(writer, change.is_fact ? "fact" : "path", change.path);
    std::string value = new_value(printing, change);
    put_raw(writer, "value", change.kind == Change::removed ? "null" : change.is_fact ? quoted(value) : value);
  });
}

void put_ways(const Printing &printing, Writer &writer, const Ways &ways) {
  put_array(writer, "would", ways.ways, [&](const std::vector<Change> &way) {
    writer.StartArray();
    for (const Change &change : way) put_change(printing, writer, change);
    writer.EndArray();
  });
  put_array(writer, "messages", ways.messages, [&](const std::string &message) {
    writer.String(repaired_utf8(masked(printing.secrets, "", message)).c_str());
  });
}

void put_driven(Writer &writer, const std::vector<DrivenLine> &lines) {
  put_array(writer, "lines", lines, [&](const DrivenLine &line) {
    put_object(writer, [&] {
      put(writer, "file", line.file);
      put_number(writer, "line", line.number);
      put(writer, "text", line.text);
    });
  });
}

// ---- For people

// How wide a UTF-8 string is printed.
size_t columns(const std::string &string) {
  return static_cast<size_t>(
      std::count_if(string.begin(), string.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

// A setting as it is named below the one before: "….static_lease.1.name" where both stand in the same object.
std::string name_below(const Setting &setting, const Setting *before) {
  auto parent = [](const std::string &path) { return path.substr(0, path.rfind('.')); };
  std::string name = (setting.is_fact ? "the fact " : "") + setting.path;
  if (before == nullptr || before->is_fact || parent(before->path) != parent(setting.path)) return name;
  size_t dot = setting.path.rfind('.');
  do {
    dot = dot == 0 || dot == std::string::npos ? std::string::npos : setting.path.rfind('.', dot - 1);
  } while (dot != std::string::npos && isdigit(static_cast<unsigned char>(setting.path[dot + 1])) != 0);
  return dot == std::string::npos ? name : "…" + setting.path.substr(dot);
}

// Some settings and where they stand, ready to be printed.
struct Row {
  std::string names;
  std::string place;
  const Setting *last;
};

// The first setting has a row of its own with its exact place; the others share rows.
std::vector<Row> rows_of(const Printing &printing, const std::vector<const Setting *> &settings, bool with_values) {
  constexpr size_t longest = 80;
  std::vector<Row> rows;
  for (const Setting *setting : settings) {
    std::string name = name_below(*setting, rows.empty() ? nullptr : rows.back().last);
    if (!with_values && setting->is_entry) name += " (its name)";
    if (with_values) name += setting->is_leaf ? " = " + shown(json_value(printing, *setting)) : " is there";
    const std::string line = ", " + std::to_string(setting->line);
    bool fits = rows.size() > 1 && rows.back().last->is_fact == setting->is_fact &&
                rows.back().names.size() + 2 + name.size() <= longest;
    if (!fits) {
      bool has_column = rows.empty() && !with_values && !setting->is_fact;
      std::string place =
          setting->is_fact ? printing.setup.facts_name : printing.setup.config_name + ":" + line.substr(2);
      rows.push_back({name, has_column ? place_of(printing, *setting) : place, setting});
      continue;
    }
    rows.back().names += ", " + name;
    if (!setting->is_fact && rows.back().last->line != setting->line) rows.back().place += line;
    rows.back().last = setting;
  }
  return rows;
}

void print_reasons(const Printing &printing, const LineAnswer &answer) {
  std::vector<Row> origins = rows_of(printing, answer.from, false);
  if (!answer.router_file.empty()) origins.push_back({"the router's file " + answer.router_file, "", nullptr});
  const std::vector<Row> conditions = rows_of(printing, answer.conditions, true);
  size_t width = 0;
  for (const std::vector<Row> *rows : {&std::as_const(origins), &conditions})
    for (const Row &row : *rows) width = std::max(width, columns(row.names));
  auto print = [width](const char *label, const std::vector<Row> &rows) {
    for (const Row &row : rows) {
      std::string spaces(width - columns(row.names), ' ');
      std::string end = row.place.empty() ? "" : spaces + "  " + row.place;
      printf("  %-5s  %s%s\n", &row == rows.data() ? label : "", row.names.c_str(), end.c_str());
    }
  };
  print("from", origins);
  if (!answer.remark.empty()) printf("  %s\n", answer.remark.c_str());
  print("while", conditions);
}

// "network.interface.lan.ipv4.type were "static" (it is "hybrid", my.json:22:17)".
std::string condition(const Printing &printing, const Change &change) {
  const Setting *setting = find_setting(printing.setup, change.path, change.is_fact);
  std::string text = (change.is_fact ? "the fact " : "") + change.path;
  if (change.kind == Change::removed) {
    text += " were not there";
  } else if (is_hidden(printing, change.path, change.is_fact) && change.value != "\"\"") {
    text += " were another one";
  } else {
    text += " were " + (change.value == "\"\"" ? "unset" : shown(change.value));
  }
  if (setting == nullptr) return text + (change.is_fact ? " (it is not reported)" : " (it is not set)");
  return text + " (it is " + shown(json_value(printing, *setting)) + ", " + place_of(printing, *setting) + ")";
}

void print_conditions(const Printing &printing, const Ways &ways, const char *indentation) {
  constexpr size_t most = 6;
  const size_t count = std::min(ways.ways.size(), most);
  for (size_t i = 0; i < count; i++) {
    const std::vector<Change> &way = ways.ways[i];
    for (size_t j = 0; j < way.size(); j++) {
      const char *joint = j + 1 < way.size() ? " and" : i + 1 == count ? "" : ", or";
      printf("%s%s%s\n", indentation, condition(printing, way[j]).c_str(), joint);
    }
  }
  if (ways.ways.size() > most) printf("%s(%zu other changes would do, too)\n", indentation, ways.ways.size() - most);
}

std::string margin_of(const LineAnswer &answer) {
  if (!answer.from.empty()) return answer.from[0]->path;
  if (!answer.router_file.empty()) return answer.router_file;
  return answer.conditions.empty() ? "" : "(" + answer.conditions[0]->path + ")";
}

}  // namespace

void print_lines(const Printing &printing, const std::string &file, const std::vector<LineAnswer> &answers,
                 bool is_margin) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put(writer, "file", file);
      put_lines(printing, writer, answers);
    });
    return;
  }
  size_t width = 0;
  for (const LineAnswer &answer : answers) width = std::max(width, margin_of(answer).size());
  for (const LineAnswer &answer : answers) {
    if (!is_margin) {
      puts(harmless(answer.text).c_str());
      print_reasons(printing, answer);
    } else {
      printf("%5zu  %-*s | %s\n", answer.number, static_cast<int>(width), margin_of(answer).c_str(),
             harmless(answer.text).c_str());
    }
  }
}

void print_driven(const Printing &printing, const std::string &path, const std::vector<DrivenLine> &lines) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put(writer, "path", path);
      put_driven(writer, lines);
    });
    return;
  }
  for (const DrivenLine &line : lines) puts(line_of(line).c_str());
}

void print_would(const Printing &printing, const std::string &path, const std::vector<NewLines> &lines) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put(writer, "path", path);
      put_array(writer, "would", lines, [&](const NewLines &row) {
        put_object(writer, [&] {
          writer.Key("change");
          put_change(printing, writer, row.change);
          put_driven(writer, row.lines);
        });
      });
    });
    return;
  }
  if (lines.empty()) puts("it is not set, and nothing that was tried for it writes a line");
  for (const NewLines &row : lines) {
    printf("it is not set. If it were %s:\n", shown(new_value(printing, row.change)).c_str());
    for (const DrivenLine &line : row.lines) printf("  %s\n", line_of(line).c_str());
  }
}

void print_ways(const Printing &printing, const std::string &path, const Ways &ways) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put(writer, "path", path);
      put_driven(writer, {});
      put_ways(printing, writer, ways);
    });
    return;
  }
  if (ways.ways.empty()) {
    puts("no line of any file comes from it, and no change that was tried gives it one");
  } else {
    puts("no line of any file comes from it. One would if");
    print_conditions(printing, ways, "  ");
  }
  for (const std::string &message : ways.messages)
    printf("tessera says: %s\n", masked(printing.secrets, "", message).c_str());
}

void print_unused(const Printing &printing, const std::vector<const Setting *> &settings,
                  const std::vector<Ways> &ways) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put_array(writer, "unused", settings, [&](const Setting *const &setting) {
        put_object(writer, [&] {
          put_place(writer, *setting);
          put_ways(printing, writer, ways[static_cast<size_t>(&setting - settings.data())]);
        });
      });
    });
    return;
  }
  for (size_t i = 0; i < settings.size(); i++) {
    printf("%s: %s changes nothing%s\n", place_of(printing, *settings[i]).c_str(), settings[i]->path.c_str(),
           ways[i].ways.empty() ? "" : "; it would if");
    print_conditions(printing, ways[i], "    ");
  }
}
