#include "network/proto/proto.h"

void nemo_write_interface(FILE *, const NetworkNode *) {}
