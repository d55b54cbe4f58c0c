// SUBSTR against references written here: character slices built from the
// characters' own encodings in every set of the catalogue and every unit
// semantics, byte cuts with blanks, capacities from 0 to the full result,
// supplementary characters and combining marks, and long and malformed text
// against a literal lead-byte walk.
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "frame/frame.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

constexpr uint8_t kGuard = 0xA5;

struct Call {
  Bytes bytes;
  const uint8_t* pointer = nullptr;
  uint32_t length = 0;
};

// lxkSubstr with a destination of the given capacity (guard bytes behind it
// must stay untouched), or without one (capacity < 0).
Call substr(const std::string& set, const Bytes& src, int32_t position, int32_t length,
            uint32_t options, int64_t capacity = -1) {
  Call call;
  uint32_t resultWord = 99;
  const CharsetHandle* handle = env().handle(set);
  if (capacity < 0) {
    call.pointer =
        lxkSubstr(&call.length, nullptr, 0, src.data(), static_cast<uint32_t>(src.size()), position,
                  length, options, &resultWord, handle, env().ctx());
    if (call.length > 0) {
      EXPECT_GE(call.pointer, src.data()) << set;
      EXPECT_LE(call.pointer + call.length, src.data() + src.size()) << set;
      call.bytes.assign(call.pointer, call.pointer + call.length);
    }
  } else {
    Bytes buffer(static_cast<size_t>(capacity) + 8, kGuard);
    call.pointer = lxkSubstr(&call.length, buffer.data(), static_cast<uint32_t>(capacity),
                             src.data(), static_cast<uint32_t>(src.size()), position, length,
                             options, &resultWord, handle, env().ctx());
    EXPECT_EQ(call.pointer, buffer.data()) << set;
    EXPECT_LE(call.length, capacity) << set;
    for (size_t i = static_cast<size_t>(capacity); i < buffer.size(); ++i)
      EXPECT_EQ(buffer[i], kGuard) << set << ": written past capacity " << capacity;
    call.bytes.assign(buffer.begin(), buffer.begin() + std::min<int64_t>(call.length, capacity));
  }
  EXPECT_EQ(resultWord, 0u) << set;
  return call;
}

bool isShiftSensitive(const std::string& set) {
  return (env().handle(set)->flags & CSH_SHIFT_SENSITIVE) != 0;
}
bool isSingleByte(const std::string& set) {
  return (env().handle(set)->flags & CSH_SINGLE_BYTE) != 0;
}
int32_t idOf(const std::string& set) { return env().definition(set)->charsetId; }

// The characters of the sample that the set holds (they convert there and back).
std::vector<std::string> heldCharacters(const std::string& set) {
  static const std::vector<std::string> sample = {"a",
                                                  "\xC3\xA9",
                                                  "\xE4\xB8\xAD",
                                                  "B",
                                                  "\xE2\x82\xAC",
                                                  "\xE3\x81\x82",
                                                  "\xD0\x96",
                                                  "1",
                                                  "\xEF\xBD\xB1",
                                                  "\xED\x95\x9C",
                                                  "\xCE\xA9",
                                                  "\xC3\x9F",
                                                  " ",
                                                  "z"};
  std::vector<std::string> held;
  for (const std::string& ch : sample) {
    Bytes b = env().encode(set, ch);
    if (!b.empty() && env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == ch)
      held.push_back(ch);
  }
  return held;
}

// A text of count characters cycling through the held ones, with the
// encoding of every slice [i, i + k) at hand.
struct SampleText {
  std::vector<std::string> chars;  // UTF-8 of each character
  Bytes bytes;                     // the whole text in the set
  std::vector<std::vector<Bytes>> slices;

  const Bytes& slice(size_t start, size_t count) const { return slices[start][count]; }
};

