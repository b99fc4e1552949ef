// A subtree that a batch of changes replaces by another.
//
// What it is to hold is gathered first. Mostly that is what it holds already: such rows are left as they are, which
// takes a fraction of the work that removing and writing them takes, and no page of the store.
#ifndef TESSERA_REFERENCE_RUNT_REPLACEMENT_H
#define TESSERA_REFERENCE_RUNT_REPLACEMENT_H

#include <lmdb.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class Replacement {
 public:
  // Of the key `root`, in its stored form, and all below it.
  explicit Replacement(std::string_view root) : root_(root) {}

  // Takes a row of the new subtree, in place of an earlier one of the same key. False for a key that lies elsewhere.
  bool add(std::string_view key, std::string_view value);

  // Gives the subtree in the store its new rows, and no others. 0 for success.
  int store(MDB_txn *batch, MDB_dbi values);

 private:
  struct Row {
    size_t key;  // where it stands in the texts; its value follows it
    size_t key_length;
    size_t value_length;
    uint32_t hash;  // of the key
    bool done;      // already in the store, or replaced by a later row
  };

  std::string_view key_of(const Row &row) const { return {texts_.data() + row.key, row.key_length}; }
  std::string_view value_of(const Row &row) const { return {key_of(row).end(), row.value_length}; }
  bool holds(std::string_view key) const;
  uint32_t hash_of(std::string_view key) const;
  uint32_t &slot_of(std::string_view key, uint32_t hash);
  void index_rows();
  int match(MDB_cursor *cursor);

  std::string root_;
  std::string texts_;
  std::vector<Row> rows_;
  std::vector<uint32_t> slots_;  // by the hash of their keys the numbers of rows, from 1 on; a power of two
};

#endif
