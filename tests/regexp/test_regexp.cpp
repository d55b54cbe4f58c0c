// The in-memory regular-expression functions: the compiled record, engine
// codes, and the SQL semantics checked against PCRE2 over UTF-8 in several
// character sets.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <random>

#include "regexp/regexp_support.h"

namespace lxktest {

ScratchCounter& scratch() {
  static ScratchCounter counter;
  return counter;
}

}  // namespace lxktest

// Every scratch block of the library and the engine comes through here.
extern "C" void* lxldalc(uint32_t, uint32_t size) {
  auto* block = static_cast<uint64_t*>(std::malloc(size + 16u));
  if (block == nullptr) return nullptr;
  block[0] = size;
  auto& c = lxktest::scratch();
  ++c.blocks;
  c.bytes += size;
  if (c.bytes > c.peakBytes) c.peakBytes = c.bytes;
  return block + 2;
}
extern "C" void lxldfre(uint32_t, void* p) {
  if (p == nullptr) return;
  auto* block = static_cast<uint64_t*>(p) - 2;
  auto& c = lxktest::scratch();
  --c.blocks;
  c.bytes -= static_cast<int64_t>(block[0]);
  std::free(block);
}

namespace lxktest {
namespace {

Bytes enc(const std::string& set, const std::string& utf8) { return env().encode(set, utf8); }

TEST(RegexpRecord, MatchParameterFlagsAndReuse) {
  struct Row {
    const char* param;
    int32_t rc;
    uint32_t flags;
    int32_t reusable;
  } rows[] = {
      {"", 0, 0x1, 1},   {"ic", 0, 0x3, 1},  {"ci", 0, 0x5, 1},   {"cc", 0, 0x3, 1},
      {"c", 0, 0x3, 1},  {"nm", 0, 0x19, 1}, {"mx", 0, 0x211, 0}, {"I", -14, 0, 0},
      {"i ", -14, 0, 0}, {"nnn", 0, 0x9, 1},
  };
  for (const Row& row : rows) {
    Compiled c("AL32UTF8", bytes("a(b)(c)"), row.param);
    EXPECT_EQ(c.rc(), row.rc) << row.param;
    EXPECT_EQ(c.record()->compileFlags, row.flags) << row.param;
    if (row.rc != 0) {
      const auto* raw = reinterpret_cast<const uint8_t*>(c.record());
      EXPECT_EQ(Bytes(raw, raw + sizeof(RegexRecord)), Bytes(sizeof(RegexRecord), 0));
      continue;
    }
    EXPECT_EQ(c.record()->subexpressionCount, 2);
    const std::string p = row.param;
    EXPECT_EQ(lxkRegexpReusable(c.record(), nullptr, 0, 0, p.data(), p.size(), 0, 0, c.handle()),
              row.reusable)
        << row.param;
    EXPECT_EQ(lxkRegexpReusable(c.record(), nullptr, 0, 7, p.data(), p.size(), 0, 0, c.handle()),
              0);
  }
  Compiled ci("AL32UTF8", bytes("a"), "", 0, "CI");
  EXPECT_EQ(lxkRegexpReusable(ci.record(), nullptr, 0, 0, "", 0, 0, 0, env().handle("AL32UTF8")),
            env().handle("AL32UTF8")->collationId == ci.handle()->collationId);
}

TEST(RegexpRecord, EngineCodesAndErrorNumbers) {
  struct Row {
    const char* pattern;
    int32_t rc;
  } patterns[] = {{"(a", -6}, {"a)", -6},     {"[a", -4},     {"[[:nope:]]", -5}, {"[z-a]", -7},
                  {"*a", -8}, {"a{2,1}", -8}, {"(a)\\2", -3}, {"a\\", -2},        {"ok", 0}};
  for (const Row& row : patterns) {
    Compiled c("AL32UTF8", bytes(row.pattern));
    EXPECT_EQ(c.rc(), row.rc) << row.pattern;
  }
  const std::pair<int32_t, uint32_t> numbers[] = {
      {0, 0},       {1, 0},       {-2, 12723},  {-3, 12724},  {-4, 12725},
      {-6, 12725},  {-5, 12726},  {-7, 12726},  {-8, 12727},  {-9, 12728},
      {-10, 12729}, {-11, 12730}, {-12, 12731}, {-13, 12732}, {-14, 1760},
      {-15, 12733}, {-1, 12722},  {-16, 12722}, {2, 12722}};
  for (auto [code, number] : numbers) EXPECT_EQ(lxkRegexpErr(code), number) << code;
}

TEST(RegexpSearch, RunawayPatternEndsWithAnEngineCode) {
  Compiled c("AL32UTF8", bytes("^(a+)+$"));
  const Bytes text = bytes(std::string(40, 'a') + "!");
  const auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(lxkRegexpLike(c.record(), text.data(), text.size(), c.handle(), env().ctx()), 0);
  EXPECT_EQ(nlsRegexTakeResult(env().ctx()), -11);
  EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(20));
}

// Rows on one set: the answers of every export for a text and pattern.
struct EdgeRow {
  const char* set;
  const char* pattern;
  const char* param;
  const char* text;
  uint32_t position, occurrence;
  uint16_t sub;
  uint32_t count, instrStart, instrEnd;
  const char* substr;  // null: no match
};

TEST(RegexpSearch, EdgeRows) {
  const EdgeRow rows[] = {
      {"AL32UTF8", "x*", "", "表ab表b", 1, 1, 0, 6, 1, 1, ""},
      {"IBM-930", "x*", "", "表ab表b", 1, 1, 0, 6, 1, 1, ""},
      {"IBM-930", "表b", "", "表ab表b", 1, 1, 0, 1, 4, 6, "表b"},
      {"SHIFT_JIS", "(表)(a)", "", "表ab表b", 2, 1, 2, 0, 0, 0, nullptr},
      {"AL32UTF8", "a", "", "aaa", 0, 1, 0, 0, 0, 0, nullptr},
      {"AL32UTF8", "a", "", "aaa", 4, 1, 0, 0, 0, 0, nullptr},
      {"AL32UTF8", "a", "", "aaa", 3, 1, 0, 1, 3, 4, "a"},
      {"AL32UTF8", "(a)(b)?", "", "ab", 1, 1, 3, 1, 0, 0, nullptr},
      {"AL32UTF8", "(a)(x)?", "", "ab", 1, 1, 2, 1, 0, 0, nullptr},
      {"AL32UTF8", "ä", "i", "xÄy", 1, 1, 0, 1, 2, 3, "Ä"},
      {"AL32UTF8", "Ä", "c", "xäy", 1, 1, 0, 0, 0, 0, nullptr},
      {"AL16UTF16", "[[:alpha:]]+", "", "12żółw3", 1, 1, 0, 1, 3, 7, "żółw"},
      {"GB18030", "\\d+", "", "号12号345", 1, 2, 0, 2, 5, 8, "345"},
      {"AL32UTF8", "a.b", "", "a\nb", 1, 1, 0, 0, 0, 0, nullptr},
      {"AL32UTF8", "a.b", "n", "a\nb", 1, 1, 0, 1, 1, 4, "a\nb"},
      {"AL32UTF8", "^b", "m", "a\nb", 1, 1, 0, 1, 3, 4, "b"},
      {"AL32UTF8", "a b", "x", "ab", 1, 1, 0, 1, 1, 3, "ab"},
      {"AL32UTF8", "(ab)\\1", "", "xabab", 1, 1, 0, 1, 2, 6, "abab"},
      {"AL32UTF8", "a.*?b", "", "aXbYb", 1, 1, 0, 1, 1, 4, "aXb"},
  };
  for (const EdgeRow& row : rows) {
    SCOPED_TRACE(std::string(row.set) + " /" + row.pattern + "/ on " + row.text);
    Compiled c(row.set, enc(row.set, row.pattern), row.param);
    ASSERT_EQ(c.rc(), 0);
    const Bytes text = enc(row.set, row.text);
    NlsContext* ctx = env().ctx();
    EXPECT_EQ(lxkRegexpCount(c.record(), text.data(), text.size(), row.position, c.handle(), ctx),
              row.sub == 0 ? row.count : row.count);
    EXPECT_EQ(lxkRegexpInstrNSub(c.record(), text.data(), text.size(), row.position, row.occurrence,
                                 row.sub, 0, c.handle(), ctx),
              row.instrStart);
    EXPECT_EQ(lxkRegexpInstrNSub(c.record(), text.data(), text.size(), row.position, row.occurrence,
                                 row.sub, 7, c.handle(), ctx),
              row.instrEnd);
    uint8_t* out = nullptr;
    const uint32_t n = lxkRegexpSubstrNSub(c.record(), &out, 0, text.data(), text.size(),
                                           row.position, row.occurrence, row.sub, c.handle(), ctx);
    if (row.substr == nullptr) {
      EXPECT_EQ(n, 0u);
      continue;
    }
    Bytes copy(64, 0xEE);
    uint8_t* dst = copy.data();
    const uint32_t copied =
        lxkRegexpSubstrNSub(c.record(), &dst, copy.size(), text.data(), text.size(), row.position,
                            row.occurrence, row.sub, c.handle(), ctx);
    EXPECT_EQ(env().decode(row.set, copy.data(), copied), row.substr);
    if (!(c.handle()->flags & CSH_SHIFT_SENSITIVE)) {
      EXPECT_EQ(copied, n);
      EXPECT_EQ(Bytes(out, out + n), Bytes(copy.begin(), copy.begin() + copied));
    }
  }
}

TEST(RegexpSearch, SubstrCutAndReplaceBuffers) {
  NlsContext* ctx = env().ctx();
  Compiled c("ISO-8859-1", bytes("b+"));
  const Bytes text = bytes("abbbbbc");
  Bytes four(4, 0xEE);
  uint8_t* dst = four.data();
  ctx->status = 0;
  EXPECT_EQ(
      lxkRegexpSubstrNSub(c.record(), &dst, 4, text.data(), text.size(), 1, 1, 0, c.handle(), ctx),
      4u);
  EXPECT_EQ(ctx->status, NLS_STATUS_TRUNCATED);
  EXPECT_EQ(four, bytes("bbbb"));

  struct Alloc {
    std::vector<uint32_t> sizes;
    static void* take(void* self, uint32_t size) {
      static_cast<Alloc*>(self)->sizes.push_back(size);
      return std::malloc(size);
    }
  };
  struct Row {
    Bytes src;
    const char* replacement;
    uint32_t position, occurrence;
    std::string expected;
    uint32_t allocated;
  } rows[] = {
      {bytes("abbcbb"), "<\\\\&>", 1, 0, "a<\\&>c<\\&>", 10},
      {bytes("abbcbb"), "[\\0]", 1, 2, "abbc[\\0]", 8},
      {bytes("abbcbb"), "x", 0, 0, "abbcbb", 6},
      {bytes("abbcbb"), "x", 9, 0, "abbcbb", 6},
      {bytes("bb"), "", 1, 0, "", 1},
      {Bytes(40000, 'a'), "x", 40001, 0, std::string(32767, 'a'), 32767},
  };
  for (const Row& row : rows) {
    Alloc alloc;
    uint8_t* out = nullptr;
    const int64_t before = scratch().blocks;
    const uint32_t n = lxkRegexpReplace(c.record(), &out, 0, row.src.data(), row.src.size(),
                                        row.replacement, std::strlen(row.replacement), row.position,
                                        row.occurrence, Alloc::take, &alloc, c.handle(), ctx);
    EXPECT_EQ(std::string(out, out + n), row.expected) << row.replacement;
    EXPECT_EQ(alloc.sizes, std::vector<uint32_t>{row.allocated});
    EXPECT_EQ(scratch().blocks, before);
    std::free(out);
  }
  // Without a callback the record's allocator serves.
  uint8_t* out = nullptr;
  EXPECT_EQ(lxkRegexpReplace(c.record(), &out, 0, text.data(), text.size(), "-", 1, 1, 0, nullptr,
                             nullptr, c.handle(), ctx),
            3u);
  EXPECT_EQ(std::string(out, out + 3), "a-c");
  std::free(out);
  Compiled groups("AL32UTF8", bytes("(\\w)(\\d)"));
  Bytes buffer(64);
  uint8_t* into = buffer.data();
  const Bytes src = bytes("a1 b2 c3");
  const uint32_t n = lxkRegexpReplace(groups.record(), &into, 64, src.data(), src.size(), "\\2\\1",
                                      4, 3, 0, nullptr, nullptr, groups.handle(), ctx);
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + n), "a1 2b 3c");
}

