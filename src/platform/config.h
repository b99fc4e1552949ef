// Read access to the device's typed configuration tree.
//
// The tree is loaded once, never changes, and is released as a whole. A ConfigNode is a borrowed handle of an object,
// an array, an array element or a leaf. Handles and borrowed strings stay valid until config_free. Every operation
// accepts a null node and treats it as absent data.
//
// A path joins member names with "."; a component of digits selects an array element ("device.0"). It starts at the
// node that is passed. If the schema defines a path but the document does not have it, a getter returns the empty value
// ("", false, 0). If the schema does not define the path, or gives it another type, a getter returns null, false or 0.
#ifndef TESSERA_PLATFORM_CONFIG_H
#define TESSERA_PLATFORM_CONFIG_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ConfigNode ConfigNode;

// Loads the device configuration. Returns the root, which the caller releases with config_free. Returns null after one
// logged message when the document cannot be used.
const ConfigNode *config_load(void);

// Releases the tree of `root` and everything borrowed from it. Null is harmless.
void config_free(const ConfigNode *root);

// Value getters. Strings are borrowed. See above for absent data.
const char *config_get_string(const ConfigNode *node, const char *path);
bool config_get_bool(const ConfigNode *node, const char *path);
int32_t config_get_int(const ConfigNode *node, const char *path);
double config_get_number(const ConfigNode *node, const char *path);

// Durations in whole seconds, rounded towards zero, and in milliseconds, limited to the 32-bit range.
int32_t config_get_duration(const ConfigNode *node, const char *path);
int32_t config_get_duration_ms(const ConfigNode *node, const char *path);

// Copies the strings of the array at `path` into a new string list that the caller releases with sl_free; an absent or
// empty array gives an empty list.
char **config_get_string_list(const ConfigNode *node, const char *path);

// Follows the reference at `path`; null when it is unset.
const ConfigNode *config_get_ref(const ConfigNode *node, const char *path);

// True when the object holds a member of that name: `key` is one plain name, not a path.
bool config_has_key(const ConfigNode *object, const char *key);

// True when there is an object at `path` and it holds the member `key`.
bool config_object_has_key(const ConfigNode *node, const char *path, const char *key);

// The object at `path`, its members in document order, and one member by its plain name. Null when the document does
// not hold it, and after the last member. config_object_next takes a member that first or next returned.
const ConfigNode *config_object(const ConfigNode *node, const char *path);
const ConfigNode *config_object_first(const ConfigNode *object);
const ConfigNode *config_object_next(const ConfigNode *member);
const ConfigNode *config_object_get(const ConfigNode *object, const char *key);

// Values of leaf nodes: the borrowed string, null for a node that holds no string; the integer, 0 for any other node.
const char *config_string_get(const ConfigNode *leaf);
int32_t config_int_get(const ConfigNode *leaf);

// The array at `path` (null when the document does not hold it), its number of elements, and its elements in order.
// Elements by index take constant time; an index past the end gives null. A string element that is unset reads as "".
const ConfigNode *config_array(const ConfigNode *node, const char *path);
size_t config_array_count(const ConfigNode *array);
const ConfigNode *config_array_first(const ConfigNode *array);
const ConfigNode *config_array_next(const ConfigNode *element);
const char *config_array_get_string(const ConfigNode *array, size_t index);
const ConfigNode *config_array_get_ref(const ConfigNode *array, size_t index);
const ConfigNode *config_array_object(const ConfigNode *array, size_t index);

// The node at `path`, of any kind; null when the document does not hold it. "" names the node itself.
const ConfigNode *config_lookup(const ConfigNode *node, const char *path);

// The root of the node's tree; the object or array that holds the node (null for the root).
const ConfigNode *config_node_get_root(const ConfigNode *node);
const ConfigNode *config_node_parent(const ConfigNode *node);

// A number that is unique in the tree and the same at every load of the same document; 0 for a null node. All numbers
// have the same count of digits, because file names are made of the name of an entry followed by such a number.
size_t config_node_id(const ConfigNode *node);

// The borrowed name of the node within its object; "" for the root and for the elements of an array, null for a null
// node.
const char *config_key(const ConfigNode *node);

// The dotted path from the root as a new string that the caller frees ("network.route.static.0"); "" for the root, null
// for a null node.
char *config_path(const ConfigNode *node);

// The node and all below it as a string that belongs to the tree; equal settings give equal strings. Null for a null
// node. The string may hold secrets.
const char *config_dump(const ConfigNode *node);

#ifdef __cplusplus
}
#endif

#endif