SampleText sampleText(const std::string& set, size_t count) {
  SampleText text;
  const std::vector<std::string> held = heldCharacters(set);
  for (size_t i = 0; i < count; ++i) text.chars.push_back(held[i % held.size()]);
  auto encodeRange = [&](size_t start, size_t n) {
    std::string utf8;
    for (size_t i = start; i < start + n; ++i) utf8 += text.chars[i];
    return utf8.empty() ? Bytes{} : env().encode(set, utf8);
  };
  text.bytes = encodeRange(0, count);
  text.slices.resize(count + 1);
  for (size_t i = 0; i <= count; ++i)
    for (size_t n = 0; i + n <= count; ++n) text.slices[i].push_back(encodeRange(i, n));
  return text;
}

// ---- Character slices across the catalogue -------------------------------------

// With only characters of the basic plane and no combining marks, every unit
// semantics counts the same characters, so one reference serves them all.
TEST(SubstrCharacters, SlicesEverySetEveryUnitEveryCapacity) {
  const size_t count = 9;
  for (const std::string& set : lxktest::stringCharsets()) {
    if (heldCharacters(set).empty()) continue;
    const SampleText text = sampleText(set, count);
    for (uint32_t options : {0u, OPT_UCS2_UNITS, OPT_UCS4_UNITS, OPT_COMPLETE_CHARS}) {
      for (int32_t position = -11; position <= 11; ++position) {
        for (int32_t length : {-1, 0, 1, 2, 4, 9, 20, INT32_MAX}) {
          SCOPED_TRACE(set + " options " + std::to_string(options) + " position " +
                       std::to_string(position) + " length " + std::to_string(length));
          int64_t start = position == 0 ? 1 : position;
          if (start < 0) start += static_cast<int64_t>(count) + 1;
          size_t first = 0, take = 0;
          if (start >= 1 && start <= static_cast<int64_t>(count) && length > 0) {
            first = static_cast<size_t>(start - 1);
            take = std::min<size_t>(static_cast<size_t>(length), count - first);
          }
          const Bytes& full = text.slice(first, take);
          // Without a destination: a pointer into the source (a shifted run
          // is pointed at as it stands, so only its bounds are checked).
          const Call pointed = substr(set, text.bytes, position, length, options);
          if (!isShiftSensitive(set)) {
            EXPECT_EQ(pointed.bytes, full);
          }
          for (uint32_t capacity = 0; capacity <= full.size() + 2; ++capacity) {
            size_t fits = take;
            while (fits > 0 && text.slice(first, fits).size() > capacity) --fits;
            const Call copied = substr(set, text.bytes, position, length, options, capacity);
            ASSERT_EQ(copied.bytes, text.slice(first, fits)) << "capacity " << capacity;
          }
        }
      }
    }
  }
}

// ---- Byte cuts -------------------------------------------------------------------

// Pieces of a byte-mode result: blanks for the bytes of cut characters, whole
// characters otherwise; a capacity keeps the pieces that fit, in order.
using Pieces = std::vector<Bytes>;

Bytes joinFitting(const Pieces& pieces, size_t capacity) {
  Bytes out;
  for (const Bytes& piece : pieces) {
    if (out.size() + piece.size() > capacity) break;
    out.insert(out.end(), piece.begin(), piece.end());
  }
  return out;
}

Pieces byteCutReference(const std::string& set, const SampleText& text, uint32_t s, uint32_t n,
                        bool fill) {
  Pieces pieces;
  const Bytes& src = text.bytes;
  const bool plain = isSingleByte(set) || isShiftSensitive(set);
  if (plain) {
    for (uint32_t i = s; i < s + n; ++i) pieces.push_back({src[i]});
    return pieces;
  }
  if (idOf(set) == CSID_AL16UTF16) {
    if (s & 1u) ++s, --n;
    n &= ~1u;
    for (uint32_t i = s; i < s + n; i += 2) pieces.push_back({src[i], src[i + 1]});
    return pieces;
  }
  const Bytes spaceBytes = env().encode(set, " ");
  const uint8_t blank = spaceBytes.size() == 1 ? spaceBytes[0] : 0x20;
  uint32_t offset = 0;
  for (size_t i = 0; i < text.chars.size(); ++i) {
    const Bytes& ch = text.slice(i, 1);
    const uint32_t from = offset, to = offset + static_cast<uint32_t>(ch.size());
    offset = to;
    const uint32_t lo = std::max(from, s), hi = std::min(to, s + n);
    if (lo >= hi) continue;
    if (from >= s && to <= s + n)
      pieces.push_back(ch);
    else if (fill)
      for (uint32_t b = lo; b < hi; ++b) pieces.push_back({blank});
  }
  return pieces;
}

