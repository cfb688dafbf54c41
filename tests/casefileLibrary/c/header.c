/* The header alone, first and only: it compiles in each language that it is for. */
#include "casefile/c.h"

int casefile_header_is_complete(void);
int casefile_header_is_complete(void) { return CASEFILE_OK; }
