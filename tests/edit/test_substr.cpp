// SUBSTR against references written here: slices built from the characters'
// own encodings in every set of the catalogue, every unit semantics and every
// capacity; supplementary characters and combining marks; long and malformed
// text against a literal lead-byte walk.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "frame/frame.h"
#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// lxkSubstr into a destination of the given capacity, or without one
// (capacity < 0): a pointer into src.  Source and destination end at guard
// pages, so reading or writing past either faults.
Bytes substr(const std::string& set, const Bytes& text, int32_t position, int32_t length,
             uint32_t options, int64_t capacity = -1) {
  static lxktest::GuardedBuffer src, buffer;
  src.assign(text.data(), text.size());
  uint8_t* const out = capacity < 0 ? nullptr : buffer.tail(static_cast<size_t>(capacity));
  uint32_t resultWord = 99, n = 0;
  const uint8_t* p = lxkSubstr(&n, out, static_cast<uint32_t>(std::max<int64_t>(capacity, 0)),
                               src.data(), static_cast<uint32_t>(src.size()), position, length,
                               options, &resultWord, env().handle(set), env().ctx());
  EXPECT_EQ(resultWord, 0u) << set;
  if (capacity < 0) {
    if (n == 0) return {};
    EXPECT_TRUE(p >= src.data() && p + n <= src.data() + src.size()) << set;
    return Bytes(p, p + n);
  }
  EXPECT_EQ(p, out) << set;
  EXPECT_LE(n, capacity) << set;
  return Bytes(out, out + std::min<int64_t>(n, capacity));
}

bool hasFlag(const std::string& set, uint32_t flag) {
  return (env().handle(set)->flags & flag) != 0;
}
bool isUtf16(const std::string& set) { return env().definition(set)->charsetId == CSID_AL16UTF16; }

// Position 0 is 1, a negative one counts from the end; 0 when outside.
int64_t startOf(int32_t position, int64_t count) {
  const int64_t start = position == 0 ? 1 : position < 0 ? position + count + 1 : position;
  return start >= 1 && start <= count ? start : 0;
}

std::string trace(const std::string& set, uint32_t options, int32_t position, int32_t length) {
  return set + " options " + std::to_string(options) + " position " + std::to_string(position) +
         " length " + std::to_string(length);
}

// A text cycling through the characters of a sample that the set holds.
struct SampleText {
  std::string set;
  std::vector<std::string> chars;  // UTF-8 of each character
  Bytes bytes;                     // the whole text in the set
  // The set's own encoding of characters [start, start + count).
  Bytes slice(size_t start, size_t count) const {
    std::string utf8;
    for (size_t i = start; i < start + count; ++i) utf8 += chars[i];
    return utf8.empty() ? Bytes{} : env().encode(set, utf8);
  }
};

SampleText sampleText(const std::string& set, size_t count) {
  std::vector<std::string> held;
  for (const std::string& ch : lxktest::chars("aé中B€あЖ1ｱ한Ωß z"))
    if (!env().held(set, ch).empty()) held.push_back(ch);
  SampleText text{set, {}, {}};
  for (size_t i = 0; i < count && !held.empty(); ++i) text.chars.push_back(held[i % held.size()]);
  text.bytes = text.slice(0, text.chars.size());
  return text;
}

// Byte units over bytes [s, s + n) of text made of characters of the given
// widths: the characters inside and a blank (or nothing) for each byte of a
// cut one, in order; a capacity keeps as many pieces as fit.
std::vector<Bytes> bytePieces(const std::string& set, const Bytes& src,
                              const std::vector<uint32_t>& widths, uint32_t s, uint32_t n,
                              bool fill) {
  const Bytes space = env().encode(set, " ");
  std::vector<Bytes> pieces;
  for (size_t i = 0, from = 0, to; i < widths.size(); ++i, from = to) {
    to = from + widths[i];
    if (from >= s && to <= s + n)
      pieces.emplace_back(src.begin() + from, src.begin() + to);
    else if (fill)
      for (size_t b = std::max<size_t>(from, s); b < std::min<size_t>(to, s + n); ++b)
        pieces.push_back(space.size() == 1 ? space : Bytes{0x20});
  }
  return pieces;
}

// The byte-mode results for bytes [s, s + n), longest last, one for each
// capacity that keeps fewer pieces: raw bytes in a shifted set, else whole
// characters and blanks (UTF-16 drops the halves of a cut unit).
std::vector<Bytes> byteCutPrefixes(const SampleText& text, uint32_t s, uint32_t n, bool raw,
                                   bool fill) {
  std::vector<uint32_t> widths;
  for (size_t i = 0; i < text.chars.size(); ++i)
    widths.push_back(static_cast<uint32_t>(text.slice(i, 1).size()));
  if (raw || hasFlag(text.set, CSH_SHIFT_SENSITIVE)) widths.assign(text.bytes.size(), 1);
  std::vector<Bytes> out(1);
  for (const Bytes& piece :
       bytePieces(text.set, text.bytes, widths, s, n, fill && !isUtf16(text.set))) {
    out.push_back(out.back());
    out.back().insert(out.back().end(), piece.begin(), piece.end());
  }
  return out;
}

