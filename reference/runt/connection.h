// The connection to the store, one for each process.
//
// The store is one file: each key and its value, in the order of the keys, each followed by a zero byte. A change
// writes a new file and renames it, so a reader needs no lock, and a program that is killed leaves the old file whole.
// Routers have some hundred facts, so reading all of them takes less time than opening a database.
#ifndef TESSERA_REFERENCE_RUNT_CONNECTION_H
#define TESSERA_REFERENCE_RUNT_CONNECTION_H

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "util/owned.h"

using Values = std::map<std::string, std::string, std::less<>>;

// The byte after '.': the keys below KEY are those from "KEY." to before "KEY/".
constexpr char past_dot = '.' + 1;

struct Connection {
  Values values;        // what reads see: the file as it was read, with the changes of an open batch
  Fd file;              // the file that was read; not open when there was none
  std::string content;  // of that file
  Fd lock;              // held while a batch is open
  int batch_error;      // the first failure of a change in the batch
};
extern std::unique_ptr<Connection> runt_connection;  // null without a connection

// Reads the file, and creates the store's directory when there is none. 0 for success.
int runt_connect();

// Locks the store and reads the file again if it is another one, then begins a batch. 0 for success. Only one program
// writes at a time, and the others wait. A process waits at most 10 seconds in all and then logs a message; after that,
// calls that would have to wait return EBUSY at once.
int runt_begin_batch();

// Ends the batch: stores all its changes, or none of them when one failed. The file stays when nothing has changed.
// 0 for success.
int runt_end_batch();

// True while a batch is open.
bool runt_in_batch();

#endif
