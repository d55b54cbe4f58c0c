// Counting, skipping, copying and whole-character cutting across the
// catalogue, against references computed with ICU from the sample text.
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

// Letters of several scripts, a supplementary pair, the invariant characters
// and combining marks after a base; each set keeps the ones it can hold.
const std::vector<uint32_t> kSampleCodePoints = {
    0x41,  0xE9,  0x20AC, 0x20, 0xD55C,  0x4E2D,  0x3042, 0x25, 0x5F,  0x3000, 0x65,
    0x301, 0x308, 0xFF76, 0x78, 0x1F600, 0x20000, 0x4E02, 0x7A, 0x300, 0x5E0,  0x416};

std::string utf8Of(uint32_t cp) {
  char buf[4];
  int32_t n = 0;
  U8_APPEND_UNSAFE(buf, n, static_cast<UChar32>(cp));
  return std::string(buf, static_cast<size_t>(n));
}

bool isMark(uint32_t cp) { return (U_GET_GC_MASK(static_cast<UChar32>(cp)) & U_GC_M_MASK) != 0; }

// The sample as one set holds it, with ICU's counts and the boundaries of the
// set's characters (not kept for shift-sensitive sets, whose characters are
// not separable bytes).
struct Sample {
  std::string set;
  std::string utf8;
  Bytes text;
  uint32_t ucs2 = 0, ucs4 = 0, complete = 0, chars = 0;
  std::vector<uint32_t> boundaries;  // offsets after each character, from 0
};

Sample sampleFor(const std::string& set) {
  Sample s;
  s.set = set;
  const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
  const bool cesu = env().definition(set)->charsetId == CSID_UTF8;
  s.boundaries.push_back(0);
  for (uint32_t cp : kSampleCodePoints) {
    const std::string one = utf8Of(cp);
    const Bytes encoded = env().encode(set, one);
    if (encoded.empty() || env().decode(set, encoded.data(), encoded.size()) != one) continue;
    s.utf8 += one;
    if (!shifted) {
      const uint32_t base = s.boundaries.back();
      if (cesu && cp > 0xFFFF) s.boundaries.push_back(base + 3);
      s.boundaries.push_back(base + static_cast<uint32_t>(encoded.size()));
      s.chars += (cesu && cp > 0xFFFF) ? 2 : 1;
    } else {
      s.chars += 1;
    }
  }
  s.text = env().encode(set, s.utf8);

  // ICU's view: UTF-16 length, code points, and bases with their marks.
  UErrorCode status = U_ZERO_ERROR;
  int32_t units = 0;
  u_strFromUTF8(nullptr, 0, &units, s.utf8.data(), static_cast<int32_t>(s.utf8.size()), &status);
  s.ucs2 = static_cast<uint32_t>(units);
  for (int32_t i = 0; i < static_cast<int32_t>(s.utf8.size());) {
    UChar32 cp;
    U8_NEXT(s.utf8.data(), i, static_cast<int32_t>(s.utf8.size()), cp);
    ++s.ucs4;
    if (!isMark(static_cast<uint32_t>(cp)) || s.complete == 0) ++s.complete;
  }
  return s;
}

const std::vector<Sample>& samples() {
  static const std::vector<Sample> all = [] {
    std::vector<Sample> out;
    for (const std::string& set : lxktest::stringCharsets()) out.push_back(sampleFor(set));
    return out;
  }();
  return all;
}

const CharsetHandle* handleOf(const Sample& s) { return env().handle(s.set); }

struct UnitCase {
  const char* name;
  uint32_t options;
  uint32_t Sample::*expected;
};

const UnitCase kUnits[] = {{"characters", 0, &Sample::chars},
                           {"UCS-2", OPT_UCS2_UNITS, &Sample::ucs2},
                           {"UCS-4", OPT_UCS4_UNITS, &Sample::ucs4},
                           {"complete", OPT_COMPLETE_CHARS, &Sample::complete}};

TEST(Counting, EveryUnitMatchesIcuInEverySet) {
  for (const Sample& s : samples()) {
    for (const UnitCase& unit : kUnits) {
      SCOPED_TRACE(s.set + " " + unit.name);
      EXPECT_EQ(lxsCntChar(s.text.data(), s.text.size(), OPT_STANDARD | unit.options, handleOf(s),
                           env().ctx()),
                s.*unit.expected);
      CharCursor c;
      const uint32_t lead = lxmopen(s.text.data(), s.text.size(), &c, handleOf(s), env().ctx(), 0);
      EXPECT_EQ(lxoCntChar(&c, s.text.size() - lead, OPT_STANDARD | unit.options, env().ctx()),
                s.*unit.expected);
    }
  }
}

