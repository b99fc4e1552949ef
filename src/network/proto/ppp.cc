#include "network/proto/proto.h"

void l2tp_write_interface(FILE *, const NetworkNode *) {}
void ppp_dialin_write_interface(FILE *, const NetworkNode *) {}
