// ASCIISTR and UNISTR: table rows for the edge cases, then the two against
// each other on random text in every set of the catalogue: the escapes of a
// text, read back, give the text's UTF-16 form, at every capacity the
// escapes are whole.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Call {
  Bytes out;
  uint32_t resultWord = 99;
  int32_t status = 0;
  uint32_t convertedChars = 0;
};

Call asciistr(const std::string& set, const Bytes& text, int32_t id, uint32_t capacity) {
  static lxktest::GuardedBuffer src, dst;
  src.assign(text.data(), text.size());
  uint8_t* out = dst.tail(capacity);
  Call c;
  env().ctx()->status = 0;
  const uint32_t n = lxkAsciistr(out, capacity, src.data(), static_cast<uint32_t>(text.size()), id,
                                 &c.resultWord, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity);
  c.out.assign(out, out + std::min(n, capacity));
  c.status = env().ctx()->status;
  return c;
}

Call unistr(const std::string& set, const Bytes& text, int32_t id, uint32_t capacity,
            const std::string& dstSet = "AL32UTF8") {
  static lxktest::GuardedBuffer src, dst;
  src.assign(text.data(), text.size());
  uint8_t* out = dst.tail(capacity);
  Call c;
  env().ctx()->status = 6;
  const uint32_t n = lxkUnistr(out, capacity, src.data(), static_cast<uint32_t>(text.size()), id,
                               &c.resultWord, env().handle(set), env().handle(dstSet), env().ctx());
  EXPECT_LE(n, capacity);
  c.out.assign(out, out + std::min(n, capacity));
  c.status = env().ctx()->status;
  c.convertedChars = env().ctx()->convertedChars;
  return c;
}

Bytes ascii(const std::string& s) { return lxktest::bytes(s); }

TEST(Asciistr, EdgeRows) {
  struct Row {
    const char* set;
    Bytes src;
    int32_t id;
    uint32_t capacity;
    std::string out;
    uint32_t resultWord;
    int32_t status;
  } rows[] = {
      {"AL32UTF8", ascii("a\\b"), 0, 64, "a\\005Cb", 99, 0},
      {"ISO-8859-1", {0xE9}, 0, 64, "\\00E9", 99, 0},
      {"AL32UTF8", {0xF0, 0x9F, 0x98, 0x80}, 0, 64, "\\D83D\\DE00", 99, 0},
      {"AL32UTF8", {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, CSID_UTF8, 64, "\\D83D\\DE00", 99, 0},
      {"AL32UTF8", {0x00, 0x61, 0x00, 0xE9, 0x00}, CSID_AL16UTF16, 64, "a\\00E9", 99, 0},
      {"AL32UTF8", {0xC3, 0xA9}, 0, 4, "", 99, 6},
      {"AL32UTF8", ascii("ab"), 0, 1, "a", 99, 6},
      {"AL32UTF8", ascii("ab"), CSID_AL32UTF8, 64, "", 1, 32},
      {"AL32UTF8", ascii("ab"), 1, 64, "", 1, 32},
      {"AL32UTF8", {0x61, 0xFF, 0x62}, 0, 64, "a", 99, 32},
      {"AL32UTF8", {0x61, 0xE4, 0xB8}, 0, 64, "a", 99, 0},
      {"GB18030", {0x81, 0x30, 0x81, 0x30, 0x41}, 0, 64, "\\0080A", 99, 0},
      {"IBM-930", {0xC1, 0x0E, 0x44, 0x5A, 0x0F, 0xC2, 0x40}, 0, 64, "A\\2010B ", 99, 0},
      {"IBM-1047", {0xC1, 0x40, 0xE0}, 0, 64, "A \\005C", 99, 0},
      {"SHIFT_JIS", {0x83, 0x5C, 0x5C}, 0, 64, "\\30BD\\005C", 99, 0},
  };
  for (const Row& r : rows) {
    const Call c = asciistr(r.set, r.src, r.id, r.capacity);
    EXPECT_EQ(std::string(c.out.begin(), c.out.end()), r.out) << r.set << " " << r.out;
    EXPECT_EQ(c.resultWord, r.resultWord) << r.out;
    EXPECT_EQ(c.status, r.status) << r.out;
  }
  // The zero byte stored first; nothing through a null destination.
  uint8_t out[4] = {7, 7, 7, 7};
  EXPECT_EQ(lxkAsciistr(out, 4, ascii("\xC3\xA9").data(), 2, 0, nullptr, env().handle("AL32UTF8"),
                        env().ctx()),
            0u);
  EXPECT_EQ(out[0], 0);
  out[0] = 7;
  EXPECT_EQ(lxkAsciistr(out, 4, nullptr, 0, 0, nullptr, env().handle("AL32UTF8"), env().ctx()), 0u);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(lxkAsciistr(nullptr, 4, out, 1, 0, nullptr, env().handle("AL32UTF8"), env().ctx()), 0u);
  EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED);
}

