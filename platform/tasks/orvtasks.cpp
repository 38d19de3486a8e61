#include "tasks/orvtasks.h"

extern "C" {
void OS_Init() {}
void OS_Fini() {}
}
