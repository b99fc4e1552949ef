#include "preview/secrets.h"

#include <fnmatch.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "config/schema.h"
#include "preview/plan.h"
#include "preview/strings.h"
#include "util/strings.h"

namespace {

constexpr const char *mark = "<secret>";
constexpr const char *old_mark = "<old secret>";
constexpr const char *new_mark = "<new secret>";

// Shorter strings are masked only where the programs write secrets: elsewhere they mean something else ("lan").
constexpr size_t shortest_form = 6;

struct Span {
  size_t start;
  size_t end;
};
using Spans = std::vector<Span>;

// ---- The secrets of a configuration.

// The first bytes of a form, as a key of `by_start`.
uint64_t start_of(const char *content) {
  uint64_t start = 0;
  memcpy(&start, content, shortest_form);
  return start;
}

void add_form(Secrets &secrets, std::string form) {
  if (form.size() < shortest_form) return;
  auto [entry, is_new] = secrets.forms.insert(std::move(form));
  if (is_new) secrets.by_start.emplace(start_of(entry->data()), *entry);
}

// Adds a line of a secret as the writers may write it: unchanged, and escaped in double quotes (UCI and JSON), in
// single quotes (shell) and in square brackets.
void add_line(Secrets &secrets, std::string_view line) {
  if (line.rfind("-----", 0) == 0) return;
  add_form(secrets, std::string(line));
  add_form(secrets, with_replaced(with_replaced(line, "\\", "\\\\"), "\"", "\\\""));
  add_form(secrets, with_replaced(line, "'", "'\\''"));
  add_form(secrets, with_replaced(line, "]", "\\]"));
}

void add_secret(Secrets &secrets, std::string_view content) {
  for (const std::string &line : lines_of(content)) add_line(secrets, line);
}

// Adds the secrets in a value of `key`, or, with `is_entry`, in an entry or element of it.
void add_secrets(const SchemaKey &key, bool is_entry, const rapidjson::Value &value, Secrets &secrets) {
  if (value.IsString() && key.secret) {
    add_secret(secrets, {value.GetString(), value.GetStringLength()});
  } else if (value.IsArray() && !is_entry) {
    for (const rapidjson::Value &element : value.GetArray()) add_secrets(key, true, element, secrets);
  } else if (value.IsObject()) {
    for (const auto &member : value.GetObject()) {
      bool is_map = key.kind == Kind::map && !is_entry;
      std::string_view name(member.name.GetString(), member.name.GetStringLength());
      const SchemaKey *below = is_map ? &key : schema_member(key, name);
      if (below != nullptr) add_secrets(*below, is_map, member.value, secrets);
    }
  }
}

// The document; a null value when it is not JSON.
rapidjson::Document parsed(const std::string &config) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(config.data(), config.size());
  return document;
}

// ---- Where files hold secrets.

// The part of a file after `before` and up to `until` is secret.
struct SecretPart {
  const char *files;           // pattern of the paths
  const char *before;          // a line feed means the start of a line
  const char *skip;            // "", or a string that has to come later in the line: the secret follows it
  const char *until;           // when it is missing, the secret extends to the end of the file
  bool but_last_word = false;  // the last word is not secret
  bool has_escapes = false;    // `until` after a backslash belongs to the secret
};
constexpr SecretPart secret_parts[] = {
    {"*", "-----BEGIN ", "PRIVATE KEY-----", "-----END "},
    {"*", "-----BEGIN OpenVPN ", "-----", "-----END "},
    {"*/ipsec.secrets", " : PSK ", "", "\n"},
    {"*.secret", " : PSK ", "", "\n"},
    {"*.secret", " : XAUTH ", "", "\n"},
    {"*.secret", " : RSA \"", "\" ", "\n"},
    {"*/serviceproviders-*", " password='", "", "' attm2mglobal="},
    {"*/radius.conf", "\n", " ", "\n", true},
    {"*/ldap.conf", "\nbindpw ", "", "\n"},
    {"*/pam.conf", " [secret=", "", "]", false, true},
};

bool is_named(const std::string &path, const char *pattern) {
  return fnmatch(pattern, path.c_str(), 0) == 0;
}

void add_parts(const SecretPart &part, std::string_view content, Spans &spans) {
  size_t from = 0;
  for (size_t found; (found = content.find(part.before, from)) != std::string_view::npos;) {
    size_t start = found + strlen(part.before);
    from = start;
    if (*part.skip != '\0') {
      size_t skipped = content.find(part.skip, start);
      if (skipped >= content.find('\n', start)) continue;
      start = skipped + strlen(part.skip);
    }
    size_t end = content.find(part.until, start);
    while (part.has_escapes && end != std::string_view::npos && content[end - 1] == '\\') {
      end = content.find(part.until, end + 1);
    }
    end = std::min(end, content.size());
    from = end;
    if (part.but_last_word) end = std::min(end, content.substr(0, end).rfind(' '));
    if (end > start) spans.push_back({start, end});
  }
}

