#include "explain/print.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "preview/strings.h"

namespace {

// ---- Values

std::string place_of(const Printing &printing, const Setting &setting) {
  if (setting.is_fact) return printing.pool.setup.facts_name;
  return printing.pool.setup.config_name + ":" + std::to_string(setting.line) + ":" + std::to_string(setting.column);
}

bool is_hidden(const Printing &printing, const std::string &path, bool is_fact) {
  return printing.pool.secrets.masks && (is_fact ? is_secret_name(path) : schema_at(path).secret);
}

// The value as JSON.
std::string json_value(const Printing &printing, const Setting &setting) {
  if (is_hidden(printing, setting.path, setting.is_fact)) return quoted("<secret>");
  return setting.json[0] == '"' ? quoted(masked(printing.pool.secrets, "", setting.value)) : setting.json;
}

// The new value of a change: a string for a fact, else JSON.
std::string new_value(const Printing &printing, const Change &change) {
  if (!is_hidden(printing, change.path, change.is_fact) || change.value == "\"\"") return change.value;
  return change.is_fact ? "<secret>" : quoted("<secret>");
}

// The JSON, cut when it is long or has several lines.
std::string shown(const std::string &json) {
  constexpr size_t longest = 60;
  size_t end = json.find("\\n");
  if (end == std::string::npos && json.size() <= longest) return json;
  return json.substr(0, std::min(end, longest)) + "...\"";
}

// A line of a file for a terminal. Control characters, which a fact may contain, could harm the terminal.
std::string harmless(std::string line) {
  auto is_control = [](char byte) { return (static_cast<unsigned char>(byte) < ' ' && byte != '\t') || byte == 0x7F; };
  std::replace_if(line.begin(), line.end(), is_control, '?');
  return line;
}

std::string line_of(const DrivenLine &line) {
  return harmless(line.file + ":" + std::to_string(line.number) + ": " + line.text);
}

// ---- JSON

// Leaves out members without a value.
std::string object(std::initializer_list<std::pair<const char *, std::string>> members) {
  std::string json;
  for (const auto &[name, value] : members)
    if (!value.empty()) json.append(json.empty() ? "{" : ", ").append(quoted(name)).append(": ").append(value);
  return json + "}";
}

// The elements as a JSON array, with `joint` between them.
template <typename Elements, typename Form>
std::string list(const Elements &elements, Form json_of, const char *joint = ", ") {
  std::string json;
  for (const auto &element : elements) json.append(json.empty() ? "" : joint).append(json_of(element));
  return "[" + json + "]";
}

std::string string_json(const std::string &string) {
  return quoted(repaired_utf8(string));
}

std::string optional_json(const std::string &string) {
  return string.empty() ? "" : string_json(string);
}

std::string origin_json(const Setting *setting) {
  if (setting->is_fact) return object({{"fact", string_json(setting->path)}});
  return object({{"path", string_json(setting->path)},
                 {"line", std::to_string(setting->line)},
                 {"column", std::to_string(setting->column)}});
}

std::string line_json(const Printing &printing, const LineAnswer &answer) {
  auto condition_json = [&](const Setting *setting) {
    return object({{setting->is_fact ? "fact" : "path", string_json(setting->path)},
                   {"value", setting->is_leaf ? json_value(printing, *setting) : ""}});
  };
  const std::string remark = answer.router_file.empty() ? answer.remark : "from the file " + answer.router_file;
  return object({{"line", std::to_string(answer.number)},
                 {"text", string_json(answer.text)},
                 {"from", list(answer.from, origin_json)},
                 {"while", list(answer.conditions, condition_json)},
                 {"remark", optional_json(remark)}});
}

std::string change_json(const Printing &printing, const Change &change) {
  std::string value = new_value(printing, change);
  return object({{change.is_fact ? "fact" : "path", string_json(change.path)},
                 {"value", change.kind == Change::removed ? "null"
                           : change.is_fact               ? string_json(value)
                                                          : value}});
}

std::string ways_json(const Printing &printing, const Ways &ways) {
  return list(ways.ways, [&](const std::vector<Change> &way) {
    return list(way, [&](const Change &change) { return change_json(printing, change); });
  });
}

std::string messages_json(const Printing &printing, const Ways &ways) {
  return list(ways.messages,
              [&](const std::string &message) { return string_json(masked(printing.pool.secrets, "", message)); });
}

std::string driven_json(const std::vector<DrivenLine> &lines) {
  auto json_of = [](const DrivenLine &line) {
    return object(
        {{"file", string_json(line.file)}, {"line", std::to_string(line.number)}, {"text", string_json(line.text)}});
  };
  return list(lines, json_of, ",\n  ");
}

// ---- For people

// Prints a row for each setting: FILE:LINE:COLUMN, as compilers write it, the path, and the value or what else matters.
// The label comes before the first row.
void print_settings(const Printing &printing, const char *label, const std::vector<const Setting *> &settings,
                    bool with_values) {
  for (const Setting *setting : settings) {
    std::string name = (setting->is_fact ? "the fact " : "") + setting->path;
    if (with_values) name += setting->is_leaf ? " = " + shown(json_value(printing, *setting)) : " is there";
    if (!with_values && setting->is_entry) name += " (its name)";
    printf("  %-5s  %s: %s\n", label, place_of(printing, *setting).c_str(), name.c_str());
    label = "";
  }
}

void print_reasons(const Printing &printing, const LineAnswer &answer) {
  print_settings(printing, "from", answer.from, false);
  const char *label = answer.from.empty() ? "from" : "";
  if (!answer.router_file.empty()) printf("  %-5s  the router's file %s\n", label, answer.router_file.c_str());
  if (!answer.remark.empty()) printf("  %s\n", answer.remark.c_str());
  print_settings(printing, "while", answer.conditions, true);
}

// "network.interface.lan.ipv4.type were "static" (it is "hybrid", my.json:22:17)".
std::string condition(const Printing &printing, const Change &change) {
  const Setting *setting = find_setting(printing.pool.setup, change.path, change.is_fact);
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
    auto json_of = [&](const LineAnswer &answer) { return line_json(printing, answer); };
    puts(object({{"file", string_json(file)}, {"lines", list(answers, json_of, ",\n  ")}}).c_str());
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
    puts(object({{"path", string_json(path)}, {"lines", driven_json(lines)}}).c_str());
    return;
  }
  for (const DrivenLine &line : lines) puts(line_of(line).c_str());
}

