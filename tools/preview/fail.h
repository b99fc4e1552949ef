// Ends a program that cannot do its work, with a message about its own trouble.
#ifndef TESSERA_PREVIEW_FAIL_H
#define TESSERA_PREVIEW_FAIL_H

enum ExitStatus {
  exit_usage = 2,  // the command line is wrong
  exit_setup = 3,  // the programs cannot be run, or the result cannot be written
  exit_differs = 4,
  exit_unverified = 5,  // a reader would refuse a file
};

// Ends the program with exit_setup after one message on standard error. Nothing has to be cleaned up: a namespace
// disappears with its last process.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same, with the text of errno at the end of the message.
[[noreturn]] void fail_system(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif
