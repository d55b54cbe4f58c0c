// Scratch memory handed to the regular-expression functions for one call.
#include <cstdlib>

#include "lxk/nls.h"

extern "C" {

NLS_API void* lxldalc(uint32_t /*reserved*/, uint32_t size) {
  return std::malloc(size == 0 ? 1 : size);
}

NLS_API void lxldfre(uint32_t /*reserved*/, void* block) { std::free(block); }

}  // extern "C"
