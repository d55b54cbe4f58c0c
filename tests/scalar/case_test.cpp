// UPPER/LOWER and INITCAP: which conversion each class takes (simple, byte for
// byte, or full with special casing), capacity cuts and the status word.
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

constexpr uint32_t kUpper = CASE_DIRECTION;
constexpr uint32_t kLower = 0;
constexpr uint32_t kUntouched = 77;

uint32_t flagsOf(const std::string& set) { return env().handle(set)->flags; }

bool holds(const std::string& set, const std::string& utf8) {
  const Bytes b = env().encode(set, utf8);
  return !b.empty() && env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == utf8;
}

// Full conversion with special casing, as the root locale does it.
std::string fullCase(const std::string& utf8, bool upper) {
  icu::UnicodeString s = icu::UnicodeString::fromUTF8(utf8);
  if (upper)
    s.toUpper(icu::Locale::getRoot());
  else
    s.toLower(icu::Locale::getRoot());
  std::string out;
  return s.toUTF8String(out);
}

// One character to one character; a mapping the set cannot hold keeps the
// character as it is.
std::string simpleCase(const std::string& set, const std::string& utf8, bool upper) {
  std::string out;
  int32_t i = 0;
  const int32_t n = static_cast<int32_t>(utf8.size());
  while (i < n) {
    UChar32 c;
    const int32_t begin = i;
    U8_NEXT(utf8.data(), i, n, c);
    const UChar32 mapped = upper ? u_toupper(c) : u_tolower(c);
    std::string mappedText;
    icu::UnicodeString(mapped).toUTF8String(mappedText);
    out += holds(set, mappedText) ? mappedText : utf8.substr(begin, i - begin);
  }
  return out;
}

struct Converted {
  Bytes bytes;
  int32_t status;
};

Converted toUL(const std::string& set, const Bytes& src, uint32_t options, uint32_t capacity,
               int32_t statusBefore = 0) {
  Bytes buffer(capacity + 8, 0xA5);
  env().ctx()->status = statusBefore;
  const uint32_t n = lxkToUL(buffer.data(), capacity, src.data(), static_cast<uint32_t>(src.size()),
                             options, 0xDEADBEEFu, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  for (size_t i = capacity; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], 0xA5) << set;
  buffer.resize(n <= capacity ? n : capacity);
  return {buffer, env().ctx()->status};
}

std::string text(const std::string& set, const Bytes& b) {
  return env().decode(set, b.data(), static_cast<uint32_t>(b.size()));
}

const char* const kWords[] = {"hello WORLD", "straße",  "İstanbul", "ǆungla Ǆ",
                              "Größe ÿ",     "ﬁne ΣΑΣ", "Ωmega ǰ"};

// The class decides: simple-case sets always map byte for byte; otherwise
// UPPER takes the full conversion, LOWER the simple one in single-byte sets
// and the full one elsewhere.
TEST(Case, EachClassTakesItsConversion) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const uint32_t flags = flagsOf(set);
    for (const char* word : kWords) {
      if (!holds(set, word)) continue;
      const Bytes src = env().encode(set, word);
      for (const bool upper : {true, false}) {
        const bool simple = (flags & CSH_SIMPLE_CASE) || (!upper && (flags & CSH_SINGLE_BYTE));
        const std::string expected = simple ? simpleCase(set, word, upper) : fullCase(word, upper);
        if (!holds(set, expected)) continue;
        const Converted out = toUL(set, src, upper ? kUpper : kLower, 64, 6);
        const std::string where =
            set + (upper ? " upper " : " lower ") + word + (simple ? " (simple)" : " (full)");
        EXPECT_EQ(text(set, out.bytes), expected) << where;
        if (simple) {
          EXPECT_EQ(out.bytes.size(), src.size()) << where;
        }
        EXPECT_EQ(out.status, 0) << where << ": cleared at entry";
      }
    }
  }
}

// Raw bytes select the byte-for-byte mapping for LOWER only: UPPER tests the
// direction bit first.
TEST(Case, RawBytesOptionInMultibyteSets) {
  for (const std::string set : {"AL32UTF8", "UTF8", "GB18030", "AL16UTF16"}) {
    const uint32_t flags = flagsOf(set);
    if (flags & (CSH_SIMPLE_CASE | CSH_SINGLE_BYTE)) continue;
    const Bytes src = env().encode(set, "İX");
    // Full lowering of İ adds a combining dot; byte for byte it cannot grow.
    const Converted raw = toUL(set, src, kLower | OPT_RAW_BYTES, 64);
    EXPECT_EQ(raw.bytes.size(), src.size()) << set;
    const Converted full = toUL(set, src, kLower, 64);
    EXPECT_EQ(text(set, full.bytes), fullCase("İX", false)) << set;
    // UPPER goes to the full conversion, which maps ß (no byte mapping can).
    const Converted upper = toUL(set, env().encode(set, "ßx"), kUpper | OPT_RAW_BYTES, 64);
    EXPECT_EQ(text(set, upper.bytes).find("ß"), std::string::npos) << set;
  }
}

