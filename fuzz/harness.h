// What every fuzz target shares: one context and the handles of every set
// and collation, made once per process; operands decoded from the input;
// sources and destinations that end at guard pages; the checks on results.
//
// A failed check prints the set, the call and the bytes involved, then
// aborts, so libFuzzer keeps the input as a crash.  LXK_FUZZ_IGNORE (names
// of checks, comma-separated) turns named checks into a note on stderr, for
// exploring past a fault that is already known; CI never sets it.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "lxk/lxk.h"
#include "lxk/nlsenv.h"
#include "support/guarded_buffer.h"

namespace lxkfuzz {

using Bytes = std::vector<uint8_t>;

inline const char* const kCollations[] = {"BINARY", "CI", "AI"};

// One set of the catalogue with a handle per collation.
struct Charset {
  const NlsCharsetInfo* info;
  const CharsetHandle* handles[3];
};

class Env {
 public:
  Env() : ctx_(nlsContextCreate()) {
    for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
      const NlsCharsetInfo* info = nlsCatalogueEntry(i);
      if (info->conversionOnly) continue;
      Charset set{info, {}};
      for (int c = 0; c < 3; ++c) {
        set.handles[c] = nlsHandleCreate(ctx_, info->name, kCollations[c]);
        if (set.handles[c] == nullptr) {
          std::fprintf(stderr, "no %s handle for %s\n", kCollations[c], info->name);
          std::abort();
        }
      }
      sets_.push_back(set);
    }
  }
  NlsContext* ctx() const { return ctx_; }
  const std::vector<Charset>& sets() const { return sets_; }

 private:
  NlsContext* ctx_;
  std::vector<Charset> sets_;
};

// Never destroyed: the handles stay reachable for the leak checker.
inline Env& env() {
  static Env* instance = new Env;
  return *instance;
}

// ---- Failure reports -----------------------------------------------------------

// What the current input asked, printed with any failure.
struct Trace {
  const char* set = "";
  const char* collation = "";
  std::string call;
};
inline Trace& trace() {
  static Trace t;
  return t;
}

inline std::string hex(const uint8_t* p, size_t n) {
  std::string out;
  char b[4];
  for (size_t i = 0; i < n; ++i) {
    std::snprintf(b, sizeof b, "%02X", p[i]);
    if (i) out += ' ';
    out += b;
  }
  return out;
}
inline std::string hex(const Bytes& b) { return hex(b.data(), b.size()); }

inline bool ignored(const char* check) {
  static const char* list = std::getenv("LXK_FUZZ_IGNORE");
  if (list == nullptr) return false;
  const size_t n = std::strlen(check);
  for (const char* p = std::strstr(list, check); p; p = std::strstr(p + 1, check))
    if ((p == list || p[-1] == ',') && (p[n] == ',' || p[n] == '\0')) return true;
  return false;
}

// Aborts with the check's name, the trace and the message.
[[gnu::format(printf, 2, 3)]] inline void fail(const char* check, const char* format, ...) {
  if (ignored(check)) return;
  std::fprintf(stderr, "\n== check %s failed\n   set %s, collation %s\n   %s\n   ", check,
               trace().set, trace().collation, trace().call.c_str());
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fprintf(stderr, "\n");
  std::abort();
}

#define LXK_CHECK(name, condition, ...)        \
  do {                                         \
    if (!(condition)) fail(name, __VA_ARGS__); \
  } while (0)

// ---- Operands -----------------------------------------------------------------

struct Picked {
  const Charset* set;
  const CharsetHandle* handle;
  bool shiftSensitive;
};

inline Picked pickSet(FuzzedDataProvider& in) {
  const auto& sets = env().sets();
  const Charset& set = sets[in.ConsumeIntegralInRange<size_t>(0, sets.size() - 1)];
  const int collation = in.ConsumeIntegralInRange(0, 2);
  trace().set = set.info->name;
  trace().collation = kCollations[collation];
  const CharsetHandle* h = set.handles[collation];
  return {&set, h, (h->flags & CSH_SHIFT_SENSITIVE) != 0};
}

// Every defined option bit on its own or together, sometimes random others.
inline uint32_t pickOptions(FuzzedDataProvider& in) {
  static const uint32_t kBits[] = {OPT_STANDARD,        OPT_CURSOR_COPY,   OPT_CURSOR_WRITE_CODE,
                                   OPT_BYTE_UNITS,      OPT_NO_BLANK_FILL, OPT_RAW_BYTES,
                                   OPT_UCS2_UNITS,      OPT_UCS4_UNITS,    OPT_COMPLETE_CHARS,
                                   OPT_CHAR_UNIT_COUNT, OPT_BYTE_SEARCH,   CASE_DIRECTION,
                                   CASE_INITCAP};
  uint32_t options = 0;
  const uint16_t mask = in.ConsumeIntegral<uint16_t>();
  for (size_t i = 0; i < std::size(kBits); ++i)
    if (mask & (1u << i)) options |= kBits[i];
  if (mask & 0x8000u) options |= in.ConsumeIntegral<uint32_t>();
  return options;
}

