#include "fairlead/net/resolve.h"