TEST(SubstrBytes, CutsEverySetWithAndWithoutBlanks) {
  for (const std::string& set : lxktest::stringCharsets()) {
    if (heldCharacters(set).empty()) continue;
    const SampleText text = sampleText(set, 7);
    const int32_t total = static_cast<int32_t>(text.bytes.size());
    for (uint32_t options : {OPT_BYTE_UNITS, OPT_BYTE_UNITS | OPT_NO_BLANK_FILL}) {
      for (int32_t position = -total - 1; position <= total + 1; ++position) {
        for (int32_t length = -1; length <= total + 1; ++length) {
          SCOPED_TRACE(set + " options " + std::to_string(options) + " position " +
                       std::to_string(position) + " length " + std::to_string(length));
          int64_t start = position == 0 ? 1 : position;
          if (start < 0) start += total + 1;
          Pieces pieces;
          if (start >= 1 && start <= total && length > 0) {
            const uint32_t s = static_cast<uint32_t>(start - 1);
            const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(length), total - s);
            pieces = byteCutReference(set, text, s, n, !(options & OPT_NO_BLANK_FILL));
          }
          const Bytes full = joinFitting(pieces, SIZE_MAX);
          const bool pointable =
              isSingleByte(set) || isShiftSensitive(set) || idOf(set) == CSID_AL16UTF16;
          const Call pointed = substr(set, text.bytes, position, length, options);
          EXPECT_EQ(pointed.bytes, pointable ? full : Bytes{});
          for (uint32_t capacity = 0; capacity <= full.size() + 1; ++capacity)
            ASSERT_EQ(substr(set, text.bytes, position, length, options, capacity).bytes,
                      joinFitting(pieces, capacity))
                << "capacity " << capacity;
        }
      }
    }
  }
}

TEST(SubstrBytes, RawBytesSliceAnySet) {
  for (std::string set : {"AL32UTF8", "SHIFT_JIS", "AL16UTF16", "IBM-939"}) {
    const Bytes src = env().encode(set, "a\xE4\xB8\xAD\xC3\xA9z");
    for (int32_t position : {-2, 0, 2, 3}) {
      int64_t start = position == 0 ? 1 : position;
      if (start < 0) start += static_cast<int64_t>(src.size()) + 1;
      const Bytes expected(src.begin() + (start - 1),
                           src.begin() + std::min<int64_t>(start + 1, src.size()));
      EXPECT_EQ(substr(set, src, position, 2, OPT_RAW_BYTES).bytes, expected) << set;
      EXPECT_EQ(substr(set, src, position, 2, OPT_RAW_BYTES, 1).bytes,
                Bytes(expected.begin(), expected.begin() + 1))
          << set;
    }
  }
}

struct FixedCase {
  const char* set;
  std::string text;  // UTF-8
  int32_t position;
  int32_t length;
  uint32_t options;
  std::string expected;  // UTF-8 of the result
};

class SubstrFixed : public ::testing::TestWithParam<FixedCase> {};

TEST_P(SubstrFixed, MatchesExpectedText) {
  const FixedCase& c = GetParam();
  const Bytes src = env().encode(c.set, c.text);
  const Call call = substr(c.set, src, c.position, c.length, c.options, 64);
  EXPECT_EQ(env().decode(c.set, call.bytes.data(), static_cast<uint32_t>(call.bytes.size())),
            c.expected);
}

const std::string kClef = "\xF0\x9D\x84\x9E";  // U+1D11E
const std::string kAcute = "\xCC\x81";         // U+0301 combining acute
const std::string kEAcute = "\xC3\xA9";        // é
const std::string kMixed = "a" + kClef + "e" + kAcute + "b";