TEST(RegexpSearch, MalformedTextCountsAsReplacementCharacters) {
  struct Row {
    const char* set;
    Bytes text;
    const char* pattern;
    uint32_t count, instr;
  } rows[] = {
      {"AL32UTF8", bytes({'a', 0xFF, 'b', 0xE2, 0x82}), ".", 4, 1},
      {"AL32UTF8", bytes({'a', 0xFF, 'b', 'b'}), "b+", 1, 3},
      {"AL32UTF8", bytes({0xC3, 0xA9, 0xED, 0xA0, 0x80, 'b'}), "\\x{FFFD}", 1, 2},
      {"AL16UTF16", bytes({0, 'a', 0xDC, 0, 0, 'b'}), "b", 1, 3},
      {"UTF8", bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80, 'b'}), "^.b", 1, 1},
  };
  for (const Row& row : rows) {
    Compiled c(row.set, enc(row.set, row.pattern));
    ASSERT_EQ(c.rc(), 0) << row.pattern;
    NlsContext* ctx = env().ctx();
    EXPECT_EQ(lxkRegexpCount(c.record(), row.text.data(), row.text.size(), 1, c.handle(), ctx),
              row.count)
        << row.set << " " << row.pattern;
    EXPECT_EQ(lxkRegexpInstrNSub(c.record(), row.text.data(), row.text.size(), 1, 1, 0, 0,
                                 c.handle(), ctx),
              row.instr)
        << row.set << " " << row.pattern;
  }
}

