// Runs the daemons' own checkers on the files.
#ifndef TESSERA_PREVIEW_VERIFY_H
#define TESSERA_PREVIEW_VERIFY_H

#include <string>
#include <string_view>
#include <vector>

#include "sandbox/tree.h"

struct Remark {
  std::string file;
  unsigned line;  // 0: the whole file
  std::string message;
  bool is_warning = false;  // the reader accepts it, but reads something else than is written
};

// The result of one checker for one file.
struct Verdict {
  std::string checker;
  std::string file;
  bool is_installed;  // the checker is installed
  std::vector<Remark> remarks;
};

// Runs the installed checkers on the files of `written`. Each checker runs in a sandbox, and sees the files that it
// checks and the files that these name, also in `given`, the other files of the router. Returns a verdict for each file
// and checker, in the order of the files. Ends the program with exit_setup when no sandbox can be made.
std::vector<Verdict> verify_files(const Tree &written, const Tree &given);

// Whether the checker found an error.
bool is_refused(const Verdict &verdict);

// The lines of a UCI file that the interface manager refuses or misreads. No message quotes a value.
std::vector<Remark> read_uci(const std::string &file, std::string_view content);

// Returns the content of an OpenVPN file that its checker gets: without options that have an effect while OpenVPN reads
// the file, and with `script`, the name of a program that exists, in place of the programs that it would run. Adds a
// warning for each removed option, and for each program that tessera does not write itself.
std::string without_active_options(const std::string &file, const std::string &content, const std::string &script,
                                   std::vector<Remark> &remarks);

#endif
