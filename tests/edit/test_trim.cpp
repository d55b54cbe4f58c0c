// TRIM against a reference written here: texts built from characters the set
// holds, trimmed character by character and encoded again, in every set of
// the catalogue, at every capacity and with each class's cut and report;
// the edge rows of the entry and of each path; linguistic rows.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

constexpr int64_t kNoDestination = -1;

struct Trimmed {
  const uint8_t* pointer;
  Bytes bytes;
  uint32_t outStatus;
  int32_t status;
  bool inSource;
};

// lxkTrim on guarded copies: reading past the source or the set, or
// writing past the capacity, faults.
Trimmed trim(const CharsetHandle* h, const Bytes& text, const Bytes* set, uint32_t options,
             int64_t capacity = kNoDestination, bool withOutStatus = true) {
  static lxktest::GuardedBuffer src, setBuffer, out;
  src.assign(text.data(), text.size());
  setBuffer.assign(set ? set->data() : nullptr, set ? set->size() : 0);
  uint8_t* dst = capacity < 0 ? nullptr : out.tail(static_cast<size_t>(capacity));
  uint32_t length = 99, outStatus = 99;
  env().ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  const uint8_t* p =
      lxkTrim(&length, dst, static_cast<uint32_t>(std::max<int64_t>(capacity, 0)),
              text.empty() ? nullptr : src.data(), static_cast<uint32_t>(text.size()),
              set ? setBuffer.data() : nullptr, set ? static_cast<uint32_t>(set->size()) : 0,
              options, withOutStatus ? &outStatus : nullptr, h, env().ctx());
  Trimmed r{p, {}, withOutStatus ? outStatus : 0u, env().ctx()->status, false};
  if (p != nullptr && length != 0) {
    r.inSource = p >= src.data() && p + length <= src.data() + src.size();
    EXPECT_TRUE(r.inSource || (p == dst && length <= capacity)) << "result outside src and dst";
    r.bytes.assign(p, p + length);
  }
  return r;
}

bool hasFlag(const std::string& set, uint32_t flag) {
  return (env().handle(set)->flags & flag) != 0;
}

// ---- Reference: characters in, characters out ------------------------------------

std::string join(const std::vector<std::string>& chars, size_t from, size_t to) {
  std::string s;
  for (size_t i = from; i < to; ++i) s += chars[i];
  return s;
}

// The characters left after trimming members of set from the chosen ends.
std::pair<size_t, size_t> referenceTrim(const std::vector<std::string>& text,
                                        const std::vector<std::string>& set, bool leading,
                                        bool trailing) {
  auto member = [&](const std::string& ch) {
    return std::find(set.begin(), set.end(), ch) != set.end();
  };
  size_t b = 0, e = text.size();
  if (leading)
    while (b < e && member(text[b])) ++b;
  if (trailing)
    while (e > b && member(text[e - 1])) --e;
  return {b, e};
}

// The basic-plane sample characters a set holds (a UTF-16 set trims by
// code units, so a supplementary character in a random set could leave half
// a pair; those get rows of their own).
std::vector<std::string> pool(const std::string& set) {
  std::vector<std::string> held;
  for (const std::string& ch : lxktest::sampleChars())
    if (ch.size() < 4 && !env().held(set, ch).empty()) held.push_back(ch);
  return held;
}

enum class Cut { Bytes, Units, Chars, Shifted };

Cut cutOf(const std::string& set) {
  const uint32_t flags = env().handle(set)->flags;
  if (flags & CSH_SIMPLE_CASE) return Cut::Bytes;
  if (flags & CSH_FIXED_WIDTH) return Cut::Units;
  if (flags & CSH_SHIFT_SENSITIVE) return Cut::Shifted;
  return Cut::Chars;
}

