// The header alone, first and only, in the oldest C++ that it is for.
#include "casefile/c.h"

static_assert(sizeof(casefile_error) == 2688, "its size is for ever");
static_assert(CASEFILE_OK == 0, "a status of 0 is success");
