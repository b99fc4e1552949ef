// The program runt: reads and edits the runtime store by hand and in scripts.
#include "platform/runt.h"

#include <fcntl.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "config/characters.h"
#include "platform/tools.h"
#include "runt/store.h"
#include "util/file.h"
#include "util/memory.h"
#include "util/owned.h"

namespace {

enum Status { done = 0, failed = 1, misused = 2 };

bool is_utf8(const std::string &string) {
  return find_invalid_utf8(string.c_str(), static_cast<uint32_t>(string.size()), 0) == no_position;
}

constexpr char key_rule[] = "expected a key of at most 500 bytes, one or more names joined by \".\"";
constexpr char stored_key_rule[] = "expected a key in UTF-8 without control characters";

std::string in_quotes(const std::string &key) {
  return "\"" + printable(key) + "\"";
}

bool check_key(const char *key) {
  if (runt_is_key(key)) return true;
  fprintf(stderr, "runt: %s: %s\n", in_quotes(key).c_str(), key_rule);
  return false;
}

// Why a key is refused; null for a good key. The store would accept more keys, but nobody could type them.
const char *key_trouble(const std::string &key) {
  if (holds_control(key.data(), key.size()) || !is_utf8(key)) return stored_key_rule;
  return runt_is_key(key.c_str()) ? nullptr : key_rule;
}

// The string with U+FFFD for every byte that is not UTF-8.
std::string repair_utf8(const std::string &string) {
  const auto size = static_cast<uint32_t>(string.size());
  std::string repaired;
  for (uint32_t at = 0;; at++) {
    uint32_t invalid = find_invalid_utf8(string.c_str(), size, at);
    repaired.append(string, at, (invalid == no_position ? size : invalid) - at);
    if (invalid == no_position) return repaired;
    repaired += "\xEF\xBF\xBD";
    at = invalid;
  }
}

// Reports the failure of a change; returns the exit status.
int finish(int error, const char *what) {
  if (error == 0) return done;
  fprintf(stderr, "runt: cannot change %s: %s\n", what, runt_error_message(error));
  return failed;
}

int get(char **arguments) {
  if (!check_key(arguments[0])) return failed;
  OwnedString value(runt_get_string(arguments[0]));
  if (value == nullptr) return failed;
  puts(value.get());
  return done;
}

int set(char **arguments) {
  const char *trouble = key_trouble(arguments[0]);
  if (trouble == nullptr && !is_utf8(arguments[1])) trouble = "expected a value in UTF-8";
  if (trouble != nullptr) {
    fprintf(stderr, "runt: %s: %s\n", in_quotes(arguments[0]).c_str(), trouble);
    return failed;
  }
  return finish(runt_set_string_pathf(arguments[1], "%s", arguments[0]), arguments[0]);
}

int remove(char **arguments) {
  return check_key(arguments[0]) ? finish(runt_delete(arguments[0]), arguments[0]) : failed;
}

int keys(char **arguments) {
  const char *key = arguments[0] != nullptr ? arguments[0] : "";
  if (*key != '\0' && !check_key(key)) return failed;
  OwnedList names(runt_keys(key));
  if (names == nullptr) return failed;
  for (char **name = names.get(); *name != nullptr; name++) puts(*name);
  return done;
}

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_string(Writer &writer, std::string_view string) {
  writer.String(string.data(), static_cast<rapidjson::SizeType>(string.size()));
}

// Writes the values at and below `key`; returns false when a string had to be repaired.
bool dump_below(Writer &writer, const std::string &key) {
  bool faithful = true;
  OwnedString value(key.empty() ? nullptr : runt_get_string(key.c_str()));
  if (value != nullptr) {
    std::string shown_key = repair_utf8(key);
    std::string shown_value = repair_utf8(value.get());
    faithful = shown_key == key && shown_value == value.get();
    if (!faithful) fprintf(stderr, "runt: %s: not UTF-8, bad bytes are shown as U+FFFD\n", shown_key.c_str());
    write_string(writer, shown_key);
    write_string(writer, shown_value);
  }
  OwnedList names(runt_keys(key.c_str()));
  for (char **name = names.get(); name != nullptr && *name != nullptr; name++) {
    if (!dump_below(writer, key.empty() ? *name : key + "." + *name)) faithful = false;
  }
  return faithful;
}

int dump(char ** /*arguments*/) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  bool faithful = dump_below(writer, "");
  writer.EndObject();
  puts(buffer.GetString());
  return faithful ? done : failed;
}

