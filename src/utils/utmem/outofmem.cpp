// The hook stands alone in this file: see its declaration.

#include "utils/utmem/utmem.h"

a_bool ut_out_of_memory()
{
    return FALSE;
}
