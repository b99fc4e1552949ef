#include "explain/print.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cstdio>

#include "preview/secrets.h"

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

std::string place_of(const Printing &printing, const Setting &setting) {
  if (setting.is_fact) return printing.setup.facts_name;
  return printing.setup.config_name + ":" + std::to_string(setting.line) + ":" + std::to_string(setting.column);
}

std::string name_of(const Setting &setting) {
  return (setting.is_fact ? "the fact " : "") + setting.path + (setting.is_entry ? " (its name)" : "");
}

std::string shown(const std::string &json) {
  constexpr size_t longest = 60;
  size_t end = json.find("\\n");
  if (end == std::string::npos && json.size() <= longest) return json;
  return json.substr(0, std::min(end, longest)) + "...\"";
}

std::string masked_value(const Printing &printing, const Setting &setting) {
  const std::string text = printing.mask("", setting.value);
  bool is_secret = setting.is_fact ? is_secret_name(setting.path) : schema_at(setting.path).secret;
  return is_secret && !printing.shows_secrets ? "<secret>" : text;
}

std::string json_value(const Printing &printing, const Setting &setting) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  const rapidjson::Value *value = setting.is_fact ? nullptr : value_at(printing.setup.config, setting.path);
  if (value == nullptr || value->IsString()) {
    writer.String(masked_value(printing, setting).c_str());
  } else {
    value->Accept(writer);
  }
  return buffer.GetString();
}

void print_reasons(const Printing &printing, const LineAnswer &answer) {
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
    printf("  %s  %s%s  %s\n", label, setting->path.c_str(), value.c_str(), place_of(printing, *setting).c_str());
    label = "     ";
  }
}

void write_setting(const Printing &printing, Writer &writer, const Setting &setting, bool with_value) {
  writer.StartObject();
  writer.Key(setting.is_fact ? "fact" : "path");
  writer.String(setting.path.c_str());
  if (with_value && setting.is_leaf) {
    std::string value = json_value(printing, setting);
    writer.Key("value");
    writer.RawValue(value.c_str(), value.size(), rapidjson::kStringType);
  }
  if (!setting.is_fact) {
    writer.Key("line");
    writer.Uint(setting.line);
    writer.Key("column");
    writer.Uint(setting.column);
  }
  writer.EndObject();
}

void write_lines(const Printing &printing, Writer &writer, const std::string &file,
                 const std::vector<LineAnswer> &answers) {
  writer.StartArray();
  for (const LineAnswer &answer : answers) {
    writer.StartObject();
    writer.Key("line");
    writer.Uint64(answer.number);
    writer.Key("text");
    writer.String(printing.mask(file, answer.text).c_str());
    writer.Key("from");
    writer.StartArray();
    for (const Setting *setting : answer.from) write_setting(printing, writer, *setting, false);
    writer.EndArray();
    writer.Key("while");
    writer.StartArray();
    for (const Setting *setting : answer.conditions) write_setting(printing, writer, *setting, true);
    writer.EndArray();
    if (!answer.remark.empty()) {
      writer.Key("remark");
      writer.String(answer.remark.c_str());
    }
    writer.EndObject();
  }
  writer.EndArray();
}

void write_change(Writer &writer, const Change &change) {
  writer.StartObject();
  writer.Key(change.is_fact ? "fact" : "path");
  writer.String(change.path.c_str());
  writer.Key("value");
  if (change.kind == Change::remove) {
    writer.Null();
  } else if (change.is_fact) {
    writer.String(change.value.c_str());
  } else {
    writer.RawValue(change.value.c_str(), change.value.size(), rapidjson::kStringType);
  }
  writer.EndObject();
}

void write_ways(Writer &writer, const Ways &ways) {
  writer.Key("would");
  writer.StartArray();
  for (const auto &way : ways.ways) {
    writer.StartArray();
    for (const Change &change : way) write_change(writer, change);
    writer.EndArray();
  }
  writer.EndArray();
  writer.Key("messages");
  writer.StartArray();
  for (const std::string &message : ways.messages) writer.String(message.c_str());
  writer.EndArray();
}

// "network.interface.lan.ipv4.type were "static" (it is "hybrid", my.json:22:17)".
std::string condition(const Printing &printing, const Change &change) {
  const Setting *setting = find_setting(printing.setup, change.path);
  std::string text = (change.is_fact ? "the fact " : "") + change.path;
  if (change.kind == Change::remove) {
    text += " were not there";
  } else {
    text += " were " + (change.value == "\"\"" ? "unset" : shown(change.value));
  }
  if (setting == nullptr) return text + (change.is_fact ? " (it is not reported)" : " (it is not set)");
  return text + " (it is " + shown(json_value(printing, *setting)) + ", " + place_of(printing, *setting) + ")";
}

