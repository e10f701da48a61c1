#include "fairlead/time/the_time.h"