// Positions and lengths: the edges, small ones, ones near the source length,
// and any other.
inline int32_t pickInt(FuzzedDataProvider& in, uint32_t sourceLength) {
  const int32_t n = static_cast<int32_t>(sourceLength);
  switch (in.ConsumeIntegralInRange(0, 9)) {
    case 0:
      return 0;
    case 1:
      return in.ConsumeBool() ? 1 : -1;
    case 2:
      return in.ConsumeIntegralInRange(-20, 20);
    case 3:
      return INT32_MIN + in.ConsumeIntegralInRange(0, 1);
    case 4:
      return INT32_MAX - in.ConsumeIntegralInRange(0, 1);
    case 5:
      return n + in.ConsumeIntegralInRange(-2, 2);
    case 6:
      return -n + in.ConsumeIntegralInRange(-2, 2);
    case 7:
      return in.ConsumeIntegralInRange(-n - 4, n + 4);
    default:
      return in.ConsumeIntegral<int32_t>();
  }
}

// A capacity from 0 to four times the largest result; kMissing for no
// destination at all.
constexpr int64_t kMissing = -1;
inline int64_t pickCapacity(FuzzedDataProvider& in, uint32_t full) {
  switch (in.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return kMissing;
    case 1:
      return in.ConsumeIntegralInRange<uint32_t>(0, 3);
    case 2:
      return full;
    default:
      return in.ConsumeIntegralInRange<uint32_t>(0, 4 * full + 4);
  }
}

// Characters for well-formed text: some of every script the sets hold, and
// any code point (the sets replace what they lack).
inline void appendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | c >> 18);
    out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

inline uint32_t pickCodePoint(FuzzedDataProvider& in) {
  static const char32_t kSample[] =
      U"Az0 ~%_'.éßÿĦİıŉǅǆǰΣσςΐЖжŁſﬁﬀẞ€中文日本あアｱｶ한국％\u3000\u0301\u0345😀𠀋\u00A0\u2028";
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return in.ConsumeIntegralInRange<uint32_t>(0x20, 0x7E);
    case 1:
      return kSample[in.ConsumeIntegralInRange<size_t>(0, std::size(kSample) - 2)];
    case 2:
      return in.ConsumeIntegralInRange<uint32_t>(0x80, 0x2FFF);
    default: {
      const uint32_t c = in.ConsumeIntegralInRange<uint32_t>(0, 0x10FFFF);
      return c >= 0xD800 && c < 0xE000 ? 0xFFFD : c;
    }
  }
}

// A source: random bytes (wellFormed false), or random UTF-8 converted into
// the set with nlsConvert.
struct Source {
  Bytes bytes;
  bool wellFormed;
};

inline Source pickSource(FuzzedDataProvider& in, const Picked& set, size_t maxLength = 256) {
  Source s{{}, in.ConsumeBool()};
  if (!s.wellFormed) {
    s.bytes = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, maxLength));
    return s;
  }
  std::string utf8;
  const size_t count = in.ConsumeIntegralInRange<size_t>(0, maxLength / 4);
  for (size_t i = 0; i < count && in.remaining_bytes() != 0; ++i)
    appendUtf8(utf8, pickCodePoint(in));
  s.bytes.resize(utf8.size() * 4 + 16);
  const int32_t n =
      nlsConvert(env().ctx(), set.set->info->name, s.bytes.data(),
                 static_cast<uint32_t>(s.bytes.size()), "AL32UTF8",
                 reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<uint32_t>(utf8.size()));
  if (n < 0) fail("convert-source", "nlsConvert of %zu bytes of UTF-8 failed", utf8.size());
  s.bytes.resize(static_cast<size_t>(n < 0 ? 0 : n));
  return s;
}

// ---- Checks ---------------------------------------------------------------------

// A shift-sensitive walk: each character of the text with the shift state
// it is read in, the shift bytes themselves left out.  Two results that
// hold the same characters give the same walk however their runs are
// split.  `closed` tells whether the text ends in single-byte mode,
// `whole` whether no double-byte character is cut at the end.
struct ShiftWalk {
  std::vector<std::pair<bool, uint32_t>> characters;
  bool closed = true;
  bool whole = true;
};

