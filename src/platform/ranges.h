// Ranges for `for` loops over nodes, strings and entries of the platform. A null node or list is an empty range. A
// range borrows the data that it walks.
#ifndef TESSERA_PLATFORM_RANGES_H
#define TESSERA_PLATFORM_RANGES_H

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "platform/config.h"
#include "platform/network.h"
#include "platform/runt.h"

// A chain of items: `next` returns the item after another one, and null after the last.
template <typename Item, typename Next>
class Chain {
 public:
  struct Iterator {
    Item item;
    Next next;
    Item operator*() const { return item; }
    void operator++() { item = next(item); }
    bool operator!=(std::default_sentinel_t /*end*/) const { return item != nullptr; }
  };
  Chain(Item first, Next next) : first_(first), next_(next) {}
  Iterator begin() const { return {first_, next_}; }
  static std::default_sentinel_t end() { return {}; }

 private:
  Item first_;
  Next next_;
};

// The elements of an array, read by index.
template <typename Get>
class Indexed {
 public:
  struct Iterator {
    const ConfigNode *array;
    Get get;
    size_t index;
    auto operator*() const { return get(array, index); }
    void operator++() { index++; }
    bool operator!=(const Iterator &other) const { return index != other.index; }
  };
  Indexed(const ConfigNode *array, Get get) : array_(array), get_(get) {}
  Iterator begin() const { return {array_, get_, 0}; }
  Iterator end() const { return {array_, get_, config_array_count(array_)}; }

 private:
  const ConfigNode *array_;
  Get get_;
};

// An array of pointers that ends with a null pointer.
template <typename Item>
class List {
 public:
  struct Iterator {
    Item *const *place;
    Item *operator*() const { return *place; }
    void operator++() { place++; }
    bool operator!=(std::default_sentinel_t /*end*/) const { return place != nullptr && *place != nullptr; }
  };
  explicit List(Item *const *first) : first_(first) {}
  Iterator begin() const { return {first_}; }
  static std::default_sentinel_t end() { return {}; }

 private:
  Item *const *first_;
};

// The members of an object or map, and the elements of an array, in document order.
inline auto members(const ConfigNode *object) {
  return Chain(config_object_first(object), config_object_next);
}
inline auto elements(const ConfigNode *array) {
  return Chain(config_array_first(array), config_array_next);
}

// The strings of an array of strings or references, and the nodes that an array of references names (null for a
// reference that is unset).
inline auto string_elements(const ConfigNode *array) {
  return Indexed(array, config_array_get_string);
}
inline auto reference_elements(const ConfigNode *array) {
  return Indexed(array, config_array_get_ref);
}

// The direct children of a node of the model, and all nodes of one type at any depth below it.
inline auto children(const NetworkNode *node) {
  return Chain(network_first(node), network_next_child);
}
inline auto nodes_of_type(const NetworkNode *scope, uint32_t type) {
  return Chain(network_first_type(scope, type),
               [scope, type](const NetworkNode *node) { return network_next_type(scope, node, type); });
}

// The strings of a list, and the entries of runt_get_entries.
inline auto strings(const char *const *list) {
  return List<const char>(list);
}
inline auto entries(RuntEntry *const *list) {
  return List<RuntEntry>(list);
}

#endif
