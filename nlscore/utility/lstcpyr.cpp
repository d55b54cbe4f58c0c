// Byte-wise replacement for single-byte text: every byte is a character,
// so occurrences are found by memmem and the pieces between them copied
// with memcpy, and the output may be cut at any byte.
#include <cstddef>
#include <cstring>

#include "lxk/nls.h"

namespace {

// An output of fixed capacity that keeps what fits and remembers a cut.
struct Output {
  uint8_t* out;
  uint32_t room;
  uint32_t used = 0;
  bool cut = false;

  // False once something did not fit whole.
  bool put(const uint8_t* bytes, uint32_t n) {
    if (n <= room - used) {
      if (n != 0) std::memcpy(out + used, bytes, n);
      used += n;
      return true;
    }
    const uint32_t fits = room - used;
    if (fits != 0) std::memcpy(out + used, bytes, fits);
    used += fits;
    cut = true;
    return false;
  }
};

}  // namespace

extern "C" {

// Every occurrence of search, left to right without overlap, replaced; an
// empty search copies the source.  *truncated is nonzero when the output
// was cut at the capacity.
NLS_API uint32_t lstcpyr(void* dst, uint32_t capacity, const void* src, uint32_t length,
                         const void* search, uint32_t searchLength, const void* replacement,
                         uint32_t replacementLength, int32_t* truncated) {
  if (dst == nullptr) capacity = 0;
  if (src == nullptr) length = 0;
  if (search == nullptr) searchLength = 0;
  if (replacement == nullptr) replacementLength = 0;
  Output o{static_cast<uint8_t*>(dst), capacity};
  const auto* s = static_cast<const uint8_t*>(src);
  const auto* with = static_cast<const uint8_t*>(replacement);
  uint32_t at = 0;
  bool fits = true;
  if (searchLength != 0) {
    while (fits && length - at >= searchLength) {
      const auto* hit =
          static_cast<const uint8_t*>(memmem(s + at, length - at, search, searchLength));
      if (hit == nullptr) break;
      const uint32_t pos = static_cast<uint32_t>(hit - s);
      fits = o.put(s + at, pos - at) && o.put(with, replacementLength);
      at = pos + searchLength;
    }
  }
  if (fits) o.put(s + at, length - at);
  if (truncated) *truncated = o.cut ? 1 : 0;
  return o.used;
}

}  // extern "C"
