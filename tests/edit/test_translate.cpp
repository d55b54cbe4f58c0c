// TRANSLATE against a reference written here: texts and lists built from
// characters the set holds, mapped character by character and encoded
// again, in every set of the catalogue and at every capacity; the edge rows
// of the byte paths; linguistic rows.
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

struct Translated {
  Bytes bytes;
  int32_t status;
};

// lxkTranslate on guarded copies; a capacity below 0 passes no destination.
Translated translate(const CharsetHandle* h, const Bytes& text, const Bytes& from, const Bytes& to,
                     int64_t capacity) {
  static lxktest::GuardedBuffer src, fromBuffer, toBuffer, out;
  src.assign(text.data(), text.size());
  fromBuffer.assign(from.data(), from.size());
  toBuffer.assign(to.data(), to.size());
  uint8_t* dst = capacity < 0 ? nullptr : out.tail(static_cast<size_t>(capacity));
  env().ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  const uint32_t n =
      lxkTranslate(dst, static_cast<uint32_t>(std::max<int64_t>(capacity, 0)), src.data(),
                   static_cast<uint32_t>(text.size()), from.empty() ? nullptr : fromBuffer.data(),
                   static_cast<uint32_t>(from.size()), to.empty() ? nullptr : toBuffer.data(),
                   static_cast<uint32_t>(to.size()), h, env().ctx());
  EXPECT_LE(n, std::max<int64_t>(capacity, 0));
  return {dst ? Bytes(dst, dst + std::min<int64_t>(n, std::max<int64_t>(capacity, 0))) : Bytes{},
          env().ctx()->status};
}

std::string join(const std::vector<std::string>& chars) {
  std::string s;
  for (const std::string& ch : chars) s += ch;
  return s;
}

// Every sample character a set holds.
std::vector<std::string> pool(const std::string& set) {
  std::vector<std::string> held;
  for (const std::string& ch : lxktest::sampleChars())
    if (!env().held(set, ch).empty()) held.push_back(ch);
  return held;
}

// The reference: each character looked up in the from-list (first
// occurrence), replaced, deleted or kept; the output stops at the first
// character that does not fit (with its shift bytes), or, in byte-mapped
// sets, as soon as the capacity is used up with source left.
struct Expected {
  std::string utf8;
  bool truncated = false;
};

Expected reference(const std::string& set, const std::vector<std::string>& text,
                   const std::vector<std::string>& from, const std::vector<std::string>& to,
                   int64_t capacity) {
  const bool byteMapped = (env().handle(set)->flags & CSH_SIMPLE_CASE) != 0;
  Expected e;
  size_t used = 0;
  for (const std::string& ch : text) {
    if (byteMapped && static_cast<int64_t>(used) == capacity) return {e.utf8, true};
    const auto hit = std::find(from.begin(), from.end(), ch);
    std::string mapped = ch;
    if (hit != from.end()) {
      const size_t k = static_cast<size_t>(hit - from.begin());
      if (k >= to.size()) continue;
      mapped = to[k];
    }
    const size_t bytes = env().encode(set, e.utf8 + mapped).size();
    if (static_cast<int64_t>(bytes) > capacity) return {e.utf8, true};
    e.utf8 += mapped;
    used = bytes;
  }
  return e;
}

// Random texts and lists (duplicates in the from-list, to-lists shorter
// and longer) in every set, at every capacity: the result and the report.
TEST(Translate, EverySetMatchesReferenceAtEveryCapacity) {
  std::mt19937 rng(5);
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const std::vector<std::string> chars = pool(set);
    if (chars.size() < 4) continue;
    const bool shifted = (h->flags & CSH_SHIFT_SENSITIVE) != 0;
    for (int round = 0; round < 10; ++round) {
      auto pick = [&](size_t n) {
        std::vector<std::string> out;
        for (size_t i = 0; i < n; ++i) out.push_back(chars[rng() % (chars.size() / 2 + 1)]);
        return out;
      };
      const std::vector<std::string> text = pick(1 + rng() % 12), from = pick(1 + rng() % 5),
                                     to = pick(rng() % 6);
      const Bytes src = env().encode(set, join(text)), fromBytes = env().encode(set, join(from)),
                  toBytes = env().encode(set, join(to));
      SCOPED_TRACE("text " + join(text) + " from " + join(from) + " to " + join(to));
      const Expected full = reference(set, text, from, to, INT64_MAX);
      const int64_t fullSize = static_cast<int64_t>(env().encode(set, full.utf8).size());
      for (int64_t capacity = -1; capacity <= fullSize + 2; ++capacity) {
        const Translated r = translate(h, src, fromBytes, toBytes, capacity);
        const Expected e = reference(set, text, from, to, std::max<int64_t>(capacity, 0));
        if (shifted)
          ASSERT_EQ(env().decode(set, r.bytes.data(), r.bytes.size()), e.utf8)
              << "capacity " << capacity;
        else
          ASSERT_EQ(r.bytes, env().encode(set, e.utf8)) << "capacity " << capacity;
        EXPECT_EQ(r.status, e.truncated ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK)
            << "capacity " << capacity;
      }
    }
  }
}