// Adds almost the whole content of files that hold little but a secret.
void add_whole(const std::string &path, std::string_view content, Spans &spans) {
  if (is_named(path, "*/ipsec.d/private/*") && content.find("PRIVATE KEY-----") == std::string_view::npos) {
    spans.push_back({1, content.size()});
  }
  if (!is_named(path, "*/userpass_*")) return;
  size_t name_end = content.find('\n', 1);
  if (name_end != std::string_view::npos) spans.push_back({name_end, content.size()});
}

// Adds the blocks of an OpenVPN file, from a line <name> to a line </name>, except for public ones.
void add_blocks(std::string_view content, Spans &spans) {
  static constexpr std::string_view not_secret[] = {"ca",         "cert",       "extra-certs",     "dh",
                                                    "crl-verify", "connection", "peer-fingerprint"};
  std::string end_tag;  // of the block that the line is in
  size_t first = 0;
  for (size_t start = 0, end; start < content.size(); start = end + 1) {
    end = std::min(content.find('\n', start), content.size());
    std::string_view line = content.substr(start, end - start);
    line.remove_prefix(std::min(line.find_first_not_of(" \t\"'"), line.size()));
    size_t close = line.find('>');
    if (!end_tag.empty()) {
      if (line.substr(0, end_tag.size()) != end_tag) continue;
      spans.push_back({first, start});
      end_tag.clear();
    } else if (!line.empty() && line[0] == '<' && close != std::string_view::npos) {
      std::string_view name = line.substr(1, close - 1);
      bool is_end = name.rfind('/', 0) == 0;
      if (is_end || std::find(std::begin(not_secret), std::end(not_secret), name) != std::end(not_secret)) continue;
      end_tag = "</" + std::string(name) + ">";
      first = end;
    }
  }
  if (!end_tag.empty()) spans.push_back({first, content.size()});
}

// Whether a secret follows the word in files of the PPP daemon and in its chat scripts: "password", "ssword:".
bool announces_secret(std::string_view view) {
  std::string word(view);
  std::transform(word.begin(), word.end(), word.begin(), [](unsigned char letter) { return tolower(letter); });
  if (!word.empty() && word.back() == ':') word.pop_back();
  bool is_switch = word.rfind("hide-", 0) == 0 || word.rfind("show-", 0) == 0;
  return !is_switch && (is_secret_name(word) || (word.size() >= 4 && word.compare(word.size() - 4, 4, "word") == 0));
}

// Adds the rest of each line after a word that announces a secret, in a file that is the value of an option, from `at`
// to `end`. When nothing follows the word, the secret is in the next line.
void add_announced(std::string_view content, size_t at, size_t end, Spans &spans) {
  constexpr std::string_view line_end = "\\\\n";
  content = content.substr(0, end);
  while (at < end) {
    size_t word_end = std::min(content.find_first_of(" \t=\\", at), end);
    bool is_announced = announces_secret(content.substr(at, word_end - at));
    at = word_end;
    for (bool skips = true; skips && at < end;) {
      bool is_line_end = content.compare(at, line_end.size(), line_end) == 0;
      skips = is_line_end || strchr(" \t=", content[at]) != nullptr;
      if (skips) at += is_line_end ? line_end.size() : 1;
    }
    if (at == word_end) at++;
    if (!is_announced) continue;
    size_t start = at;
    at = std::min(content.find(line_end, at), end);
    if (at > start) spans.push_back({start, at});
  }
}

// Adds the values of UCI options with secret names, and the secrets in PPP files and scripts.
void add_options(std::string_view content, Spans &spans) {
  constexpr std::string_view option = "\n\toption ";
  for (size_t found = content.find(option); found != std::string_view::npos; found = content.find(option, found + 1)) {
    size_t name = found + option.size();
    size_t quote = std::min(content.find('"', name), content.size());
    size_t end = std::min(content.find('\n', name), content.size());
    if (quote + 1 >= end) continue;
    std::string_view given = content.substr(name, quote - name - 1);
    if (given == "custom_config_file") {
      add_announced(content, quote + 1, end - 1, spans);
    } else if (given == "connect_script" || is_secret_name(given)) {
      spans.push_back({quote + 1, end - 1});
    }
  }
}

// Adds the values of keys of the runtime store with secret names.
void add_facts(std::string_view content, Spans &spans) {
  for (const Member &member : read_members(content)) {
    if (is_secret_name(member.name)) spans.push_back({member.start, member.end});
  }
}

