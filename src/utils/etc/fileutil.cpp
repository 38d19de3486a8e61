#include "utils/etc/fileutil.h"

void FindCurrentTime(struct tm * time_buff, int locale)
{
    if (locale != TL_LOCAL && locale != TL_GLOBAL) {
        return;
    }
    const time_t now = time(nullptr);
    struct tm parts = {};
    const struct tm * found = locale == TL_LOCAL ? localtime_r(&now, &parts) : gmtime_r(&now, &parts);
    if (found != nullptr) {
        *time_buff = parts;
    }
}
