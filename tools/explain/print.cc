#include "explain/print.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cstdio>

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

std::string line_of(const DrivenLine &line) {
  return line.file + ":" + std::to_string(line.number) + ": " + line.text;
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

void put_setting(const Printing &printing, Writer &writer, const Setting &setting, bool with_value) {
  put_object(writer, [&] {
    put(writer, setting.is_fact ? "fact" : "path", setting.path);
    if (with_value && setting.is_leaf) put_raw(writer, "value", json_value(printing, setting));
    if (setting.is_fact) return;
    put_number(writer, "line", setting.line);
    put_number(writer, "column", setting.column);
  });
}

void put_lines(const Printing &printing, Writer &writer, const std::vector<LineAnswer> &answers) {
  put_array(writer, "lines", answers, [&](const LineAnswer &answer) {
    put_object(writer, [&] {
      put_number(writer, "line", answer.number);
      put(writer, "text", answer.text);
      put_array(writer, "from", answer.from,
                [&](const Setting *setting) { put_setting(printing, writer, *setting, false); });
      put_array(writer, "while", answer.conditions,
                [&](const Setting *setting) { put_setting(printing, writer, *setting, true); });
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

void print_reasons(const Printing &printing, const LineAnswer &answer) {
  auto name_of = [](const Setting &of) {
    return (of.is_fact ? "the fact " : "") + of.path + (of.is_entry ? " (its name)" : "");
  };
  size_t width = 0;
  for (const Setting *setting : answer.from) width = std::max(width, name_of(*setting).size());
  const char *label = "from ";
  for (const Setting *setting : answer.from) {
    printf("  %s  %-*s  %s\n", label, static_cast<int>(width), name_of(*setting).c_str(),
           place_of(printing, *setting).c_str());
    label = "     ";
  }
  if (!answer.remark.empty()) printf("  %s\n", answer.remark.c_str());
  label = "while";
  for (const Setting *setting : answer.conditions) {
    std::string value = setting->is_leaf ? " = " + shown(json_value(printing, *setting)) : " is there";
    printf("  %s  %s%s%s  %s\n", label, setting->is_fact ? "the fact " : "", setting->path.c_str(), value.c_str(),
           place_of(printing, *setting).c_str());
    label = "     ";
  }
}

// "network.interface.lan.ipv4.type were "static" (it is "hybrid", my.json:22:17)".
std::string condition(const Printing &printing, const Change &change) {
  const Setting *setting = find_setting(printing.setup, change.path);
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
      puts(answer.text.c_str());
      print_reasons(printing, answer);
    } else {
      printf("%5zu  %-*s | %s\n", answer.number, static_cast<int>(width), margin_of(answer).c_str(),
             answer.text.c_str());
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

void print_unused(const Printing &printing, const std::vector<Unused> &unused) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      put_array(writer, "unused", unused, [&](const Unused &row) {
        put_object(writer, [&] {
          put(writer, "path", row.setting->path);
          put_number(writer, "line", row.setting->line);
          put_number(writer, "column", row.setting->column);
          put_ways(printing, writer, row.ways);
        });
      });
    });
    return;
  }
  for (const Unused &row : unused) {
    printf("%s: %s changes nothing%s\n", place_of(printing, *row.setting).c_str(), row.setting->path.c_str(),
           row.ways.ways.empty() ? "" : "; it would if");
    print_conditions(printing, row.ways, "    ");
  }
}
