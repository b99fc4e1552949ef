// Strict readers of the file formats whose real readers cannot be asked. Each takes a file's name and content, and
// returns what that reader would refuse or misread; no message quotes a value.
#ifndef TESSERA_PREVIEW_READERS_H
#define TESSERA_PREVIEW_READERS_H

#include <string>
#include <string_view>
#include <vector>

#include "preview/verify.h"

// The interface manager's UCI files.
std::vector<Finding> read_uci(const std::string &file, std::string_view text);

// The PAM library's single-file configuration.
std::vector<Finding> read_pam(const std::string &file, std::string_view text);

// The PAM RADIUS module's server list.
std::vector<Finding> read_radius(const std::string &file, std::string_view text);

// The IKE daemon's secrets files.
std::vector<Finding> read_secrets(const std::string &file, std::string_view text);

#endif