struct Fact {
  std::string key;
  std::string value;
};

// Collects the facts from the events of the JSON reader: one flat object of strings. Refuses everything else.
struct FactsReader {
  const char *input;
  rapidjson::MemoryStream stream;
  std::vector<Fact> facts = {};
  std::unordered_set<std::string> seen = {};
  bool inside = false;
  size_t token_end = 0;       // the offset after the last token
  size_t trouble_offset = 0;  // the offset of the refused token
  std::string trouble = {};

  FactsReader(const char *bytes, size_t size) : input(bytes), stream(bytes, size) {}

  bool refuse(const std::string &reason) {
    trouble_offset = token_end + strspn(input + token_end, " \t\r\n,:");
    trouble = reason;
    return false;
  }
  bool accept() {
    token_end = stream.Tell();
    return true;
  }
  bool refuse_value() {
    if (!inside) return refuse("expected an object of keys and strings");
    return refuse(facts.back().key + ": expected a string");
  }

  bool StartObject() {
    if (inside) return refuse_value();
    inside = true;
    return accept();
  }
  bool Key(const char *bytes, rapidjson::SizeType length, bool /*copy*/) {
    std::string key(bytes, length);
    if (const char *reason = key_trouble(key); reason != nullptr) return refuse(in_quotes(key) + ": " + reason);
    if (!seen.insert(key).second) return refuse(key + ": expected each key once");
    facts.push_back({std::move(key), {}});
    return accept();
  }
  bool String(const char *bytes, rapidjson::SizeType length, bool /*copy*/) {
    if (!inside) return refuse_value();
    if (memchr(bytes, '\0', length) != nullptr)
      return refuse(facts.back().key + ": expected a string without zero bytes");
    facts.back().value.assign(bytes, length);
    // The reader accepts the second half of a surrogate pair without the first half.
    if (!is_utf8(facts.back().value))
      return refuse(facts.back().key + ": half of a surrogate pair, which is not a character");
    return accept();
  }
  bool EndObject(rapidjson::SizeType /*members*/) { return accept(); }
  bool EndArray(rapidjson::SizeType /*elements*/) { return true; }
  bool StartArray() { return refuse_value(); }
  bool Null() { return refuse_value(); }
  bool Bool(bool /*value*/) { return refuse_value(); }
  bool Int(int /*value*/) { return refuse_value(); }
  bool Uint(unsigned /*value*/) { return refuse_value(); }
  bool Int64(int64_t /*value*/) { return refuse_value(); }
  bool Uint64(uint64_t /*value*/) { return refuse_value(); }
  bool Double(double /*value*/) { return refuse_value(); }
  bool RawNumber(const char * /*bytes*/, rapidjson::SizeType /*length*/, bool /*copy*/) { return refuse_value(); }
};

// Prints a message with the line and column of the offset; returns the exit status.
int report(const char *path, std::string_view input, size_t offset, const char *trouble) {
  unsigned line = 1;
  size_t line_start = 0;
  for (size_t index = 0; index < offset && index < input.size(); index++) {
    if (input[index] != '\n') continue;
    line++;
    line_start = index + 1;
  }
  fprintf(stderr, "runt: %s:%u:%zu: %s\n", path, line, offset - line_start + 1, trouble);
  return failed;
}

// As much as the store can hold; the limit keeps an endless input from filling the memory.
constexpr size_t largest_input = 128U << 20;

