// Counting, skipping, copying and whole-character cutting across the
// catalogue, against references computed with ICU from the sample text.
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

// The sample characters a set holds, with ICU's counts of them and the ends
// of the set's characters (none for shift-sensitive sets, whose characters
// are not separable bytes).
struct Sample {
  std::string set, utf8;
  Bytes text;
  uint32_t chars = 0, ucs2 = 0, ucs4 = 0, complete = 0;
  std::vector<uint32_t> ends{0};
  // The end of the longest prefix of whole characters within len bytes.
  uint32_t wholeWithin(uint32_t len) const {
    return *std::prev(std::upper_bound(ends.begin(), ends.end(), len));
  }
};

Sample sampleFor(const std::string& set) {
  Sample s;
  s.set = set;
  const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
  const bool cesu = env().definition(set)->charsetId == CSID_UTF8;
  std::vector<std::string> chars = lxktest::sampleChars();
  chars.insert(chars.end(), {"e", "\u0301", "\u0308", "x", "\u0300"});  // marks after a base
  for (const std::string& one : chars) {
    const Bytes held = env().held(set, one);
    if (held.empty()) continue;
    s.utf8 += one;
    const UChar32 cp = icu::UnicodeString::fromUTF8(one).char32At(0);
    ++s.ucs4;
    s.ucs2 += U16_LENGTH(cp);
    if (!(U_GET_GC_MASK(cp) & U_GC_M_MASK) || s.complete == 0) ++s.complete;
    // UTF8 holds a supplementary character as two three-byte characters.
    const bool pair = cesu && one.size() == 4;
    s.chars += pair ? 2 : 1;
    if (shifted) continue;
    if (pair) s.ends.push_back(s.ends.back() + 3);
    s.ends.push_back(s.ends.back() + (pair ? 3 : static_cast<uint32_t>(held.size())));
  }
  s.text = env().encode(set, s.utf8);
  return s;
}

const std::vector<Sample>& samples() {
  static std::vector<Sample> all;
  if (all.empty())
    for (const std::string& set : lxktest::stringCharsets()) all.push_back(sampleFor(set));
  return all;
}

const struct {
  const char* name;
  uint32_t options;
  uint32_t Sample::*expected;
} kUnits[] = {{"characters", 0, &Sample::chars},
              {"UCS-2", OPT_UCS2_UNITS, &Sample::ucs2},
              {"UCS-4", OPT_UCS4_UNITS, &Sample::ucs4},
              {"complete", OPT_COMPLETE_CHARS, &Sample::complete}};

// The count of the whole text matches ICU's; skipping k units, counting the
// bytes of k units and counting the units of those bytes agree for every k.
// One character alone counts two UTF-16 units when supplementary.
TEST(Counting, EveryUnitMatchesIcuAndSkipAndCountAgree) {
  NlsContext* ctx = env().ctx();
  for (const Sample& s : samples()) {
    const CharsetHandle* h = env().handle(s.set);
    const uint8_t* const text = s.text.data();
    const uint32_t len = s.text.size();
    for (const std::string& one : lxktest::sampleChars()) {
      const Bytes b = env().held(s.set, one);
      if (b.empty()) continue;
      EXPECT_EQ(lxsCntChar(b.data(), b.size(), OPT_STANDARD | OPT_CHAR_UNIT_COUNT, h, ctx),
                one.size() == 4 ? 2u : 1u)
          << s.set << " " << one;
    }
    for (const auto& unit : kUnits) {
      SCOPED_TRACE(s.set + " " + unit.name);
      const uint32_t options = OPT_STANDARD | unit.options;
      const uint32_t total = s.*unit.expected;
      EXPECT_EQ(lxsCntChar(text, len, options, h, ctx), total);
      uint32_t previous = 0;
      for (uint32_t k = 0; k <= total + 1; ++k) {
        const uint32_t bytes = lxsCntByte(text, len, k, options, h, ctx);
        EXPECT_GE(bytes, previous);
        previous = bytes;
        CharCursor c;
        ctx->status = 0;
        const uint32_t lead = lxmopen(text, len, &c, h, ctx, 0);
        EXPECT_EQ(lxoCntChar(&c, len - lead, options, ctx), total);
        EXPECT_EQ(lxoCntByte(&c, len, k, options, ctx) + lead, bytes) << k;
        EXPECT_EQ(lxoSkip(&c, k, options, ctx) + lead, bytes) << k;
        EXPECT_EQ(ctx->status, 0);
        EXPECT_EQ(c.current, text + bytes);
        const uint32_t counted = lxsCntChar(text, bytes, options, h, ctx);
        if (unit.options == OPT_UCS2_UNITS)
          EXPECT_TRUE(counted == k || counted + 1 == k || k > total) << k;  // not half a pair
        else
          EXPECT_EQ(counted, k > total ? total : k) << k;
      }
    }
  }
}

