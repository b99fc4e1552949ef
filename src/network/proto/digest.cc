#include "network/proto/digest.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "network/uci.h"

void uci_write_md5sum(FILE *out, const char *option, OwnedText md5sum_output) {
  if (!is_set(md5sum_output.get())) return;
  size_t length = strcspn(md5sum_output.get(), " ");
  uci_write_option(out, option, "%.*s", static_cast<int>(length), md5sum_output.get());
}

void uci_write_config_digest(FILE *out, const ConfigNode *config) {
  // The settings hold private keys and may be longer than a command line: md5sum reads them from memory of ours, where
  // no other user sees them.
  int fd = memfd_create("settings", MFD_CLOEXEC);
  if (fd < 0) return;
  if (dprintf(fd, "%s\n", or_empty(config_dump(config))) > 0) {
    std::string path = format("/proc/%d/fd/%d", static_cast<int>(getpid()), fd);
    uci_write_md5sum(out, "conf_md5sum", OwnedText(_process_capture(-1, -1, 1, 0, 0, "md5sum", path.c_str(), nullptr)));
  }
  close(fd);
}
