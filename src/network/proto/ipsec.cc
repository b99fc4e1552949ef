#include "network/proto/proto.h"

void uci_write_ipsec_interface(FILE *, const NetworkNode *) {}
