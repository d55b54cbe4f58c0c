// What the benchmark files share: the process's context and text converted
// from UTF-8 into a set.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "lxk/nlsenv.h"

namespace lxkbench {

using Bytes = std::vector<uint8_t>;

inline NlsContext* context() {
  static NlsContext* const ctx = nlsContextCreate();
  return ctx;
}

// The UTF-8 text in the set; a text the set cannot take ends the run, since
// a benchmark on other bytes would measure something else.
inline Bytes encode(const std::string& set, const std::string& utf8) {
  Bytes out(utf8.size() * 4 + 16);
  const int32_t n =
      nlsConvert(context(), set.c_str(), out.data(), static_cast<uint32_t>(out.size()), "AL32UTF8",
                 reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<uint32_t>(utf8.size()));
  if (n < 0) {
    std::fprintf(stderr, "cannot convert into %s\n", set.c_str());
    std::exit(1);
  }
  out.resize(static_cast<size_t>(n));
  return out;
}

}  // namespace lxkbench
