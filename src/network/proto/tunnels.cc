#include "network/proto/proto.h"

void iptunnel_write_device(FILE *, const NetworkNode *) {}
void macsec_write_device(FILE *, const NetworkNode *) {}
void l2tpeth_write_device(FILE *, const NetworkNode *) {}
void wireguard_write_device(FILE *, const NetworkNode *) {}
