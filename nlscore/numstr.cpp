// The value of a string of digits in a set's own encoding: hexadecimal
// (options bit 0x800) or decimal.  Digits are read with the digit table of
// the set's family: ASCII codes in ASCII-based sets and in the UTF-16 forms
// (the low byte of each unit), EBCDIC codes elsewhere, with the set of id
// 835 keeping its small letters where the katakana set puts them.
#include <cstdint>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/units.h"

namespace {

using namespace nls;

constexpr uint32_t kHexadecimal = 0x800;

const uint8_t* digitTable(const CharsetDefinition* def, bool utf16Units) {
  if (utf16Units || (def->definitionFlags & CSD_ASCII)) return lxppCodeHexToIntASCIITbl;
  if (def->charsetId == CSID_EBCDIC_SPECIAL_DIGITS) return lxppCodeHexToIntEBCDICTblSpec;
  return lxppCodeHexToIntEBCDICTbl;
}

// Reads up to count digits of stride bytes each (the digit in the last byte
// of each); stops at the first byte that is not a digit of the base.
// *consumed gets the bytes of the digits read.
uint32_t readDigits(const uint8_t* p, uint32_t count, uint32_t stride, const uint8_t* table,
                    uint32_t options, uint32_t* consumed) {
  const uint32_t base = (options & kHexadecimal) ? 16u : 10u;
  uint32_t value = 0, i = 0;
  for (; i < count; ++i) {
    const uint32_t d = table[p[i * stride + stride - 1]];
    if (d >= base) break;
    value = value * base + d;
  }
  *consumed = i * stride;
  return value;
}

}  // namespace

extern "C" {

// digitCount counts bytes; in the UTF-16 forms each digit is one unit (two
// bytes) and only its low byte is read.
NLS_API uint32_t lxsCnvNumStrToInt(const void* digits, uint32_t digitCount, uint32_t options,
                                   const CharsetHandle* handle, NlsContext* ctx) {
  if (digits == nullptr || handle == nullptr || ctx == nullptr) return 0;
  const CharsetDefinition* def = definitionFor(handle, ctx);
  const bool utf16 = (handle->flags & CSH_UTF16) != 0;
  const uint32_t stride = utf16 ? 2u : 1u;
  uint32_t consumed;
  return readDigits(static_cast<const uint8_t*>(digits), digitCount / stride, stride,
                    digitTable(def, utf16), options, &consumed);
}

// digitCount counts digits, each a one-byte character (two bytes in the
// UTF-16 forms), read from the cursor's current position within its bytes
// left; the cursor moves past the digits read.
NLS_API uint32_t lxoCnvNumStrToInt(CharCursor* cursor, uint32_t digitCount, uint32_t options,
                                   NlsContext* /*ctx*/) {
  if (cursor == nullptr || cursor->current == nullptr) return 0;
  const CharsetDefinition* def = cursorDefinition(cursor);
  const bool utf16 = (cursor->handle->flags & CSH_UTF16) != 0;
  const uint32_t stride = utf16 ? 2u : 1u;
  const uint32_t left = static_cast<uint32_t>(cursorEnd(cursor) - cursor->current);
  const uint32_t count = digitCount < left / stride ? digitCount : left / stride;
  uint32_t consumed;
  const uint32_t value =
      readDigits(cursor->current, count, stride, digitTable(def, utf16), options, &consumed);
  cursor->current += consumed;
  return value;
}

}  // extern "C"