// Random texts with trim characters gathered at both ends, trimmed in every
// set with sides 0x1, 0x2, 0x3, 0x4, and copied at every capacity: the
// result is the longest whole-character prefix of the reference that fits,
// and the truncation report is the class's.
TEST(Trim, EverySetMatchesReferenceAtEveryCapacity) {
  std::mt19937 rng(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const std::vector<std::string> chars = pool(set);
    if (chars.size() < 4) continue;
    const Cut cut = cutOf(set);
    for (int round = 0; round < 12; ++round) {
      std::vector<std::string> trimSet;
      for (size_t k = 1 + rng() % 3; k > 0; --k) trimSet.push_back(chars[rng() % chars.size()]);
      std::vector<std::string> text;
      const size_t n = rng() % 12;
      for (size_t i = 0; i < n; ++i) {
        const bool edge = i < 3 || i + 3 >= n;
        text.push_back(edge && rng() % 2 ? trimSet[rng() % trimSet.size()]
                                         : chars[rng() % chars.size()]);
      }
      const Bytes src = env().encode(set, join(text, 0, text.size()));
      for (uint32_t options : {0x1u, 0x2u, 0x3u, 0x4u}) {
        // SQL TRIM takes one character.
        if (options == TRIM_SINGLE) trimSet.resize(1);
        const Bytes setBytes = env().encode(set, join(trimSet, 0, trimSet.size()));
        SCOPED_TRACE("options " + std::to_string(options) + " text " + join(text, 0, text.size()) +
                     " set " + join(trimSet, 0, trimSet.size()));
        const auto [b, e] = referenceTrim(text, trimSet, options != 0x2, options != 0x1);
        const Trimmed pointed = trim(h, src, &setBytes, options);
        if (src.empty()) {
          EXPECT_EQ(pointed.pointer, nullptr);
          continue;
        }
        if (b == e) {
          EXPECT_TRUE(pointed.bytes.empty());
        } else if (cut != Cut::Shifted) {
          EXPECT_EQ(pointed.bytes, env().encode(set, join(text, b, e)));
        }
        for (int64_t capacity = 0; capacity <= static_cast<int64_t>(src.size()) + 2; ++capacity) {
          const Trimmed r = trim(h, src, &setBytes, options, capacity, capacity % 2 == 0);
          // The longest prefix of the reference whose encoding fits.
          size_t k = e;
          while (k > b &&
                 env().encode(set, join(text, b, k)).size() > static_cast<size_t>(capacity))
            --k;
          const bool cutShort = k < e;
          if (capacity == 0 && (cut == Cut::Units || cut == Cut::Chars)) {
            EXPECT_EQ(r.bytes, pointed.bytes) << "capacity 0 points into the source";
            continue;
          }
          ASSERT_EQ(env().decode(set, r.bytes.data(), r.bytes.size()), join(text, b, k))
              << "capacity " << capacity;
          const bool reported = cut == Cut::Shifted ? false
                                : cut == Cut::Units ? cutShort
                                                    : cutShort && capacity % 2 == 0;
          EXPECT_EQ(r.status, reported ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK)
              << "capacity " << capacity;
          EXPECT_EQ(r.outStatus, reported && capacity % 2 == 0 ? 6u : 0u);
        }
      }
    }
  }
}

// ---- Edge rows, as text in every set that holds it ----------------------------------

struct Row {
  const char* text;
  const char* set;  // null: the default
  uint32_t options;
  const char* expected;
  uint32_t outStatus;
};

const Row kRows[] = {
    {"  ab  ", nullptr, 0x4, "ab", 0},
    {"  ab  ", nullptr, 0x10004, "ab", 0},
    {"  ab  ", nullptr, 0x1, "ab  ", 0},
    {"  ab  ", nullptr, 0x2, "  ab", 0},
    {"  ab  ", nullptr, 0x0, "  ab  ", 0},
    {"  ab  ", nullptr, 0x8, "  ab  ", 0},
    {"xxx", "x", 0x4, "", 0},
    {"abbaXab", "ab", 0x4, "", 256},
    {"abbaXab", "ab", 0x1, "Xab", 0},
    {"abbaXab", "ab", 0x3, "X", 0},
    {"abbaXab", "ba", 0x2, "abbaX", 0},
    {"aaXaa", "aa", 0x3, "X", 0},
    {"中中X中", "中", 0x4, "X", 0},
    {"é中éXé", "中é", 0x3, "X", 0},
    {"😀a😀", "😀", 0x4, "a", 0},
    {"😀a😀", "😀😀", 0x4, "", 256},
};

TEST(Trim, EdgeRowsInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    for (const Row& row : kRows) {
      const Bytes src = env().held(set, row.text);
      const Bytes trimSet = row.set ? env().held(set, row.set) : Bytes{};
      if (src.empty() || (row.set && trimSet.empty())) continue;
      // A fixed-width set's default blank starts with a zero byte: no default.
      if (!row.set && (h->flags & (CSH_FIXED_WIDTH | CSH_SIMPLE_CASE)) == CSH_FIXED_WIDTH) continue;
      SCOPED_TRACE(set + " text " + row.text + " options " + std::to_string(row.options));
      for (int64_t capacity : {kNoDestination, int64_t{64}}) {
        const Trimmed r = trim(h, src, row.set ? &trimSet : nullptr, row.options, capacity);
        EXPECT_EQ(env().decode(set, r.bytes.data(), r.bytes.size()), row.expected);
        EXPECT_EQ(r.outStatus, row.outStatus);
        EXPECT_EQ(r.status, NLS_STATUS_OK);
        if (row.outStatus != 0) {
          EXPECT_EQ(r.pointer, nullptr);
        }
      }
    }
  }
}

