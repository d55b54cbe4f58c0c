// TRIM against a reference trimming character by character, in every set, at
// every capacity, with each class's cut and report; rows for the rest.
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
};

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
  Trimmed r{p, {}, withOutStatus ? outStatus : 0u, env().ctx()->status};
  if (p != nullptr && length != 0) {
    EXPECT_TRUE((p >= src.data() && p + length <= src.data() + src.size()) ||
                (p == dst && length <= capacity))
        << "result outside src and dst";
    r.bytes.assign(p, p + length);
  }
  return r;
}

std::string join(const std::vector<std::string>& chars, size_t from, size_t to) {
  std::string s;
  for (size_t i = from; i < to; ++i) s += chars[i];
  return s;
}

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

// The result is the longest whole-character prefix of the reference that
// fits; odd capacities pass no out-status.
TEST(Trim, EverySetMatchesReferenceAtEveryCapacity) {
  std::mt19937 rng(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const std::vector<std::string> chars = pool(set);
    if (chars.size() < 4) continue;
    const Cut cut = h->flags & CSH_SIMPLE_CASE       ? Cut::Bytes
                    : h->flags & CSH_FIXED_WIDTH     ? Cut::Units
                    : h->flags & CSH_SHIFT_SENSITIVE ? Cut::Shifted
                                                     : Cut::Chars;
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
      const std::string whole = join(text, 0, text.size());
      const Bytes src = env().encode(set, whole);
      for (uint32_t options : {0x1u, 0x2u, 0x3u, 0x4u}) {
        if (options == TRIM_SINGLE) trimSet.resize(1);
        const Bytes setBytes = env().encode(set, join(trimSet, 0, trimSet.size()));
        SCOPED_TRACE("options " + std::to_string(options) + " text " + whole + " set " +
                     join(trimSet, 0, trimSet.size()));
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

struct Row {
  const char* collation;
  const char* text;
  const char* set;  // null: the default
  uint32_t options;
  const char* expected;
  uint32_t outStatus;
};

// The default set, the blank class, options without a side, a set of more
// than one character where SQL TRIM takes one (status 256, null), and
// linguistic rows (the set is tried again from its first character; a match
// covers a combining mark).
const Row kRows[] = {
    {nullptr, "  ab  ", nullptr, 0x4, "ab", 0},
    {nullptr, "  ab  ", nullptr, 0x10004, "ab", 0},
    {nullptr, "  ab  ", nullptr, 0x1, "ab  ", 0},
    {nullptr, "  ab  ", nullptr, 0x2, "  ab", 0},
    {nullptr, "  ab  ", nullptr, 0x0, "  ab  ", 0},
    {nullptr, "  ab  ", nullptr, 0x8, "  ab  ", 0},
    {nullptr, "abbaXab", "ab", 0x4, "", 256},
    {nullptr, "😀a😀", "😀", 0x4, "a", 0},
    {nullptr, "😀a😀", "😀😀", 0x4, "", 256},
    {"CI", "xXaXx", "x", 0x4, "a", 0},
    {"CI", "XxaB", "x", 0x1, "aB", 0},
    {"CI", "aBXx", "x", 0x2, "aB", 0},
    {"CI", "bABc", "ab", 0x1, "c", 0},
    {"CI", "ÉaÉ", "é", 0x3, "a", 0},
    {"AI", "ÉaÈe", "e", 0x3, "a", 0},
    {"CI", "xxx", "x", 0x3, "", 0},
    {"AI", "e\u0301xe\u0301", "e", 0x3, "x", 0},
};

TEST(Trim, RowsInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const Row& row : kRows) {
      const CharsetHandle* h = env().handle(set, row.collation);
      const Bytes src = env().held(set, row.text);
      const Bytes trimSet = row.set ? env().held(set, row.set) : Bytes{};
      if (src.empty() || (row.set && trimSet.empty())) continue;
      // A fixed-width set's default blank starts with a zero byte: no default.
      if (!row.set && (h->flags & (CSH_FIXED_WIDTH | CSH_SIMPLE_CASE)) == CSH_FIXED_WIDTH) continue;
      SCOPED_TRACE(set + " text " + row.text + " options " + std::to_string(row.options) + " " +
                   (row.collation ? row.collation : ""));
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

// Byte rows of single paths: a shift-sensitive run closed inside the
// capacity; the double-byte blank in the blank class; the EBCDIC default
// blank; the linguistic cuts (whole UTF-8 characters, no split pair, no
// report); all trimmed without a destination, or an empty source, gives
// null.  None reports a truncation.
TEST(Trim, PathRows) {
  const auto e = [](const char* set, const char* utf8) { return env().encode(set, utf8); };
  const Bytes ebcdic = {0x40, 0xC1, 0x40}, wide = e("IBM-930", "\u3000a\u3000");
  const struct {
    const char* set;
    const char* collation;
    Bytes text, trimSet;  // an empty set passes none
    uint32_t options;
    int64_t capacity;
    Bytes expected;
  } rows[] = {
      {"IBM-930", nullptr, e("IBM-930", "中中a"), e("IBM-930", "a"), 0x2, 6, e("IBM-930", "中中")},
      {"IBM-930", nullptr, e("IBM-930", "中中a"), e("IBM-930", "a"), 0x2, 7, e("IBM-930", "中中")},
      {"IBM-930", nullptr, wide, {0x40}, 0x10003, 16, e("IBM-930", "a")},
      {"IBM-930", nullptr, wide, {0x40}, 0x3, 16, wide},
      {"IBM-1047", nullptr, ebcdic, {}, 0x4, kNoDestination, {0xC1}},
      {"ISO-8859-1", nullptr, ebcdic, {}, 0x4, kNoDestination, ebcdic},
      {"AL32UTF8", "CI", e("AL32UTF8", "abc中X"), {'x'}, 0x2, 5, lxktest::bytes("abc")},
      {"AL16UTF16", "CI", e("AL16UTF16", "ab😀X"), e("AL16UTF16", "x"), 0x2, 6,
       e("AL16UTF16", "ab")},
      {"AL32UTF8", "CI", lxktest::bytes("xX"), {'x'}, 0x4, kNoDestination, {}},
      {"AL32UTF8", nullptr, {}, {'x'}, 0x4, 4, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.set) + " " + ::testing::PrintToString(row.text));
    const Trimmed r = trim(env().handle(row.set, row.collation), row.text,
                           row.trimSet.empty() ? nullptr : &row.trimSet, row.options, row.capacity);
    EXPECT_EQ(r.bytes, row.expected);
    EXPECT_EQ(r.status, NLS_STATUS_OK);
    EXPECT_EQ(r.outStatus, 0u);
    if (row.expected.empty() && (row.text.empty() || row.capacity < 0)) {
      EXPECT_EQ(r.pointer, nullptr);
    }
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

// Random bytes from a few values crowd the ends with lead bytes, cut
// characters and trim characters.
TEST(Trim, LeadBytePathMatchesForwardWalkOnRandomBytes) {
  std::mt19937 rng(3);
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    if (h->flags & (CSH_SIMPLE_CASE | CSH_FIXED_WIDTH | CSH_SHIFT_SENSITIVE)) continue;
    SCOPED_TRACE(set);
    for (int round = 0; round < 400; ++round) {
      uint8_t values[4];
      for (uint8_t& v : values) v = static_cast<uint8_t>(rng());
      values[0] = static_cast<uint8_t>(0x30 + rng() % 10);  // digits for the four-byte rule
      Bytes src(1 + rng() % 24), trimSet(1 + rng() % 4);
      for (uint8_t& b : src) b = values[rng() % 4];
      for (uint8_t& b : trimSet) b = values[rng() % 4];
      // The entry keeps the set's whole characters.
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

}  // namespace
