// What an export knows about its character set for the length of one call:
// the handle, its definition, the lead-byte table in force and the set's
// class, looked up once at entry and handed to every path.
#pragma once

#include <cstdint>

#include "frame/frame.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace lxk {

// The character-set classes, in the order in which the exports test them
// unless an export states another order of its own:
//   SingleByte      CSH_SINGLE_BYTE: every character is one byte
//   Utf16           CSH_UTF16: two-byte units
//   ShiftSensitive  CSH_SHIFT_SENSITIVE: shifted double-byte runs
//   Utf8            CSD_UTF8 or AL32UTF8: characters of one to four bytes
//   Utf8Variant     CSD_UTF8_VARIANT: the UTF-8 form whose supplementary
//                   characters are two three-byte surrogates
//   Gb18030         CSH_GB18030 without CSH_LEAD_BYTE_WIDTH: the four-byte rule
//   LeadByte        every other set: widths from the lead-byte table
//                   (double-byte sets, EUC forms, UTFE)
enum class CharsetClass : uint8_t {
  SingleByte,
  Utf16,
  ShiftSensitive,
  Utf8,
  Utf8Variant,
  Gb18030,
  LeadByte,
};

struct CharsetView {
  const CharsetHandle* handle;
  const CharsetDefinition* def;
  const uint16_t* table;  // lead-byte table in force
  uint32_t flags;         // CSH_* of the handle
  CharsetClass kind;
};

inline CharsetClass classOf(uint32_t flags, const CharsetDefinition* def) {
  if (flags & CSH_SINGLE_BYTE) return CharsetClass::SingleByte;
  if (flags & CSH_UTF16) return CharsetClass::Utf16;
  if (flags & CSH_SHIFT_SENSITIVE) return CharsetClass::ShiftSensitive;
  if (isUtf8(def)) return CharsetClass::Utf8;
  if (def->definitionFlags & CSD_UTF8_VARIANT) return CharsetClass::Utf8Variant;
  if ((flags & CSH_GB18030) && !(flags & CSH_LEAD_BYTE_WIDTH)) return CharsetClass::Gb18030;
  return CharsetClass::LeadByte;
}

inline CharsetView viewOf(const CharsetHandle* handle, const NlsContext* ctx) {
  const CharsetDefinition* def = definitionOf(handle, ctx);
  return CharsetView{handle, def, leadTableInForce(handle, def), handle->flags,
                     classOf(handle->flags, def)};
}

}  // namespace lxk
