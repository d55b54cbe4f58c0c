// REPLACE across the catalogue at every capacity; the byte-wise path and
// the core's; an explicit character set switched in and back.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Replaced {
  std::string utf8;  // the output decoded
  uint32_t bytes;
  int32_t status;
  uint32_t resultWord;
};

Replaced replace(const std::string& set, CharsetHandle* handle, const Bytes& text,
                 const Bytes& search, const Bytes& with, uint32_t capacity,
                 uint32_t charsetId = 0) {
  static lxktest::GuardedBuffer src, out;
  src.assign(text.data(), text.size());
  uint32_t resultWord = 77;
  env().ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  uint8_t* dst = out.tail(capacity);
  const uint32_t n =
      lxkReplace(dst, capacity, src.data(), static_cast<uint32_t>(text.size()), search.data(),
                 static_cast<uint32_t>(search.size()), with.data(),
                 static_cast<uint32_t>(with.size()), charsetId, &resultWord, handle, env().ctx());
  EXPECT_LE(n, capacity) << set;
  return {env().decode(set, dst, std::min(n, capacity)), n, env().ctx()->status, resultWord};
}

TEST(Replace, RowsInEverySetAtEveryCapacity) {
  const struct {
    std::string text, search, with, expected;
  } rows[] = {{"abcabc", "b", "XY", "aXYcaXYc"}, {"aaa", "aa", "b", "ba"},
              {"abc", "", "X", "abc"},           {"ab", "abc", "X", "ab"},
              {"xaxbx", "x", "--", "--a--b--"},  {"中文中", "中", "é", "é文é"},
              {"x😀y😀", "😀", "", "xy"},           {"", "a", "b", ""}};
  for (const std::string& set : lxktest::stringCharsets()) {
    CharsetHandle handle = *env().handle(set);
    for (const auto& row : rows) {
      const Bytes text = env().held(set, row.text), search = env().held(set, row.search),
                  with = env().held(set, row.with), expected = env().held(set, row.expected);
      if ((text.empty() && !row.text.empty()) || (search.empty() && !row.search.empty()) ||
          (with.empty() && !row.with.empty()))
        continue;
      for (uint32_t capacity = 0; capacity <= expected.size() + 1; ++capacity) {
        std::string kept, next;  // the longest whole-character prefix within the capacity
        for (const std::string& ch : lxktest::chars(row.expected))
          if (env().encode(set, next += ch).size() <= capacity) kept = next;
        const Replaced r = replace(set, &handle, text, search, with, capacity);
        const std::string trace = set + " " + row.text + " capacity " + std::to_string(capacity);
        EXPECT_EQ(r.utf8, kept) << trace;
        EXPECT_EQ(r.status, kept == row.expected ? NLS_STATUS_OK : NLS_STATUS_TRUNCATED) << trace;
        EXPECT_EQ(r.resultWord, 77u) << trace;
      }
    }
  }
}

// Only binary single-byte sets replace byte-wise, leaving the core's count.
TEST(Replace, ByteWiseOnlyForBinarySingleByteSets) {
  const struct {
    const char* set;
    const char* collation;
    bool byteWise;
  } rows[] = {{"ISO-8859-1", nullptr, true}, {"IBM-1047", nullptr, true},
              {"ISO-8859-1", "CI", false},   {"ISO-8859-1", "AI", false},
              {"AL32UTF8", nullptr, false},  {"IBM-930", nullptr, false}};
  for (const auto& row : rows) {
    CharsetHandle handle = *env().handle(row.set, row.collation);
    const Bytes text = env().encode(row.set, "xyzzy"), search = env().encode(row.set, "zz"),
                with = env().encode(row.set, "-");
    env().ctx()->lastByteCount = 12345;
    const Replaced r = replace(row.set, &handle, text, search, with, 64);
    EXPECT_EQ(r.utf8, "xy-y") << row.set;
    EXPECT_EQ(env().ctx()->lastByteCount == 12345, row.byteWise) << row.set;
  }
}

TEST(Replace, ExplicitCharacterSetSwitchedInAndBack) {
  CharsetHandle handle = *env().handle("AL32UTF8");
  const CharsetHandle before = handle;
  const Bytes text = {'c', 'a', 'f', 0xE9, '!'}, search = {0xE9}, with = {'e', 0xE8};
  const Replaced r = replace("ISO-8859-1", &handle, text, search, with, 64, 31);
  EXPECT_EQ(r.utf8, "cafeè!");
  EXPECT_EQ(r.status, NLS_STATUS_OK);
  EXPECT_EQ(lxhcsn(&handle, env().ctx()), static_cast<uint32_t>(CSID_AL32UTF8));
  EXPECT_EQ(std::memcmp(&handle, &before, sizeof handle), 0);

  for (uint32_t bad : {9999u, 2002u}) {  // unknown, and a set for conversion only
    const Replaced none = replace("AL32UTF8", &handle, text, search, with, 64, bad);
    EXPECT_EQ(none.bytes, 0u) << bad;
    EXPECT_EQ(none.resultWord, LXK_RESULT_BAD_CHARSET) << bad;
    EXPECT_EQ(none.status, NLS_STATUS_OK) << bad;
    EXPECT_EQ(std::memcmp(&handle, &before, sizeof handle), 0) << bad;
  }
}

}  // namespace
