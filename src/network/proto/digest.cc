#include "network/proto/digest.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "main/owned.h"
#include "main/strings.h"
#include "output/uci.h"

void uci_write_md5sum(FILE *out, const char *option, const char *md5sum_output) {
  if (is_set(md5sum_output)) uci_write_option_string(out, option, string_before(md5sum_output, ' ').c_str());
}

void uci_write_config_digest(FILE *out, const ConfigNode *config) {
  // md5sum reads the settings from a memory file, which no other user can read. They hold private keys, and may be
  // longer than a command line.
  OwnedFile file(memfd_create("settings", MFD_CLOEXEC));
  std::string settings = or_empty(config_dump(config));
  settings += '\n';
  if (file.fd() < 0 || write(file.fd(), settings.data(), settings.size()) != static_cast<ssize_t>(settings.size())) {
    log_error("error digesting settings: %s", strerror(errno));
  } else {
    std::string path = format("/proc/%d/fd/%d", static_cast<int>(getpid()), file.fd());
    OwnedString output(_process_capture(-1, -1, 1, 0, 0, "md5sum", path.c_str(), nullptr));
    uci_write_md5sum(out, "conf_md5sum", output.get());
  }
}
