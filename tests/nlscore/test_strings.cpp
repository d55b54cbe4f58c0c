// Counting, skipping, copying and whole-character cutting across the
// catalogue, against references computed with ICU from the sample text.
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

// Letters of several scripts, a supplementary pair, the invariant characters
// and combining marks after a base; each set keeps the ones it can hold.
const char* const kSample[] = {"A",      "\u00E9", "\u20AC", " ",          "\uD55C",     "\u4E2D",
                               "\u3042", "%",      "_",      "\u3000",     "e",          "\u0301",
                               "\u0308", "\uFF76", "x",      "\U0001F600", "\U00020000", "\u4E02",
                               "z",      "\u0300", "\u05E0", "\u0416"};

// The sample as one set holds it, with ICU's counts and the boundaries of the
// set's characters (not kept for shift-sensitive sets, whose characters are
// not separable bytes).
struct Sample {
  std::string set;
  std::string utf8;
  Bytes text;
  uint32_t ucs2 = 0, ucs4 = 0, complete = 0, chars = 0;
  std::vector<uint32_t> boundaries;  // offsets after each character, from 0
  const CharsetHandle* handle() const { return env().handle(set); }
  // The end of the longest prefix of whole characters within len bytes.
  uint32_t wholeWithin(uint32_t len) const {
    uint32_t best = 0;
    for (uint32_t b : boundaries)
      if (b <= len) best = b;
    return best;
  }
};

Sample sampleFor(const std::string& set) {
  Sample s;
  s.set = set;
  const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
  const bool cesu = env().definition(set)->charsetId == CSID_UTF8;
  s.boundaries.push_back(0);
  for (const std::string one : kSample) {
    const Bytes encoded = env().encode(set, one);
    if (encoded.empty() || env().decode(set, encoded.data(), encoded.size()) != one) continue;
    s.utf8 += one;
    // UTF8 holds a supplementary character as two three-byte characters.
    const bool pair = !shifted && cesu && one.size() == 4;
    s.chars += pair ? 2 : 1;
    if (shifted) continue;
    const uint32_t base = s.boundaries.back();
    if (pair) s.boundaries.push_back(base + 3);
    s.boundaries.push_back(base + static_cast<uint32_t>(encoded.size()));
  }
  s.text = env().encode(set, s.utf8);

  // ICU's view: UTF-16 length, code points, and bases with their marks.
  for (int32_t i = 0; i < static_cast<int32_t>(s.utf8.size());) {
    UChar32 cp;
    U8_NEXT(s.utf8.data(), i, static_cast<int32_t>(s.utf8.size()), cp);
    ++s.ucs4;
    s.ucs2 += U16_LENGTH(cp);
    if (!(U_GET_GC_MASK(cp) & U_GC_M_MASK) || s.complete == 0) ++s.complete;
  }
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
TEST(Counting, EveryUnitMatchesIcuAndSkipAndCountAgree) {
  for (const Sample& s : samples()) {
    for (const auto& unit : kUnits) {
      SCOPED_TRACE(s.set + " " + unit.name);
      const uint32_t options = OPT_STANDARD | unit.options;
      const uint32_t total = s.*unit.expected;
      EXPECT_EQ(lxsCntChar(s.text.data(), s.text.size(), options, s.handle(), env().ctx()), total);
      CharCursor c0;
      const uint32_t lead0 = lxmopen(s.text.data(), s.text.size(), &c0, s.handle(), env().ctx(), 0);
      EXPECT_EQ(lxoCntChar(&c0, s.text.size() - lead0, options, env().ctx()), total);
      uint32_t previous = 0;
      for (uint32_t k = 0; k <= total + 1; ++k) {
        const uint32_t bytes =
            lxsCntByte(s.text.data(), s.text.size(), k, options, s.handle(), env().ctx());
        EXPECT_GE(bytes, previous);
        previous = bytes;
        CharCursor c;
        env().ctx()->status = 0;
        const uint32_t lead = lxmopen(s.text.data(), s.text.size(), &c, s.handle(), env().ctx(), 0);
        EXPECT_EQ(lxoCntByte(&c, s.text.size(), k, options, env().ctx()) + lead, bytes) << k;
        EXPECT_EQ(lxoSkip(&c, k, options, env().ctx()) + lead, bytes) << k;
        EXPECT_EQ(env().ctx()->status, 0);
        EXPECT_EQ(c.current, s.text.data() + bytes);
        const uint32_t counted = lxsCntChar(s.text.data(), bytes, options, s.handle(), env().ctx());
        if (unit.options == OPT_UCS2_UNITS)
          EXPECT_TRUE(counted == k || counted + 1 == k || k > total) << k;  // not half a pair
        else
          EXPECT_EQ(counted, k > total ? total : k) << k;
      }
    }
  }
}

TEST(Counting, CharUnitCountOfOneCharacter) {
  const struct {
    const char *set, *utf8;
    uint32_t units;
  } cases[] = {{"AL32UTF8", "A", 1},           {"AL32UTF8", "\U0001F600", 2},
               {"UTF8", "\U00020000", 2},      {"AL16UTF16", "\u00E9", 1},
               {"AL16UTF16", "\U0001F600", 2}, {"GB18030", "\U0001F600", 2},
               {"GB18030", "\u4E2D", 1},       {"ISO-8859-1", "\u00E9", 1}};
  for (const auto& c : cases) {
    const Bytes b = env().encode(c.set, c.utf8);
    EXPECT_EQ(lxsCntChar(b.data(), b.size(), OPT_STANDARD | OPT_CHAR_UNIT_COUNT,
                         env().handle(c.set), env().ctx()),
              c.units)
        << c.set << " " << c.utf8;
  }
}

// Truncated and malformed text: what is counted, what lastByteCount says,
// and where a skip reports invalid data.
TEST(Counting, TruncatedAndMalformedInput) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t options;
    uint32_t count;         // lxsCntChar
    uint32_t bytesCounted;  // lastByteCount with OPT_UCS2_UNITS, else unchecked
    bool skipAllFails;      // lxoSkip over count + 1 units reports status 14
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
  for (const auto& c : cases) {
    SCOPED_TRACE(c.set);
    const CharsetHandle* h = env().handle(c.set);
    env().ctx()->lastByteCount = 999;
    const uint32_t count =
        lxsCntChar(c.text.data(), c.text.size(), OPT_STANDARD | c.options, h, env().ctx());
    if (c.options != OPT_UCS4_UNITS) {
      EXPECT_EQ(count, c.count);
    }
    if (c.options == OPT_UCS2_UNITS) {
      EXPECT_EQ(env().ctx()->lastByteCount, c.bytesCounted);
    }
    CharCursor cur;
    lxmopen(c.text.data(), c.text.size(), &cur, h, env().ctx(), 0);
    uint8_t* before = cur.current;
    env().ctx()->status = 0;
    const uint32_t skipped = lxoSkip(&cur, 100, OPT_STANDARD | c.options, env().ctx());
    EXPECT_EQ(skipped, c.skipAllFails ? 0u : c.text.size());
    EXPECT_EQ(env().ctx()->status, c.skipAllFails ? NLS_STATUS_INVALID_DATA : 0);
    if (c.skipAllFails) {
      EXPECT_EQ(cur.current, before);
    }
  }
}

