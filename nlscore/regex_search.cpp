// Searching and replacing: text in memory and large objects read through
// their callbacks, both driven by the same occurrence and replacement loops.
#include "nlscore/regex_search.h"

#include <algorithm>
#include <bit>
#include <new>

#include "nlscore/codec.h"
#include "nlscore/regex_pcre.h"

namespace nls::regex {
namespace {

constexpr int32_t kPartial = 2;  // internal: a match may continue past the window
constexpr int32_t kBadText = 3;  // internal: the text is not well-formed UTF

bool isNativeUtf8(const CharsetDefinition* def) {
  return encodingOf(def) == Encoding::Utf8 || def->charsetId == CSID_AL32UTF8;
}

// A single-byte set whose bytes below 0x80 are ASCII: text of such bytes
// alone is UTF-8 as it is.
bool isAsciiSingleByte(const CharsetDefinition* def) {
  return encodingOf(def) == Encoding::SingleByte &&
         (def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0;
}

// Length of the prefix of bytes below 0x80, eight at a time.
uint32_t asciiPrefix(const uint8_t* p, uint32_t n) {
  uint32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t word;
    std::memcpy(&word, p + i, 8);
    if (word & 0x8080808080808080ull) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Length of the longest prefix of [p, p + n) made of well-formed UTF-8
// characters (no surrogates); ASCII is taken eight bytes at a time.
uint32_t validUtf8Prefix(const uint8_t* p, uint32_t n) {
  uint32_t i = 0;
  while (i < n) {
    if (i + 8 <= n) {
      uint64_t word;
      std::memcpy(&word, p + i, 8);
      if ((word & 0x8080808080808080ull) == 0) {
        i += 8;
        continue;
      }
    }
    if (p[i] < 0x80) {
      ++i;
      continue;
    }
    const uint32_t w = lxk::utf8BitWidth(p[i]);
    if (w < 2 || w > 4 || w > n - i) return i;
    const uint32_t c = utf8SequenceValue(p + i, w);
    if (c == kNoCodePoint || isSurrogateValue(c)) return i;
    i += w;
  }
  return n;
}

// Whether [p, p + n) is the start of one UTF-8 character cut short.
bool cutUtf8(const uint8_t* p, uint32_t n) {
  const uint32_t w = lxk::utf8BitWidth(p[0]);
  if (w < 2 || w > 4 || n >= w) return false;
  for (uint32_t i = 1; i < n; ++i)
    if (!lxk::isUtf8Continuation(p[i])) return false;
  return true;
}

// ---- Unit stepping ---------------------------------------------------------

template <class Unit>
uint32_t charUnits(const View<Unit>& v, uint32_t u) {
  if (u >= v.length) return 0;
  if (v.map != nullptr) {
    uint32_t e = u + 1;
    while (e < v.length && v.map[e] == v.map[u]) ++e;
    return e - u;
  }
  if constexpr (sizeof(Unit) == 1) {
    const uint32_t w = v.units[u] < 0x80 ? 1 : lxk::utf8BitWidth(v.units[u]);
    return std::min(std::max(w, 1u), v.length - u);
  } else {
    return (v.units[u] & 0xFC00) == 0xD800 && u + 1 < v.length ? 2 : 1;
  }
}

// The first unit whose character starts at or after the source offset.
template <class Unit>
uint32_t unitAt(const View<Unit>& v, uint64_t offset) {
  if (offset <= v.base) return 0;
  if (offset >= v.endOffset) return v.length;
  const uint64_t rel = offset - v.base;
  if (v.map != nullptr)
    return static_cast<uint32_t>(std::lower_bound(v.map, v.map + v.length, rel) - v.map);
  // Scales are 1 (bytes) and 2 (UTF-16 units): no division.
  uint32_t u = static_cast<uint32_t>(v.scale == 1 ? rel : (rel + 1) >> 1);
  if constexpr (sizeof(Unit) == 1) {
    while (u < v.length && (v.units[u] & 0xC0) == 0x80) ++u;
  } else {
    if (u > 0 && u < v.length && (v.units[u] & 0xFC00) == 0xDC00 &&
        (v.units[u - 1] & 0xFC00) == 0xD800)
      ++u;
  }
  return std::min(u, v.length);
}

// Steps back over n characters from unit u.
template <class Unit>
uint32_t backChars(const View<Unit>& v, uint32_t u, uint32_t n) {
  while (n-- > 0 && u > 0) {
    --u;
    if (v.map != nullptr) {
      while (u > 0 && v.map[u - 1] == v.map[u]) --u;
    } else if constexpr (sizeof(Unit) == 1) {
      while (u > 0 && (v.units[u] & 0xC0) == 0x80) --u;
    } else {
      if (u > 0 && (v.units[u] & 0xFC00) == 0xDC00 && (v.units[u - 1] & 0xFC00) == 0xD800) --u;
    }
  }
  return u;
}

// ---- One PCRE2 call --------------------------------------------------------

int32_t matchError(int rc) {
  switch (rc) {
    case PCRE2_ERROR_NOMATCH:
      return kNoMatch;
    case PCRE2_ERROR_PARTIAL:
      return kPartial;
    case PCRE2_ERROR_MATCHLIMIT:
      return kMatchLimit;
    case PCRE2_ERROR_DEPTHLIMIT:
    case PCRE2_ERROR_HEAPLIMIT:
    case PCRE2_ERROR_JIT_STACKLIMIT:
      return kDepthLimit;
    case PCRE2_ERROR_NOMEMORY:
      return kNoMemory;
    default:
      return rc <= PCRE2_ERROR_UTF8_ERR1 && rc >= PCRE2_ERROR_UTF32_ERR2 ? kBadText : kInternal;
  }
}

template <class Unit>
int32_t searchAt(const Program& prog, const View<Unit>& v, uint32_t at, bool partial) {
  using P = Pcre<Unit>;
  static const Unit kEmpty[1] = {0};
  // The text was validated or built well-formed once per call: never again.
  const uint32_t options =
      (v.checkUtf ? 0 : PCRE2_NO_UTF_CHECK) | (partial ? PCRE2_PARTIAL_HARD : 0);
  const int rc =
      P::match(static_cast<const typename P::Code*>(prog.code), v.length ? v.units : kEmpty,
               v.length, at, options, static_cast<typename P::MatchData*>(prog.matchData),
               static_cast<typename P::MatchContext*>(prog.matchContext));
  return rc >= 0 ? kFound : matchError(rc);
}

template <class Unit>
const size_t* ovectorOf(const Program& prog) {
  return Pcre<Unit>::ovector(static_cast<typename Pcre<Unit>::MatchData*>(prog.matchData));
}

// ---- A found match in source terms ------------------------------------------

struct Spans {
  uint64_t start[REGEX_MATCH_ENTRIES];
  uint64_t end[REGEX_MATCH_ENTRIES];
  bool set[REGEX_MATCH_ENTRIES];
  bool shifted[REGEX_MATCH_ENTRIES];
  uint32_t startUnit, endUnit;  // of the whole match, in the view searched
};

template <class Unit>
void takeSpans(const Program& prog, const View<Unit>& v, Spans& out) {
  const size_t* ov = ovectorOf<Unit>(prog);
  const uint32_t entries = std::min(prog.captures + 1, REGEX_MATCH_ENTRIES);
  for (uint32_t i = entries; i < REGEX_MATCH_ENTRIES; ++i) out.set[i] = false;
  for (uint32_t i = 0; i < entries; ++i) {
    out.set[i] = ov[2 * i] != PCRE2_UNSET;
    if (!out.set[i]) continue;
    const uint32_t s = static_cast<uint32_t>(ov[2 * i]);
    const uint32_t e = static_cast<uint32_t>(ov[2 * i + 1]);
    out.start[i] = v.source(s);
    out.end[i] = std::max(v.source(e), out.start[i]);
    out.shifted[i] = v.shiftedAt(s);
  }
  out.startUnit = static_cast<uint32_t>(ov[0]);
  out.endUnit = static_cast<uint32_t>(ov[1]);
}

// ---- Text in memory ----------------------------------------------------------

// Whether a lxregmatch call continues the counting walk that the memo saw:
// same text, starting where the walk's next step must start.
bool continuesWalk(const WalkMemo& m, const void* text, uint32_t length, uint64_t start) {
  if (!m.valid || m.text != text || m.length != length) return false;
  if (m.end > m.start) return start == m.end;
  return start > m.end && start - m.end <= 8;
}

template <class Unit>
Converted<Unit>& convertedOf(Program& prog);
template <>
Converted<uint8_t>& convertedOf<uint8_t>(Program& prog) {
  return prog.conv8;
}
template <>
Converted<uint16_t>& convertedOf<uint16_t>(Program& prog) {
  return prog.conv16;
}

// Builds the view of an in-memory text.  trusted: the text is the one the
// program saw last, unchanged (a walk in progress).
template <class Unit>
int32_t memoryView(Program& prog, const SetInfo& set, const uint8_t* text, uint32_t length,
                   bool trusted, View<Unit>& v, bool malformed = false) {
  v.base = 0;
  v.endOffset = length;
  v.checkUtf = false;
  if constexpr (sizeof(Unit) == 1) {
    // UTF-8 is validated by the first search of the call (PCRE2's own check);
    // ASCII-compatible single-byte text goes in place when it is all ASCII.
    const bool utf8 = isNativeUtf8(set.def);
    if (!prog.accentFold && !malformed && (utf8 || isAsciiSingleByte(set.def)) &&
        (trusted ? prog.lastNative : utf8 || asciiPrefix(text, length) == length)) {
      v.checkUtf = utf8 && !trusted;
      prog.lastNative = true;
      v.units = text;
      v.length = length;
      v.map = nullptr;
      v.scale = 1;
      v.shifted = nullptr;
      return kFound;
    }
  }
  const bool swapped =
      sizeof(Unit) == 2 && !prog.accentFold && encodingOf(set.def) == Encoding::Utf16Be;
  if constexpr (sizeof(Unit) == 2 && std::endian::native == std::endian::big) {
    // Big-endian units are the CPU's own: searched in place, validated by
    // the first search like UTF-8.
    if (swapped && !malformed && (reinterpret_cast<uintptr_t>(text) & 1) == 0 &&
        (!trusted || prog.lastNative)) {
      v.units = reinterpret_cast<const Unit*>(text);
      v.length = length / 2;
      v.map = nullptr;
      v.scale = 2;
      v.shifted = nullptr;
      v.endOffset = length & ~1u;
      v.checkUtf = !trusted;
      prog.lastNative = true;
      return kFound;
    }
  }
  prog.lastNative = false;
  Converted<Unit>& conv = convertedOf<Unit>(prog);
  const bool cached = prog.cacheValid && prog.cacheDef == set.def &&
                      prog.cacheSource.size() == length &&
                      (trusted || std::memcmp(prog.cacheSource.data(), text, length) == 0);
  if (!cached) {
    prog.cacheValid = false;
    prog.cacheSource.clear();
    conv.clear();
    if (!prog.cacheSource.append(text, length)) return kNoMemory;
    if (swapped) {
      // Big-endian units to the CPU's order; a surrogate without its partner
      // becomes U+FFFD so that the units are well-formed UTF-16.
      if (!conv.units.reserve(length / 2 + 1)) return kNoMemory;
      const uint32_t n = length / 2;
      for (uint32_t i = 0; i < n; ++i)
        conv.units.push(static_cast<Unit>(text[2 * i] << 8 | text[2 * i + 1]));
      Unit* u = conv.units.data();
      for (uint32_t i = 0; i < n; ++i) {
        if ((u[i] & 0xF800) != 0xD800) continue;
        if ((u[i] & 0xFC00) == 0xD800 && i + 1 < n && (u[i + 1] & 0xFC00) == 0xDC00) {
          ++i;
          continue;
        }
        u[i] = 0xFFFD;
      }
    } else {
      bool shifted = false;
      if (convertText<Unit>(set, prog.accentFold, text, 0, length, true, shifted, 0, conv) ==
          UINT32_MAX)
        return kNoMemory;
    }
    prog.cacheDef = set.def;
    prog.cacheValid = true;
  }
  v.units = conv.units.data();
  v.length = conv.units.size();
  v.map = swapped ? nullptr : conv.map.data();
  v.scale = swapped ? 2 : 1;
  v.shifted = set.shiftSensitive ? conv.shifted.data() : nullptr;
  if (swapped) v.endOffset = length & ~1u;
  return kFound;
}

// Characters of the source before the offset, by the core's structural rules.
uint64_t charsBefore(const SetInfo& set, const uint8_t* text, uint64_t offset,
                     bool shifted = false) {
  if (isNativeUtf8(set.def)) {
    // Characters are the bytes that are not continuation bytes (10xxxxxx).
    uint64_t continuation = 0, i = 0;
    for (; i + 8 <= offset; i += 8) {
      uint64_t word;
      std::memcpy(&word, text + i, 8);
      continuation +=
          static_cast<uint64_t>(__builtin_popcountll(word & ~(word << 1) & 0x8080808080808080ull));
    }
    for (; i < offset; ++i) continuation += (text[i] & 0xC0) == 0x80;
    return offset - continuation;
  }
  if (set.singleByte) return offset;
  Scan s{text, text + offset, shifted};
  settle(set, s);
  return walkUnits(set, s, 0xFFFFFFFFu, UnitKind::Chars).units;
}

// ---- Large objects ------------------------------------------------------------

// A window over a large object, read through its callbacks: the raw bytes
// still needed, and their units.  Bytes before the earliest place a match
// can still start (less the pattern's lookbehind) are dropped as the search
// moves on, so the window holds a few chunks plus the match in flight.
template <class Unit>
class LobStream {
 public:
  LobStream(const Program& prog, LobAccess* lob, const SetInfo& set, uint32_t charWidth)
      : prog_(prog), lob_(lob), set_(set), width_(charWidth ? charWidth : 1) {
    asciiOnly_ = !isNativeUtf8(set.def);
    native_ = sizeof(Unit) == 1 && !prog.accentFold && (!asciiOnly_ || isAsciiSingleByte(set.def));
    if (lob->getLength != nullptr) {
      uint64_t chars = 0;
      lob->getLength(lob->readContext, &total_, &chars);
    }
  }

  int32_t error() const { return error_; }

  // The first match starting at or after the source offset.
  int32_t find(uint64_t from, Spans& out) {
    if (!started_ || from < rawBase_ + (rawBase_ != 0 ? 1 : 0)) restart(from);
    for (;;) {
      while (!eof_ && rawBase_ + consumed_ <= from)
        if (!readMore()) return error_;
      const View<Unit> v = view();
      const uint32_t at = unitAt(v, from);
      const int32_t rc = searchAt(prog_, v, at, !eof_);
      if (rc == kFound) {
        takeSpans(prog_, v, out);
        // Asked from beyond the object's end: nothing more there.
        return out.start[0] < from ? kNoMatch : kFound;
      }
      if (rc != kPartial && rc != kNoMatch) return rc;
      if (eof_) return kNoMatch;
      const uint32_t next =
          rc == kPartial ? static_cast<uint32_t>(ovectorOf<Unit>(prog_)[0]) : v.length;
      from = std::max(from, v.source(std::max(next, at)));
      compact(v, std::max(next, at));
      if (!readMore()) return error_;
    }
  }

  uint64_t total() const { return total_; }
  // Whether the object ends at or before the offset, as far as known.
  bool endsBy(uint64_t offset) const {
    return offset >= total_ || (eof_ && offset >= rawBase_ + consumed_);
  }

 private:
  const Program& prog_;
  LobAccess* lob_;
  SetInfo set_;
  uint32_t width_;
  bool native_ = false;
  bool asciiOnly_ = false;  // native only while every byte is ASCII
  bool started_ = false;
  bool eof_ = false;
  bool shifted_ = false;
  int32_t error_ = kFound;
  uint64_t total_ = UINT64_MAX;
  uint64_t rawBase_ = 0;
  uint32_t consumed_ = 0;  // raw bytes turned into units
  ScratchVec<uint8_t> raw_;
  Converted<Unit> conv_;

  View<Unit> view() const {
    View<Unit> v;
    v.base = rawBase_;
    v.endOffset = rawBase_ + consumed_;
    if (native_) {
      v.units = reinterpret_cast<const Unit*>(raw_.data());
      v.length = consumed_;
    } else {
      v.units = conv_.units.data();
      v.length = conv_.units.size();
      v.map = conv_.map.data();
    }
    return v;
  }

  void restart(uint64_t from) {
    started_ = true;
    eof_ = false;
    raw_.clear();
    conv_.clear();
    consumed_ = 0;
    const uint64_t context = static_cast<uint64_t>(prog_.lookbehind + 1) * width_ * 4;
    uint64_t base = from > context ? from - context : 0;
    base -= base % width_;
    rawBase_ = base;
    if (total_ != UINT64_MAX && rawBase_ >= total_) eof_ = true;
  }

  bool readMore() {
    if (eof_) return true;
    const uint32_t chunk = lob_->chunkSize ? lob_->chunkSize : 4096;
    const uint32_t have = raw_.size();
    if (!raw_.reserve(have + chunk)) {
      error_ = kNoMemory;
      return false;
    }
    uint64_t offset = rawBase_ + have;
    uint32_t amount = chunk;
    if (total_ != UINT64_MAX)
      amount = static_cast<uint32_t>(std::min<uint64_t>(chunk, total_ - offset));
    if (amount != 0) {
      const int16_t rc =
          lob_->read(static_cast<uint32_t>(offset), static_cast<uint32_t>(offset >> 32), &amount,
                     raw_.data() + have, chunk, lob_->readContext, 0);
      if (rc != 0) {
        error_ = kReadFailed;
        return false;
      }
      amount = std::min(amount, chunk);
      // A descriptor without a length ends at the first short read.
    }
    raw_.grow(amount);
    offset += amount;
    if (amount == 0 || (total_ != UINT64_MAX && offset >= total_) ||
        (total_ == UINT64_MAX && amount < chunk))
      eof_ = true;
    if (native_) {
      const uint8_t* from = raw_.data() + consumed_;
      const uint32_t left = raw_.size() - consumed_;
      const uint32_t end =
          consumed_ + (asciiOnly_ ? asciiPrefix(from, left) : validUtf8Prefix(from, left));
      // Stop short of a character cut by the chunk; anything else is
      // malformed, and the whole window goes the converted way.
      if (end == raw_.size() ||
          (!asciiOnly_ && !eof_ && cutUtf8(raw_.data() + end, raw_.size() - end))) {
        consumed_ = end;
        return true;
      }
      native_ = false;
      conv_.clear();
      consumed_ = 0;
    }
    const uint32_t stop = convertText<Unit>(set_, prog_.accentFold, raw_.data(), consumed_,
                                            raw_.size(), eof_, shifted_, 0, conv_);
    if (stop == UINT32_MAX) {
      error_ = kNoMemory;
      return false;
    }
    consumed_ = stop;
    return true;
  }

  // Drops what lies before the lookbehind context of unit `from`.
  void compact(const View<Unit>& v, uint32_t from) {
    const uint32_t keep = backChars(v, std::min(from, v.length), prog_.lookbehind + 1);
    const uint64_t keepOffset = keep < v.length ? v.source(keep) : rawBase_ + consumed_;
    const uint32_t drop = static_cast<uint32_t>(keepOffset - rawBase_);
    if (drop == 0) return;
    raw_.dropFront(drop);
    consumed_ -= drop;
    rawBase_ += drop;
    if (!native_) {
      conv_.units.dropFront(keep);
      conv_.map.dropFront(keep);
      for (uint32_t i = 0; i < conv_.map.size(); ++i) conv_.map[i] -= drop;
    }
  }
};

// ---- Sources: where matches come from -----------------------------------------

template <class Unit>
struct MemorySource {
  Program& prog;
  View<Unit> v;
  const SetInfo& set;
  const uint8_t* text;
  uint32_t length;
  int32_t find(uint64_t from, Spans& out) {
    int32_t rc = searchAt(prog, v, unitAt(v, from), false);
    if (rc == kBadText) {
      // Malformed UTF-8, found by the first search: the text goes the
      // converted way.
      rc = memoryView(prog, set, text, length, false, v, true);
      if (rc == kFound) rc = searchAt(prog, v, unitAt(v, from), false);
    }
    v.checkUtf = false;
    if (rc == kFound) takeSpans(prog, v, out);
    return rc;
  }
  bool atEnd(uint64_t offset) const { return offset >= v.endOffset; }
  uint64_t after(uint64_t offset) const {
    const uint32_t u = unitAt(v, offset);
    return v.source(u + charUnits(v, u));
  }
};

template <class Unit>
struct LobSource {
  LobStream<Unit>& stream;
  uint32_t width;
  int32_t find(uint64_t from, Spans& out) { return stream.find(from, out); }
  bool atEnd(uint64_t offset) const { return stream.endsBy(offset); }
  uint64_t after(uint64_t offset) const { return offset + width; }
};

// The occurrence-th match from the offset; an empty match is stepped over by
// one character before the next search.
template <class Src>
int32_t findOccurrence(Src& src, uint64_t from, uint64_t occurrence, Spans& sp) {
  if (occurrence == 0) occurrence = 1;
  for (uint64_t k = 1;; ++k) {
    const int32_t rc = src.find(from, sp);
    if (rc != kFound || k == occurrence) return rc;
    if (sp.end[0] > sp.start[0]) {
      from = sp.end[0];
    } else {
      if (src.atEnd(sp.end[0])) return kNoMatch;
      from = src.after(sp.end[0]);
    }
  }
}

// ---- Replacement text -------------------------------------------------------------

struct Piece {
  const uint8_t* bytes;  // literal bytes of the replacement, or null
  uint32_t length;       // their count, or the group number
  bool shifted;          // state the literal bytes start in
};

// Splits a replacement into literal runs and back-references: \1 to \9 name
// a subexpression, \\ stands for one backslash, any other backslash is
// itself.
bool parseReplacement(const SetInfo& set, const uint8_t* p, uint32_t n, ScratchVec<Piece>& out) {
  Scan s{p, p + n, false};
  const uint8_t* runStart = p;
  bool runShifted = false;
  auto flush = [&](const uint8_t* upTo) {
    return upTo <= runStart ||
           out.push(Piece{runStart, static_cast<uint32_t>(upTo - runStart), runShifted});
  };
  while (!s.atEnd()) {
    settle(set, s);
    if (s.atEnd()) break;
    const uint32_t w = std::min(widthAt(set, s), s.left());
    const Decoded d = decodeChar(set.def, s.p, s.left(), s.shifted);
    if (d.codePoint == '\\' && s.left() > w) {
      Scan next{s.p + w, s.end, s.shifted};
      settle(set, next);
      if (!next.atEnd()) {
        const uint32_t w2 = std::min(widthAt(set, next), next.left());
        const Decoded d2 = decodeChar(set.def, next.p, next.left(), next.shifted);
        if (d2.codePoint >= '1' && d2.codePoint <= '9') {
          if (!flush(s.p) || !out.push(Piece{nullptr, d2.codePoint - '0', false})) return false;
          s.p = next.p + w2;
          s.shifted = next.shifted;
          runStart = s.p;
          runShifted = s.shifted;
          continue;
        }
        if (d2.codePoint == '\\') {
          if (!flush(s.p + w)) return false;  // the first backslash stays
          s.p = next.p + w2;
          s.shifted = next.shifted;
          runStart = s.p;
          runShifted = s.shifted;
          continue;
        }
      }
    }
    s.p += w;
  }
  return flush(p + n);
}

// ---- Writers ---------------------------------------------------------------------

// The result in a buffer: whole characters only, a shift-sensitive result
// closed in single-byte mode, cut where the capacity ends.
struct MemoryOut {
  const SetInfo& set;
  uint8_t* dst;
  uint32_t capacity;
  uint32_t length = 0;
  bool shifted = false;
  bool full = false;

  void raw(const uint8_t* p, uint32_t n, bool startShifted) {
    if (full || n == 0) return;
    if (set.shiftSensitive) {
      Scan s{p, p + n, startShifted};
      for (;;) {
        settle(set, s);
        if (s.atEnd()) return;
        const uint32_t w = std::min(widthAt(set, s), s.left());
        const bool change = s.shifted != shifted;
        const uint32_t need = w + (change ? 1u : 0u) + (s.shifted ? 1u : 0u);
        if (length + need > capacity) {
          full = true;
          return;
        }
        if (change) {
          dst[length++] = s.shifted ? set.shiftOut : set.shiftIn;
          shifted = s.shifted;
        }
        std::memcpy(dst + length, s.p, w);
        length += w;
        s.p += w;
      }
    }
    if (n <= capacity - length) {
      std::memcpy(dst + length, p, n);
      length += n;
      return;
    }
    const uint8_t* end = wholeCharEnd(set, p, p + (capacity - length));
    if (set.flags & CSH_UTF16) end = p + ((end - p) & ~static_cast<ptrdiff_t>(1));
    std::memcpy(dst + length, p, static_cast<size_t>(end - p));
    length += static_cast<uint32_t>(end - p);
    full = true;
  }
  void finish() {
    if (set.shiftSensitive && shifted && length < capacity) {
      dst[length++] = set.shiftIn;
      shifted = false;
    }
  }
};

template <class Unit>
struct MemoryCopier {
  MemoryOut& out;
  const uint8_t* text;
  const View<Unit>& v;
  int32_t copy(uint64_t from, uint64_t to) {
    if (to > from) {
      const uint32_t u = unitAt(v, from);
      out.raw(text + from, static_cast<uint32_t>(to - from), v.shiftedAt(u));
    }
    return kFound;
  }
  bool full() const { return out.full; }
};

// The result written to the large object's destination through one buffer
// of chunkSize bytes; source ranges are read back through a second one.
struct LobOut {
  LobAccess* lob;
  uint32_t chunk;
  uint8_t* buffer = nullptr;
  uint8_t* readBuffer = nullptr;
  uint32_t used = 0;
  uint64_t written = 0;
  uint64_t total = UINT64_MAX;  // source length when known
  int32_t error = kFound;

  bool open() {
    buffer = static_cast<uint8_t*>(lxldalc(0, chunk));
    readBuffer = static_cast<uint8_t*>(lxldalc(0, chunk));
    if (buffer == nullptr || readBuffer == nullptr) error = kNoMemory;
    return error == kFound;
  }
  ~LobOut() {
    if (buffer) lxldfre(0, buffer);
    if (readBuffer) lxldfre(0, readBuffer);
  }
  bool flush() {
    if (used == 0 || error != kFound) return error == kFound;
    uint32_t amount = used;
    if (lob->write(static_cast<uint32_t>(written), static_cast<uint32_t>(written >> 32), &amount,
                   buffer, chunk, lob->writeContext, 0) != 0) {
      error = kWriteFailed;
      return false;
    }
    written += used;
    used = 0;
    return true;
  }
  void raw(const uint8_t* p, uint32_t n, bool) {
    while (n > 0 && error == kFound) {
      const uint32_t take = std::min(n, chunk - used);
      std::memcpy(buffer + used, p, take);
      used += take;
      p += take;
      n -= take;
      if (used == chunk) flush();
    }
  }
  // Copies source bytes [from, to) (to UINT64_MAX: up to the end).
  int32_t copy(uint64_t from, uint64_t to) {
    while (from < to && error == kFound) {
      uint32_t amount = static_cast<uint32_t>(std::min<uint64_t>(chunk, to - from));
      if (total != UINT64_MAX)
        amount = static_cast<uint32_t>(std::min<uint64_t>(amount, total - from));
      if (amount == 0) break;
      const uint32_t asked = amount;
      if (lob->read(static_cast<uint32_t>(from), static_cast<uint32_t>(from >> 32), &amount,
                    readBuffer, chunk, lob->readContext, 0) != 0) {
        error = kReadFailed;
        break;
      }
      amount = std::min(amount, asked);
      raw(readBuffer, amount, false);
      from += amount;
      if (amount < asked) break;
    }
    return error;
  }
  bool full() const { return error != kFound; }
};

template <class Src, class Out, class Copier>
int32_t replaceMatches(Src& src, Out& out, Copier& copier, uint64_t from, uint64_t occurrence,
                       const ScratchVec<Piece>& pieces, uint64_t textEnd) {
  uint64_t copied = 0;
  uint64_t k = 0;
  Spans sp;
  int32_t rc = kFound;
  for (;;) {
    rc = src.find(from, sp);
    if (rc != kFound) break;
    ++k;
    if (occurrence == 0 || k == occurrence) {
      copier.copy(copied, sp.start[0]);
      for (uint32_t i = 0; i < pieces.size() && !copier.full(); ++i) {
        const Piece& piece = pieces[i];
        if (piece.bytes != nullptr)
          out.raw(piece.bytes, piece.length, piece.shifted);
        else if (piece.length < REGEX_MATCH_ENTRIES && sp.set[piece.length])
          copier.copy(sp.start[piece.length], sp.end[piece.length]);
      }
      copied = sp.end[0];
      if (occurrence != 0 || copier.full()) break;
    }
    if (sp.end[0] > sp.start[0]) {
      from = sp.end[0];
    } else {
      if (src.atEnd(sp.end[0])) break;
      from = src.after(sp.end[0]);
    }
  }
  if (rc != kFound && rc != kNoMatch) return rc;
  copier.copy(copied, textEnd);
  return kFound;
}

// The last engine result, kept in the context for the caller's messages.
void noteResult(NlsContext* ctx, int32_t rc) {
  std::memcpy(ctx->coreReserved5 + 1, &rc, sizeof rc);
}

void fillMatches(const Spans& sp, RegexMatch* matches, uint32_t count, bool positions,
                 const SetInfo& set, const uint8_t* text, uint32_t lobWidth) {
  for (uint32_t i = 0; i < count && i < REGEX_MATCH_ENTRIES; ++i) {
    RegexMatch& m = matches[i];
    std::memset(&m, 0, sizeof m);
    if (!sp.set[i]) continue;
    m.matched = 1;
    m.startOffset = sp.start[i];
    m.endOffset = sp.end[i];
    m.shiftFlags = sp.shifted[i] ? 1 : 0;
    if (positions) {
      if (text != nullptr) {
        m.startPosition = 1 + charsBefore(set, text, sp.start[i]);
        m.endPosition = m.startPosition + charsBefore(set, text + sp.start[i],
                                                      sp.end[i] - sp.start[i], sp.shifted[i]);
      } else {
        m.startPosition = 1 + sp.start[i] / lobWidth;
        m.endPosition = 1 + sp.end[i] / lobWidth;
      }
    }
  }
}

template <class Unit>
int32_t execWidth(Program& prog, const uint8_t* text, uint32_t textLength, LobAccess* lob,
                  uint64_t start, uint64_t occurrence, uint64_t* outStart, uint64_t* outEnd,
                  uint32_t execFlags, RegexMatch* matches, uint32_t matchCount,
                  const CharsetHandle* handle, NlsContext* ctx) {
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  Spans sp;
  int32_t rc;
  const uint32_t lobWidth = handle->maxCharWidth ? handle->maxCharWidth : 1;
  prog.memo.valid = false;
  prog.dropLobWalk();
  if (lob != nullptr) {
    LobStream<Unit> stream(prog, lob, set, lobWidth);
    LobSource<Unit> src{stream, lobWidth};
    rc = findOccurrence(src, start, occurrence, sp);
  } else {
    MemorySource<Unit> src{prog, {}, set, text, textLength};
    rc = memoryView(prog, set, text, textLength, false, src.v);
    if (rc == kFound) rc = findOccurrence(src, start, occurrence, sp);
  }
  if (rc != kFound) return rc;
  const bool positions = (execFlags & REGEX_EXEC_POSITIONS) != 0;
  if (matches != nullptr && matchCount != 0)
    fillMatches(sp, matches, matchCount, positions, set, lob ? nullptr : text, lobWidth);
  RegexMatch whole;
  fillMatches(sp, &whole, 1, positions, set, lob ? nullptr : text, lobWidth);
  if (outStart) *outStart = positions ? whole.startPosition : whole.startOffset;
  if (outEnd) *outEnd = positions ? whole.endPosition : whole.endOffset;
  return kFound;
}

template <class Unit>
int32_t matchWidth(Program& prog, const uint8_t* text, uint32_t textLength, LobAccess* lob,
                   uint64_t start, uint64_t* outStart, uint64_t* outEnd,
                   const CharsetHandle* handle, NlsContext* ctx) {
  const bool walking =
      continuesWalk(prog.memo, lob ? static_cast<const void*>(lob) : text, textLength, start);
  if (walking && lob == nullptr && prog.lastNative) {
    // The next step of a walk over text searched in place: straight to PCRE2.
    View<Unit> v;
    v.units = reinterpret_cast<const Unit*>(text);
    v.length = textLength / sizeof(Unit);
    v.endOffset = textLength;
    // A walk's steps start on character boundaries; anything else is put on one.
    uint32_t at = static_cast<uint32_t>(std::min<uint64_t>(start, textLength)) / sizeof(Unit);
    if (sizeof(Unit) != 1 || (at < v.length && (v.units[at] & 0xC0) == 0x80)) at = unitAt(v, start);
    const int32_t rc = searchAt(prog, v, at, false);
    if (rc != kFound) {
      prog.memo.valid = false;
      return rc;
    }
    const size_t* ov = ovectorOf<Unit>(prog);
    prog.memo.start = ov[0];
    prog.memo.end = std::max(ov[1], ov[0]);
    if (outStart) *outStart = prog.memo.start;
    if (outEnd) *outEnd = prog.memo.end;
    return kFound;
  }
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  Spans sp;
  int32_t rc;
  if (lob != nullptr) {
    // The window moves on with the walk; a new walk starts a new one.
    if (!walking || prog.lobWalkObject != lob) prog.dropLobWalk();
    if (prog.lobWalk == nullptr) {
      void* block = lxldalc(0, sizeof(LobStream<Unit>));
      if (block == nullptr) return kNoMemory;
      const uint32_t w = handle->maxCharWidth ? handle->maxCharWidth : 1;
      prog.lobWalk = new (block) LobStream<Unit>(prog, lob, set, w);
      prog.lobWalkObject = lob;
      prog.lobWalkDestroy = [](void* p) {
        static_cast<LobStream<Unit>*>(p)->~LobStream<Unit>();
        lxldfre(0, p);
      };
    }
    rc = static_cast<LobStream<Unit>*>(prog.lobWalk)->find(start, sp);
    if (rc != kFound) prog.dropLobWalk();
  } else {
    prog.dropLobWalk();
    MemorySource<Unit> src{prog, {}, set, text, textLength};
    rc = memoryView(prog, set, text, textLength, walking, src.v);
    if (rc == kFound) rc = src.find(start, sp);
  }
  if (rc != kFound) {
    prog.memo.valid = false;
    return rc;
  }
  prog.memo = WalkMemo{lob ? static_cast<const void*>(lob) : text, textLength, sp.start[0],
                       sp.end[0], true};
  if (outStart) *outStart = sp.start[0];
  if (outEnd) *outEnd = sp.end[0];
  return kFound;
}

template <class Unit>
int32_t replaceWidth(Program& prog, uint8_t** buffer, uint32_t capacity, const uint8_t* src,
                     uint32_t srcLength, LobAccess* lob, const uint8_t* replacement,
                     uint32_t replacementLength, uint64_t start, uint64_t occurrence,
                     const CharsetHandle* handle, NlsContext* ctx, int64_t& produced) {
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  prog.memo.valid = false;
  prog.dropLobWalk();
  ScratchVec<Piece> pieces;
  if (!parseReplacement(set, replacement, replacement ? replacementLength : 0, pieces))
    return kNoMemory;
  if (lob != nullptr) {
    const uint32_t w = handle->maxCharWidth ? handle->maxCharWidth : 1;
    LobStream<Unit> stream(prog, lob, set, w);
    LobSource<Unit> source{stream, w};
    LobOut out{lob, lob->chunkSize ? lob->chunkSize : 4096};
    out.total = stream.total();
    if (!out.open()) return out.error;
    int32_t rc = replaceMatches(source, out, out, start, occurrence, pieces, UINT64_MAX);
    if (rc == kFound) rc = out.error;
    if (rc == kFound) out.flush();
    produced = static_cast<int64_t>(out.written);
    return rc == kFound ? out.error : rc;
  }
  MemorySource<Unit> source{prog, {}, set, src, srcLength};
  int32_t rc = memoryView(prog, set, src, srcLength, false, source.v);
  MemoryOut out{set, *buffer, capacity};
  MemoryCopier<Unit> copier{out, src, source.v};
  if (rc == kFound) rc = replaceMatches(source, out, copier, start, occurrence, pieces, srcLength);
  if (rc != kFound) {
    // The text comes back unchanged when the search fails.
    out.length = 0;
    out.shifted = false;
    out.full = false;
    out.raw(src, srcLength, false);
  }
  out.finish();
  produced = out.length;
  return rc;
}

}  // namespace
}  // namespace nls::regex

using namespace nls;
using namespace nls::regex;

extern "C" {

NLS_API int32_t lxregexec(RegexRecord* record, const void* text, uint32_t textLength,
                          LobAccess* lob, uint64_t startOffset, uint64_t occurrence,
                          uint64_t* matchStart, uint64_t* matchEnd, uint32_t execFlags,
                          RegexMatch* matches, uint32_t matchCount, const CharsetHandle* handle,
                          NlsContext* ctx) {
  Program* prog = programOf(record);
  int32_t rc = kInternal;
  if (prog != nullptr && (text != nullptr || lob != nullptr || textLength == 0)) {
    const auto* t = static_cast<const uint8_t*>(text);
    rc = prog->wide
             ? execWidth<uint16_t>(*prog, t, textLength, lob, startOffset, occurrence, matchStart,
                                   matchEnd, execFlags, matches, matchCount, handle, ctx)
             : execWidth<uint8_t>(*prog, t, textLength, lob, startOffset, occurrence, matchStart,
                                  matchEnd, execFlags, matches, matchCount, handle, ctx);
  }
  noteResult(ctx, rc);
  return rc;
}

NLS_API int32_t lxregmatch(RegexRecord* record, const void* text, uint32_t textLength,
                           LobAccess* lob, uint64_t startOffset, uint32_t /*continuation*/,
                           uint64_t* matchStart, uint64_t* matchEnd, uint32_t, uint32_t,
                           const CharsetHandle* handle, NlsContext* ctx) {
  Program* prog = programOf(record);
  int32_t rc = kInternal;
  if (prog != nullptr && (text != nullptr || lob != nullptr || textLength == 0)) {
    const auto* t = static_cast<const uint8_t*>(text);
    rc = prog->wide ? matchWidth<uint16_t>(*prog, t, textLength, lob, startOffset, matchStart,
                                           matchEnd, handle, ctx)
                    : matchWidth<uint8_t>(*prog, t, textLength, lob, startOffset, matchStart,
                                          matchEnd, handle, ctx);
  }
  noteResult(ctx, rc);
  return rc;
}

NLS_API int32_t lxregreplace(RegexRecord* record, uint8_t** buffer, uint32_t bufferCapacity,
                             const void* src, uint32_t srcLength, LobAccess* lob,
                             const void* replacement, uint32_t replacementLength,
                             uint64_t startOffset, uint64_t occurrence, uint32_t, uint32_t,
                             RegexResultAllocator, void*, const CharsetHandle* handle,
                             NlsContext* ctx) {
  Program* prog = programOf(record);
  int64_t produced = 0;
  int32_t rc = kInternal;
  const bool haveOutput = lob != nullptr || (buffer != nullptr && *buffer != nullptr);
  if (prog != nullptr && haveOutput && (src != nullptr || lob != nullptr || srcLength == 0)) {
    const auto* s = static_cast<const uint8_t*>(src);
    const auto* r = static_cast<const uint8_t*>(replacement);
    rc = prog->wide ? replaceWidth<uint16_t>(*prog, buffer, bufferCapacity, s, srcLength, lob, r,
                                             replacementLength, startOffset, occurrence, handle,
                                             ctx, produced)
                    : replaceWidth<uint8_t>(*prog, buffer, bufferCapacity, s, srcLength, lob, r,
                                            replacementLength, startOffset, occurrence, handle, ctx,
                                            produced);
  }
  noteResult(ctx, rc);
  if (lob != nullptr && rc != kFound) return rc;
  return static_cast<int32_t>(std::min<int64_t>(produced, INT32_MAX));
}

}  // extern "C"