INSTANTIATE_TEST_SUITE_P(
    Cases, SubstrFixed,
    ::testing::Values(
        // Byte cuts over UTF-8: a cut character becomes a blank, or nothing.
        FixedCase{"AL32UTF8", "a" + kEAcute, 3, 1, OPT_BYTE_UNITS, " "},
        FixedCase{"AL32UTF8", "a" + kEAcute, 3, 1, OPT_BYTE_UNITS | OPT_NO_BLANK_FILL, ""},
        FixedCase{"AL32UTF8", "abc" + kEAcute + "\xE4\xB8\xAD", 5, 3, OPT_BYTE_UNITS, "   "},
        FixedCase{"SHIFT_JIS", "\xE4\xB8\xAD\xE4\xB8\xAD\xE4\xB8\xAD", 2, 4, OPT_BYTE_UNITS,
                  " \xE4\xB8\xAD "},
        // Position 0 is 1; -1 is the last character.
        FixedCase{"AL32UTF8",
                  "\xE4\xB8\xAD"
                  "bc",
                  0, 2, 0,
                  "\xE4\xB8\xAD"
                  "b"},
        FixedCase{"AL32UTF8",
                  "\xE4\xB8\xAD"
                  "bc",
                  1, 2, 0,
                  "\xE4\xB8\xAD"
                  "b"},
        FixedCase{"AL32UTF8", "ab\xE4\xB8\xAD", -1, 1, 0, "\xE4\xB8\xAD"},
        // Code points and complete characters.
        FixedCase{"AL32UTF8", kMixed, 2, 1, 0, kClef},
        FixedCase{"AL32UTF8", kMixed, 2, 1, OPT_UCS4_UNITS, kClef},
        FixedCase{"AL32UTF8", kMixed, 3, 2, OPT_UCS4_UNITS, "e" + kAcute},
        FixedCase{"AL32UTF8", kMixed, 3, 1, OPT_COMPLETE_CHARS, "e" + kAcute},
        FixedCase{"AL32UTF8", kMixed, -2, 1, OPT_COMPLETE_CHARS, "e" + kAcute},
        FixedCase{"AL32UTF8", kMixed, 4, 1, OPT_COMPLETE_CHARS, "b"},
        FixedCase{"UTF8", kMixed, 2, 1, OPT_UCS4_UNITS, kClef},
        FixedCase{"UTF8", kMixed, 3, 2, OPT_UCS4_UNITS, "e" + kAcute},
        FixedCase{"UTF8", kMixed, 2, 1, OPT_COMPLETE_CHARS, kClef},
        FixedCase{"AL16UTF16", kMixed, 2, 2, 0, kClef},
        FixedCase{"AL16UTF16", kMixed, 2, 1, OPT_UCS4_UNITS, kClef},
        FixedCase{"AL16UTF16", kMixed, 3, 1, OPT_COMPLETE_CHARS, "e" + kAcute},
        FixedCase{"AL16UTF16", kMixed, 2, 2, OPT_COMPLETE_CHARS, kClef + "e" + kAcute},
        FixedCase{"GB18030", kMixed, 2, 2, OPT_UCS4_UNITS, kClef + "e"},
        FixedCase{"GB18030", kMixed, 2, 1, 0, kClef},
        FixedCase{"GB18030", "\xE4\xB8\xAD" + kClef + "z", -2, 2, 0, kClef + "z"}));

