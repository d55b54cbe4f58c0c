// TRIM internals shared by the binary paths (trim.cpp) and the linguistic
// path (trim_linguistic.cpp): one call's arguments as the entry settled them.
#pragma once

#include <cstdint>

#include "frame/charset_view.h"

namespace lxk {

struct TrimCall {
  uint32_t* outLength;
  uint8_t* dst;
  uint32_t capacity;
  const uint8_t* src;
  uint32_t srcLength;
  const uint8_t* set;  // the trim set in force
  uint32_t setLength;  // its byte length in force
  bool leading;
  bool trailing;
  uint32_t options;
  uint32_t* outStatus;
  CharsetView v;
  NlsContext* ctx;
};

// Trimming by collation: the matcher of the core decides what a trim
// character covers at either end.  Reports no truncation.
const uint8_t* linguisticTrim(const TrimCall& c);

}  // namespace lxk
