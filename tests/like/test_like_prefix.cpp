// The LIKE pattern prefix: the rows of every pattern shape in every set, the
// per-path escape statuses, EBCDIC wildcards and closed shifted runs.
#include <string>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Prefix {
  int32_t result;
  uint32_t status;
  Bytes prefix;
  uint32_t chars;
  uint8_t cls;
};

Prefix prefixOf(const std::string& set, const Bytes& pattern, const Bytes* escape) {
  static lxktest::GuardedBuffer p, e;
  p.assign(pattern.data(), pattern.size());
  if (escape != nullptr) e.assign(escape->data(), escape->size());
  Bytes out(pattern.size() + 1, 0xEE);
  uint32_t length = 99, chars = 99, status = 0;
  uint8_t cls = 0xFF;
  const int32_t r =
      lxkLikPatPref(p.data(), static_cast<uint32_t>(pattern.size()), escape ? e.data() : nullptr,
                    escape ? static_cast<uint32_t>(escape->size()) : 0, out.data(), 0, &length,
                    &chars, &cls, &status, env().handle(set), env().ctx());
  out.resize(length <= out.size() ? length : 0);
  return {r, status, out, chars, cls};
}

constexpr uint32_t kSeq = LIKE_STATUS_BAD_ESCAPE_SEQUENCE, kChar = LIKE_STATUS_BAD_ESCAPE_CHAR;

TEST(LikePrefix, RowsInEverySet) {
  const struct {
    const char* pattern;
    const char* escape;
    int32_t result;
    const char* prefix;
    uint8_t cls;
    uint32_t status;        // multibyte paths
    uint32_t singleStatus;  // single-byte path (and the cursor path before a wildcard)
  } rows[] = {
      {"", nullptr, 1, "", 0x01, 0, 0},        {"abc", nullptr, 1, "abc", 0x01, 0, 0},
      {"abc%", nullptr, 1, "abc", 0x06, 0, 0}, {"abc_", nullptr, 0, "abc", 0x0A, 0, 0},
      {"ab%c", nullptr, 0, "ab", 0x10, 0, 0},  {"%abc", nullptr, 0, "", 0x20, 0, 0},
      {"%", nullptr, 0, "", 0x40, 0, 0},       {"%_%", nullptr, 0, "", 0x40, 0, 0},
      {"a\\%b%", "\\", 1, "a%b", 0x06, 0, 0},  {"a\\\\%", "\\", 1, "a\\", 0x06, 0, 0},
      {"ab\\", "\\", 0, "", 0, kSeq, kChar},   {"ab\\x%", "\\", 0, "", 0, kSeq, kChar},
      {"a%b\\", "\\", 0, "a", 0, kSeq, kChar}, {"abc", "\\\\", 0, "", 0, kChar, kChar},
  };
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const bool single = h->flags & CSH_SINGLE_BYTE, shift = h->flags & CSH_SHIFT_SENSITIVE;
    for (const auto& row : rows) {
      const Bytes pattern = env().encode(set, row.pattern);
      const Bytes escape = row.escape ? env().encode(set, row.escape) : Bytes{};
      const Prefix got = prefixOf(set, pattern, row.escape ? &escape : nullptr);
      const std::string trace = set + " '" + row.pattern + "'";
      uint32_t status = single ? row.singleStatus : row.status;
      // The cursor path reports the single-byte status before the first
      // wildcard only.
      const bool afterWildcard = std::string(row.prefix) == "a" && row.cls == 0;
      if (shift && row.status == kSeq && !afterWildcard) status = kChar;
      EXPECT_EQ(got.status, status) << trace;
      EXPECT_EQ(got.result, row.result) << trace;
      if (status != 0 && row.cls == 0) {
        if (std::string(row.prefix) == "a") {
          EXPECT_EQ(got.chars, 1u) << trace;
        }
        continue;
      }
      EXPECT_EQ(got.cls, row.cls) << trace;
      EXPECT_EQ(got.prefix, env().encode(set, row.prefix)) << trace;
      EXPECT_EQ(got.chars, lxktest::chars(row.prefix).size()) << trace;
    }
  }
}

TEST(LikePrefix, ByteRows) {
  const Bytes none{};
  const struct {
    const char* set;
    Bytes pattern, escape;
    Prefix expected;
  } rows[] = {
      // EBCDIC single-byte: 0x6C and 0x6D are the wildcards, 0x25 and 0x5F not.
      {"IBM-1047", {0xC1, 0x6C}, none, {1, 0, {0xC1}, 1, 0x06}},
      {"IBM-1047", {0xC1, 0x25, 0x5F}, none, {1, 0, {0xC1, 0x25, 0x5F}, 3, 0x01}},
      // ASCII single-byte: 0x25 is the wildcard.
      {"WINDOWS-1252", {0x41, 0x6C, 0x25}, none, {1, 0, {0x41, 0x6C}, 2, 0x06}},
      // A shifted run closed: counted without a wildcard, not before one.
      {"IBM-930", {0x0E, 0x45, 0x41, 0x0F}, none, {1, 0, {0x0E, 0x45, 0x41, 0x0F}, 1, 0x01}},
      {"IBM-930", {0x0E, 0x45, 0x41, 0x0F, 0x6C}, none, {1, 0, {0x0E, 0x45, 0x41}, 1, 0x06}},
      // UTF-16: a unit cut short is not looked at; the escape is one unit.
      {"AL16UTF16", {0, 0x61, 0}, none, {1, 0, {0, 0x61}, 1, 0x01}},
      {"AL16UTF16", {0, 0x61}, {0x5C}, {0, kChar, {}, 0, 0}},
      // Multibyte characters are copied whole; a two-character escape is refused.
      {"AL32UTF8",
       env().encode("AL32UTF8", "中文%"),
       none,
       {1, 0, env().encode("AL32UTF8", "中文"), 2, 0x06}},
      {"GBK", {0x81, 0x25, 0x25}, none, {1, 0, {0x81, 0x25}, 1, 0x06}},
  };
  for (const auto& row : rows) {
    const Prefix got = prefixOf(row.set, row.pattern, row.escape.empty() ? nullptr : &row.escape);
    EXPECT_EQ(got.result, row.expected.result) << row.set;
    EXPECT_EQ(got.status, row.expected.status) << row.set;
    if (row.expected.status != 0) continue;
    EXPECT_EQ(got.prefix, row.expected.prefix) << row.set;
    EXPECT_EQ(got.chars, row.expected.chars) << row.set;
    EXPECT_EQ(got.cls, row.expected.cls) << row.set;
  }
  // A null prefix buffer: status 512 and nothing else written.
  uint32_t length = 7, status = 0;
  uint8_t cls = 7;
  EXPECT_EQ(lxkLikPatPref("a%", 2, nullptr, 0, nullptr, 0, &length, nullptr, &cls, &status,
                          env().handle("AL32UTF8"), env().ctx()),
            0);
  EXPECT_EQ(status, kChar);
  EXPECT_EQ(length + cls, 14u);
}

}  // namespace