void print_would(const Printing &printing, const std::string &path, const std::vector<NewLines> &lines) {
  if (printing.is_json) {
    auto json_of = [&](const NewLines &row) {
      return object({{"change", change_json(printing, row.change)}, {"lines", driven_json(row.lines)}});
    };
    puts(object({{"path", string_json(path)}, {"would", list(lines, json_of)}}).c_str());
    return;
  }
  if (lines.empty()) puts("it is not set, and no value that was tried adds a line");
  for (const NewLines &row : lines) {
    printf("it is not set. If it were %s:\n", shown(new_value(printing, row.change)).c_str());
    for (const DrivenLine &line : row.lines) printf("  %s\n", line_of(line).c_str());
  }
}

void print_ways(const Printing &printing, const std::string &path, const Ways &ways) {
  if (printing.is_json) {
    puts(object({{"path", string_json(path)},
                 {"lines", "[]"},
                 {"would", ways_json(printing, ways)},
                 {"messages", messages_json(printing, ways)}})
             .c_str());
    return;
  }
  bool has_ways = !ways.ways.empty();
  printf("no line of any file comes from it%s\n",
         has_ways ? ". One would if" : ", and no change that was tried gives it one");
  print_conditions(printing, ways, "  ");
  for (const std::string &message : ways.messages)
    printf("tessera says: %s\n", harmless(masked(printing.pool.secrets, "", message)).c_str());
}

void print_unused(const Printing &printing, const std::vector<const Setting *> &settings,
                  const std::vector<Ways> &ways) {
  std::string rows;
  for (size_t i = 0; i < settings.size(); i++) {
    if (printing.is_json) {
      rows += object({{"path", string_json(settings[i]->path)},
                      {"line", std::to_string(settings[i]->line)},
                      {"column", std::to_string(settings[i]->column)},
                      {"would", ways_json(printing, ways[i])},
                      {"messages", messages_json(printing, ways[i])}}) +
              (i + 1 < settings.size() ? ",\n  " : "");
      continue;
    }
    printf("%s: %s changes nothing%s\n", place_of(printing, *settings[i]).c_str(), settings[i]->path.c_str(),
           ways[i].ways.empty() ? "" : "; it would if");
    print_conditions(printing, ways[i], "    ");
  }
  if (printing.is_json) puts(object({{"unused", "[" + rows + "]"}}).c_str());
}
