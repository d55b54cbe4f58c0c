// TRANSLATE internals shared by the binary paths (translate.cpp) and the
// linguistic path (translate_linguistic.cpp).
#pragma once

#include <cstdint>

#include "frame/charset_view.h"

namespace lxk {

struct TranslateCall {
  uint8_t* dst;  // null only with capacity 0
  uint32_t capacity;
  const uint8_t* src;
  uint32_t srcLength;
  const uint8_t* from;
  uint32_t fromLength;
  const uint8_t* to;
  uint32_t toLength;
  CharsetView v;
  NlsContext* ctx;
};

// Matching by collation: a from-list character may cover a different
// number of source bytes than its own.  Returns the bytes written.
uint32_t linguisticTranslate(const TranslateCall& c);

}  // namespace lxk
