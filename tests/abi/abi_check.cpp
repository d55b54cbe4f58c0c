// The public headers as a C++20 translation unit (see abi_check.h).
#include <type_traits>

#define LXK_SIGNATURE(function, type) \
  static_assert(std::is_same_v<decltype(&(function)), type>, #function " signature")

#include "abi_check.h"