TEST(Unistr, EdgeRows) {
  struct Row {
    const char* set;
    Bytes src;
    int32_t id;
    uint32_t capacity;
    Bytes out;
    uint32_t resultWord;
    int32_t status;
    uint32_t chars;
  } rows[] = {
      {"AL32UTF8", ascii("a\\00E9b"), CSID_AL16UTF16, 64, {0, 0x61, 0, 0xE9, 0, 0x62}, 99, 0, 3},
      {"AL32UTF8", ascii("\\\\"), CSID_AL16UTF16, 64, {0, 0x5C}, 99, 0, 1},
      {"AL32UTF8", ascii("\\"), CSID_AL16UTF16, 64, {}, 16, 0, 0},
      {"AL32UTF8", ascii("ab\\12G4"), CSID_UTF8, 64, ascii("ab"), 16, 0, 2},
      {"AL32UTF8", ascii("a\\12"), CSID_UTF8, 64, ascii("a"), 16, 0, 1},
      {"AL32UTF8",
       ascii("\\D83D\\DE00"),
       CSID_UTF8,
       64,
       {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80},
       99,
       0,
       2},
      {"AL32UTF8", ascii("a"), CSID_AL32UTF8, 64, {}, 1, 32, 0},
      {"AL32UTF8", ascii("abc"), CSID_AL16UTF16, 3, {0, 0x61}, 2, 6, 1},
      {"AL32UTF8", ascii("\\00E9"), CSID_UTF8, 1, {}, 2, 6, 0},
      {"AL32UTF8", ascii("x\\00e9"), 0, 64, {0x78, 0xC3, 0xA9}, 99, 0, 2},
      // EBCDIC digits (F0..F9, C1..C6), and the special table of id 835.
      {"IBM-1047", {0x5C, 0xF0, 0xF0, 0xC5, 0xF9}, CSID_AL16UTF16, 64, {0, 0xE9}, 99, 0, 1},
      {"IBM-1047", {0x5C, 0xF0, 0xF0, 0x62, 0xF9}, CSID_AL16UTF16, 64, {}, 16, 0, 0},
      {"IBM-930", {0x5C, 0xF0, 0xF0, 0x66, 0xF9}, CSID_AL16UTF16, 64, {0, 0xE9}, 99, 0, 1},
      {"AL16UTF16",
       {0, 0x5C, 0, 0x30, 0, 0x30, 0, 0x45, 0, 0x39, 0, 0x61},
       CSID_UTF8,
       64,
       {0xC3, 0xA9, 0x61},
       99,
       0,
       2},
      {"AL16UTF16", {0, 0x5C, 0, 0x30, 0, 0x30}, CSID_UTF8, 64, {}, 16, 0, 0},
      {"SHIFT_JIS",
       {0x83, 0x5C, 0x5C, 0x30, 0x30, 0x45, 0x39},
       CSID_AL16UTF16,
       64,
       {0x30, 0xBD, 0, 0xE9},
       99,
       0,
       2},
      {"IBM-930",
       {0x0E, 0x44, 0x5A, 0x0F, 0x5C, 0xF0, 0xF0, 0xC5, 0xF9, 0x0E, 0x44, 0x5A, 0x0F},
       CSID_AL16UTF16,
       64,
       {0x20, 0x10, 0, 0xE9, 0x20, 0x10},
       99,
       0,
       3},
  };
  for (const Row& r : rows) {
    const Call c = unistr(r.set, r.src, r.id, r.capacity);
    EXPECT_EQ(c.out, r.out) << r.set << " row " << (&r - rows);
    EXPECT_EQ(c.resultWord, r.resultWord) << "row " << (&r - rows);
    EXPECT_EQ(c.status, r.status) << "row " << (&r - rows);
    EXPECT_EQ(c.convertedChars, r.chars) << "row " << (&r - rows);
  }
  // Capacity 0: truncation only when there is something to convert.
  Call c = unistr("AL32UTF8", ascii("a"), CSID_AL16UTF16, 0);
  EXPECT_EQ(c.resultWord, 2u);
  EXPECT_EQ(c.status, 6);
  c = unistr("AL32UTF8", {}, CSID_AL16UTF16, 0);
  EXPECT_EQ(c.resultWord, 99u);
  EXPECT_EQ(c.status, 0);
}