// Shift state at the end of a text: walks it with a read cursor.
bool endsInRun(const Bytes& text, const CharsetHandle* h) {
  CharCursor c;
  lxmopen(text.data(), text.size(), &c, h, env().ctx(), 0);
  while (lxmfwdx(&c, env().ctx()) != 0) {
  }
  return c.shiftState != 0;
}

bool hasShiftInThenOut(const Bytes& text, const CharsetHandle* h) {
  if (!(h->flags & CSH_SHIFT_SENSITIVE)) return false;
  for (size_t i = 1; i < text.size(); ++i)
    if (text[i - 1] == h->shiftInByte && text[i] == h->shiftOutByte) return true;
  return false;
}

constexpr uint8_t kGuard = 0xA5;

// What a copy of n bytes at a capacity must be: nothing written past the
// capacity, a prefix of the sample by whole code points, all of it if it fits.
Bytes checkedCopy(const Sample& s, const Bytes& buffer, uint32_t cap, uint32_t n) {
  EXPECT_LE(n, cap);
  EXPECT_TRUE(std::all_of(buffer.begin() + cap, buffer.end(), [](uint8_t b) {
    return b == kGuard;
  })) << "wrote past the capacity";
  const Bytes out(buffer.begin(), buffer.begin() + std::min(n, cap));
  std::string decoded = env().decode(s.set, out.data(), out.size());
  // UTF8 may stop between the two three-byte halves of a pair: each half is
  // a character of the set, and the lone half decodes as U+FFFD.
  if (s.set == "UTF8" && decoded.size() >= 3 &&
      decoded.compare(decoded.size() - 3, 3, "\xEF\xBF\xBD") == 0)
    decoded.resize(decoded.size() - 3);
  EXPECT_EQ(decoded, s.utf8.substr(0, decoded.size()));
  if (cap >= s.text.size()) {
    EXPECT_EQ(out, s.text);
  }
  return out;
}

// Closes an open shifted run as the callers of the cursor copies do.
uint32_t closeRun(CharCursor& w, const CharsetHandle* h) {
  if (w.shiftState) *w.current++ = h->shiftInByte;
  return w.shiftState ? 1 : 0;
}

