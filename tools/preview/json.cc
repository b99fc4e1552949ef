#include "preview/json.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>

#include <cstdio>

#include "preview/strings.h"
#include "sandbox/sandbox.h"
#include "util/strings.h"

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_string(Writer &writer, const std::string &string) {
  std::string repaired = repaired_utf8(string);
  writer.String(repaired.data(), static_cast<rapidjson::SizeType>(repaired.size()));
}

void write_member(Writer &writer, const char *name, const std::string &string) {
  writer.Key(name);
  write_string(writer, string);
}

void write_member(Writer &writer, const char *name, int number) {
  writer.Key(name);
  writer.Int(number);
}

// The lines of a string as an array.
void write_lines(Writer &writer, const char *name, const std::string &string) {
  writer.Key(name);
  writer.StartArray();
  for (const std::string &line : lines_of(string)) write_string(writer, line);
  writer.EndArray();
}

void write_runs(Writer &writer, const std::vector<ServiceRun> &runs) {
  writer.Key("services");
  writer.StartArray();
  for (const ServiceRun &run : runs) {
    writer.StartObject();
    write_member(writer, "name", run.service);
    write_member(writer, "status", run.status);
    write_lines(writer, "messages", run.messages);
    write_lines(writer, "output", run.output);
    writer.EndObject();
  }
  writer.EndArray();
}

void write_mode(Writer &writer, const char *name, const File *file) {
  if (file == nullptr) return;
  char mode[8];
  snprintf(mode, sizeof mode, "%04o", file->mode & 07777U);
  write_member(writer, name, std::string(mode));
}

// Writes "is_exact": false when the file holds bytes that are not UTF-8, which are written as "?".
void write_exactness(Writer &writer, const PlannedFile &file) {
  if (repaired_utf8(file.content) == file.content && repaired_utf8(file.difference) == file.difference) return;
  writer.Key("is_exact");
  writer.Bool(false);
}

void write_file(Writer &writer, const PlannedFile &file) {
  const File *state = file.after != nullptr ? file.after : file.before;
  writer.StartObject();
  write_member(writer, "path", "/" + file.path);
  write_member(writer, "type",
               std::string(S_ISDIR(state->mode)   ? "directory"
                           : S_ISLNK(state->mode) ? "link"
                                                  : "file"));
  write_member(writer, "status", std::string(fate_names[static_cast<size_t>(file.fate)]));
  write_mode(writer, "mode", file.after);
  if (file.fate == Fate::written) {
    if (!S_ISDIR(state->mode)) write_member(writer, S_ISLNK(state->mode) ? "target" : "content", file.content);
  } else if (file.fate != Fate::unchanged) {
    write_mode(writer, "old_mode", file.before);
    write_member(writer, "diff", file.difference);
    writer.Key("only_secrets_differ");
    writer.Bool(file.only_secrets_differ);
  }
  write_exactness(writer, file);
  writer.EndObject();
}

void write_files(Writer &writer, const std::vector<PlannedFile> &plan) {
  const std::string *removed = nullptr;
  writer.Key("files");
  writer.StartArray();
  for (const PlannedFile &file : plan) {
    if (file.path == removed_list) {
      if (file.after != nullptr) removed = &file.after->content;
    } else if (file.path != runtime_dump) {
      write_file(writer, file);
    }
  }
  writer.EndArray();
  write_lines(writer, "removed_files", removed != nullptr ? *removed : "");
}

void write_counts(Writer &writer, const std::vector<PlannedFile> &plan) {
  int counts[std::size(fate_names)] = {};
  for (const PlannedFile &file : plan) counts[static_cast<size_t>(file.fate)] += is_file(file) ? 1 : 0;
  writer.Key("summary");
  writer.StartObject();
  for (size_t fate = 0; fate < std::size(fate_names); fate++) write_member(writer, fate_names[fate], counts[fate]);
  writer.EndObject();
}

void write_value(Writer &writer, const char *name, const std::optional<std::string> &value) {
  writer.Key(name);
  if (value) {
    write_string(writer, *value);
  } else {
    writer.Null();
  }
}

void write_runtime(Writer &writer, const std::vector<RuntimeChange> &changes) {
  writer.Key("runtime");
  writer.StartArray();
  for (const RuntimeChange &change : changes) {
    writer.StartObject();
    write_member(writer, "key", change.key);
    write_value(writer, "before", change.before);
    write_value(writer, "after", change.after);
    writer.EndObject();
  }
  writer.EndArray();
}

void write_verdicts(Writer &writer, const std::vector<Verdict> &verdicts) {
  writer.Key("verification");
  writer.StartArray();
  for (const Verdict &verdict : verdicts) {
    writer.StartObject();
    write_member(writer, "checker", verdict.checker);
    write_member(writer, "file", verdict.file);
    write_member(writer, "result",
                 std::string(!verdict.is_installed ? "not installed"
                             : is_refused(verdict) ? "refused"
                                                   : "accepted"));
    writer.Key("findings");
    writer.StartArray();
    for (const Remark &remark : verdict.remarks) {
      writer.StartObject();
      write_member(writer, "file", remark.file);
      if (remark.line > 0) write_member(writer, "line", static_cast<int>(remark.line));
      write_member(writer, "grade", std::string(remark.is_warning ? "warning" : "error"));
      write_member(writer, "message", remark.message);
      writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
  }
  writer.EndArray();
}

}  // namespace

void print_json(const Report &report) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  write_member(writer, "exit_status", report.exit_status);
  write_runs(writer, report.runs);
  write_files(writer, report.plan);
  write_counts(writer, report.plan);
  write_runtime(writer, report.runtime);
  if (report.is_verified) write_verdicts(writer, report.verdicts);
  writer.EndObject();
  fwrite(buffer.GetString(), 1, buffer.GetSize(), stdout);
  putchar('\n');
}