TEST(Trim, PathEdges) {
  // Fixed width 2, a 6-byte result, capacity 5: 4 bytes, status 6 in the
  // context even without an out-status.
  const Bytes x16 = env().encode("AL16UTF16", "x");
  Trimmed r =
      trim(env().handle("AL16UTF16"), env().encode("AL16UTF16", "xabcx"), &x16, 0x4, 5, false);
  EXPECT_EQ(r.bytes, env().encode("AL16UTF16", "ab"));
  EXPECT_EQ(r.status, NLS_STATUS_TRUNCATED);
  // A lead byte cut by the end stays after LTRIM and goes with RTRIM.
  const CharsetHandle* sjis = env().handle("SHIFT_JIS");
  const Bytes cutLead = {'x', 'y', 0x82}, x = {'x'}, z = {'z'};
  EXPECT_EQ(trim(sjis, cutLead, &x, 0x1).bytes, (Bytes{'y', 0x82}));
  EXPECT_EQ(trim(sjis, cutLead, &z, 0x2).bytes, (Bytes{'x', 'y'}));
  // A shift-sensitive result that ends in a run is closed inside the capacity.
  const CharsetHandle* ibm930 = env().handle("IBM-930");
  const Bytes closed = env().encode("IBM-930", "中中"), a930 = env().encode("IBM-930", "a");
  for (int64_t capacity : {int64_t{6}, int64_t{7}})
    EXPECT_EQ(trim(ibm930, env().encode("IBM-930", "中中a"), &a930, 0x2, capacity).bytes, closed);
  // TRIM_BLANK_CLASS: the blank also trims the double-byte blank.
  const Bytes wide = env().encode("IBM-930", "\u3000a\u3000"), blank = {0x40};
  EXPECT_EQ(trim(ibm930, wide, &blank, 0x10003, 16).bytes, env().encode("IBM-930", "a"));
  EXPECT_EQ(trim(ibm930, wide, &blank, 0x3, 16).bytes, wide);
  // The default blank: 0x40 in an EBCDIC set, 0x20 elsewhere.
  const Bytes ebcdic = {0x40, 0xC1, 0x40};
  EXPECT_EQ(trim(env().handle("IBM-1047"), ebcdic, nullptr, 0x4).bytes, Bytes{0xC1});
  EXPECT_EQ(trim(env().handle("ISO-8859-1"), ebcdic, nullptr, 0x4).bytes, ebcdic);
  // A missing or empty source: null and length 0, statuses 0.
  for (int64_t capacity : {kNoDestination, int64_t{4}}) {
    r = trim(env().handle("AL32UTF8"), Bytes{}, &x, 0x4, capacity);
    EXPECT_EQ(r.pointer, nullptr);
    EXPECT_EQ(r.status, NLS_STATUS_OK);
    EXPECT_EQ(r.outStatus, 0u);
  }
}

// Widths by the lead-byte table in force, GB18030's four-byte rule included.
uint32_t walkWidth(const std::string& set, const Bytes& s, size_t at) {
  const CharsetHandle* h = env().handle(set);
  const uint16_t* table = reinterpret_cast<const uint16_t*>(
      reinterpret_cast<const uint8_t*>(env().definition(set)) + h->tableOffset);
  const uint32_t w = (table[s[at]] & 3u) + 1u;
  const bool digitNext = s.size() - at > 1 && s[at + 1] >= 0x30 && s[at + 1] <= 0x39;
  return (h->flags & CSH_GB18030) && w > 1 && digitNext ? 4 : w;
}

// The lead-byte path as plainly as it reads: characters from a forward walk
// from the start; the leading pass stops at a character cut by the end; the
// trailing pass keeps the end of the last character that is not trimmed and
// drops a cut one.
Bytes leadWalkReference(const std::string& set, const Bytes& s, const Bytes& trimSet,
                        uint32_t options) {
  std::vector<Bytes> members;
  for (size_t i = 0; i < trimSet.size();) {
    const uint32_t w = walkWidth(set, trimSet, i);
    if (w > trimSet.size() - i) break;
    members.emplace_back(trimSet.begin() + i, trimSet.begin() + i + w);
    i += w;
  }
  auto isTrim = [&](size_t at, uint32_t w) {
    const Bytes ch(s.begin() + at, s.begin() + at + w);
    return std::find(members.begin(), members.end(), ch) != members.end();
  };
  size_t b = 0, e = s.size();
  if (options != 0x2)
    while (b < e && walkWidth(set, s, b) <= e - b && isTrim(b, walkWidth(set, s, b)))
      b += walkWidth(set, s, b);
  if (options != 0x1) {
    size_t keep = b;
    for (size_t at = b; at < s.size() && walkWidth(set, s, at) <= s.size() - at;) {
      const uint32_t w = walkWidth(set, s, at);
      if (!isTrim(at, w)) keep = at + w;
      at += w;
    }
    e = keep;
  }
  return Bytes(s.begin() + b, s.begin() + e);
}

