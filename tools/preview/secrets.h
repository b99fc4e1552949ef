// Keeps secrets out of what is printed.
#ifndef TESSERA_PREVIEW_SECRETS_H
#define TESSERA_PREVIEW_SECRETS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// The secrets of a configuration, in every form in which the programs may write them.
struct Secrets {
  bool masks = true;                                             // false: everything is shown
  std::unordered_set<std::string> forms;                         // the strings to hide wherever they stand
  std::unordered_multimap<uint64_t, std::string_view> by_start;  // the same by their first bytes
};

// True for the name of a runtime key or file option whose value is a secret: its last word tells.
bool is_secret_name(std::string_view name);

// The secrets of the JSON document `config`: the strings that the schema calls secret. None of a document with an
// error.
Secrets find_secrets(const std::string &config);

// True when the JSON document `config` holds an IPsec tunnel.
bool configures_tunnels(const std::string &config);

// `content`, that of the file `path` ("" for what is no file), with a mark in place of each secret: of those that
// `secrets` knows, and of whatever stands where the programs write one.
std::string masked(const Secrets &secrets, const std::string &path, std::string_view content);

// The same for the lines of a file: no line is lost with a secret of several.
std::vector<std::string> masked_lines(const Secrets &secrets, const std::string &path,
                                      const std::vector<std::string> &lines);

// As masked, for two states of one file: the mark tells a secret that only one of them holds from one that both hold.
void mask_states(const Secrets &secrets, const std::string &path, std::string &before, std::string &after);

#endif