inline ShiftWalk walkShifted(const uint8_t* p, size_t n, const CharsetHandle* h,
                             bool shifted = false) {
  ShiftWalk w;
  const uint32_t width = h->maxCharWidth;
  for (size_t i = 0; i < n;) {
    if (p[i] == h->shiftOutByte || p[i] == h->shiftInByte) {
      shifted = p[i++] == h->shiftOutByte;
      continue;
    }
    const size_t take = shifted ? width : 1;
    if (i + take > n) {
      w.whole = false;
      break;
    }
    uint32_t code = 0;
    for (size_t k = 0; k < take; ++k) code = code << 8 | p[i + k];
    w.characters.emplace_back(shifted, code);
    i += take;
  }
  w.closed = !shifted;
  return w;
}

// The shift state after the first n bytes of a text that starts in single-byte mode.
inline bool shiftedAfter(const uint8_t* p, size_t n, const CharsetHandle* h) {
  bool shifted = false;
  const uint32_t width = h->maxCharWidth;
  for (size_t i = 0; i < n;) {
    if (p[i] == h->shiftOutByte || p[i] == h->shiftInByte)
      shifted = p[i++] == h->shiftOutByte;
    else
      i += shifted ? width : 1;
  }
  return shifted;
}

// Where the core's trimming walk ends whole characters: lxptmutf8 in
// AL32UTF8 (by the UTF-8 bits, as CONCAT cuts there), lxptmult (by the
// lead-byte table, shift bytes included) elsewhere.  On malformed UTF-8 the
// two disagree (D5 41 is one character to the table, none to the bits).
inline const uint8_t* wholeEnd(const uint8_t* p, uint32_t n, const Picked& set) {
  if (set.set->info->charsetId == 873) return lxptmutf8(p, p + n);
  return lxptmult(p, n, set.handle, env().ctx());
}

// Whole characters of the set: the trimming walk keeps all of it; for text made of well-formed
// input the conversion to AL32UTF8 must also succeed (nlsConvert returns -1 for text that ends
// inside a character).  A shift-sensitive result ends in single-byte mode.
inline void checkWhole(const char* what, const uint8_t* p, uint32_t n, const Picked& set,
                       bool wellFormed, const char* check = "whole") {
  if (n == 0) return;
  const uint8_t* end = wholeEnd(p, n, set);
  LXK_CHECK(check, end == p + n, "%s: trimming walk keeps %td of %u bytes: %s", what, end - p, n,
            hex(p, n).c_str());
  if (set.shiftSensitive) {
    const ShiftWalk w = walkShifted(p, n, set.handle);
    LXK_CHECK("closed", w.closed && w.whole, "%s: ends %s: %s", what,
              w.whole ? "in a double-byte run" : "inside a double-byte character",
              hex(p, n).c_str());
  }
  if (wellFormed) {
    static Bytes utf8;
    utf8.resize(n * 4 + 16);
    const int32_t converted =
        nlsConvert(env().ctx(), "AL32UTF8", utf8.data(), static_cast<uint32_t>(utf8.size()),
                   set.set->info->name, p, n);
    LXK_CHECK(std::strcmp(check, "whole") == 0 ? "converts" : check, converted >= 0,
              "%s: does not convert to AL32UTF8: %s", what, hex(p, n).c_str());
  }
}

// The shorter result is a prefix of the longer: byte for byte, except that
// a shift-sensitive shorter result may end with the shift-in byte that
// closes its last run where the longer one goes on in the run.
inline void checkPrefix(const char* what, const Bytes& shorter, const Bytes& longer,
                        const Picked& set) {
  size_t n = shorter.size();
  if (set.shiftSensitive && n != 0 && shorter[n - 1] == set.handle->shiftInByte &&
      (n > longer.size() || longer[n - 1] != shorter[n - 1]))
    --n;
  LXK_CHECK("prefix",
            n <= longer.size() && (n == 0 || std::memcmp(shorter.data(), longer.data(), n) == 0),
            "%s: %s\n   is no prefix of\n   %s", what, hex(shorter).c_str(), hex(longer).c_str());
}

inline void checkResultWord(uint32_t word, const char* check = "result-word") {
  LXK_CHECK(check, word == LXK_RESULT_COMPLETE || word == LXK_RESULT_TRUNCATED, "result word %u",
            word);
}

// A sentinel no export writes: a result word or status left untouched shows.
constexpr uint32_t kUntouched = 77;

// What a call that writes into a destination left: its bytes, the result
// word (kUntouched when it was not stored) and the status word.
struct Outcome {
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

}  // namespace lxkfuzz