// The byte paths: a direct search below a product of 300, tables from it on.
TEST(Translate, BytePathRows) {
  const CharsetHandle* h = env().handle("ISO-8859-1");
  const struct {
    std::string text, from, to;
    int64_t capacity;
    std::string expected;
    int32_t status;
  } rows[] = {
      {"abcabc", "ab", "x", 16, "xcxc", NLS_STATUS_OK},
      {"abcabc", "aa", "xy", 16, "xbcxbc", NLS_STATUS_OK},
      {"abc", "c", "", 2, "ab", NLS_STATUS_TRUNCATED},
      {"abc", "", "", 2, "ab", NLS_STATUS_TRUNCATED},
      {"abc", "", "", 3, "abc", NLS_STATUS_OK},
      {"abc", "a", "", 0, "", NLS_STATUS_TRUNCATED},
      // 20 x 15 = 300 takes the tables, 20 x 14 = 280 the search.
      {"aabbccddeeffgghhiijj", "aacdefghijklmno", "xyzCDEFGHIJ", 64, "xxbbzzCCDDEEFFGGHHII",
       NLS_STATUS_OK},
      {"aabbccddeeffgghhiijj", "aacdefghijklmn", "xyzCDEFGHIJ", 64, "xxbbzzCCDDEEFFGGHHII",
       NLS_STATUS_OK},
      {"aabbccddeeffgghhiijj", "aacdefghijklmno", "xyz", 64, "xxbbzz", NLS_STATUS_OK},
      {"aabbccddeeffgghhiijj", "aacdefghijklmno", "xyz", 4, "xxbb", NLS_STATUS_TRUNCATED},
  };
  for (const auto& row : rows) {
    const Translated r = translate(h, lxktest::bytes(row.text), lxktest::bytes(row.from),
                                   lxktest::bytes(row.to), row.capacity);
    EXPECT_EQ(r.bytes, lxktest::bytes(row.expected)) << row.text << " " << row.from;
    EXPECT_EQ(r.status, row.status) << row.text << " " << row.from;
  }
  // A missing source writes nothing and clears the status.
  uint8_t out[4] = {};
  env().ctx()->status = NLS_STATUS_TRUNCATED;
  EXPECT_EQ(lxkTranslate(out, 4, nullptr, 3, "a", 1, "b", 1, h, env().ctx()), 0u);
  EXPECT_EQ(env().ctx()->status, NLS_STATUS_OK);
}

// Malformed UTF-8 in the UTF-8 forms: the inline path keeps the lead-byte
// walk's characters (a stray byte is a character of its own) and drops a
// character cut by the end.
TEST(Translate, MalformedUtf8) {
  const CharsetHandle* h = env().handle("AL32UTF8");
  const Bytes text = {'a', 0x80, 0xE4, 'b', 0xC3, 0xA9, 0xE4, 0xB8};
  EXPECT_EQ(translate(h, text, {0x80, 0xC3, 0xA9}, {'x', 'y'}, 16).bytes,
            (Bytes{'a', 'x', 0xE4, 'b', 0xC3, 0xA9}));
}

// Lists longer than the paths keep in local tables: the 70th character and
// those after it map like the first ones.
TEST(Translate, LongLists) {
  const std::string from =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-*/<>=!?@#éü中ß";
  std::string to = "Ω中";
  for (const std::string& ch : lxktest::chars(from)) to = ch + to;
  const std::string text = "a#é中ßxq";
  for (const std::string set : {"AL32UTF8", "UTF8", "GB18030", "ISO-8859-1"}) {
    SCOPED_TRACE(set);
    const auto chars = [&](const std::string& s) {
      std::vector<std::string> held;
      for (const std::string& ch : lxktest::chars(s))
        if (!env().held(set, ch).empty()) held.push_back(ch);
      return held;
    };
    const Expected e = reference(set, chars(text), chars(from), chars(to), INT64_MAX);
    const Translated r =
        translate(env().handle(set), env().encode(set, join(chars(text))),
                  env().encode(set, join(chars(from))), env().encode(set, join(chars(to))), 256);
    EXPECT_EQ(r.bytes, env().encode(set, e.utf8));
  }
}

// Linguistic rows in every set that holds them: a from-list character
// matches its case (CI) or accent (AI) variants, and a composed source
// sequence as a whole.
TEST(Translate, LinguisticRowsInEverySet) {
  const struct {
    const char* collation;
    const char* text;
    const char* from;
    const char* to;
    const char* expected;
  } rows[] = {
      {"CI", "aAbB", "a", "z", "zzbB"},   {"CI", "aAbB", "ab", "z", "zz"},
      {"CI", "ÉéE", "é", "x", "xxE"},     {"AI", "éÉeè", "e", "x", "xxxx"},
      {"AI", "e\u0301a", "e", "x", "xa"}, {"CI", "aAa", "aa", "xy", "xxx"},
  };
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const auto& row : rows) {
      const Bytes src = env().held(set, row.text), from = env().held(set, row.from),
                  to = env().held(set, row.to);
      if (src.empty() || from.empty() || to.empty()) continue;
      SCOPED_TRACE(set + " " + row.collation + " " + row.text);
      const Translated r = translate(env().handle(set, row.collation), src, from, to, 64);
      EXPECT_EQ(env().decode(set, r.bytes.data(), r.bytes.size()), row.expected);
      EXPECT_EQ(r.status, NLS_STATUS_OK);
    }
  }
}

}  // namespace
