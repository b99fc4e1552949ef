// The schema with descriptions.
#include "config/schema.h"

#define KEYS_DESCRIBED 1
#include "config/keys/root.h"

constinit const SchemaKey described_schema = keys::document;