// lxsCpStr, and lxptmult (every set) and lxptmutf8 (the UTF-8 forms) where
// characters are separable, at every length.
TEST(Copying, BufferCopyAndTrimmingCutAtWholeCharactersAtEveryCapacity) {
  for (const Sample& s : samples()) {
    const CharsetHandle* h = s.handle();
    const int16_t id = env().definition(s.set)->charsetId;
    const bool utf8 = id == CSID_AL32UTF8 || id == CSID_UTF8;
    const uint32_t len = s.text.size();
    uint32_t previous = 0;
    for (uint32_t cap = 0; cap <= len + 2; ++cap) {
      SCOPED_TRACE(s.set + " capacity " + std::to_string(cap));
      Bytes buffer(cap + 8, kGuard);
      const uint32_t n =
          lxsCpStr(buffer.data(), cap, s.text.data(), len, OPT_STANDARD, h, env().ctx());
      const Bytes out = checkedCopy(s, buffer, cap, n);
      EXPECT_GE(n, previous);
      previous = n;
      if (h->flags & CSH_SHIFT_SENSITIVE) {
        EXPECT_FALSE(endsInRun(out, h));
      } else {
        EXPECT_EQ(n, s.wholeWithin(cap));
        const uint8_t* p = s.text.data();
        const uint32_t trimmed = std::min(cap, len);
        EXPECT_EQ(lxptmult(p, trimmed, h, env().ctx()) - p, s.wholeWithin(trimmed));
        if (utf8) {
          EXPECT_EQ(lxptmutf8(p, p + trimmed) - p, s.wholeWithin(trimmed));
        }
      }
    }
  }
}

// From a read cursor, character by character and as a string, the copy is
// the text. Copies of plain buffers: two parts merge into the encoding of the
// whole; at every capacity the result, closed as CONCAT closes it, is whole.
TEST(Copying, CursorCopiesReproduceTheTextAndMergeShiftStates) {
  for (const Sample& s : samples()) {
    const CharsetHandle* h = s.handle();
    for (bool byChar : {true, false}) {
      SCOPED_TRACE(s.set + (byChar ? " lxoCpChar" : " lxoCpStr"));
      Bytes buffer(s.text.size() + 8, kGuard);
      CharCursor r, w;
      const uint32_t lead = lxmopen(s.text.data(), s.text.size(), &r, h, env().ctx(), 0);
      uint32_t n = lxmopen(buffer.data(), s.text.size(), &w, h, env().ctx(), 1);
      if (byChar) {
        while (uint32_t k =
                   lxoCpChar(&w, 0xFFFFFFFFu, &r, 0xFFFFFFFFu, OPT_CURSOR_COPY, env().ctx()))
          n += k;
      } else {
        n += lxoCpStr(&w, s.text.size(), &r, s.text.size() - lead, OPT_STANDARD, env().ctx());
      }
      checkedCopy(s, buffer, s.text.size(), n + closeRun(w, h));
      EXPECT_EQ(r.current, s.text.data() + s.text.size());
    }
    size_t cut = s.utf8.size() / 2;
    while (cut < s.utf8.size() && (static_cast<uint8_t>(s.utf8[cut]) & 0xC0) == 0x80) ++cut;
    const Bytes first = env().encode(s.set, s.utf8.substr(0, cut));
    const Bytes second = env().encode(s.set, s.utf8.substr(cut));
    Bytes scratch(first.size() + 8);
    CharCursor whole;
    lxmopen(scratch.data(), scratch.size(), &whole, h, env().ctx(), 1);
    const uint32_t firstWhole =
        lxoCpToOp(&whole, scratch.size(), first.data(), first.size(), OPT_STANDARD, env().ctx());
    for (uint32_t cap = 0; cap <= s.text.size() + 2; ++cap) {
      SCOPED_TRACE(s.set + " capacity " + std::to_string(cap));
      Bytes buffer(cap + 8, kGuard);
      CharCursor w;
      uint32_t n = lxmopen(buffer.data(), cap, &w, h, env().ctx(), 1);
      const uint32_t firstPart =
          lxoCpToOp(&w, cap - n, first.data(), first.size(), OPT_STANDARD, env().ctx());
      n += firstPart;
      // As CONCAT does: the second part follows only a complete first part.
      if (firstPart == firstWhole)
        n += lxoCpToOp(&w, cap - n, second.data(), second.size(), OPT_STANDARD, env().ctx());
      if (w.shiftState && n == cap) {
        // The copy fills the capacity; the caller makes room to close.
        ASSERT_GE(n, h->maxCharWidth + 1u);
        n -= h->maxCharWidth;
        w.current -= h->maxCharWidth;
      }
      n += closeRun(w, h);
      EXPECT_FALSE(hasShiftInThenOut(checkedCopy(s, buffer, cap, n), h));
    }
  }
}