TEST(SubstrUcs2, SupplementaryCharactersInEverySetThatHoldsThem) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetDefinition* def = env().definition(set);
    if (!(def->definitionFlags & CSD_SUPPLEMENTARY_MAP) || isShiftSensitive(set) ||
        def->charsetId == CSID_AL16UTF16)
      continue;
    const Bytes clef = env().encode(set, kClef);
    if (env().decode(set, clef.data(), static_cast<uint32_t>(clef.size())) != kClef) continue;
    SCOPED_TRACE(set);
    const Bytes a = env().encode(set, "a");
    Bytes src = clef;
    src.insert(src.end(), a.begin(), a.end());
    // Position 2 is the second unit of the supplementary character: skipped.
    EXPECT_EQ(substr(set, src, 2, 5, OPT_UCS2_UNITS, 16).bytes, a);
    EXPECT_EQ(substr(set, src, 1, 1, OPT_UCS2_UNITS, 16).bytes, Bytes{});
    EXPECT_EQ(substr(set, src, 1, 2, OPT_UCS2_UNITS, 16).bytes, clef);
    EXPECT_EQ(substr(set, src, 1, 3, OPT_UCS2_UNITS).bytes, src);
    EXPECT_EQ(substr(set, src, 1, 3, OPT_UCS2_UNITS, clef.size()).bytes, clef);
  }
}

TEST(SubstrShifted, EndsInSingleByteModeWhenRoomIsLeft) {
  for (std::string set : {"IBM-930", "IBM-939"}) {
    const Bytes src = env().encode(set, "a\xE4\xB8\xAD\xE6\x96\x87z");
    const Call call = substr(set, src, 2, 1, 0, 16);
    ASSERT_FALSE(call.bytes.empty()) << set;
    EXPECT_EQ(call.bytes.front(), env().handle(set)->shiftOutByte) << set;
    EXPECT_EQ(call.bytes.back(), env().handle(set)->shiftInByte) << set;
    EXPECT_EQ(env().decode(set, call.bytes.data(), static_cast<uint32_t>(call.bytes.size())),
              "\xE4\xB8\xAD");
  }
}

// ---- Long and malformed text against a literal lead-byte walk ---------------------