// Random text of the characters a set holds, with backslashes among them.
std::string randomText(std::mt19937& rng, const std::vector<std::string>& pool, size_t n) {
  std::string s;
  for (size_t i = 0; i < n; ++i) s += pool[rng() % pool.size()];
  return s;
}

Bytes utf16Of(const std::string& utf8) { return env().encode("AL16UTF16", utf8); }

TEST(AsciistrUnistr, RoundTripInEverySet) {
  std::mt19937 rng(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    const bool asciiBased = (env().definition(set)->definitionFlags & CSD_ASCII) != 0;
    std::vector<std::string> pool;
    for (const std::string& ch : lxktest::sampleChars())
      if (!env().held(set, ch).empty() && ch != "*") pool.push_back(ch);
    pool.push_back("\\");
    for (int round = 0; round < 20; ++round) {
      const std::string text = randomText(rng, pool, 1 + rng() % 24);
      const Bytes source = env().encode(set, text);
      const Call escaped = asciistr(set, source, 0, 1024);
      ASSERT_EQ(escaped.status, 0) << set << " " << text;
      for (uint8_t b : escaped.out) ASSERT_LT(b, 0x80) << set;

      // Read back from an ASCII set and from the set itself (EBCDIC sets
      // take the escapes in their own codes, with 0x5C for the backslash).
      Bytes inSet = env().encode(set, std::string(escaped.out.begin(), escaped.out.end()));
      if (!asciiBased) {
        const Bytes backslash = env().encode(set, "\\");
        Bytes fixed;
        for (size_t i = 0; i < inSet.size(); ++i) {
          if (backslash.size() == 1 && inSet[i] == backslash[0]) {
            fixed.push_back(0x5C);
          } else {
            fixed.push_back(inSet[i]);
          }
        }
        inSet = fixed;
      }
      const Bytes expected = utf16Of(text);
      EXPECT_EQ(unistr("US7ASCII", escaped.out, CSID_AL16UTF16, 4096).out, expected) << set;
      const Call back = unistr(set, inSet, CSID_AL16UTF16, 4096);
      EXPECT_EQ(back.out, expected) << set << " " << text;
      EXPECT_EQ(back.resultWord, 99u) << set;

      // Every cut keeps whole escapes and reports it.
      const uint32_t cut = static_cast<uint32_t>(rng() % (escaped.out.size() + 1));
      const Call part = asciistr(set, source, 0, cut);
      EXPECT_EQ(Bytes(escaped.out.begin(), escaped.out.begin() + part.out.size()), part.out);
      EXPECT_EQ(part.status, part.out.size() == escaped.out.size() ? 0 : 6) << set;
    }
  }
}

}  // namespace
