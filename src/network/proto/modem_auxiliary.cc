#include "network/proto/proto.h"

void modem_write_no_interface(FILE *, const NetworkModel *) {}
void modem_write_update_interfaces(FILE *) {}
