// Many trials in one sandbox: a root directory of its own for each would cost more than the runs.
#ifndef TESSERA_EXPLAIN_BATCH_H
#define TESSERA_EXPLAIN_BATCH_H

// In the sandbox: what is given for each trial, in directories that are numbered from 0:
//   config   the configuration
//   facts    the runtime store as JSON; without it the store is the one that the sandbox starts with
//   run      the commands, one a line: words with a space between them
inline constexpr char trials_path[] = "/.trials";

// And what becomes of it, unless tessera refuses the configuration: messages (of the last command), trace, and what
// /var/run holds, as run/.
inline constexpr char results_path[] = "/.results";

// Where tessera-trace leaves its record: a file of the sandbox, which tessera-trace does not make.
inline constexpr char trace_path[] = "/.trace";

// The argument by which tessera-explain is started in a sandbox.
inline constexpr char batch_argument[] = "--run-trials";

// Runs all trials one after the other, each with /var/run as it is now. Returns the exit status.
int run_batch();

#endif