// Skipping k units, counting the bytes of k units and counting the units of
// those bytes agree, for every k, in every unit.
TEST(Counting, SkipAndCountAgree) {
  for (const Sample& s : samples()) {
    for (const UnitCase& unit : kUnits) {
      SCOPED_TRACE(s.set + " " + unit.name);
      const uint32_t options = OPT_STANDARD | unit.options;
      const uint32_t total = s.*unit.expected;
      uint32_t previous = 0;
      for (uint32_t k = 0; k <= total + 1; ++k) {
        const uint32_t bytes =
            lxsCntByte(s.text.data(), s.text.size(), k, options, handleOf(s), env().ctx());
        EXPECT_GE(bytes, previous);
        previous = bytes;
        CharCursor c;
        env().ctx()->status = 0;
        const uint32_t lead =
            lxmopen(s.text.data(), s.text.size(), &c, handleOf(s), env().ctx(), 0);
        EXPECT_EQ(lxoCntByte(&c, s.text.size(), k, options, env().ctx()) + lead, bytes) << k;
        EXPECT_EQ(lxoSkip(&c, k, options, env().ctx()) + lead, bytes) << k;
        EXPECT_EQ(env().ctx()->status, 0);
        EXPECT_EQ(c.current, s.text.data() + bytes);
        const uint32_t counted =
            lxsCntChar(s.text.data(), bytes, options, handleOf(s), env().ctx());
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
    const char* set;
    uint32_t cp;
    uint32_t units;
  } cases[] = {{"AL32UTF8", 0x41, 1},  {"AL32UTF8", 0x1F600, 2},  {"UTF8", 0x20000, 2},
               {"AL16UTF16", 0xE9, 1}, {"AL16UTF16", 0x1F600, 2}, {"GB18030", 0x1F600, 2},
               {"GB18030", 0x4E2D, 1}, {"ISO-8859-1", 0xE9, 1}};
  for (const auto& c : cases) {
    const Bytes b = env().encode(c.set, utf8Of(c.cp));
    EXPECT_EQ(lxsCntChar(b.data(), b.size(), OPT_STANDARD | OPT_CHAR_UNIT_COUNT,
                         env().handle(c.set), env().ctx()),
              c.units)
        << c.set << " U+" << std::hex << c.cp;
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
      {"AL32UTF8", lxktest::bytes({'a', 0xC3}), OPT_UCS2_UNITS, 1, 1, true},
      {"AL32UTF8", lxktest::bytes({'a', 0xF0, 0x9F, 0x98}), 0, 1, 0, true},
      {"AL32UTF8", lxktest::bytes({'a', 0xE2, 0x82, 0xAC}), OPT_UCS2_UNITS, 2, 4, false},
      {"AL32UTF8", lxktest::bytes({0xC3, 0x41, 'b'}), OPT_UCS4_UNITS, 0, 0, true},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30}), OPT_UCS2_UNITS, 1, 1, true},
      {"GB18030", lxktest::bytes({'a', 0x81}), 0, 1, 0, true},
      {"AL16UTF16", lxktest::bytes({0, 'a', 0xD8, 0x3D, 0xDE}), OPT_UCS2_UNITS, 1, 2, true},
      {"IBM-930", lxktest::bytes({0xC1, 0x0E, 0x45, 0x41, 0x45}), OPT_UCS2_UNITS, 2, 4, true},
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
    if (c.skipAllFails) {
      EXPECT_EQ(skipped, 0u);
      EXPECT_EQ(env().ctx()->status, NLS_STATUS_INVALID_DATA);
      EXPECT_EQ(cur.current, before);
    } else {
      EXPECT_EQ(skipped, c.text.size());
      EXPECT_EQ(env().ctx()->status, 0);
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

// The decoded result is a prefix of the sample, by whole code points.
void expectWholePrefix(const Sample& s, const Bytes& out) {
  if (out.empty()) return;
  std::string decoded = env().decode(s.set, out.data(), out.size());
  // UTF8 may stop between the two three-byte halves of a pair: each half is
  // a character of the set, and the lone half decodes as U+FFFD.
  const std::string replacement = "\xEF\xBF\xBD";
  if (s.set == "UTF8" && decoded.size() >= 3 &&
      decoded.compare(decoded.size() - 3, 3, replacement) == 0)
    decoded.resize(decoded.size() - 3);
  EXPECT_EQ(decoded, s.utf8.substr(0, decoded.size()));
}

constexpr uint8_t kGuard = 0xA5;

TEST(Copying, BufferCopyCutsAtWholeCharactersAtEveryCapacity) {
  for (const Sample& s : samples()) {
    const CharsetHandle* h = handleOf(s);
    const uint32_t len = s.text.size();
    uint32_t previous = 0;
    for (uint32_t cap = 0; cap <= len + 2; ++cap) {
      SCOPED_TRACE(s.set + " capacity " + std::to_string(cap));
      Bytes buffer(cap + 8, kGuard);
      const uint32_t n =
          lxsCpStr(buffer.data(), cap, s.text.data(), len, OPT_STANDARD, h, env().ctx());
      ASSERT_LE(n, cap);
      for (size_t i = cap; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], kGuard);
      const Bytes out(buffer.begin(), buffer.begin() + n);
      EXPECT_GE(n, previous);
      previous = n;
      expectWholePrefix(s, out);
      if (h->flags & CSH_SHIFT_SENSITIVE) {
        EXPECT_FALSE(endsInRun(out, h));
      } else {
        // The longest prefix of whole characters.
        uint32_t best = 0;
        for (uint32_t b : s.boundaries)
          if (b <= cap) best = b;
        EXPECT_EQ(n, best);
      }
      if (cap >= len) {
        EXPECT_EQ(out, s.text);
      }
    }
  }
}

// Copies of plain buffers: two parts merge into the encoding of the whole;
// at every capacity the result, closed as CONCAT closes it, is whole.
TEST(Copying, CursorCopiesMergeShiftStates) {
  for (const Sample& s : samples()) {
    const CharsetHandle* h = handleOf(s);
    const size_t half = s.utf8.size() / 2;
    size_t cut = half;
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
      if (w.shiftState) {
        *w.current++ = h->shiftInByte;
        ++n;
      }
      ASSERT_LE(n, cap);
      for (size_t i = cap; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], kGuard);
      const Bytes out(buffer.begin(), buffer.begin() + n);
      EXPECT_FALSE(hasShiftInThenOut(out, h));
      expectWholePrefix(s, out);
      if (cap >= s.text.size()) {
        EXPECT_EQ(out, s.text);
      }
    }
  }
}