// Exact fits in a shift-sensitive set: lxoCpToOp fills the capacity and
// leaves closing to its caller; the others keep one byte to close the run.
TEST(Copying, ShiftedRunAtTheCapacity) {
  const CharsetHandle* h = env().handle("IBM-930");
  const Bytes text = bytes({0x0E, 0x45, 0x41, 0x45, 0x42, 0x0F});
  Bytes out(8, kGuard);
  CharCursor w, r;
  lxmopen(out.data(), 5, &w, h, env().ctx(), 1);
  EXPECT_EQ(lxoCpToOp(&w, 5, text.data(), text.size(), OPT_STANDARD, env().ctx()), 5u);
  EXPECT_EQ(w.shiftState, 1);

  lxmopen(out.data(), 5, &w, h, env().ctx(), 1);
  const uint32_t lead = lxmopen(text.data(), text.size(), &r, h, env().ctx(), 0);
  EXPECT_EQ(lxoCpStr(&w, 5, &r, text.size() - lead, OPT_STANDARD, env().ctx()), 3u);
  EXPECT_EQ(r.current, text.data() + 3);  // the source stops at the character left out

  EXPECT_EQ(lxsCpStr(out.data(), 5, text.data(), text.size(), OPT_STANDARD, h, env().ctx()), 4u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 5), bytes({0x0E, 0x45, 0x41, 0x0F, 0x42}));
}

TEST(Trimming, ShiftSensitiveAndMalformedEnds) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t whole;  // bytes of whole characters
  } cases[] = {
      {"IBM-930", bytes({0xC1, 0x0E, 0x45, 0x41, 0x45}), 4},
      {"IBM-930", bytes({0xC1, 0x0E}), 1},
      {"IBM-930", bytes({0xC1, 0x0E, 0x45, 0x41, 0x0F}), 5},
      {"GB18030", bytes({'a', 0x81, 0x30, 0x81}), 1},
      {"GB18030", bytes({'a', 0x81, 0x30, 0x81, 0x30}), 5},
      {"GB18030", bytes({0x81, 0x30, 0x81, 0x30, 0x81, 0x30}), 4},
      {"SHIFT_JIS", bytes({'a', 0x82, 0xA0, 0x82}), 3},  // leads pair up after 'a'
      {"SHIFT_JIS", bytes({0x82, 0x82, 0x82, 0x82}), 4},
      {"EUC-JP", bytes({0x8F, 0xA1, 0x41, 0xA1}), 3},  // 0x41 ends a three-byte character
      {"EUC-JP", bytes({0x8F, 0x41, 0xA1}), 3},        // 0x41 is inside one
      {"AL32UTF8", bytes({'a', 0x80, 0x80}), 3},       // stray continuation bytes
      {"AL32UTF8", bytes({'a', 0xF0, 0x9F, 0x98}), 1},
      {"AL32UTF8", bytes({'a', 0xC3, 'b'}), 3},  // a lead byte cut short is malformed
  };
  for (const auto& c : cases) {
    const uint8_t* p = c.text.data();
    const uint8_t* end = (c.set == std::string("AL32UTF8"))
                             ? lxptmutf8(p, p + c.text.size())
                             : lxptmult(p, c.text.size(), env().handle(c.set), env().ctx());
    EXPECT_EQ(end - p, c.whole) << c.set;
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
    switch (rng() % 3) {
      case 0:
        text.push_back(any());
        break;
      case 1: {
        const Bytes& group = groups[rng() % groups.size()];
        for (uint32_t k = rng() % 48; k > 0; --k) text.push_back(from(group));
        break;
      }
      default: {
        Bytes pattern(1 + rng() % 4);
        for (uint8_t& b : pattern) b = any();
        for (uint32_t k = rng() % 16; k > 0; --k)
          text.insert(text.end(), pattern.begin(), pattern.end());
      }
    }
  }
  text.resize(length);
  return text;
}

// Every prefix of random text, in a buffer of exactly its size so that a read
// outside it shows under the sanitizer, trims where the plain walk stops.
TEST(Trimming, AgreesWithTheForwardWalkOnRandomBytesInEverySet) {
  std::mt19937 rng(20240611);
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
        const uint8_t* p = prefix.data();
        ASSERT_EQ(lxptmult(p, len, h, env().ctx()) - p, forwardWholeChars(h, table, prefix))
            << ::testing::PrintToString(prefix);
      }
    }
  }
}

}  // namespace
