// Has the files checked as their readers will.
#ifndef TESSERA_PREVIEW_VERIFY_H
#define TESSERA_PREVIEW_VERIFY_H

#include <string>
#include <string_view>
#include <vector>

#include "sandbox/tree.h"

struct Remark {
  std::string file;
  unsigned line;  // 0: the file as a whole
  std::string message;
  bool is_warning = false;  // the reader accepts it, and takes it otherwise than it is written
};

// What one checker says of one file.
struct Verdict {
  std::string checker;
  std::string file;
  bool is_installed;  // the checker
  std::vector<Remark> remarks;
};

// Has each file of `written` checked that has a checker, by those that are installed on the machine. Each checker runs
// in private, and sees the files that it checks and those of `given`, the files of the router, that they name.
std::vector<Verdict> verify_files(const Tree &written, const Tree &given);

// True when the checker found an error.
bool is_refused(const Verdict &verdict);

// What the interface manager refuses or misreads of a UCI file; no message quotes a value.
std::vector<Remark> read_uci(const std::string &file, std::string_view content);

// Options that OpenVPN acts on while it reads its file. Adds a warning for each of them that `content` holds and no
// service writes. Returns the content as OpenVPN may read it: without those options, and with the name of a program
// that is there, `script`, in place of those that it would run on the router.
std::string withhold_options(const std::string &file, const std::string &content, const std::string &script,
                             std::vector<Remark> &remarks);

#endif
