#include "utils/etc/errorlog.h"

#include <syslog.h>

void GenerateErrorLog(const char * log_msg, const char * engine_name)
{
    openlog(engine_name, 0, LOG_USER);
    syslog(LOG_ERR, "%s", log_msg);
    closelog();
}
