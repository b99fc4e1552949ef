// Functions of the fuzz targets that replace functions of the reference platform. They are linked before its libraries,
// so that the linker leaves out the libraries' own versions.
#ifndef TESSERA_TESTS_FUZZ_STAND_INS_H
#define TESSERA_TESTS_FUZZ_STAND_INS_H

#include <string>
#include <string_view>

// The document that the loader reads instead of a file.
extern std::string_view document_text;

// The start of every secret in a generated document; empty when documents are not generated.
extern std::string_view secret_mark;
extern bool lines_decide;  // whether the lines of a string change what a mapper writes for it

// The outcome of programs that a mapper runs.
struct ProgramOutcome {
  bool succeeds;
  const char *output;
};
extern ProgramOutcome program_outcome;

// What a device's platform may do, but the reference platform does not.
struct Trouble {
  bool null_strings;  // null for an empty string
  bool no_model;      // no network model can be loaded
  bool no_store;      // the runtime store cannot be opened
};
extern Trouble trouble;

// Ends the target with a message: what is wrong, and the data that shows it.
[[noreturn]] void wrong(const char *what, std::string_view detail);

// Ends the target with the message `what` when the string holds a secret.
void expect_no_secret(const char *what, std::string_view text);

#endif