// Truncated and malformed text: the count (unchecked with UCS-4 units),
// lastByteCount (checked with UCS-2 units) and whether a skip past the end
// fails with invalid data, staying where it was.
TEST(Counting, TruncatedAndMalformedInput) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t options, count, bytesCounted;
    bool skipAllFails;
  } cases[] = {
      {"AL32UTF8", bytes({'a', 0xC3}), OPT_UCS2_UNITS, 1, 1, true},
      {"AL32UTF8", bytes({'a', 0xF0, 0x9F, 0x98}), 0, 1, 0, true},
      {"AL32UTF8", bytes({'a', 0xE2, 0x82, 0xAC}), OPT_UCS2_UNITS, 2, 4, false},
      {"AL32UTF8", bytes({0xC3, 0x41, 'b'}), OPT_UCS4_UNITS, 0, 0, true},
      {"GB18030", bytes({'a', 0x81, 0x30}), OPT_UCS2_UNITS, 1, 1, true},
      {"GB18030", bytes({'a', 0x81}), 0, 1, 0, true},
      {"AL16UTF16", bytes({0, 'a', 0xD8, 0x3D, 0xDE}), OPT_UCS2_UNITS, 1, 2, true},
      {"IBM-930", bytes({0xC1, 0x0E, 0x45, 0x41, 0x45}), OPT_UCS2_UNITS, 2, 4, true},
  };
  NlsContext* ctx = env().ctx();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.set);
    const CharsetHandle* h = env().handle(c.set);
    const uint32_t options = OPT_STANDARD | c.options;
    ctx->lastByteCount = 999;
    const uint32_t count = lxsCntChar(c.text.data(), c.text.size(), options, h, ctx);
    if (c.options != OPT_UCS4_UNITS) {
      EXPECT_EQ(count, c.count);
    }
    if (c.options == OPT_UCS2_UNITS) {
      EXPECT_EQ(ctx->lastByteCount, c.bytesCounted);
    }
    CharCursor cur;
    lxmopen(c.text.data(), c.text.size(), &cur, h, ctx, 0);
    const uint8_t* before = cur.current;
    ctx->status = 0;
    EXPECT_EQ(lxoSkip(&cur, 100, options, ctx), c.skipAllFails ? 0u : c.text.size());
    EXPECT_EQ(ctx->status, c.skipAllFails ? NLS_STATUS_INVALID_DATA : 0);
    EXPECT_EQ(cur.current, before + (c.skipAllFails ? 0 : c.text.size()));
  }
}

// A shift-sensitive copy ends outside a run and never shifts in only to
// shift out again.
bool closedAndMerged(const Bytes& text, const CharsetHandle* h) {
  bool shifted = false;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == h->shiftInByte && i + 1 < text.size() && text[i + 1] == h->shiftOutByte)
      return false;
    if (text[i] == h->shiftOutByte || text[i] == h->shiftInByte)
      shifted = text[i++] == h->shiftOutByte;
    else
      i += shifted ? h->maxCharWidth : 1;
  }
  return !shifted;
}

const char* const kCopies[] = {"lxsCpStr", "lxoCpChar", "lxoCpStr", "lxoCpToOp"};

