// The connection to the store, one for each process.
#ifndef TESSERA_REFERENCE_RUNT_CONNECTION_H
#define TESSERA_REFERENCE_RUNT_CONNECTION_H

#include <lmdb.h>

#include <string_view>

// A connection starts as a reader, which creates no file, because most programs never write.
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

// Creates the store's directory and opens the store for reading. 0 for success. Waits for other programs as
// runt_begin_batch does.
int runt_connect();

// Discards an open batch and closes the store.
void runt_disconnect();

// Opens the store for writing, if it is not, and begins a batch. 0 for success. Only one program writes at a time, and
// the others wait. A process waits at most 10 seconds in all and then logs a message; after that, calls that would have
// to wait return EBUSY at once.
int runt_begin_batch();

// Ends the batch: stores all its changes, or none of them when one failed. 0 for success. Later reads see the changes.
int runt_end_batch();

// The transaction for reads: the open batch, or else the snapshot; null when there is nothing to read.
MDB_txn *runt_view();

// A cursor on that transaction, which the caller closes before the next change; null when there is nothing to read.
MDB_cursor *runt_open_cursor();

// The bytes of a key or value of LMDB, borrowed.

inline std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

#endif
