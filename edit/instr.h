// INSTR's search state and its paths: the entry (edit/instr_entry.cpp)
// checks the arguments, chooses a path and hands the state to the exact
// scans (edit/instr.cpp), the cursor searches (edit/instr_cursor.cpp) or the
// linguistic searches (edit/instr_linguistic.cpp).
#pragma once

#include <cstdint>

#include "frame/charset_view.h"
#include "frame/unit_policies.h"
#include "lxk/lxk.h"

namespace lxk {
namespace instr {

// The path chosen by character-set class and unit options, in the order the
// entry tests them.
enum class Path : uint8_t {
  Bytes,            // byte-mapped sets and raw byte searches
  Utf8Bytes,        // UTF-8, byte units
  Utf8Chars,        // UTF-8, characters by the lead byte
  Utf8CodePoints,   // UTF-8, code points (a six-byte surrogate pair is one)
  Utf8Complete,     // UTF-8, complete characters
  Utf16Units,       // UTF-16, code units (in bytes under byte units)
  Utf16CodePoints,  // UTF-16, code points
  Utf16Complete,    // UTF-16, complete characters
  ShiftChars,       // shift-sensitive sets through cursors, characters
  ShiftBytes,       // shift-sensitive sets through cursors, byte units
  LeadChars,        // every other set by the lead-byte table, characters
  LeadBytes,        // every other set by the lead-byte table, byte units
};

struct Search {
  const uint8_t* S;  // the source
  const uint8_t* E;  // one past its last byte
  const uint8_t* P;  // the search string (after the linguistic trim)
  uint32_t PL;
  const uint8_t* L;  // the last byte an exact match can start at (exact searches: PL <= length)
  int64_t position;  // nonzero, |position| within the source's byte length
  uint32_t occurrence;
  uint32_t options;
  Path path;
  const CharsetView& v;
  NlsContext* ctx;

  uint32_t length() const { return static_cast<uint32_t>(E - S); }
  // |position| of a leftward search.
  uint32_t distance() const { return static_cast<uint32_t>(-position); }
};

// UCS-2 units are counted only rightward, in lead-byte sets that hold
// characters beyond the basic plane.
inline bool countsUcs2Rightward(const Search& s) {
  return s.position > 0 && (s.options & OPT_UCS2_UNITS) &&
         (s.v.def->definitionFlags & CSD_SUPPLEMENTARY_MAP);
}

// The first candidate of a UTF-16 code-unit search, as a byte offset from
// S: rightward the unit at the position (under byte units the offset made
// even upward); leftward |position| units from the end, or the last place
// the search string fits when it is no longer than that (under byte units
// made even downward).  A leftward offset below 0 means no candidate.
inline int64_t utf16FirstOffset(const Search& s, bool inBytes) {
  const int64_t length = s.length();
  const int64_t last = length - s.PL;
  if (s.position > 0)
    return inBytes ? s.position - 1 + ((s.position & 1) == 0 ? 1 : 0) : 2 * (s.position - 1);
  const int64_t distance = s.distance();
  if (inBytes) return (distance <= s.PL ? last : length - distance) & ~int64_t{1};
  return distance <= s.PL / 2 ? last : length - 2 * distance;
}

inline uint32_t maxU32(uint32_t a, uint32_t b) { return a > b ? a : b; }

// The core reports invalid data in the status word; INSTR leaves the word as
// it found it (but for its own code 34), so paths that call the core keep it.
struct StatusKeeper {
  NlsContext* ctx;
  int32_t saved;
  explicit StatusKeeper(NlsContext* c) : ctx(c), saved(c->status) {}
  ~StatusKeeper() { ctx->status = saved; }
  StatusKeeper(const StatusKeeper&) = delete;
  StatusKeeper& operator=(const StatusKeeper&) = delete;
};

// Characters counted in UCS-2 units over a set with supplementary
// characters: widths by the lead-byte table (GB18030's by the core), units
// (1 or 2) by the core.
struct Ucs2Chars {
  const Search& s;
  bool gb18030;
  explicit Ucs2Chars(const Search& search)
      : s(search), gb18030(search.v.def->charsetId == CSID_GB18030) {}
  // Width of the character at p, at least 1, at most the bytes left.
  uint32_t width(const uint8_t* p) const {
    const uint32_t left = static_cast<uint32_t>(s.E - p);
    const uint32_t w = gb18030 ? (lxcgbgwt2(s.v.def, p, left) & 0xFFFFu) : leadWidth(s.v.table, *p);
    return w == 0 ? 1u : (w < left ? w : left);
  }
  // Whether the character at p is cut by the end.
  bool cut(const uint8_t* p) const {
    const uint32_t left = static_cast<uint32_t>(s.E - p);
    return (gb18030 ? (lxcgbgwt2(s.v.def, p, left) & 0xFFFFu) : leadWidth(s.v.table, *p)) > left;
  }
  uint32_t units(const uint8_t* p, uint32_t n) const {
    return lxsCntChar(p, n, OPT_CHAR_UNIT_COUNT, s.v.handle, s.ctx);
  }
};

uint32_t exactSearch(const Search& s);
uint32_t cursorSearch(const Search& s);
uint32_t linguisticSearch(const Search& s);

}  // namespace instr
}  // namespace lxk