// Every copy at every capacity writes nothing past it and gives a prefix of
// the sample by whole code points, closed and with merged runs; in separable
// sets the longest one; all of it once it fits.  The cursor copies leave the
// source after what they copied.  lxoCpToOp copies two halves as CONCAT does:
// the second only when all of the first fits, and a run that fills the
// capacity loses its last character to the closing byte.  (Where lxptmult
// cuts: the random-byte walk below; lxptmutf8: test_frame's comparison.)
TEST(Copying, EveryCopyCutsAtWholeCharactersAtEveryCapacity) {
  NlsContext* ctx = env().ctx();
  for (const Sample& s : samples()) {
    const CharsetHandle* h = env().handle(s.set);
    const bool shifting = h->flags & CSH_SHIFT_SENSITIVE;
    const lxktest::GuardedBuffer source(s.text.data(), s.text.size());  // reading past faults
    const uint8_t* const p = source.data();
    const uint32_t len = s.text.size();
    size_t half = s.utf8.size() / 2;
    while ((static_cast<uint8_t>(s.utf8[half]) & 0xC0) == 0x80) ++half;
    const Bytes first = env().encode(s.set, s.utf8.substr(0, half));
    const Bytes second = env().encode(s.set, s.utf8.substr(half));
    uint32_t previous[4] = {}, fills = 0;
    lxktest::GuardedBuffer buffer(len + 2);
    for (uint32_t cap = 0; cap <= len + 2; ++cap) {
      for (int copy = 0; copy < 4; ++copy) {
        SCOPED_TRACE(s.set + " " + kCopies[copy] + " capacity " + std::to_string(cap));
        uint8_t* const dest = buffer.tail(cap);  // writing past the capacity faults
        CharCursor r, w;
        const uint32_t lead = lxmopen(p, len, &r, h, ctx, 0);
        uint32_t n = lxmopen(dest, cap, &w, h, ctx, 1);
        if (copy == 0) {
          n = lxsCpStr(dest, cap, p, len, OPT_STANDARD, h, ctx);
        } else if (copy == 1) {
          while (uint32_t k = lxoCpChar(&w, ~0u, &r, ~0u, OPT_CURSOR_COPY, ctx)) n += k;
        } else if (copy == 2) {
          n += lxoCpStr(&w, cap, &r, len - lead, OPT_STANDARD, ctx);
        } else {
          n += lxoCpToOp(&w, cap - n, first.data(), first.size(), OPT_STANDARD, ctx);
          if (cap >= first.size())
            n += lxoCpToOp(&w, cap - n, second.data(), second.size(), OPT_STANDARD, ctx);
          if (w.shiftState && n == cap) {
            ++fills;
            ASSERT_GE(n, h->maxCharWidth + 1u);
            n -= h->maxCharWidth;
            w.current -= h->maxCharWidth;
          }
        }
        if (w.shiftState) *w.current++ = h->shiftInByte, ++n;  // as callers close a run
        EXPECT_LE(n, cap);
        const Bytes out(dest, dest + std::min(n, cap));
        std::string decoded = env().decode(s.set, out.data(), out.size());
        if (copy == 1 || copy == 2) {
          EXPECT_EQ(decoded, env().decode(s.set, p, r.current - p)) << "source left elsewhere";
        }
        // UTF8 may stop between the two three-byte halves of a pair: each half
        // is a character of the set, and the lone half decodes as U+FFFD.
        if (s.set == "UTF8" && decoded.ends_with("\xEF\xBF\xBD"))
          decoded.resize(decoded.size() - 3);
        EXPECT_EQ(decoded, s.utf8.substr(0, decoded.size()));
        if (cap >= len) {
          EXPECT_EQ(out, s.text);
        }
        EXPECT_GE(n, previous[copy]);
        previous[copy] = n;
        if (shifting)
          EXPECT_TRUE(closedAndMerged(out, h));
        else
          EXPECT_EQ(n, s.wholeWithin(cap));
      }
    }
    EXPECT_EQ(fills > 0, shifting) << s.set << ": lxoCpToOp never filled the capacity in a run";
  }
}

