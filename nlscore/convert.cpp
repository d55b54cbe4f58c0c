// Conversion helpers the string functions call directly.
#include "lxk/nls.h"
#include "nlscore/codec.h"

extern "C" {

// Width of the GB18030 character at p: 1, 2, or 4 when the byte after a
// two-byte lead is a digit; never more than the structure says, even when
// fewer bytes are left (the caller compares with the bytes left).
NLS_API uint32_t lxcgbgwt2(const CharsetDefinition* def, const void* p, uint32_t bytesLeft) {
  if (bytesLeft == 0) return 0;
  const auto* b = static_cast<const uint8_t*>(p);
  const uint32_t width = (def->baseLeadByteTable[b[0]] & 3u) + 1u;
  if (width > 1 && bytesLeft > 1 && b[1] >= 0x30 && b[1] <= 0x39) return 4;
  return width;
}

NLS_API uint32_t lxcgbgwt(const CharsetDefinition* def, const void* p, uint32_t bytesLeft,
                          uint32_t /*flags*/) {
  return lxcgbgwt2(def, p, bytesLeft);
}

}  // extern "C"
