// Masks secrets in files and messages that are printed.
#ifndef TESSERA_PREVIEW_SECRETS_H
#define TESSERA_PREVIEW_SECRETS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// The secrets of a configuration, with every escape with which the programs may write them.
struct Secrets {
  bool masks = true;                                             // false: everything is shown
  std::unordered_set<std::string> forms;                         // the strings to mask in every place
  std::unordered_multimap<uint64_t, std::string_view> by_start;  // the same strings, found by their first bytes
};

// Whether the value of a runtime key or file option with this name is a secret. The end of the name decides.
bool is_secret_name(std::string_view name);

// The secrets of the JSON document `config`: the strings whose keys are marked as secret in the table of keys. No
// secrets when the document is not JSON.
Secrets find_secrets(const std::string &config);

// True when the JSON document `config` holds an IPsec tunnel.
bool configures_tunnels(const std::string &config);

// The content of the file `path` ("" for a message) with a mark in place of each secret: of the strings in `secrets`,
// and of each part of the file where the programs write a secret.
std::string masked(const Secrets &secrets, const std::string &path, std::string_view content);

// The same for the lines of a file. The number of lines stays the same, also when a secret has several lines.
std::vector<std::string> masked_lines(const Secrets &secrets, const std::string &path,
                                      const std::vector<std::string> &lines);

// Masks two states of one file. A secret that only one of them holds gets another mark than a secret that both hold.
void mask_states(const Secrets &secrets, const std::string &path, std::string &before, std::string &after);

#endif
