// The large-object forms: the same answers as the in-memory functions for
// every chunk size, failing callbacks, and bounded scratch on a large object.
#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>

#include "regexp/regexp_support.h"

namespace lxktest {
namespace {

// A large object over bytes in memory, or generated from the offset.
struct TestLob {
  LobAccess access{};
  Bytes source;
  uint64_t generatedLength = 0;  // nonzero: bytes come from generated()
  uint32_t width = 1;
  bool withLength = true;
  Bytes dest;
  int reads = 0, writes = 0;
  int failReadAt = -1, failWriteAt = -1;

  explicit TestLob(uint32_t chunk) {
    access.chunkSize = chunk;
    access.read = read;
    access.readContext = this;
    access.write = write;
    access.writeContext = this;
    access.getLength = length;
  }
  uint64_t size() const { return generatedLength ? generatedLength : source.size(); }
  // A long run of 'a' with "xyz" at the very end (single-byte text).
  uint8_t generated(uint64_t at) const {
    const uint64_t fromEnd = generatedLength - at;
    return fromEnd <= 3 ? static_cast<uint8_t>("zyx"[fromEnd - 1]) : 'a';
  }
  static int16_t read(uint32_t lo, uint32_t hi, uint32_t* amount, void* buffer, uint32_t size,
                      void* context, uint32_t) {
    auto* self = static_cast<TestLob*>(context);
    if (++self->reads == self->failReadAt) return 1;
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    const uint64_t n =
        std::min<uint64_t>({*amount, size, at < self->size() ? self->size() - at : 0});
    auto* out = static_cast<uint8_t*>(buffer);
    if (self->generatedLength) {
      std::memset(out, 'a', n);
      for (uint64_t i = n > 3 ? n - 3 : 0; i < n; ++i) out[i] = self->generated(at + i);
    } else if (n) {
      std::memcpy(out, self->source.data() + at, n);
    }
    *amount = static_cast<uint32_t>(n);
    return 0;
  }
  static int16_t write(uint32_t lo, uint32_t hi, uint32_t* amount, const void* buffer, uint32_t,
                       void* context, uint32_t) {
    auto* self = static_cast<TestLob*>(context);
    if (++self->writes == self->failWriteAt) return 1;
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    if (self->dest.size() < at + *amount) self->dest.resize(at + *amount);
    if (*amount) std::memcpy(self->dest.data() + at, buffer, *amount);
    return 0;
  }
  static void length(void* context, uint64_t* bytes, uint64_t* chars) {
    auto* self = static_cast<TestLob*>(context);
    *bytes = self->size();
    *chars = self->size() / self->width;
  }
};

struct Answers {
  int32_t like;
  uint64_t count, instr, instrEnd, substrLength, replaceLength;
  Bytes substr, replaced;
  bool operator==(const Answers&) const = default;
};

Answers lobAnswers(Compiled& c, TestLob& lob, uint32_t position, uint32_t occurrence, uint16_t sub,
                   const Bytes& replacement) {
  NlsContext* ctx = env().ctx();
  Answers a{};
  a.like = lxkRegexpLikeLob(c.record(), &lob.access, c.handle(), ctx);
  a.count = lxkRegexpCountLob(c.record(), &lob.access, position, 0, c.handle(), ctx);
  a.instr = lxkRegexpInstrLobNSub(c.record(), &lob.access, position, 0, occurrence, 0, sub, 0,
                                  c.handle(), ctx);
  a.instrEnd = lxkRegexpInstrLobNSub(c.record(), &lob.access, position, 0, occurrence, 0, sub, 1,
                                     c.handle(), ctx);
  lob.dest.clear();
  a.substrLength = lxkRegexpSubstrLobNSub(c.record(), &lob.access, position, 0, occurrence, 0, sub,
                                          c.handle(), ctx);
  a.substr = lob.dest;
  lob.dest.clear();
  a.replaceLength = lxkRegexpReplaceLob(c.record(), &lob.access, replacement.data(),
                                        replacement.size(), position, 0, 0, 0, c.handle(), ctx);
  a.replaced = lob.dest;
  return a;
}

Answers memoryAnswers(Compiled& c, const Bytes& text, uint32_t position, uint32_t occurrence,
                      uint16_t sub, const Bytes& replacement) {
  NlsContext* ctx = env().ctx();
  Answers a{};
  a.like = lxkRegexpLike(c.record(), text.data(), text.size(), c.handle(), ctx);
  const uint32_t p = position == 0 ? 1 : position;
  a.count = lxkRegexpCount(c.record(), text.data(), text.size(), p, c.handle(), ctx);
  a.instr = lxkRegexpInstrNSub(c.record(), text.data(), text.size(), p, occurrence, sub, 0,
                               c.handle(), ctx);
  a.instrEnd = lxkRegexpInstrNSub(c.record(), text.data(), text.size(), p, occurrence, sub, 1,
                                  c.handle(), ctx);
  uint8_t* out = nullptr;
  a.substrLength = lxkRegexpSubstrNSub(c.record(), &out, 0, text.data(), text.size(), p, occurrence,
                                       sub, c.handle(), ctx);
  if (a.substrLength) a.substr.assign(out, out + a.substrLength);
  Bytes buffer(4096);
  uint8_t* into = buffer.data();
  a.replaceLength = lxkRegexpReplace(c.record(), &into, buffer.size(), text.data(), text.size(),
                                     replacement.data(), replacement.size(), p, 0, nullptr, nullptr,
                                     c.handle(), ctx);
  a.replaced.assign(buffer.begin(), buffer.begin() + a.replaceLength);
  if (position > text.size()) a.replaceLength = a.replaced.size();
  return a;
}

TEST(RegexpLob, SameAnswersAsInMemoryForEveryChunkSize) {
  std::mt19937 rng(5);
  int found = 0;
  for (const char* set : {"ISO-8859-5", "AL16UTF16"}) {
    const uint32_t width = env().handle(set)->maxCharWidth ? env().handle(set)->maxCharWidth : 1;
    for (const char* pattern : {"ab", "b+", "a*", "(a)(жb)?", "^a|b$", "(?<=a)b", "ж\\w{2,5}"}) {
      Compiled c(set, env().encode(set, pattern));
      ASSERT_EQ(c.rc(), 0);
      const Bytes replacement = env().encode(set, "[\\1]");
      for (int round = 0; round < 6; ++round) {
        std::string text;
        static const char* const kAlphabet[] = {"a", "b", "ж", " "};
        for (int i = 0; i < 30; ++i) text += kAlphabet[rng() % 4];
        const Bytes t = env().encode(set, text);
        const uint32_t position = rng() % 8;
        const uint32_t occurrence = 1 + rng() % 3;
        const uint16_t sub = static_cast<uint16_t>(rng() % 2);
        const Answers expected = memoryAnswers(c, t, position, occurrence, sub, replacement);
        for (uint32_t chunk : {1u, 2u, 3u, 7u, 4096u}) {
          SCOPED_TRACE(std::string(set) + " /" + pattern + "/ on '" + text + "' chunk " +
                       std::to_string(chunk) + " from " + std::to_string(position));
          TestLob lob(chunk);
          lob.source = t;
          lob.width = width;
          const int64_t blocks = scratch().blocks;
          const Answers got = lobAnswers(c, lob, position, occurrence, sub, replacement);
          EXPECT_EQ(got.like, expected.like);
          EXPECT_EQ(got.count, expected.count);
          EXPECT_EQ(got.instr, expected.instr);
          EXPECT_EQ(got.instrEnd, expected.instrEnd);
          EXPECT_EQ(got.substr, expected.substr);
          EXPECT_EQ(got.substrLength, expected.substrLength);
          EXPECT_EQ(got.replaced, expected.replaced);
          EXPECT_EQ(scratch().blocks, blocks);
          found += got.count != 0 && got.substrLength != 0;
        }
      }
    }
  }
  EXPECT_GT(found, 100);  // the rows exercise matches, not only misses
}

TEST(RegexpLob, Preamble) {
  NlsContext* ctx = env().ctx();
  Compiled utf8("AL32UTF8", bytes("b"));
  TestLob lob(4);
  lob.source = bytes("abcb");
  // A set without fixed width: only LIKE runs, and no callback is called.
  EXPECT_EQ(lxkRegexpLikeLob(utf8.record(), &lob.access, utf8.handle(), ctx), 1);
  lob.reads = 0;
  EXPECT_EQ(lxkRegexpCountLob(utf8.record(), &lob.access, 1, 0, utf8.handle(), ctx), 0u);
  EXPECT_EQ(lxkRegexpSubstrLobNSub(utf8.record(), &lob.access, 1, 0, 1, 0, 0, utf8.handle(), ctx),
            0u);
  EXPECT_EQ(lob.reads + lob.writes, 0);
  EXPECT_EQ(lxkRegexpLikeLob(utf8.record(), nullptr, utf8.handle(), ctx), 0);
  // The record's large-object set: a UTF-8 pattern over UTF-16 text.
  Compiled wide("AL32UTF8", bytes("ж+"), "", CSID_AL16UTF16);
  TestLob text(3);
  text.source = env().encode("AL16UTF16", "aжжbж");
  text.width = 2;
  EXPECT_EQ(lxkRegexpCountLob(wide.record(), &text.access, 1, 0, wide.handle(), ctx), 2u);
  EXPECT_EQ(
      lxkRegexpInstrLobNSub(wide.record(), &text.access, 0, 0, 2, 0, 0, 0, wide.handle(), ctx), 5u);
  // Without getLength the first empty match ends a count.
  Compiled empty("ISO-8859-1", bytes("x*"));
  TestLob noLength(4);
  noLength.source = bytes("abc");
  noLength.access.getLength = nullptr;
  EXPECT_EQ(lxkRegexpCountLob(empty.record(), &noLength.access, 1, 0, empty.handle(), ctx), 1u);
  // A position beyond the end copies the source; an empty source calls nothing.
  TestLob none(4);
  EXPECT_EQ(
      lxkRegexpReplaceLob(empty.record(), &none.access, "-", 1, 9, 0, 0, 0, empty.handle(), ctx),
      0u);
  EXPECT_EQ(none.reads + none.writes, 0);
  TestLob copy(2);
  copy.source = bytes("hello");
  EXPECT_EQ(
      lxkRegexpReplaceLob(empty.record(), &copy.access, "-", 1, 9, 0, 0, 0, empty.handle(), ctx),
      5u);
  EXPECT_EQ(copy.dest, bytes("hello"));
}

TEST(RegexpLob, SubstrPieces) {
  Compiled c("ISO-8859-1", bytes("b+"));
  for (auto [chunk, length, writes] : {std::tuple{4u, 4u, 1}, {4u, 9u, 3}, {3u, 1u, 1}}) {
    TestLob lob(chunk);
    lob.source = bytes("a" + std::string(length, 'b') + "a");
    lob.access.getLength = nullptr;  // the engine then reads to the end itself
    const Bytes expected(length, 'b');
    EXPECT_EQ(
        lxkRegexpSubstrLobNSub(c.record(), &lob.access, 1, 0, 1, 0, 0, c.handle(), env().ctx()),
        length);
    EXPECT_EQ(lob.dest, expected);
    lob.reads = lob.writes = 0;
    lob.dest.clear();
    lxkRegexpSubstrLobNSub(c.record(), &lob.access, 1, 0, 1, 0, 0, c.handle(), env().ctx());
    EXPECT_EQ(lob.writes, writes);
  }
}

TEST(RegexpLob, FailingCallbacksLeakNothing) {
  Compiled c("ISO-8859-1", bytes("(b)c"));
  const Bytes replacement = bytes("<\\1>");
  for (int failWrite = 0; failWrite < 2; ++failWrite) {
    for (int k = 1; k < 40; ++k) {
      TestLob lob(3);
      lob.source = bytes("abcabcxxbcbcbbbbbbbcaaa");
      (failWrite ? lob.failWriteAt : lob.failReadAt) = k;
      const int64_t blocks = scratch().blocks;
      NlsContext* ctx = env().ctx();
      lxkRegexpLikeLob(c.record(), &lob.access, c.handle(), ctx);
      lxkRegexpCountLob(c.record(), &lob.access, 1, 0, c.handle(), ctx);
      lxkRegexpInstrLobNSub(c.record(), &lob.access, 1, 0, 2, 0, 1, 0, c.handle(), ctx);
      lob.reads = lob.writes = 0;
      const uint64_t substr =
          lxkRegexpSubstrLobNSub(c.record(), &lob.access, 1, 0, 3, 0, 0, c.handle(), ctx);
      const bool substrFailed = failWrite ? lob.writes >= k : lob.reads >= k;
      EXPECT_EQ(substr, substrFailed ? 0u : 2u) << k;
      lob.reads = lob.writes = 0;
      lob.dest.clear();
      const int64_t replaced = static_cast<int64_t>(
          lxkRegexpReplaceLob(c.record(), &lob.access, replacement.data(), replacement.size(), 1, 0,
                              0, 0, c.handle(), ctx));
      const bool replaceFailed = failWrite ? lob.writes >= k : lob.reads >= k;
      if (replaceFailed)
        EXPECT_EQ(replaced, failWrite ? -15 : -13) << k;
      else
        EXPECT_EQ(lob.dest, bytes("a<b>a<b>xx<b><b>bbbbbb<b>aaa")) << k;
      EXPECT_EQ(scratch().blocks, blocks) << k;
    }
  }
}

TEST(RegexpLob, LargeObjectInBoundedScratch) {
  Compiled c("ISO-8859-1", bytes("a(x)yz$"));
  TestLob lob(4096);
  lob.generatedLength = 64ull << 20;
  const int64_t base = scratch().bytes;
  scratch().peakBytes = base;
  EXPECT_EQ(
      lxkRegexpInstrLobNSub(c.record(), &lob.access, 1, 0, 1, 0, 1, 0, c.handle(), env().ctx()),
      (64ull << 20) - 2);
  EXPECT_LT(scratch().peakBytes - base, 1 << 20);
  EXPECT_EQ(scratch().bytes, base);
}

}  // namespace
}  // namespace lxktest
