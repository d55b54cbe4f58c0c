// What every fuzz target shares: the context and every set's handles, made
// once; operands decoded from the input; destinations that end at guard
// pages; the checks.  A failed check prints the set, the call and the bytes,
// then aborts; LXK_FUZZ_IGNORE=name,name skips the named checks.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
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

// Never destroyed: the handles stay reachable for the leak checker.
struct Env {
  NlsContext* ctx = nlsContextCreate();
  std::vector<Charset> sets;
  Env() {
    for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
      const NlsCharsetInfo* info = nlsCatalogueEntry(i);
      if (info->conversionOnly) continue;
      sets.push_back({info, {}});
      for (int c = 0; c < 3; ++c)
        sets.back().handles[c] = nlsHandleCreate(ctx, info->name, kCollations[c]);
    }
  }
};
inline Env& env() {
  static Env* instance = new Env;
  return *instance;
}
inline NlsContext* ctx() { return env().ctx; }

// ---- Failure reports -----------------------------------------------------------

// What the current input asked, printed with any failure.
inline struct {
  const char* set = "";
  const char* collation = "";
  std::string call;
} trace;

[[gnu::format(printf, 1, 2)]] inline void traceCall(const char* format, ...) {
  char call[2048];
  va_list args;
  va_start(args, format);
  std::vsnprintf(call, sizeof call, format, args);
  va_end(args);
  trace.call = call;
}

inline std::string hex(const uint8_t* p, size_t n) {
  std::string out;
  char b[4];
  for (size_t i = 0; i < n; ++i) {
    std::snprintf(b, sizeof b, i ? " %02X" : "%02X", p[i]);
    out += b;
  }
  return out;
}
inline std::string hex(const Bytes& b) { return hex(b.data(), b.size()); }

inline bool ignored(const char* check) {
  static const char* list = std::getenv("LXK_FUZZ_IGNORE");
  return list &&
         ("," + std::string(list) + ",").find("," + std::string(check) + ",") != std::string::npos;
}

// Aborts with the check's name, the trace and the message.
[[gnu::format(printf, 2, 3)]] inline void fail(const char* check, const char* format, ...) {
  if (ignored(check)) return;
  std::fprintf(stderr, "\n== check %s failed\n   set %s, collation %s\n   %s\n   ", check,
               trace.set, trace.collation, trace.call.c_str());
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
  const auto& sets = env().sets;
  const Charset& set = sets[in.ConsumeIntegralInRange<size_t>(0, sets.size() - 1)];
  const int collation = in.ConsumeIntegralInRange(0, 2);
  trace.set = set.info->name;
  trace.collation = kCollations[collation];
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
  const int pick = in.ConsumeIntegralInRange(0, 9);
  if (pick == 0) return 0;
  if (pick == 1) return in.ConsumeBool() ? 1 : -1;
  if (pick == 2) return in.ConsumeIntegralInRange(-20, 20);
  if (pick == 3) return INT32_MIN + in.ConsumeIntegralInRange(0, 1);
  if (pick == 4) return INT32_MAX - in.ConsumeIntegralInRange(0, 1);
  if (pick == 5) return n + in.ConsumeIntegralInRange(-2, 2);
  if (pick == 6) return -n + in.ConsumeIntegralInRange(-2, 2);
  if (pick == 7) return in.ConsumeIntegralInRange(-n - 4, n + 4);
  return in.ConsumeIntegral<int32_t>();
}

// A capacity from 0 to four times the largest result; kMissing for no
// destination at all.
constexpr int64_t kMissing = -1;
inline int64_t pickCapacity(FuzzedDataProvider& in, uint32_t full) {
  const int pick = in.ConsumeIntegralInRange(0, 5);
  if (pick == 0) return kMissing;
  if (pick == 1) return in.ConsumeIntegralInRange<uint32_t>(0, 3);
  if (pick == 2) return full;
  return in.ConsumeIntegralInRange<uint32_t>(0, 4 * full + 4);
}

// Characters for well-formed text: some of every script the sets hold, and
// any code point (the sets replace what they lack).
inline uint32_t pickCodePoint(FuzzedDataProvider& in) {
  static const char32_t kSample[] =
      U"Az0 ~%_'.éßÿĦİıŉǅǆǰΣσςΐЖжŁſﬁﬀẞ€中文日本あアｱｶ한국％\u3000\u0301\u0345😀𠀋\u00A0\u2028";
  const int pick = in.ConsumeIntegralInRange(0, 3);
  if (pick == 0) return in.ConsumeIntegralInRange<uint32_t>(0x20, 0x7E);
  if (pick == 1) return kSample[in.ConsumeIntegralInRange<size_t>(0, std::size(kSample) - 2)];
  if (pick == 2) return in.ConsumeIntegralInRange<uint32_t>(0x80, 0x2FFF);
  const uint32_t c = in.ConsumeIntegralInRange<uint32_t>(0, 0x10FFFF);
  return c >= 0xD800 && c < 0xE000 ? 0xFFFD : c;
}