// Every set, every unit semantics, every position, length and capacity. The
// sample holds only characters of the basic plane and no combining marks, so
// all character semantics count alike; the result for a capacity is the
// longest reference prefix that fits.
TEST(Substr, EverySetEveryUnitEveryCapacity) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const SampleText text = sampleText(set, 9);
    if (text.chars.empty()) continue;
    const bool shifted = hasFlag(set, CSH_SHIFT_SENSITIVE);
    const bool pointable = hasFlag(set, CSH_SINGLE_BYTE) || shifted || isUtf16(set);
    for (uint32_t options : {0u, OPT_UCS2_UNITS, OPT_UCS4_UNITS, OPT_COMPLETE_CHARS, OPT_RAW_BYTES,
                             OPT_BYTE_UNITS, OPT_BYTE_UNITS | OPT_NO_BLANK_FILL}) {
      const bool raw = options == OPT_RAW_BYTES, bytes = raw || (options & OPT_BYTE_UNITS);
      const int32_t units = static_cast<int32_t>(bytes ? text.bytes.size() : text.chars.size());
      std::vector<int32_t> lengths = {INT32_MAX};
      for (int32_t length = -1; length <= units + 1; ++length) lengths.push_back(length);
      for (int32_t position = -units - 2; position <= units + 2; ++position) {
        for (int32_t length : lengths) {
          SCOPED_TRACE(trace(set, options, position, length));
          const int64_t start = startOf(position, units);
          std::vector<Bytes> prefixes(1);
          if (start > 0 && length > 0) {
            const uint32_t s = static_cast<uint32_t>(start - 1);
            const uint32_t n = static_cast<uint32_t>(std::min<int64_t>(length, units - s));
            if (bytes)
              prefixes = byteCutPrefixes(text, s, n, raw, !(options & OPT_NO_BLANK_FILL));
            else
              for (uint32_t k = 1; k <= n; ++k) prefixes.push_back(text.slice(s, k));
          }
          const Bytes& full = prefixes.back();
          // Without a destination: a pointer into the source, or nothing when
          // blanks would be needed; a shifted run is pointed at as it stands,
          // so only its bounds are checked.
          const Bytes pointed = substr(set, text.bytes, position, length, options);
          if (bytes) {
            EXPECT_EQ(pointed, raw || pointable ? full : Bytes{});
          } else if (!shifted) {
            EXPECT_EQ(pointed, full);
          }
          for (uint32_t capacity = 0; capacity <= full.size() + 2; ++capacity) {
            size_t k = prefixes.size() - 1;
            while (prefixes[k].size() > capacity) --k;
            ASSERT_EQ(substr(set, text.bytes, position, length, options, capacity), prefixes[k])
                << "capacity " << capacity;
          }
        }
      }
    }
  }
}

const std::string kClef = "\xF0\x9D\x84\x9E";  // U+1D11E

// Supplementary characters and combining marks under code point and complete
// character units, in every set that holds them; UCS-2 units count a
// supplementary character as two and never take half of it.
TEST(Substr, SupplementaryAndCombining) {
  const std::string acute = "\xCC\x81", mixed = "a" + kClef + "e" + acute + "b";
  const uint32_t ucs4 = OPT_UCS4_UNITS, whole = OPT_COMPLETE_CHARS;
  const struct {
    uint32_t options;
    int32_t position, length;
    std::string expected;  // UTF-8
  } cases[] = {{ucs4, 2, 1, kClef},
               {ucs4, 3, 2, "e" + acute},
               {ucs4, 2, 2, kClef + "e"},
               {whole, 2, 1, kClef},
               {whole, 3, 1, "e" + acute},
               {whole, -2, 1, "e" + acute},
               {whole, 4, 1, "b"},
               {whole, 2, 2, kClef + "e" + acute},
               {0, 2, 2, kClef},
               // UTF-16 units from either end: the pair is two units both ways.
               {0, -1, 1, "b"},
               {0, -3, 1, "e"},
               {0, -5, 2, kClef}};
  for (const std::string& set : lxktest::stringCharsets()) {
    const Bytes src = env().held(set, mixed);
    if (src.empty() || hasFlag(set, CSH_SHIFT_SENSITIVE)) continue;
    // Only the Unicode sets know combining marks.
    const bool unicode = lxk::isAnyUtf8(env().definition(set)) || isUtf16(set);
    for (const auto& c : cases) {
      // The set's own units count a supplementary character as two only in UTF-16.
      if ((c.options == whole && !unicode) || (c.options == 0 && !isUtf16(set))) continue;
      const Bytes out = substr(set, src, c.position, c.length, c.options, 64);
      EXPECT_EQ(env().decode(set, out.data(), out.size()), c.expected)
          << trace(set, c.options, c.position, c.length);
    }
    if (!(env().definition(set)->definitionFlags & CSD_SUPPLEMENTARY_MAP) || isUtf16(set)) continue;
    SCOPED_TRACE(set);
    const Bytes clef = env().held(set, kClef), a = env().encode(set, "a");
    const Bytes ca = env().encode(set, kClef + "a");
    // Position 2 is the second unit of the supplementary character: skipped.
    EXPECT_EQ(substr(set, ca, 2, 5, OPT_UCS2_UNITS, 16), a);
    EXPECT_EQ(substr(set, ca, 1, 1, OPT_UCS2_UNITS, 16), Bytes{});
    EXPECT_EQ(substr(set, ca, 1, 2, OPT_UCS2_UNITS, 16), clef);
    EXPECT_EQ(substr(set, ca, 1, 3, OPT_UCS2_UNITS), ca);
    EXPECT_EQ(substr(set, ca, 1, 3, OPT_UCS2_UNITS, clef.size()), clef);
  }
}