// Random bytes from a few values, so that lead bytes, cut characters and
// trim characters crowd the ends: the backward trailing pass finds what the
// forward walk finds.
TEST(Trim, LeadBytePathMatchesForwardWalkOnRandomBytes) {
  std::mt19937 rng(3);
  for (const std::string& set : lxktest::stringCharsets()) {
    if (hasFlag(set, CSH_SIMPLE_CASE | CSH_FIXED_WIDTH | CSH_SHIFT_SENSITIVE)) continue;
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    for (int round = 0; round < 400; ++round) {
      uint8_t values[4];
      for (uint8_t& v : values) v = static_cast<uint8_t>(rng());
      values[0] = static_cast<uint8_t>(0x30 + rng() % 10);  // digits for the four-byte rule
      Bytes src(1 + rng() % 24), trimSet(1 + rng() % 4);
      for (uint8_t& b : src) b = values[rng() % 4];
      for (uint8_t& b : trimSet) b = values[rng() % 4];
      // The set as the entry takes it: the bytes of its whole characters.
      lxsCntChar(trimSet.data(), static_cast<uint32_t>(trimSet.size()),
                 OPT_STANDARD | OPT_UCS2_UNITS, h, env().ctx());
      trimSet.resize(env().ctx()->lastByteCount);
      if (trimSet.empty()) continue;
      for (uint32_t options : {0x1u, 0x2u, 0x3u}) {
        ASSERT_EQ(trim(h, src, &trimSet, options).bytes,
                  leadWalkReference(set, src, trimSet, options))
            << "options " << options << " src " << ::testing::PrintToString(src) << " set "
            << ::testing::PrintToString(trimSet);
      }
    }
  }
}

// ---- Linguistic comparison ------------------------------------------------------

struct LinguisticRow {
  const char* collation;
  const char* text;
  const char* set;
  uint32_t options;
  const char* expected;
};

const LinguisticRow kLinguisticRows[] = {
    {"CI", "xXaXx", "x", 0x4, "a"},
    {"CI", "XxaB", "x", 0x1, "aB"},
    {"CI", "aBXx", "x", 0x2, "aB"},
    {"CI", "bABc", "ab", 0x1, "c"},  // the set is tried again from its first character
    {"CI", "ÉaÉ", "é", 0x3, "a"},
    {"AI", "ÉaÈe", "e", 0x3, "a"},
    {"AI", "e\u0301xe\u0301", "e", 0x3, "x"},  // a match covers the combining mark
    {"CI", "xxx", "x", 0x3, ""},
};

TEST(Trim, LinguisticRowsInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const LinguisticRow& row : kLinguisticRows) {
      const Bytes src = env().held(set, row.text), trimSet = env().held(set, row.set);
      if (src.empty() || trimSet.empty()) continue;
      SCOPED_TRACE(set + " " + row.collation + " text " + row.text);
      const CharsetHandle* h = env().handle(set, row.collation);
      for (int64_t capacity : {kNoDestination, int64_t{64}}) {
        const Trimmed r = trim(h, src, &trimSet, row.options, capacity);
        EXPECT_EQ(env().decode(set, r.bytes.data(), r.bytes.size()), row.expected);
        EXPECT_EQ(r.status, NLS_STATUS_OK);
      }
    }
  }
  // Everything trimmed: length 0 and the result is the destination (null
  // without one).
  const CharsetHandle* ci = env().handle("AL32UTF8", "CI");
  const Bytes x = {'x'};
  EXPECT_EQ(trim(ci, lxktest::bytes("xX"), &x, 0x4).pointer, nullptr);
}

// Cuts of the linguistic path: whole UTF-8 characters by their bits, UTF-16
// without splitting a pair, and no report.
TEST(Trim, LinguisticCuts) {
  const Bytes x8 = {'x'};
  Trimmed r = trim(env().handle("AL32UTF8", "CI"), env().encode("AL32UTF8", "abc中X"), &x8, 0x2, 5);
  EXPECT_EQ(r.bytes, lxktest::bytes("abc"));
  EXPECT_EQ(r.status, NLS_STATUS_OK);
  EXPECT_EQ(r.outStatus, 0u);
  const Bytes x16 = env().encode("AL16UTF16", "x");
  r = trim(env().handle("AL16UTF16", "CI"), env().encode("AL16UTF16", "ab😀X"), &x16, 0x2, 6);
  EXPECT_EQ(r.bytes, env().encode("AL16UTF16", "ab"));
}

}  // namespace