inline void appendUtf8(std::string& out, uint32_t c) {
  int tail = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  out += static_cast<char>(static_cast<uint8_t>("\0\xC0\xE0\xF0"[tail]) | c >> 6 * tail);
  while (tail-- > 0) out += static_cast<char>(0x80 | (c >> 6 * tail & 0x3F));
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
  const int32_t n = nlsConvert(
      ctx(), set.set->info->name, s.bytes.data(), static_cast<uint32_t>(s.bytes.size()), "AL32UTF8",
      reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<uint32_t>(utf8.size()));
  if (n < 0) fail("convert-source", "nlsConvert of %zu bytes of UTF-8 failed", utf8.size());
  s.bytes.resize(static_cast<size_t>(std::max(n, 0)));
  return s;
}

// A destination of the capacity that ends at the buffer's guard page, or
// none (kMissing): a null pointer and no room.
struct Destination {
  uint8_t* out;
  uint32_t room;
};
inline Destination destination(lxktest::GuardedBuffer& buffer, int64_t capacity) {
  if (capacity == kMissing) return {nullptr, 0};
  return {buffer.tail(static_cast<size_t>(capacity)), static_cast<uint32_t>(capacity)};
}

// What a call returned n for wrote: n must be within the room.
inline Bytes written(const Destination& d, uint32_t n) {
  LXK_CHECK("length", n <= d.room, "returned %u for capacity %u", n, d.room);
  return d.out == nullptr ? Bytes{} : Bytes(d.out, d.out + std::min(n, d.room));
}

// A sentinel no export writes: a result word or status left untouched shows.
constexpr uint32_t kUntouched = 77;

// What a call left: its bytes, the result word (kUntouched when it was not
// stored), the status word and, for SUBSTR, the pointer it returned.
struct Outcome {
  Bytes bytes;
  uint32_t resultWord = kUntouched;
  int32_t status = NLS_STATUS_OK;
  const uint8_t* pointer = nullptr;
};

// ---- Checks ---------------------------------------------------------------------

// A shift-sensitive walk: each character of the text with the shift state
// it is read in, the shift bytes themselves left out.  Two results that
// hold the same characters give the same walk however their runs are
// split.  `closed` tells whether the text ends in single-byte mode (the
// state after it), `whole` whether no double-byte character is cut at the end.
struct ShiftWalk {
  std::vector<std::pair<bool, uint32_t>> characters;
  bool closed = true;
  bool whole = true;
};

inline ShiftWalk walkShifted(const uint8_t* p, size_t n, const CharsetHandle* h,
                             bool shifted = false) {
  ShiftWalk w;
  for (size_t i = 0; i < n;) {
    if (p[i] == h->shiftOutByte || p[i] == h->shiftInByte) {
      shifted = p[i++] == h->shiftOutByte;
      continue;
    }
    const size_t take = shifted ? h->maxCharWidth : 1;
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

// Where the core's trimming walk ends whole characters: lxptmutf8 in
// AL32UTF8 (by the UTF-8 bits, as CONCAT cuts there), lxptmult (by the
// lead-byte table, shift bytes included) elsewhere.  On malformed UTF-8 the
// two disagree (D5 41 is one character to the table, none to the bits).
inline const uint8_t* wholeEnd(const uint8_t* p, size_t n, const Picked& set) {
  if (set.set->info->charsetId == 873) return lxptmutf8(p, p + n);
  return lxptmult(p, static_cast<uint32_t>(n), set.handle, ctx());
}

// Whole characters of the set, asked of text made of well-formed input: the
// trimming walk keeps all of it (`whole`), it converts to AL32UTF8
// (`converts`: nlsConvert returns -1 for text that ends inside a character)
// and a shift-sensitive one ends in single-byte mode (`closed`).
inline void checkWhole(const char* what, const Bytes& b, const Picked& set) {
  if (b.empty()) return;
  const uint32_t n = static_cast<uint32_t>(b.size());
  const uint8_t* end = wholeEnd(b.data(), n, set);
  LXK_CHECK("whole", end == b.data() + n, "%s: trimming walk keeps %td of %u bytes: %s", what,
            end - b.data(), n, hex(b).c_str());
  if (set.shiftSensitive) {
    const ShiftWalk w = walkShifted(b.data(), n, set.handle);
    LXK_CHECK("closed", w.closed && w.whole, "%s: ends %s: %s", what,
              w.whole ? "in a double-byte run" : "inside a double-byte character", hex(b).c_str());
  }
  static Bytes utf8;
  utf8.resize(n * 4 + 16);
  const int32_t converted =
      nlsConvert(ctx(), "AL32UTF8", utf8.data(), static_cast<uint32_t>(utf8.size()),
                 set.set->info->name, b.data(), n);
  LXK_CHECK("converts", converted >= 0, "%s: does not convert to AL32UTF8: %s", what,
            hex(b).c_str());
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
            n <= longer.size() && std::equal(shorter.begin(), shorter.begin() + n, longer.begin()),
            "%s: %s\n   is no prefix of\n   %s", what, hex(shorter).c_str(), hex(longer).c_str());
}

}  // namespace lxkfuzz