void print_conditions(const Printing &printing, const Ways &ways, const char *indentation) {
  constexpr size_t most = 6;
  for (size_t i = 0; i < ways.ways.size() && i < most; i++) {
    const auto &way = ways.ways[i];
    for (size_t j = 0; j < way.size(); j++) {
      bool is_last_way = i + 1 == std::min(ways.ways.size(), most);
      const char *joint = j + 1 < way.size() ? " and" : is_last_way ? "" : ", or";
      printf("%s%s%s\n", indentation, condition(printing, way[j]).c_str(), joint);
    }
  }
  if (ways.ways.size() > most) printf("%s(%zu other changes would do, too)\n", indentation, ways.ways.size() - most);
}

void print_json(const std::function<void(Writer &)> &content) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  content(writer);
  writer.EndObject();
  puts(buffer.GetString());
}

}  // namespace

void print_lines(const Printing &printing, const std::string &file, const std::vector<LineAnswer> &answers,
                 bool is_margin) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      writer.Key("file");
      writer.String(file.c_str());
      writer.Key("lines");
      write_lines(printing, writer, file, answers);
    });
    return;
  }
  size_t width = 0;
  for (const LineAnswer &answer : answers)
    if (!answer.from.empty()) width = std::max(width, answer.from[0]->path.size());
  for (const LineAnswer &answer : answers) {
    std::string text = printing.mask(file, answer.text);
    if (!is_margin) {
      puts(text.c_str());
      print_reasons(printing, answer);
    } else {
      const char *margin = answer.from.empty() ? "" : answer.from[0]->path.c_str();
      printf("%5zu  %-*s | %s\n", answer.number, static_cast<int>(width), margin, text.c_str());
    }
  }
}

void print_driven(const Printing &printing, const std::string &path, const std::vector<DrivenLine> &lines) {
  if (!printing.is_json) {
    for (const DrivenLine &line : lines)
      printf("%s:%zu: %s\n", line.file.c_str(), line.number, printing.mask(line.file, line.text).c_str());
    return;
  }
  print_json([&](Writer &writer) {
    writer.Key("path");
    writer.String(path.c_str());
    writer.Key("lines");
    writer.StartArray();
    for (const DrivenLine &line : lines) {
      writer.StartObject();
      writer.Key("file");
      writer.String(line.file.c_str());
      writer.Key("line");
      writer.Uint64(line.number);
      writer.Key("text");
      writer.String(printing.mask(line.file, line.text).c_str());
      writer.EndObject();
    }
    writer.EndArray();
  });
}

void print_would(const Printing &printing, const std::string &path, const std::vector<NewLines> &lines) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      writer.Key("path");
      writer.String(path.c_str());
      writer.Key("would");
      writer.StartArray();
      for (const NewLines &row : lines) {
        writer.StartObject();
        writer.Key("change");
        write_change(writer, row.change);
        writer.Key("lines");
        writer.StartArray();
        for (const DrivenLine &line : row.lines)
          writer.String(
              (line.file + ":" + std::to_string(line.number) + ": " + printing.mask(line.file, line.text)).c_str());
        writer.EndArray();
        writer.EndObject();
      }
      writer.EndArray();
    });
    return;
  }
  if (lines.empty()) puts("it is not set, and nothing that was tried for it writes a line");
  for (const NewLines &row : lines) {
    printf("it is not set. If it were %s:\n", shown(row.change.value).c_str());
    for (const DrivenLine &line : row.lines)
      printf("  %s:%zu: %s\n", line.file.c_str(), line.number, printing.mask(line.file, line.text).c_str());
  }
}

void print_ways(const Printing &printing, const std::string &path, const Ways &ways) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      writer.Key("path");
      writer.String(path.c_str());
      writer.Key("lines");
      writer.StartArray();
      writer.EndArray();
      write_ways(writer, ways);
    });
    return;
  }
  if (ways.ways.empty()) {
    puts("no line of any file comes from it, and no change that was tried gives it one");
  } else {
    puts("no line of any file comes from it. One would if");
    print_conditions(printing, ways, "  ");
  }
  for (const std::string &message : ways.messages) printf("tessera says: %s\n", printing.mask("", message).c_str());
}

void print_unused(const Printing &printing, const std::vector<Unused> &unused) {
  if (printing.is_json) {
    print_json([&](Writer &writer) {
      writer.Key("unused");
      writer.StartArray();
      for (const Unused &row : unused) {
        writer.StartObject();
        writer.Key("path");
        writer.String(row.setting->path.c_str());
        writer.Key("line");
        writer.Uint(row.setting->line);
        writer.Key("column");
        writer.Uint(row.setting->column);
        write_ways(writer, row.ways);
        writer.EndObject();
      }
      writer.EndArray();
    });
    return;
  }
  for (const Unused &row : unused) {
    printf("%s: %s changes nothing%s\n", place_of(printing, *row.setting).c_str(), row.setting->path.c_str(),
           row.ways.ways.empty() ? "" : "; it would if");
    print_conditions(printing, row.ways, "    ");
  }
}
