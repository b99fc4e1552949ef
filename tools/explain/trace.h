// Where tessera-trace leaves its record.
#ifndef TESSERA_EXPLAIN_TRACE_H
#define TESSERA_EXPLAIN_TRACE_H

// A file in the root directory of a run in private; tessera-trace does not make it.
inline constexpr char trace_path[] = "/.trace";

#endif
