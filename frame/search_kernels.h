// Substring search kernels: the first or the last place where a needle's
// bytes occur, with one version per instruction-set level (scalar, SSE2,
// AVX2, AVX-512BW) and the best one the processor supports chosen once at
// first use.  The vector levels filter 64 candidates at a time on the
// needle's first and last byte and compare the rest only where both agree.
//
// The kernels know nothing of characters: callers decide whether a hit
// starts a unit of their semantics and search again past it when not.
#pragma once

#include <cstdint>

#include "frame/kernels.h"

namespace lxk {

struct SearchKernels {
  KernelLevel level;

  // The first h in [from, end - n] at which the n bytes of needle occur,
  // null when there is none.  n >= 1; reads nothing outside [from, end).
  const uint8_t* (*find)(const uint8_t* from, const uint8_t* end, const uint8_t* needle,
                         uint32_t n);

  // The last h in [begin, last] at which the n bytes of needle occur, null
  // when there is none.  n >= 1; the caller guarantees that last + n does not
  // pass the end of its text; reads nothing outside [begin, last + n).
  const uint8_t* (*findLast)(const uint8_t* begin, const uint8_t* last, const uint8_t* needle,
                             uint32_t n);

  // The first h in [from, end) holding byte or a byte of 0x80 or more; end
  // when there is none.  byte < 0x80.  Every byte before h is then an ASCII
  // character, so a caller that counts characters as it searches learns the
  // count of [from, h) from the same pass.
  const uint8_t* (*findInAscii)(const uint8_t* from, const uint8_t* end, uint8_t byte);
};

// The kernels of a level; an unsupported level gives the best supported one
// below it.
const SearchKernels& searchKernelsFor(KernelLevel level);

// The kernels of the best supported level, chosen once.
const SearchKernels& searchKernels();

}  // namespace lxk
