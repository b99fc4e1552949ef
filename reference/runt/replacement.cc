#include "runt/replacement.h"

#include <cstring>

namespace {

std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

// In place of the library's comparison, which is made for size.
bool equal(std::string_view one, std::string_view other) {
  return one.size() == other.size() && memcmp(one.data(), other.data(), one.size()) == 0;
}

MDB_val as_value(std::string_view bytes) {
  return {bytes.size(), const_cast<char *>(bytes.data())};  // only read
}

}  // namespace

bool Replacement::holds(std::string_view key) const {
  size_t length = root_.size();
  return key.size() >= length && memcmp(key.data(), root_.data(), length) == 0 &&
         (key.size() == length || key[length] == '\0');
}

bool Replacement::add(std::string_view key, std::string_view value) {
  if (!holds(key)) return false;
  rows_.push_back({texts_.size(), key.size(), value.size(), hash_of(key), false});
  texts_.append(key);
  texts_.append(value);
  return true;
}

// Of what comes after the root, with which all keys begin.
uint32_t Replacement::hash_of(std::string_view key) const {
  uint32_t hash = 2166136261U;
  for (char byte : key.substr(root_.size())) hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return hash ^ hash >> 15;
}

// Where the number of the row with that key stands, or would stand.
uint32_t &Replacement::slot_of(std::string_view key, uint32_t hash) {
  size_t mask = slots_.size() - 1;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    uint32_t &number = slots_[slot];
    if (number == 0) return number;
    const Row &row = rows_[number - 1];
    if (row.hash == hash && equal(key_of(row), key)) return number;
  }
}

void Replacement::index_rows() {
  size_t size = 2;
  while (size < 2 * rows_.size()) size *= 2;
  slots_.assign(size, 0);
  for (uint32_t number = 1; number <= rows_.size(); number++) {
    const Row &row = rows_[number - 1];
    uint32_t &slot = slot_of(key_of(row), row.hash);
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
    uint32_t number = slot_of(bytes_of(key), hash_of(bytes_of(key)));
    if (number == 0) {
      error = mdb_cursor_del(cursor, 0);
    } else {
      Row &row = rows_[number - 1];
      row.done = equal(value_of(row), bytes_of(value));
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
