#include "fairlead/text/strings.h"
