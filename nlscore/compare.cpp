// Comparison of two strings under a handle's collation: equal (0) when each
// matches the whole of the other, as the linguistic matcher decides (bytes
// under a binary handle); otherwise the sign of the first differing byte,
// the shorter string first.
#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

int32_t byteOrder(const uint8_t* a, uint32_t lengthA, const uint8_t* b, uint32_t lengthB) {
  const uint32_t n = lengthA < lengthB ? lengthA : lengthB;
  const int c = n == 0 ? 0 : std::memcmp(a, b, n);
  if (c != 0) return c < 0 ? -1 : 1;
  return lengthA == lengthB ? 0 : (lengthA < lengthB ? -1 : 1);
}

}  // namespace

extern "C" {

NLS_API int32_t lxsCmpStr(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB,
                          uint32_t /*options*/, const CharsetHandle* handle, NlsContext* ctx) {
  const auto* x = static_cast<const uint8_t*>(a);
  const auto* y = static_cast<const uint8_t*>(b);
  if (x == nullptr) lengthA = 0;
  if (y == nullptr) lengthB = 0;
  const int32_t order = byteOrder(x, lengthA, y, lengthB);
  if (order == 0 || lengthA == 0 || lengthB == 0) return order;
  uint32_t start = 0, length = 0;
  if (lxpLinDirMatch(x, lengthA, y, lengthB, &start, &length, 0, handle, ctx) && length == lengthA)
    return 0;
  return order;
}

NLS_API int32_t lxoCmpStr(CharCursor* a, uint32_t lengthA, CharCursor* b, uint32_t lengthB,
                          uint32_t /*options*/, NlsContext* ctx) {
  if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
  const int32_t order = byteOrder(a->current, lengthA, b->current, lengthB);
  if ((order == 0 && a->shiftState == b->shiftState) || lengthA == 0 || lengthB == 0) return order;
  uint32_t start = 0, length = 0;
  if (lxpoLinDirMatch(a, lengthA, b, lengthB, &start, &length, 0, a->handle, ctx) &&
      length == lengthA)
    return 0;
  return order != 0 ? order : (a->shiftState < b->shiftState ? -1 : 1);
}

}  // extern "C"
