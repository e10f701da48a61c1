// All of fairlead; each header can be included alone as well.

#ifndef FAIRLEAD_FAIRLEAD_H_
#define FAIRLEAD_FAIRLEAD_H_

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/profile.h"
#include "fairlead/net/resolve.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/text/strings.h"
#include "fairlead/time/the_time.h"

#endif  // FAIRLEAD_FAIRLEAD_H_
