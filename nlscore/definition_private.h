// The core's own fields of a character-set definition.  A definition is a
// position-free blob written by tools/gencatalogue: the public fixed part
// (lxk/nls.h), whose unnamed bytes hold the fields below, then the variable
// area from offset 2476 on.  Every offset stored here is a byte offset from the
// start of the definition.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "lxk/nls.h"

namespace nls {

// How the bytes of a set are built; the codec switches on it.
enum class Encoding : uint8_t {
  SingleByte = 1,  // one byte a character, toUnicode and a one-byte page table
  LeadByte = 2,    // width from the lead byte (Shift_JIS, EUC-*, GBK, BIG5-HKSCS)
  Gb18030 = 3,     // lead-byte widths plus the four-byte rule
  ShiftDbcs = 4,   // EBCDIC single bytes and shifted double-byte runs
  Utf8 = 5,        // AL32UTF8
  Cesu8 = 6,       // UTF8: supplementary characters as two three-byte surrogates
  UtfEbcdic = 7,   // UTFE
  Utf16Be = 8,     // AL16UTF16
  Utf16Le = 9,     // AL16UTF16LE (conversion only)
};

constexpr uint32_t kDefinitionMagic = 0x444B584Cu;  // "LXKD"

// The codec's private tables, by their slot in DefinitionHeader: offsets from
// the definition start, or counts where named so; 0 when the set has none.
enum class PrivateTable : uint32_t {
  kRowIndex = 0,       // 256 x uint32 offsets of 256 x uint32 rows, per two-byte lead
  kLongSequences = 1,  // sorted {uint32 bytes big-endian, uint32 code point}
  kLongCount = 2,
  kGbRanges = 3,  // {first code, last code, first linear index}, sorted by code
  kGbRangeCount = 4,
  kI8ToEbcdic = 5,        // UTFE: 256 bytes, I8 byte to EBCDIC byte
  kEbcdicToI8 = 6,        // UTFE: the inverse permutation
  kGbRangesByLinear = 7,  // the GB18030 ranges again, sorted by first linear index
};

// Slots reserved in the header; those past the last PrivateTable stay 0.
constexpr uint32_t kPrivateTableSlots = 11;
static_assert(static_cast<uint32_t>(PrivateTable::kGbRangesByLinear) < kPrivateTableSlots);

// Lives at offset 0 of every definition, inside the first 92 bytes.
struct DefinitionHeader {
  char name[32];  // canonical name, NUL-terminated
  uint32_t magic;
  uint32_t totalSize;          // bytes of the whole blob
  uint32_t handleFlags;        // CSH_* given to handles of this set
  uint8_t encoding;            // Encoding
  uint8_t handleMaxCharWidth;  // CharsetHandle.maxCharWidth
  uint8_t ebcdic;              // nonzero: EBCDIC-based (blank 0x40)
  uint8_t conversionOnly;      // nonzero: no handles for the string functions
  // Owned by the generator and the codec; reach them through privateTable().
  uint32_t privateTables[kPrivateTableSlots];

  uint32_t& privateTable(PrivateTable which) { return privateTables[static_cast<uint32_t>(which)]; }
  uint32_t privateTable(PrivateTable which) const {
    return privateTables[static_cast<uint32_t>(which)];
  }
};
static_assert(sizeof(DefinitionHeader) <= 92, "header must stay below charsetId");

inline const DefinitionHeader& header(const CharsetDefinition* def) {
  return *reinterpret_cast<const DefinitionHeader*>(def);
}

inline Encoding encodingOf(const CharsetDefinition* def) {
  return static_cast<Encoding>(header(def).encoding);
}

inline const uint8_t* bytesAt(const CharsetDefinition* def, uint32_t offset) {
  return reinterpret_cast<const uint8_t*>(def) + offset;
}

// Byte-for-byte simple case tables, 256 bytes each, in the unnamed bytes
// 652..1163 of every definition: bytes that are one-byte characters map to
// the byte of their simple upper/lower case mapping when that is a one-byte
// character of the set too; every other byte maps to itself.
constexpr uint32_t kUpperCaseTableOffset = 652;
constexpr uint32_t kLowerCaseTableOffset = 908;

inline const uint8_t* upperCaseTable(const CharsetDefinition* def) {
  return bytesAt(def, kUpperCaseTableOffset);
}
inline const uint8_t* lowerCaseTable(const CharsetDefinition* def) {
  return bytesAt(def, kLowerCaseTableOffset);
}

// The from-Unicode tables: definition + 2476 + fromUnicodeOffset.
inline const uint8_t* fromUnicodeBase(const CharsetDefinition* def) {
  return bytesAt(def, CSDEF_VARIABLE_AREA_OFFSET + def->fromUnicodeOffset);
}

}  // namespace nls