TEST(RegexpSearch, CollationOfTheHandle) {
  struct Row {
    const char* collation;
    const char* param;
    const char* pattern;
    const char* text;
    uint32_t count;
  } rows[] = {
      {"CI", "", "straße", "STRASSE Straße STRAẞE", 2},
      {"CI", "c", "a", "aA", 1},
      {"AI", "", "resume", "résumé RESUME", 2},
      {"AI", "", "é", "e é E", 3},
      {nullptr, "", "é", "e é E", 1},
  };
  for (const Row& row : rows) {
    Compiled c("AL32UTF8", bytes(row.pattern), row.param, 0, row.collation);
    const Bytes text = bytes(row.text);
    EXPECT_EQ(lxkRegexpCount(c.record(), text.data(), text.size(), 1, c.handle(), env().ctx()),
              row.count)
        << row.pattern << " in " << row.text;
  }
}

// Random text in each set against the reference.
TEST(RegexpSearch, AgreesWithTheReference) {
  const char* sets[] = {"AL32UTF8", "AL16UTF16", "ISO-8859-5", "SHIFT_JIS", "GB18030",
                        "IBM-930",  "UTF8",      "UTFE",       "IBM-1047",  "EUC-JP"};
  const char* patterns[] = {"X",        "Y+",    "X*",    "(X)(Y)?", "[[:alpha:]]+", "\\d+",
                            "(X|Y)\\1", "X.*?Y", "[^X ]", "^X",      "Y$",           "(Z)|(Y)"};
  std::mt19937 rng(11);
  for (const char* set : sets) {
    std::vector<std::string> alphabet;
    for (const char* cand : {"a", "b", "ж", "表", "1", " ", "A", "z"})
      if (!env().held(set, cand).empty()) alphabet.push_back(cand);
    ASSERT_GE(alphabet.size(), 4u) << set;
    for (const char* shape : patterns) {
      std::string pattern;
      for (const char* p = shape; *p; ++p)
        pattern += *p == 'X'   ? alphabet[0]
                   : *p == 'Y' ? alphabet[1]
                   : *p == 'Z' ? alphabet[2]
                               : std::string(1, *p);
      Compiled c(set, enc(set, pattern));
      ASSERT_EQ(c.rc(), 0) << set << " " << pattern;
      Reference ref(pattern, 0);
      ASSERT_TRUE(ref.ok());
      for (int round = 0; round < 12; ++round) {
        std::string text;
        const int length = static_cast<int>(rng() % 12);
        for (int i = 0; i < length; ++i) text += alphabet[rng() % alphabet.size()];
        const Bytes t = enc(set, text);
        const uint32_t chars = Reference::charsOf(text, text.size());
        const uint32_t position = 1 + rng() % (chars + 1);
        SCOPED_TRACE(std::string(set) + " /" + pattern + "/ on '" + text + "' from " +
                     std::to_string(position));
        const auto all = ref.matches(text, position);
        NlsContext* ctx = env().ctx();
        EXPECT_EQ(lxkRegexpLike(c.record(), t.data(), t.size(), c.handle(), ctx),
                  ref.matches(text, 1).empty() ? 0 : 1);
        if (position > chars) continue;
        EXPECT_EQ(lxkRegexpCount(c.record(), t.data(), t.size(), position, c.handle(), ctx),
                  all.size());
        const uint32_t occurrence = 1 + rng() % 3;
        const uint16_t sub = static_cast<uint16_t>(rng() % 3);
        const bool has = occurrence <= all.size() && sub < all[occurrence - 1].start.size() &&
                         all[occurrence - 1].start[sub] >= 0;
        const uint32_t subCount = c.record()->subexpressionCount;
        const uint32_t expectStart =
            has && sub <= subCount ? 1 + Reference::charsOf(text, all[occurrence - 1].start[sub])
                                   : 0;
        EXPECT_EQ(lxkRegexpInstrNSub(c.record(), t.data(), t.size(), position, occurrence, sub, 0,
                                     c.handle(), ctx),
                  expectStart);
        Bytes out(64);
        uint8_t* dst = out.data();
        const uint32_t n = lxkRegexpSubstrNSub(c.record(), &dst, out.size(), t.data(), t.size(),
                                               position, occurrence, sub, c.handle(), ctx);
        const std::string expectText =
            expectStart ? text.substr(all[occurrence - 1].start[sub],
                                      all[occurrence - 1].end[sub] - all[occurrence - 1].start[sub])
                        : "";
        EXPECT_EQ(env().decode(set, out.data(), n), expectText);
        // Every match replaced by <\1>, against the reference's own splice.
        std::string expectReplace = text.substr(0, Reference::byteOf(text, position));
        size_t copied = expectReplace.size();
        for (const auto& m : all) {
          expectReplace += text.substr(copied, m.start[0] - copied) + "<";
          if (m.start.size() > 1 && m.start[1] >= 0)
            expectReplace += text.substr(m.start[1], m.end[1] - m.start[1]);
          expectReplace += ">";
          copied = m.end[0];
        }
        expectReplace += text.substr(copied);
        const Bytes replacement = enc(set, "<\\1>");
        Bytes buffer(256);
        uint8_t* into = buffer.data();
        const uint32_t r = lxkRegexpReplace(c.record(), &into, buffer.size(), t.data(), t.size(),
                                            replacement.data(), replacement.size(), position, 0,
                                            nullptr, nullptr, c.handle(), ctx);
        EXPECT_EQ(env().decode(set, buffer.data(), r), expectReplace);
      }
    }
  }
}

}  // namespace
}  // namespace lxktest
