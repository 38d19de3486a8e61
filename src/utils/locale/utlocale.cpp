#include "utils/locale/utlocale.h"
