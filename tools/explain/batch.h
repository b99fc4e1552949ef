// Runs many trials in one sandbox: a root directory for each would take longer than the runs.
#ifndef TESSERA_EXPLAIN_BATCH_H
#define TESSERA_EXPLAIN_BATCH_H

// In the sandbox: the input of each trial, in directories with numbers from 0:
//   config   the configuration
//   facts    the runtime store as JSON; without it the trial gets the store of the sandbox
//   run      the commands, one a line: words with spaces between them
inline constexpr char trials_path[] = "/.trials";

// And what becomes of it, unless tessera refuses the configuration: messages (of the last command), trace, and what
// /var/run holds, as run/.
inline constexpr char results_path[] = "/.results";

// Where tessera-trace writes the trace. The file has to exist.
inline constexpr char trace_path[] = "/.trace";

// The argument that makes tessera-explain run the trials, inside the sandbox.
inline constexpr char batch_argument[] = "--run-trials";

// Runs all trials one after the other. Each starts with the current /var/run. Returns the exit status.
int run_batch();

#endif
