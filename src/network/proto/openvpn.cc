#include "network/proto/proto.h"

void openvpn_write_interface(FILE *, const NetworkNode *) {}
