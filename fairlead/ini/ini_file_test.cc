#include "fairlead/ini/ini_file.h"
