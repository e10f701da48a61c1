// Includes every public header. Each can be included alone, too.

#ifndef FAIRLEAD_FAIRLEAD_H_
#define FAIRLEAD_FAIRLEAD_H_

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"
#include "fairlead/bits/crc.h"
#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/rc4.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_keys.h"
#include "fairlead/ini/ini_text.h"
#include "fairlead/ini/profile.h"
#include "fairlead/log/log.h"
#include "fairlead/log/only_once.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/host_lookup.h"
#include "fairlead/net/resolve.h"
#include "fairlead/net/stop_rules.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/text/strings.h"
#include "fairlead/time/file_pos.h"
#include "fairlead/time/the_time.h"
#include "fairlead/time/time_of_day.h"

#endif  // FAIRLEAD_FAIRLEAD_H_
