#include "network/proto/proto.h"

void modem_write_interface(FILE *, const NetworkNode *) {}
