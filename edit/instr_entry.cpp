// INSTR's entry: the position and zero checks, the linguistic trim of the
// search string, and the choice of path.
#include "edit/instr.h"

namespace lxk {
namespace instr {
namespace {

// The order of tests: byte-mapped sets and byte searches, UTF-8 (byte units,
// then complete characters, code points, characters), UTF-16 (complete
// characters and code points before code units), shift-sensitive sets, and
// lead-byte tables for the rest.
Path choosePath(const CharsetView& v, uint32_t options) {
  if ((v.flags & CSH_SIMPLE_CASE) || (options & (OPT_BYTE_SEARCH | OPT_RAW_BYTES)))
    return Path::Bytes;
  const bool inBytes = (options & OPT_BYTE_UNITS) != 0;
  if (isUtf8(v.def)) {
    if (inBytes) return Path::Utf8Bytes;
    if (options & OPT_COMPLETE_CHARS) return Path::Utf8Complete;
    if (options & OPT_UCS4_UNITS) return Path::Utf8CodePoints;
    return Path::Utf8Chars;
  }
  if (v.flags & CSH_UTF16) {
    if (options & OPT_COMPLETE_CHARS) return Path::Utf16Complete;
    if (options & OPT_UCS4_UNITS) return Path::Utf16CodePoints;
    return Path::Utf16Units;
  }
  if (v.flags & CSH_SHIFT_SENSITIVE) return inBytes ? Path::ShiftBytes : Path::ShiftChars;
  return inBytes ? Path::LeadBytes : Path::LeadChars;
}

bool throughCursors(Path path) {
  return path == Path::Utf8Complete || path == Path::Utf16Complete || path == Path::ShiftChars ||
         path == Path::ShiftBytes;
}

}  // namespace
}  // namespace instr
}  // namespace lxk

extern "C" LXK_API uint32_t lxkInstr(const void* src, uint32_t srcLength, const void* search,
                                     uint32_t searchLength, int32_t position, uint32_t occurrence,
                                     uint32_t options, const CharsetHandle* handle,
                                     NlsContext* ctx) {
  using namespace lxk;
  using namespace lxk::instr;
  // Positions are checked against the byte length in every semantics.
  const int64_t pos = position;
  if ((pos > 0 && pos > int64_t{srcLength}) || (pos < 0 && -pos > int64_t{srcLength})) return 0;
  const uint8_t* pattern = static_cast<const uint8_t*>(search);
  uint32_t patternLength = searchLength;
  const bool linguistic = linguisticInForce(handle);
  if (linguistic && patternLength != 0) {
    // Characters that weigh nothing are cut from both ends first.
    uint32_t first = 0, last = 0;
    lxpLinTrimPunc(pattern, patternLength, 0, &first, &last, handle, ctx);
    const int64_t kept = int64_t{last} - first + 1;
    patternLength = first < searchLength && kept > 0 && kept <= searchLength - first
                        ? static_cast<uint32_t>(kept)
                        : 0u;
    pattern += patternLength != 0 ? first : 0u;
  }
  if (pos == 0 || occurrence == 0 || patternLength == 0 || srcLength == 0) return 0;

  const CharsetView v = viewOf(handle, ctx);
  const uint8_t* S = static_cast<const uint8_t*>(src);
  const uint8_t* E = S + srcLength;
  const Search state{S,
                     E,
                     pattern,
                     patternLength,
                     patternLength <= srcLength ? E - patternLength : S,
                     pos,
                     occurrence,
                     options,
                     choosePath(v, options),
                     v,
                     ctx};
  if (linguistic) return linguisticSearch(state);
  if (throughCursors(state.path)) return cursorSearch(state);
  return exactSearch(state);
}
