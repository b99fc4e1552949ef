#include "runt/replacement.h"

namespace {

std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

MDB_val as_value(std::string_view bytes) {
  return {bytes.size(), const_cast<char *>(bytes.data())};  // only read
}

uint32_t hash_of(std::string_view text) {
  uint32_t hash = 2166136261U;
  for (char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return hash ^ hash >> 15;
}

}  // namespace

bool Replacement::holds(std::string_view key) const {
  return key.starts_with(root_) && (key.size() == root_.size() || key[root_.size()] == '\0');
}

bool Replacement::add(std::string_view key, std::string_view value) {
  if (!holds(key)) return false;
  rows_.push_back({texts_.size(), key.size(), value.size(), false});
  texts_.append(key);
  texts_.append(value);
  return true;
}

// Where the number of the row with that key stands, or would stand. All keys begin alike.
uint32_t &Replacement::slot_of(std::string_view key) {
  size_t mask = slots_.size() - 1;
  size_t slot = hash_of(key.substr(root_.size())) & mask;
  while (slots_[slot] != 0 && key_of(rows_[slots_[slot] - 1]) != key) slot = (slot + 1) & mask;
  return slots_[slot];
}

void Replacement::index_rows() {
  size_t size = 2;
  while (size < 2 * rows_.size()) size *= 2;
  slots_.assign(size, 0);
  for (uint32_t number = 1; number <= rows_.size(); number++) {
    uint32_t &slot = slot_of(key_of(rows_[number - 1]));
    if (slot != 0) rows_[slot - 1].done = true;
    slot = number;
  }
}

// Removes what has no row from the store, and finds the rows that are there.
int Replacement::match(MDB_cursor *cursor) {
  MDB_val key = as_value(root_);
  MDB_val value;
  int error = mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
  while (error == 0 && holds(bytes_of(key))) {
    uint32_t number = slot_of(bytes_of(key));
    if (number == 0) {
      error = mdb_cursor_del(cursor, 0);
    } else {
      Row &row = rows_[number - 1];
      row.done = value_of(row) == bytes_of(value);
    }
    if (error == 0) error = mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
  }
  return error == MDB_NOTFOUND ? 0 : error;
}

int Replacement::store(MDB_txn *batch, MDB_dbi values) {
  MDB_cursor *cursor;
  int error = mdb_cursor_open(batch, values, &cursor);
  if (error != 0) return error;
  index_rows();
  error = match(cursor);
  mdb_cursor_close(cursor);
  for (const Row &row : rows_) {
    if (error != 0) break;
    MDB_val key = as_value(key_of(row));
    MDB_val value = as_value(value_of(row));
    if (!row.done) error = mdb_put(batch, values, &key, &value, 0);
  }
  return error;
}
