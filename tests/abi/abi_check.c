/* The public headers as a C11 translation unit (see abi_check.h). */
#define LXK_SIGNATURE(function, type) \
  _Static_assert(_Generic(&(function), type : 1, default : 0), #function " signature")

#include "abi_check.h"