// Widths by the lead-byte table, with GB18030's four-byte rule: the walk
// every reference below makes.
struct LeadWalk {
  const uint16_t* table;
  bool gb18030;
  explicit LeadWalk(const std::string& set)
      : table(lxk::leadTableInForce(env().handle(set), env().definition(set))),
        gb18030(hasFlag(set, CSH_GB18030)) {}
  uint32_t width(const Bytes& src, size_t at) const {
    const uint32_t w = (table[src[at]] & 3u) + 1u;
    const bool digitNext = src.size() - at > 1 && src[at + 1] >= 0x30 && src[at + 1] <= 0x39;
    return gb18030 && w > 1 && digitNext ? 4 : w;
  }
};

// The lead-byte path as plainly as it can be written: skip s characters by
// table widths (GB18030 with its four-byte rule), then take whole characters
// that fit the source and the capacity, or the rest for a long length in
// UTF-8.
Bytes leadWalkReference(const std::string& set, const Bytes& src, uint32_t s, int32_t length,
                        uint32_t capacity) {
  const LeadWalk walk(set);
  auto width = [&](size_t at) { return walk.width(src, at); };
  size_t p = 0;
  for (uint32_t i = 0; i < s; ++i) {
    if (p == src.size() || width(p) > src.size() - p) return {};
    p += width(p);
  }
  if (p == src.size()) return {};
  if (static_cast<uint32_t>(length) >= src.size() && lxk::isUtf8(env().definition(set))) {
    const size_t room = std::min<size_t>(src.size() - p, capacity);
    return Bytes(src.data() + p, lxptmutf8(src.data() + p, src.data() + p + room));
  }
  const size_t limit = std::min<size_t>(src.size(), p + capacity);
  size_t q = p;
  for (int32_t i = 0; i < length && q < limit && width(q) <= limit - q; ++i) q += width(q);
  return Bytes(src.begin() + p, src.begin() + q);
}

