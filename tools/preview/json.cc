#include "preview/json.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>

#include <cstdio>

#include "preview/encodings.h"

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_text(Writer &writer, const std::string &text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void write_member(Writer &writer, const std::string &name, const std::string &text) {
  bool is_text = is_utf8(text);
  write_text(writer, is_text ? name : name + "_base64");
  write_text(writer, is_text ? text : in_base64(text));
}

void write_member(Writer &writer, const char *name, int number) {
  writer.Key(name);
  writer.Int(number);
}

// A text of messages as an array of its lines.
void write_lines(Writer &writer, const char *name, const std::string &text) {
  writer.Key(name);
  writer.StartArray();
  for (size_t start = 0; start < text.size();) {
    size_t end = std::min(text.find('\n', start), text.size());
    write_text(writer, repaired_utf8(text.substr(start, end - start)));
    start = end + 1;
  }
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

// The texts are JSON already.
void write_runtime(Writer &writer, const std::vector<RuntimeChange> &changes) {
  writer.Key("runtime");
  writer.StartArray();
  for (const RuntimeChange &change : changes) {
    writer.StartObject();
    const std::pair<const char *, const std::string &> members[] = {
        {"key", change.key}, {"before", change.before}, {"after", change.after}};
    for (const auto &[name, value] : members) {
      writer.Key(name);
      writer.RawValue(value.data(), value.size(), value == "null" ? rapidjson::kNullType : rapidjson::kStringType);
    }
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
                 std::string(!verdict.is_installed      ? "not installed"
                             : verdict.findings.empty() ? "accepted"
                                                        : "refused"));
    writer.Key("findings");
    writer.StartArray();
    for (const Finding &finding : verdict.findings) {
      writer.StartObject();
      write_member(writer, "file", finding.file);
      if (finding.line > 0) write_member(writer, "line", static_cast<int>(finding.line));
      write_member(writer, "message", repaired_utf8(finding.message));
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
