#include "preview/secrets.h"

#include <fnmatch.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "preview/encodings.h"

namespace {

constexpr const char *mark = "<secret>";
constexpr const char *old_mark = "<old secret>";
constexpr const char *new_mark = "<new secret>";

// Shorter texts are hidden only where the programs write secrets: elsewhere they stand for something else ("lan").
constexpr size_t shortest_form = 6;

struct Span {
  size_t start;
  size_t end;
};
using Spans = std::vector<Span>;

// ---- The secrets of a configuration.

uint64_t start_of(const char *text) {
  uint64_t start = 0;
  memcpy(&start, text, shortest_form);
  return start;
}

void add_form(Secrets &secrets, std::string form) {
  if (form.size() < shortest_form) return;
  auto [entry, is_new] = secrets.forms.insert(std::move(form));
  if (is_new) secrets.by_start.emplace(start_of(entry->data()), *entry);
}

// A line of a secret text, as the writers write it: as it is, in base64, in double quotes (of UCI and JSON), in single
// quotes of the shell, in square brackets.
void add_line(Secrets &secrets, std::string_view line) {
  if (line.rfind("-----", 0) == 0) return;
  add_form(secrets, std::string(line));
  add_form(secrets, in_base64(line));
  add_form(secrets, with_replaced(with_replaced(line, "\\", "\\\\"), "\"", "\\\""));
  add_form(secrets, with_replaced(line, "'", "'\\''"));
  add_form(secrets, with_replaced(line, "]", "\\]"));
}

void add_secret(Secrets &secrets, std::string_view text) {
  if (text.find('\n') != std::string_view::npos) add_form(secrets, in_base64(text));
  for (size_t start = 0; start < text.size();) {
    size_t end = std::min(text.find('\n', start), text.size());
    add_line(secrets, text.substr(start, end - start));
    start = end + 1;
  }
}

struct SecretReader : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, SecretReader> {
  Secrets &secrets;
  bool is_secret = false;  // what follows the last name
  explicit SecretReader(Secrets &all) : secrets(all) {}
  bool Key(const char *name, rapidjson::SizeType length, bool /*copy*/) {
    is_secret = is_secret_name({name, length});
    return true;
  }
  bool String(const char *text, rapidjson::SizeType length, bool /*copy*/) {
    if (is_secret) add_secret(secrets, {text, length});
    return true;
  }
};

// ---- Where files hold secrets.

// What follows `before` up to `until` is secret.
struct Place {
  const char *files;   // a pattern of the paths
  const char *before;  // a line feed stands for the start of a line
  const char *skip;    // "", or what the rest of the line has to hold: the secret follows it
  const char *until;   // the end of the text when there is none
  bool but_last_word = false;
};
constexpr Place places[] = {
    {"*", "-----BEGIN ", "PRIVATE KEY-----", "-----END "},
    {"*", "-----BEGIN OpenVPN Static key V1-----", "", "-----END "},
    {"*/ipsec.secrets", " : PSK ", "", "\n"},
    {"*.secret", " : PSK ", "", "\n"},
    {"*.secret", " : XAUTH ", "", "\n"},
    {"*.secret", " : RSA \"", "\" ", "\n"},
    {"*/config_file_*", "\n<key>", "", "</key>"},
    {"*/config_file_*", "\n<secret>", "", "</secret>"},
    {"*/config_file_*", "\n<pkcs12>", "", "</pkcs12>"},
    {"*/config_file_*", "\n<auth-user-pass>", "", "</auth-user-pass>"},
    {"*/serviceproviders-*", " password='", "", "' attm2mglobal="},
    {"*/radius.conf", "\n", " ", "\n", true},
    {"*/ldap.conf", "\nbindpw ", "", "\n"},
    {"*/pam.conf", " [secret=", "", "] "},
    {nullptr, nullptr, nullptr, nullptr},
};

bool is_named(const std::string &path, const char *pattern) {
  return fnmatch(pattern, path.c_str(), 0) == 0;
}

void add_place(const Place &place, std::string_view text, Spans &spans) {
  size_t from = 0;
  for (size_t found; (found = text.find(place.before, from)) != std::string_view::npos;) {
    size_t start = found + strlen(place.before);
    from = start;
    if (*place.skip != '\0') {
      size_t skipped = text.find(place.skip, start);
      if (skipped >= text.find('\n', start)) continue;
      start = skipped + strlen(place.skip);
    }
    size_t end = std::min(text.find(place.until, start), text.size());
    from = end;
    if (place.but_last_word) end = std::min(end, text.substr(0, end).rfind(' '));
    if (end > start) spans.push_back({start, end});
  }
}

// Files that hold little else.
void add_whole(const std::string &path, std::string_view text, Spans &spans) {
  if (is_named(path, "*/ipsec.d/private/*") && text.find("PRIVATE KEY-----") == std::string_view::npos) {
    spans.push_back({1, text.size()});
  }
  if (!is_named(path, "*/userpass_*")) return;
  size_t name_end = text.find('\n', 1);
  if (name_end != std::string_view::npos) spans.push_back({name_end, text.size()});
}

// The options of a UCI file with secret names.
void add_options(std::string_view text, Spans &spans) {
  constexpr std::string_view option = "\n\toption ";
  for (size_t found = text.find(option); found != std::string_view::npos; found = text.find(option, found + 1)) {
    size_t name = found + option.size();
    size_t quote = std::min(text.find('"', name), text.size());
    size_t end = std::min(text.find('\n', name), text.size());
    if (quote + 1 >= end || !is_secret_name(text.substr(name, quote - name - 1))) continue;
    spans.push_back({quote + 1, end - 1});
  }
}

void add_known(const Secrets &secrets, std::string_view text, Spans &spans) {
  std::array<bool, 256> starts{};
  for (const std::string &form : secrets.forms) starts[static_cast<unsigned char>(form[0])] = true;
  for (size_t at = 0; at + shortest_form <= text.size(); at++) {
    if (!starts[static_cast<unsigned char>(text[at])]) continue;
    auto [form, last] = secrets.by_start.equal_range(start_of(&text[at]));
    for (; form != last; ++form) {
      if (text.compare(at, form->second.size(), form->second) == 0) spans.push_back({at, at + form->second.size()});
    }
  }
}

// The secrets in `text`, in order and apart from each other, without the white space around them.
Spans secret_spans(const Secrets &secrets, const std::string &path, const std::string &text) {
  Spans spans;
  // Every line starts with a line feed, also the first.
  std::string lines = "\n" + text;
  add_whole(path, lines, spans);
  for (const Place *place = places; place->files != nullptr; place++) {
    if (is_named(path, place->files)) add_place(*place, lines, spans);
  }
  if (is_named(path, "*/uci/*")) add_options(lines, spans);
  add_known(secrets, lines, spans);
  std::sort(spans.begin(), spans.end(), [](Span one, Span other) { return one.start < other.start; });
  Spans apart;
  for (Span span : spans) {
    span = {span.start - 1, span.end - 1};
    while (span.start < span.end && strchr("\r\n ", text[span.start]) != nullptr) span.start++;
    while (span.start < span.end && strchr("\r\n ", text[span.end - 1]) != nullptr) span.end--;
    if (span.start == span.end) continue;
    if (!apart.empty() && span.start < apart.back().end) {
      apart.back().end = std::max(apart.back().end, span.end);
    } else {
      apart.push_back(span);
    }
  }
  return apart;
}

std::string with_marks(const std::string &text, const Spans &spans, const std::unordered_set<std::string_view> *common,
                       const char *uncommon_mark) {
  std::string result;
  size_t done = 0;
  for (Span span : spans) {
    std::string_view secret(&text[span.start], span.end - span.start);
    result.append(text, done, span.start - done);
    result += common == nullptr || common->count(secret) > 0 ? mark : uncommon_mark;
    done = span.end;
  }
  return result.append(text, done);
}

std::unordered_set<std::string_view> secret_texts(const std::string &text, const Spans &spans) {
  std::unordered_set<std::string_view> texts;
  for (Span span : spans) texts.emplace(&text[span.start], span.end - span.start);
  return texts;
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
  SecretReader handler(secrets);
  rapidjson::MemoryStream stream(config.data(), config.size());
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>> reader;
  reader.Parse<rapidjson::kParseIterativeFlag>(stream, handler);
  return secrets;
}

std::string masked(const Secrets &secrets, const std::string &path, std::string_view view) {
  std::string text(view);
  return secrets.masks ? with_marks(text, secret_spans(secrets, path, text), nullptr, mark) : text;
}

void mask_states(const Secrets &secrets, const std::string &path, std::string &before, std::string &after) {
  if (!secrets.masks) return;
  Spans old_spans = secret_spans(secrets, path, before);
  Spans new_spans = secret_spans(secrets, path, after);
  auto old_texts = secret_texts(before, old_spans);
  auto new_texts = secret_texts(after, new_spans);
  std::string masked_before = with_marks(before, old_spans, &new_texts, old_mark);
  after = with_marks(after, new_spans, &old_texts, new_mark);
  before = masked_before;
}
