// TRANSLATE against a reference mapping character by character, in every
// set and at every capacity; rows for the byte paths and linguistic rows.
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

// A capacity below 0 passes no destination.
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

std::vector<std::string> pool(const std::string& set,
                              const std::vector<std::string>& from = lxktest::sampleChars()) {
  std::vector<std::string> held;
  for (const std::string& ch : from)
    if (!env().held(set, ch).empty()) held.push_back(ch);
  return held;
}

// The output stops at the first character that does not fit (with its
// shift bytes), or, in byte-mapped sets, once the capacity is used up with
// source left.
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

// Duplicates in the from-list; to-lists shorter and longer.
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

// Rows the random lists never reach: an empty from-list, the byte paths'
// switch from a direct search to tables at a product of 300 (20 x 15 against
// 20 x 14), and malformed UTF-8 (a stray byte is a character, one cut by the
// end goes).
TEST(Translate, Rows) {
  const auto b = [](const char* s) { return lxktest::bytes(s); };
  const char* kText = "aabbccddeeffgghhiijj";
  const struct {
    const char* set;
    Bytes text, from, to;
    int64_t capacity;
    Bytes expected;
    int32_t status;
  } rows[] = {
      {"ISO-8859-1", b("abc"), {}, {}, 2, b("ab"), NLS_STATUS_TRUNCATED},
      {"ISO-8859-1", b(kText), b("aacdefghijklmno"), b("xyzCDEFGHIJ"), 64,
       b("xxbbzzCCDDEEFFGGHHII"), NLS_STATUS_OK},
      {"ISO-8859-1", b(kText), b("aacdefghijklmn"), b("xyzCDEFGHIJ"), 64, b("xxbbzzCCDDEEFFGGHHII"),
       NLS_STATUS_OK},
      {"ISO-8859-1", b(kText), b("aacdefghijklmno"), b("xyz"), 64, b("xxbbzz"), NLS_STATUS_OK},
      {"ISO-8859-1", b(kText), b("aacdefghijklmno"), b("xyz"), 4, b("xxbb"), NLS_STATUS_TRUNCATED},
      {"ISO-8859-1", b(kText), b("aacdefghijklmno"), b("xyzCDEFGHIJKLMN"), 4, b("xxbb"),
       NLS_STATUS_TRUNCATED},
      {"AL32UTF8",
       {'a', 0x80, 0xE4, 'b', 0xC3, 0xA9, 0xE4, 0xB8},
       {0x80, 0xC3, 0xA9},
       {'x', 'y'},
       16,
       {'a', 'x', 0xE4, 'b', 0xC3, 0xA9},
       NLS_STATUS_OK},
  };
  for (const auto& row : rows) {
    const Translated r = translate(env().handle(row.set), row.text, row.from, row.to, row.capacity);
    EXPECT_EQ(r.bytes, row.expected) << row.set << " " << ::testing::PrintToString(row.from);
    EXPECT_EQ(r.status, row.status) << row.set << " " << ::testing::PrintToString(row.from);
  }
  // A missing source writes nothing and clears the status.
  uint8_t out[4] = {};
  env().ctx()->status = NLS_STATUS_TRUNCATED;
  EXPECT_EQ(
      lxkTranslate(out, 4, nullptr, 3, "a", 1, "b", 1, env().handle("ISO-8859-1"), env().ctx()),
      0u);
  EXPECT_EQ(env().ctx()->status, NLS_STATUS_OK);
}

// Lists longer than the paths' local tables hold.
TEST(Translate, LongLists) {
  const std::string from =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-*/<>=!?@#éü中ß";
  std::string to = "Ω中";
  for (const std::string& ch : lxktest::chars(from)) to = ch + to;
  const std::string text = "a#é中ßxq";
  for (const std::string set : {"AL32UTF8", "UTF8", "GB18030", "ISO-8859-1"}) {
    const auto chars = [&](const std::string& s) { return pool(set, lxktest::chars(s)); };
    const Expected e = reference(set, chars(text), chars(from), chars(to), INT64_MAX);
    const Translated r =
        translate(env().handle(set), env().encode(set, join(chars(text))),
                  env().encode(set, join(chars(from))), env().encode(set, join(chars(to))), 256);
    EXPECT_EQ(r.bytes, env().encode(set, e.utf8)) << set;
  }
}

TEST(Translate, LinguisticRowsInEverySet) {
  const struct {
    const char *collation, *text, *from, *to, *expected;
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
