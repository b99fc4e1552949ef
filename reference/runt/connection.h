// The one connection of a process to the store.
#ifndef TESSERA_REFERENCE_RUNT_CONNECTION_H
#define TESSERA_REFERENCE_RUNT_CONNECTION_H

#include <lmdb.h>

#include <string_view>

// A connection starts as a reader, as most programs never write: a reader makes no file.
struct Connection {
  bool open;
  bool writable;
  MDB_env *env;       // null while the store has no file yet
  MDB_txn *snapshot;  // what reads see outside a batch; null like `env`
  MDB_txn *batch;     // null outside a batch
  int batch_error;    // the first failure of a change in the batch
  MDB_dbi values;     // the table of all values
};
extern Connection runt_connection;

// Opens the store for reading, and makes its directory. 0 for success. Another program that keeps the store locked is
// waited for as runt_begin_batch does.
int runt_connect();

// Gives up an open batch and closes the store.
void runt_disconnect();

// Opens the store for writing, where it is not, and begins a batch. 0 for success. Only one program writes at a time;
// the others wait. A process waits 10 seconds in all, then reports it once: further calls that would have to wait fail
// with EBUSY at once.
int runt_begin_batch();

// Ends the batch: stores all its changes, or none when one of them failed. 0 for success; reads see the outcome.
int runt_end_batch();

// What reads see: the batch, else the snapshot; null when there is nothing to read.
MDB_txn *runt_view();

// A cursor on what reads see, for the caller to close before the next change; null when there is nothing to read.
MDB_cursor *runt_open_cursor();

inline std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

#endif