// Adds the secrets of the configuration, wherever they are.
void add_known(const Secrets &secrets, std::string_view content, Spans &spans) {
  std::array<bool, 256> starts{};
  for (const std::string &form : secrets.forms) starts[static_cast<unsigned char>(form[0])] = true;
  for (size_t at = 0; at + shortest_form <= content.size(); at++) {
    if (!starts[static_cast<unsigned char>(content[at])]) continue;
    auto [form, last] = secrets.by_start.equal_range(start_of(&content[at]));
    for (; form != last; ++form) {
      if (content.compare(at, form->second.size(), form->second) == 0) spans.push_back({at, at + form->second.size()});
    }
  }
}

// The secrets in `content`, in order, without overlaps and without white space around them.
Spans secret_spans(const Secrets &secrets, const std::string &path, const std::string &content) {
  Spans spans;
  // The patterns need a line feed before the first line, too.
  std::string lines = "\n" + content;
  add_whole(path, lines, spans);
  for (const SecretPart &part : secret_parts) {
    if (is_named(path, part.files)) add_parts(part, lines, spans);
  }
  if (is_named(path, "*/config_file_*")) add_blocks(lines, spans);
  if (is_named(path, "*/uci/*")) add_options(lines, spans);
  if (path == runtime_dump) add_facts(lines, spans);
  add_known(secrets, lines, spans);
  std::sort(spans.begin(), spans.end(), [](Span one, Span other) { return one.start < other.start; });
  Spans apart;
  for (Span span : spans) {
    span = {span.start - 1, span.end - 1};
    while (span.start < span.end && strchr("\r\n ", content[span.start]) != nullptr) span.start++;
    while (span.start < span.end && strchr("\r\n ", content[span.end - 1]) != nullptr) span.end--;
    if (span.start == span.end) continue;
    if (!apart.empty() && span.start < apart.back().end) {
      apart.back().end = std::max(apart.back().end, span.end);
    } else {
      apart.push_back(span);
    }
  }
  return apart;
}

std::string with_marks(const std::string &content, const Spans &spans,
                       const std::unordered_set<std::string_view> *common, const char *uncommon_mark) {
  std::string result;
  size_t done = 0;
  for (Span span : spans) {
    std::string_view secret(&content[span.start], span.end - span.start);
    result.append(content, done, span.start - done);
    result += common == nullptr || common->count(secret) > 0 ? mark : uncommon_mark;
    done = span.end;
  }
  return result.append(content, done);
}

std::unordered_set<std::string_view> secret_strings(const std::string &content, const Spans &spans) {
  std::unordered_set<std::string_view> strings;
  for (Span span : spans) strings.emplace(&content[span.start], span.end - span.start);
  return strings;
}

}  // namespace

bool is_secret_name(std::string_view name) {
  static constexpr std::string_view words[] = {"password", "passphrase", "secret", "key",
                                               "psk",      "pin",        "cak",    "cookie"};
  if (name.size() >= 10 && name.substr(name.size() - 10) == "public_key") return false;
  return std::any_of(std::begin(words), std::end(words), [name](std::string_view word) {
    return name.size() >= word.size() && name.substr(name.size() - word.size()) == word;
  });
}

Secrets find_secrets(const std::string &config) {
  Secrets secrets;
  add_secrets(schema, false, parsed(config), secrets);
  return secrets;
}

bool configures_tunnels(const std::string &config) {
  rapidjson::Document document = parsed(config);
  const rapidjson::Value *tunnels = rapidjson::Pointer("/vpn/ipsec/tunnel").Get(document);
  return tunnels != nullptr && tunnels->IsObject() && !tunnels->ObjectEmpty();
}

std::string masked(const Secrets &secrets, const std::string &path, std::string_view view) {
  std::string content(view);
  return secrets.masks ? with_marks(content, secret_spans(secrets, path, content), nullptr, mark) : content;
}

std::vector<std::string> masked_lines(const Secrets &secrets, const std::string &path,
                                      const std::vector<std::string> &lines) {
  if (!secrets.masks) return lines;
  std::string content;
  for (const std::string &line : lines) content.append(line).append("\n");
  const Spans spans = secret_spans(secrets, path, content);
  std::vector<std::string> result;
  size_t start = 0;
  for (const std::string &line : lines) {
    Spans inside;
    for (Span span : spans) {
      span = {std::max(span.start, start) - start, std::min(span.end, start + line.size()) - std::min(start, span.end)};
      if (span.start < span.end) inside.push_back(span);
    }
    result.push_back(with_marks(line, inside, nullptr, mark));
    start += line.size() + 1;
  }
  return result;
}

void mask_states(const Secrets &secrets, const std::string &path, std::string &before, std::string &after) {
  if (!secrets.masks) return;
  Spans old_spans = secret_spans(secrets, path, before);
  Spans new_spans = secret_spans(secrets, path, after);
  auto old_strings = secret_strings(before, old_spans);
  auto new_strings = secret_strings(after, new_spans);
  std::string masked_before = with_marks(before, old_spans, &new_strings, old_mark);
  after = with_marks(after, new_spans, &old_strings, new_mark);
  before = masked_before;
}