TEST(Case, SimpleConversionCutsAtTheCapacity) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const uint32_t flags = flagsOf(set);
    const Bytes src = env().encode(set, "abcde");
    if (flags & CSH_SIMPLE_CASE) {
      for (uint32_t capacity = 0; capacity < 5; ++capacity) {
        const Converted out = toUL(set, src, kUpper, capacity);
        EXPECT_EQ(out.bytes, Bytes(env().encode(set, std::string("ABCDE", capacity))))
            << set << " capacity " << capacity;
        EXPECT_EQ(out.status, NLS_STATUS_TRUNCATED) << set;
      }
    }
    // Complete conversions clear a status left by an earlier call.
    const Converted done = toUL(set, src, kLower, 64, NLS_STATUS_TRUNCATED);
    EXPECT_EQ(done.status, NLS_STATUS_OK) << set;
    EXPECT_EQ(text(set, done.bytes), "abcde") << set;
  }
}

TEST(Case, NothingIsWrittenWithoutADestination) {
  for (const std::string set : {"ISO-8859-1", "AL32UTF8"}) {
    const Bytes src = env().encode(set, "abc");
    env().ctx()->status = 0;
    EXPECT_EQ(lxkToUL(nullptr, 8, src.data(), 3, kUpper, 0, env().handle(set), env().ctx()), 0u);
    EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED) << set;
    EXPECT_EQ(lxkToUL(nullptr, 0, nullptr, 0, kUpper, 0, env().handle(set), env().ctx()), 0u);
    EXPECT_EQ(env().ctx()->status, NLS_STATUS_OK) << set;
  }
}

struct Capitalised {
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

Capitalised initcap(const std::string& set, const Bytes& src, uint32_t capacity,
                    int32_t statusBefore = 0) {
  Bytes buffer(capacity + 8, 0xA5);
  Capitalised out{{}, kUntouched, 0};
  env().ctx()->status = statusBefore;
  const uint32_t n =
      lxkInitcap(buffer.data(), capacity, src.data(), static_cast<uint32_t>(src.size()),
                 &out.resultWord, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  for (size_t i = capacity; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], 0xA5) << set;
  buffer.resize(n <= capacity ? n : capacity);
  out.bytes = buffer;
  out.status = env().ctx()->status;
  return out;
}

TEST(Initcap, CapitalisesWordsInEverySet) {
  struct Case {
    const char* source;
    const char* expected;
  };
  const Case cases[] = {
      {"hello wORLD", "Hello World"},
      {"o'neil mcdonald-SMITH", "O'Neil Mcdonald-Smith"},
      {"élan ÉCOLE", "Élan École"},
      {"ωmega ΑΛΦΑ", "Ωmega Αλφα"},
  };
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const Case& c : cases) {
      if (!holds(set, c.source) || !holds(set, c.expected)) continue;
      const Capitalised out = initcap(set, env().encode(set, c.source), 64);
      EXPECT_EQ(text(set, out.bytes), c.expected) << set;
    }
  }
}

TEST(Initcap, MissingDestinationAndStatusHandling) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const Bytes src = env().encode(set, "hello");
    // No destination: truncation, reported in both words, even for no text.
    for (const bool empty : {false, true}) {
      uint32_t word = kUntouched;
      env().ctx()->status = 0;
      EXPECT_EQ(lxkInitcap(nullptr, 8, src.data(), empty ? 0 : 5, &word, handle, env().ctx()), 0u);
      EXPECT_EQ(word, LXK_RESULT_TRUNCATED) << set;
      EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED) << set;
      uint8_t one = 0xA5;
      env().ctx()->status = 0;
      EXPECT_EQ(lxkInitcap(&one, 0, src.data(), 5, nullptr, handle, env().ctx()), 0u);
      EXPECT_EQ(one, 0xA5) << set;
      EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED) << set;
    }
    if (!(handle->flags & CSH_SIMPLE_CASE)) continue;
    // Simple-case sets: cut at the capacity with status 6, and the status
    // word is not cleared by a complete call.
    const Capitalised cut = initcap(set, src, 3);
    EXPECT_EQ(text(set, cut.bytes), "Hel") << set;
    EXPECT_EQ(cut.status, NLS_STATUS_TRUNCATED) << set;
    const Capitalised whole = initcap(set, src, 8, NLS_STATUS_INVALID_DATA);
    EXPECT_EQ(text(set, whole.bytes), "Hello") << set;
    EXPECT_EQ(whole.status, NLS_STATUS_INVALID_DATA) << set;
  }
}

}  // namespace