// The lead-byte path as plainly as it can be written: skip s characters by
// table widths (GB18030 with its four-byte rule), then take whole characters
// that fit the source and the capacity, or the rest for a long length in
// UTF-8.
Bytes leadWalkReference(const std::string& set, const Bytes& src, uint32_t s, int32_t length,
                        uint32_t capacity) {
  const CharsetHandle* handle = env().handle(set);
  const CharsetDefinition* def = env().definition(set);
  const uint16_t* table = lxk::leadTableInForce(handle, def);
  const bool gb = (handle->flags & CSH_GB18030) != 0;
  auto width = [&](size_t at) {
    uint32_t w = (table[src[at]] & 3u) + 1u;
    if (gb && w > 1 && src.size() - at > 1 && src[at + 1] >= 0x30 && src[at + 1] <= 0x39) w = 4;
    return w;
  };
  size_t p = 0;
  for (uint32_t i = 0; i < s; ++i) {
    if (p == src.size() || width(p) > src.size() - p) return {};
    p += width(p);
  }
  if (p == src.size()) return {};
  if (static_cast<uint32_t>(length) >= src.size() && lxk::isUtf8(def)) {
    const size_t room = std::min<size_t>(src.size() - p, capacity);
    const uint8_t* end = lxptmutf8(src.data() + p, src.data() + p + room);
    return Bytes(src.data() + p, end);
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
  Bytes out;
  for (size_t i = 0; i < characters; ++i) {
    if (broken && rng() % 40 == 0) {
      const Bytes& j = junk[rng() % junk.size()];
      out.insert(out.end(), j.begin(), j.end());
      continue;
    }
    const std::string& piece = pieces[rng() % pieces.size()];
    const Bytes b = env().encode(set, piece);
    if (env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == piece)
      out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

TEST(SubstrLong, LeadBytePathMatchesLiteralWalk) {
  std::mt19937 rng(20261123);
  for (std::string set : {"AL32UTF8", "UTF8", "GB18030", "SHIFT_JIS", "EUC-JP"}) {
    for (bool broken : {false, true}) {
      for (int round = 0; round < 6; ++round) {
        const Bytes src = randomText(set, rng, 400 + rng() % 400, broken);
        const uint32_t total = static_cast<uint32_t>(src.size());
        for (int trial = 0; trial < 60; ++trial) {
          const uint32_t s = rng() % (total + 10);
          const int32_t length =
              trial % 7 == 0 ? INT32_MAX : static_cast<int32_t>(1 + rng() % total);
          const uint32_t capacity = trial % 3 == 0 ? total + 8 : rng() % (total + 8);
          SCOPED_TRACE(set + (broken ? " broken" : "") + " start " + std::to_string(s) +
                       " length " + std::to_string(length) + " capacity " +
                       std::to_string(capacity));
          const int32_t position = static_cast<int32_t>(s + 1);
          ASSERT_EQ(substr(set, src, position, length, 0, capacity).bytes,
                    leadWalkReference(set, src, s, length, capacity));
          ASSERT_EQ(substr(set, src, position, length, 0).bytes,
                    leadWalkReference(set, src, s, length, UINT32_MAX));
        }
      }
    }
  }
}

TEST(SubstrMalformed, TruncatedLastCharacterIsNeverSelected) {
  const Bytes src = lxktest::bytes({'a', 'b', 0xE4, 0xB8});
  EXPECT_EQ(substr("AL32UTF8", src, 1, 10, 0, 16).bytes, lxktest::bytes("ab"));
  EXPECT_EQ(substr("AL32UTF8", src, 1, 3, 0, 16).bytes, lxktest::bytes("ab"));
  EXPECT_EQ(substr("AL32UTF8", src, 3, 1, 0, 16).bytes, Bytes{});
  EXPECT_EQ(substr("AL32UTF8", src, 4, 1, 0).bytes, Bytes{});
  EXPECT_EQ(substr("AL32UTF8", src, 2, 3, OPT_UCS4_UNITS, 16).bytes, lxktest::bytes("b"));
  // Byte mode: the cut character's bytes become blanks.
  EXPECT_EQ(substr("AL32UTF8", src, 2, 3, OPT_BYTE_UNITS, 16).bytes, lxktest::bytes("b  "));
}

// Random bytes in every set, every option: the result stays inside the
// source or the capacity, whatever the bytes are.
TEST(SubstrMalformed, RandomBytesStayInBounds) {
  std::mt19937 rng(7);
  const uint32_t optionSets[] = {0,
                                 OPT_BYTE_UNITS,
                                 OPT_BYTE_UNITS | OPT_NO_BLANK_FILL,
                                 OPT_RAW_BYTES,
                                 OPT_UCS2_UNITS,
                                 OPT_UCS4_UNITS,
                                 OPT_COMPLETE_CHARS};
  for (const std::string& set : lxktest::stringCharsets()) {
    for (int round = 0; round < 40; ++round) {
      Bytes src(1 + rng() % 40);
      for (uint8_t& b : src) b = static_cast<uint8_t>(rng());
      for (uint32_t options : optionSets) {
        const int32_t position = static_cast<int32_t>(rng() % 50) - 25;
        const int32_t length = static_cast<int32_t>(rng() % 50) - 5;
        substr(set, src, position, length, options);
        substr(set, src, position, length, options, rng() % 48);
      }
    }
  }
}

TEST(SubstrEntry, EmptyArgumentsGiveEmptyResults) {
  const Bytes src = lxktest::bytes("abc");
  uint8_t out[4] = {kGuard, kGuard, kGuard, kGuard};
  uint32_t length = 123, resultWord = 5;
  const CharsetHandle* handle = env().handle("AL32UTF8");
  EXPECT_EQ(lxkSubstr(&length, out, 0, src.data(), 3, 1, 2, 0, &resultWord, handle, env().ctx()),
            out);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(resultWord, 0u);
  EXPECT_EQ(out[0], kGuard);
  EXPECT_EQ(lxkSubstr(&length, out, 4, nullptr, 3, 1, 2, 0, &resultWord, handle, env().ctx()), out);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(lxkSubstr(&length, out, 4, src.data(), 0, 1, 2, 0, &resultWord, handle, env().ctx()),
            out);
  EXPECT_EQ(length, 0u);
}

}  // namespace