// Reads the whole input; returns false, with errno set, when it cannot be read or is too large.
bool read_input(const char *path, std::string *input) {
  if (strcmp(path, "-") == 0) return read_all(STDIN_FILENO, input, largest_input);
  Fd file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY));
  return file.is_open() && read_all(file.get(), input, largest_input);
}

int store_facts(const std::vector<Fact> &facts) {
  int error = runt_edit_start();
  for (const Fact &fact : facts) {
    if (error == 0) error = runt_set_string_pathf(fact.value.c_str(), "%s", fact.key.c_str());
  }
  int commit_error = runt_edit_commit();
  return finish(error != 0 ? error : commit_error, "the store");
}

int load(char **arguments) {
  const char *path = arguments[0];
  std::string input;
  if (!read_input(path, &input)) {
    fprintf(stderr, "runt: %s: %s\n", path, strerror(errno));
    return failed;
  }
  FactsReader facts(input.data(), input.size());
  rapidjson::Reader reader;
  rapidjson::ParseResult result = reader.Parse<rapidjson::kParseValidateEncodingFlag>(facts.stream, facts);
  if (!facts.trouble.empty()) return report(path, input, facts.trouble_offset, facts.trouble.c_str());
  if (result.IsError()) return report(path, input, result.Offset(), rapidjson::GetParseError_En(result.Code()));
  if (facts.stream.Tell() != input.size())
    return report(path, input, facts.stream.Tell(), "expected the end of the input");
  return store_facts(facts.facts);
}

struct Command {
  const char *name;
  int least_arguments;
  int most_arguments;
  int (*run)(char **arguments);
};

const Command commands[] = {
    {"get", 1, 1, get},   {"set", 2, 2, set},   {"delete", 1, 1, remove},
    {"keys", 0, 1, keys}, {"dump", 0, 0, dump}, {"load", 1, 1, load},
};

constexpr char usage[] =
    "Usage: runt get KEY          print the value at a key\n"
    "       runt set KEY VALUE    store a value\n"
    "       runt delete KEY       remove a key and all keys below it\n"
    "       runt keys [KEY]       list the names directly below a key, or the first names of all keys\n"
    "       runt dump             print the whole store as a JSON object of keys and strings\n"
    "       runt load FILE        store every member of such an object, or no member (FILE \"-\": standard input)\n"
    "       runt --version        print the version\n"
    "\n"
    "Reads and edits the runtime store in /var/run/runt.\n"
    "Exit status: 0 done; 1 there is no such key, or the command failed with a message; 2 wrong usage.\n";

// The status, or `failed` after a message when standard output could not be written.
int end_output(int status) {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return status;
  fprintf(stderr, "runt: cannot write: %s\n", strerror(errno));
  return failed;
}

int run(const Command &command, char **arguments) {
  int error = runt_init();
  if (error != 0) {
    fprintf(stderr, "runt: cannot open the store in %s: %s\n", runt_directory, runt_error_message(error));
    return failed;
  }
  int status = command.run(arguments);
  runt_deinit();
  return end_output(status);
}

int misuse() {
  fputs(usage, stderr);
  return misused;
}

}  // namespace

int main(int argc, char **argv) {
  std::set_new_handler(end_without_memory);
  log_init("runt", 0, 0);
  if (!protect_standard_streams()) return failed;
  signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit of file size fails then, as on a full file system
  if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
    fputs(usage, stdout);
    return end_output(done);
  }
  if (argc == 2 && strcmp(argv[1], "--version") == 0) {
    puts("runt " TESSERA_VERSION);
    return end_output(done);
  }
  if (argc < 2) return misuse();
  for (const Command &command : commands) {
    if (strcmp(command.name, argv[1]) != 0) continue;
    bool fits = argc - 2 >= command.least_arguments && argc - 2 <= command.most_arguments;
    return fits ? run(command, argv + 2) : misuse();
  }
  fprintf(stderr, "runt: there is no command '%s'\n", argv[1]);
  return misuse();
}
