// How the preview reports its own troubles, apart from those of the programs it runs.
#ifndef TESSERA_PREVIEW_FAIL_H
#define TESSERA_PREVIEW_FAIL_H

enum ExitStatus {
  exit_usage = 2,  // the command line is wrong
  exit_setup = 3,  // the preview could not be set up or its result not delivered
  exit_differs = 4,
  exit_unverified = 5,  // a reader would refuse a file
};

// Ends the program with exit_setup after one message on standard error. Nothing has to be undone at any time: the
// namespace disappears with its last process.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// As fail, with the reason that errno gives at the end of the message.
[[noreturn]] void fail_system(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif
