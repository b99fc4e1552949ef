// A scripted configuration tree, network model and runtime store, for states that the reference platform does not
// produce. Link it, and the reference `tools` library, in place of the reference platform.
#ifndef TESSERA_TESTS_FAKE_PLATFORM_H
#define TESSERA_TESTS_FAKE_PLATFORM_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/config.h"
#include "platform/network.h"
#include "platform/runt.h"

struct ConfigNode {
  std::string key;
  std::string value;  // a reference is "/path/to/node" or the key of an interface
  size_t id;
  ConfigNode *parent = nullptr;
  size_t position = 0;
  std::vector<std::unique_ptr<ConfigNode>> children = {};
};

struct NetworkNode {
  uint32_t type;
  uint32_t kind;  // interface or device type
  std::string key;
  std::string name;  // also the interface manager's name
  const ConfigNode *config = nullptr;
  NetworkNode *parent = nullptr;
  size_t position = 0;
  std::vector<std::unique_ptr<NetworkNode>> children = {};
};

namespace fake {

// What a test has scripted; a fresh one replaces it with `platform = {}`.
struct Platform {
  ConfigNode tree{"", "", 1};
  NetworkNode model{NETWORK_NODE_ROOT, UINT32_MAX, "", ""};
  bool model_loads = true;
  const char *absent_text = "";  // what the getters give for an absent text
  std::map<std::string, std::string> facts = {};
  bool store_opens = true;
  int edits_until_failure = INT32_MAX;
  std::vector<std::string> calls = {};  // every call that opens, closes or changes the store
};
extern std::unique_ptr<Platform> platform;

// Forgets everything.
void reset();

// Stores a value ("true", "12", milliseconds, a reference, a text) and creates what is missing on the way to it.
const ConfigNode *set(const char *path, const char *value = "");

// Adds a node below `parent`, or below the root. `config_path` names an existing configuration node or is null.
NetworkNode *add(NetworkNode *parent, uint32_t type, uint32_t kind, const char *name,
                 const char *config_path = nullptr);

// What the function writes into the stream that it is given.
std::string written(const std::function<void(FILE *)> &write);

}  // namespace fake

#endif
