#include "fairlead/net/tcp_client.h"