// Random text: runs of ASCII, characters of every width, and (when broken)
// stray continuation bytes, cut sequences and bytes that never lead.
Bytes randomText(const std::string& set, std::mt19937& rng, size_t characters, bool broken) {
  static const std::vector<std::string> pieces = {
      "abcdefghijklmnop", "x",   "\xC3\xA9",        "\xD0\x96", "\xE4\xB8\xAD", "\xE3\x81\x82",
      "\xE2\x82\xAC",     kClef, "\xF0\x9F\x98\x80"};
  static const std::vector<Bytes> junk = {{0x80}, {0xBF}, {0xC3}, {0xE4, 0xB8}, {0xF0, 0x9D},
                                          {0xC0}, {0xF8}, {0xFF}, {0x81, 0x30}};
  std::vector<Bytes> held;
  for (const std::string& piece : pieces) held.push_back(env().held(set, piece));
  Bytes out;
  for (size_t i = 0; i < characters; ++i) {
    const Bytes& b =
        broken && rng() % 40 == 0 ? junk[rng() % junk.size()] : held[rng() % held.size()];
    out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

// Byte units where the range may cut characters, outside the UTF-8 scan
// from an offset of 3 on: whole characters by a walk from the start, then as
// many pieces as the capacity holds.
Bytes byteCutReference(const std::string& set, const Bytes& src, uint32_t s, uint32_t n, bool fill,
                       uint32_t capacity) {
  const LeadWalk walk(set);
  std::vector<uint32_t> widths;
  for (size_t from = 0; from < src.size(); from += widths.back())
    widths.push_back(walk.width(src, from));
  Bytes out;
  for (const Bytes& piece : bytePieces(set, src, widths, s, n, fill)) {
    if (out.size() + piece.size() > capacity) break;
    out.insert(out.end(), piece.begin(), piece.end());
  }
  return out;
}

// Random text, whole or broken, and random bytes in every set whose cuts
// walk the lead-byte table: the byte cut found by looking back from the
// range's ends, and the characters that bulk stepping passes, are those a
// walk from the start of the text finds.
TEST(Substr, LeadByteCutsMatchWalkFromStart) {
  std::mt19937 rng(11);
  for (const std::string& set : lxktest::stringCharsets()) {
    if (hasFlag(set, CSH_SINGLE_BYTE | CSH_SHIFT_SENSITIVE | CSH_UTF16)) continue;
    const bool utf8 = lxk::isUtf8(env().definition(set));
    for (int round = 0; round < 30; ++round) {
      Bytes src = randomText(set, rng, 300 + rng() % 300, round % 2 == 0);
      if (round % 3 != 0) {
        // Bytes drawn from few values make long runs of lead bytes likely.
        const uint32_t spread = round % 3 == 1 ? 256 : 4;
        const uint8_t base = static_cast<uint8_t>(rng());
        src.resize(4 + rng() % 700);
        for (uint8_t& b : src) b = static_cast<uint8_t>(base + rng() % spread);
      }
      const uint32_t total = static_cast<uint32_t>(src.size());
      for (int trial = 0; trial < 20; ++trial) {
        const uint32_t s = utf8 ? rng() % 3 : rng() % total;
        const uint32_t n = 1 + rng() % (total - s);
        const uint32_t capacity = trial % 2 ? n + 4 : rng() % (n + 4);
        for (uint32_t options : {OPT_BYTE_UNITS, OPT_BYTE_UNITS | OPT_NO_BLANK_FILL}) {
          SCOPED_TRACE(trace(set, options, static_cast<int32_t>(s + 1), static_cast<int32_t>(n)) +
                       " capacity " + std::to_string(capacity));
          ASSERT_EQ(substr(set, src, static_cast<int32_t>(s + 1), static_cast<int32_t>(n), options,
                           capacity),
                    byteCutReference(set, src, s, n, !(options & OPT_NO_BLANK_FILL), capacity));
        }
        const uint32_t chars = rng() % (total + 10);
        const int32_t length = trial % 7 == 0 ? INT32_MAX : static_cast<int32_t>(1 + rng() % total);
        SCOPED_TRACE(trace(set, 0, static_cast<int32_t>(chars + 1), length) + " capacity " +
                     std::to_string(capacity));
        ASSERT_EQ(substr(set, src, static_cast<int32_t>(chars + 1), length, 0, capacity),
                  leadWalkReference(set, src, chars, length, capacity));
        ASSERT_EQ(substr(set, src, static_cast<int32_t>(chars + 1), length, 0),
                  leadWalkReference(set, src, chars, length, UINT32_MAX));
      }
    }
  }
}

TEST(Substr, TruncatedLastCharacterIsNeverSelected) {
  const Bytes src = lxktest::bytes({'a', 'b', 0xE4, 0xB8});
  EXPECT_EQ(substr("AL32UTF8", src, 1, 10, 0, 16), lxktest::bytes("ab"));
  EXPECT_EQ(substr("AL32UTF8", src, 1, 3, 0, 16), lxktest::bytes("ab"));
  EXPECT_EQ(substr("AL32UTF8", src, 3, 1, 0, 16), Bytes{});
  EXPECT_EQ(substr("AL32UTF8", src, 4, 1, 0), Bytes{});
  EXPECT_EQ(substr("AL32UTF8", src, 2, 3, OPT_UCS4_UNITS, 16), lxktest::bytes("b"));
  // Byte mode: the cut character's bytes become blanks.
  EXPECT_EQ(substr("AL32UTF8", src, 2, 3, OPT_BYTE_UNITS, 16), lxktest::bytes("b  "));
}

// A missing or empty source gives an empty result at the destination.
TEST(Substr, MissingOrEmptySourceGivesEmptyResult) {
  const uint8_t abc[] = {'a', 'b', 'c'};
  lxktest::GuardedBuffer guarded(4);
  uint8_t* const out = guarded.tail(4);
  for (const uint8_t* src : {static_cast<const uint8_t*>(nullptr), abc}) {
    uint32_t length = 123, resultWord = 5;
    EXPECT_EQ(lxkSubstr(&length, out, 4, src, src ? 0 : 3, 1, 2, 0, &resultWord,
                        env().handle("AL32UTF8"), env().ctx()),
              out);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(resultWord, 0u);
  }
}

}  // namespace
