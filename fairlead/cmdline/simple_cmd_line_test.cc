#include "fairlead/cmdline/simple_cmd_line.h"