// Exact fits in a shift-sensitive set: lxoCpToOp fills the capacity and
// leaves closing to its caller; the others keep one byte to close the run.
TEST(Copying, ShiftedRunAtTheCapacity) {
  const CharsetHandle* h = env().handle("IBM-930");
  const Bytes text = lxktest::bytes({0x0E, 0x45, 0x41, 0x45, 0x42, 0x0F});
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
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 5), lxktest::bytes({0x0E, 0x45, 0x41, 0x0F, 0x42}));
}

// Character by character and as a string, from a read cursor.
TEST(Copying, CursorToCursorCopiesReproduceTheText) {
  for (const Sample& s : samples()) {
    SCOPED_TRACE(s.set);
    const CharsetHandle* h = handleOf(s);
    for (bool byChar : {true, false}) {
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
      if (w.shiftState) {
        *w.current++ = h->shiftInByte;
        ++n;
      }
      EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + n), s.text)
          << (byChar ? "lxoCpChar" : "lxoCpStr");
      EXPECT_EQ(r.current, s.text.data() + s.text.size());
    }
  }
}

// lxptmult (every set) and lxptmutf8 (the UTF-8 forms) at every length.
TEST(Trimming, PartialCharacterTrimmingAtEveryLength) {
  for (const Sample& s : samples()) {
    const CharsetHandle* h = handleOf(s);
    if (h->flags & CSH_SHIFT_SENSITIVE) continue;
    const int16_t id = env().definition(s.set)->charsetId;
    const bool utf8 = id == CSID_AL32UTF8 || id == CSID_UTF8;
    for (uint32_t len = 0; len <= s.text.size(); ++len) {
      SCOPED_TRACE(s.set + " length " + std::to_string(len));
      uint32_t best = 0;
      for (uint32_t b : s.boundaries)
        if (b <= len) best = b;
      const uint8_t* p = s.text.data();
      EXPECT_EQ(lxptmult(p, len, h, env().ctx()) - p, best);
      if (utf8) {
        EXPECT_EQ(lxptmutf8(p, p + len) - p, best);
      }
    }
  }
}

TEST(Trimming, ShiftSensitiveAndMalformedEnds) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t whole;
  } cases[] = {
      {"IBM-930", lxktest::bytes({0xC1, 0x0E, 0x45, 0x41, 0x45}), 4},
      {"IBM-930", lxktest::bytes({0xC1, 0x0E}), 1},
      {"IBM-930", lxktest::bytes({0xC1, 0x0E, 0x45, 0x41, 0x0F}), 5},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30, 0x81}), 1},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30, 0x81, 0x30}), 5},
      {"AL32UTF8", lxktest::bytes({'a', 0x80, 0x80}), 3},  // stray continuation bytes
      {"AL32UTF8", lxktest::bytes({'a', 0xF0, 0x9F, 0x98}), 1},
      {"AL32UTF8", lxktest::bytes({'a', 0xC3, 'b'}), 3},  // a lead byte cut short is malformed
  };
  for (const auto& c : cases) {
    const uint8_t* p = c.text.data();
    const uint8_t* end = (c.set == std::string("AL32UTF8"))
                             ? lxptmutf8(p, p + c.text.size())
                             : lxptmult(p, c.text.size(), env().handle(c.set), env().ctx());
    EXPECT_EQ(end - p, c.whole) << c.set;
  }
}

}  // namespace