// The walk lxptmult must agree with, written plainly: from the start by
// structural width (lead-byte table, four-byte rule, shifted runs), stopping
// before a character that runs past the end; shift bytes are complete, except
// a shift-out byte that no complete character follows.
uint32_t forwardWholeChars(const CharsetHandle* h, const uint16_t* table, const Bytes& text) {
  const uint32_t n = text.size();
  if (h->flags & CSH_SINGLE_BYTE) return n;
  const bool shifting = h->flags & CSH_SHIFT_SENSITIVE;
  const bool fourByteRule = (h->flags & CSH_GB18030) && !(h->flags & CSH_LEAD_BYTE_WIDTH);
  bool shifted = false;
  uint32_t at = 0, whole = 0;
  while (at < n) {
    const uint8_t b = text[at];
    if (shifting && (b == h->shiftOutByte || b == h->shiftInByte)) {
      shifted = b == h->shiftOutByte;
      ++at;
      if (!shifted) whole = at;
      continue;
    }
    uint32_t w = shifting ? (shifted ? h->maxCharWidth : 1u) : (table[b] & 3u) + 1u;
    if (fourByteRule && w > 1 && at + 1 < n && text[at + 1] >= 0x30 && text[at + 1] <= 0x39) w = 4;
    if (w > n - at) break;
    whole = at += w;
  }
  return whole;
}

// Random bytes, malformed as often as not, built from the set's bytes grouped
// by table width, the digits of the four-byte rule and the shift bytes: single
// picks, runs from one group (long chains of leads) and short patterns
// repeated (chains of three- and four-byte characters).
Bytes randomText(std::mt19937& rng, const std::vector<Bytes>& groups, uint32_t length) {
  const auto from = [&](const Bytes& group) { return group[rng() % group.size()]; };
  const auto any = [&] { return from(groups[rng() % groups.size()]); };
  Bytes text;
  while (text.size() < length) {
    const uint32_t kind = rng() % 3;
    if (kind == 0) {
      text.push_back(any());
    } else if (kind == 1) {
      const Bytes& group = groups[rng() % groups.size()];
      for (uint32_t k = rng() % 48; k > 0; --k) text.push_back(from(group));
    } else {
      Bytes pattern(1 + rng() % 4);
      for (uint8_t& b : pattern) b = any();
      for (uint32_t k = rng() % 16; k > 0; --k)
        text.insert(text.end(), pattern.begin(), pattern.end());
    }
  }
  text.resize(length);
  return text;
}

// Every prefix of random text, ending at a guard page so that a read past it
// faults, trims where the plain walk stops.
TEST(Trimming, AgreesWithTheForwardWalkOnRandomBytesInEverySet) {
  std::mt19937 rng(20240611);
  lxktest::GuardedBuffer guarded(256);
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const auto* table = reinterpret_cast<const uint16_t*>(
        reinterpret_cast<const uint8_t*>(env().definition(set)) + h->tableOffset);
    std::vector<Bytes> groups(4);
    for (uint32_t b = 0; b < 256; ++b) groups[table[b] & 3u].push_back(static_cast<uint8_t>(b));
    groups.push_back(bytes({0x30, 0x35, 0x39}));
    if (h->flags & CSH_SHIFT_SENSITIVE) groups.push_back({h->shiftOutByte, h->shiftInByte});
    std::erase_if(groups, [](const Bytes& g) { return g.empty(); });
    const uint32_t texts = (h->flags & CSH_SINGLE_BYTE) ? 4 : 150;
    for (uint32_t t = 0; t < texts; ++t) {
      const Bytes text = randomText(rng, groups, rng() % 200);
      for (uint32_t len = 1; len <= text.size(); ++len) {
        const Bytes prefix(text.begin(), text.begin() + len);
        const uint8_t* p = guarded.assign(prefix.data(), len);
        ASSERT_EQ(lxptmult(p, len, h, env().ctx()) - p, forwardWholeChars(h, table, prefix))
            << ::testing::PrintToString(prefix);
      }
    }
  }
}

}  // namespace
