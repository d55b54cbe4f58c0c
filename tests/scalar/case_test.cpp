// UPPER/LOWER and INITCAP: which conversion each class takes (simple, byte for
// byte, or full with special casing), capacity cuts and the status word.
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <string>
#include <utility>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

constexpr uint32_t kUpper = CASE_DIRECTION;
constexpr uint32_t kLower = 0;
constexpr uint32_t kUntouched = 77;

bool holds(const std::string& set, const std::string& utf8) {
  const Bytes b = env().encode(set, utf8);
  return !b.empty() && env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == utf8;
}

std::string text(const std::string& set, const Bytes& b) {
  return env().decode(set, b.data(), static_cast<uint32_t>(b.size()));
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
  const int32_t n = static_cast<int32_t>(utf8.size());
  for (int32_t i = 0; i < n;) {
    UChar32 c;
    const int32_t begin = i;
    U8_NEXT(utf8.data(), i, n, c);
    std::string mapped;
    icu::UnicodeString(upper ? u_toupper(c) : u_tolower(c)).toUTF8String(mapped);
    out += holds(set, mapped) ? mapped : utf8.substr(begin, i - begin);
  }
  return out;
}

struct Result {
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

// Runs `call(dst, capacity, &resultWord)` into a guarded buffer.
template <class Call>
Result guarded(const std::string& set, uint32_t capacity, int32_t statusBefore, Call call) {
  Bytes buffer(capacity + 8, 0xA5);
  Result out{{}, kUntouched, 0};
  env().ctx()->status = statusBefore;
  const uint32_t n = call(buffer.data(), capacity, &out.resultWord);
  EXPECT_LE(n, capacity) << set;
  for (size_t i = capacity; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], 0xA5) << set;
  buffer.resize(n <= capacity ? n : capacity);
  out.bytes = buffer;
  out.status = env().ctx()->status;
  return out;
}

Result toUL(const std::string& set, const Bytes& src, uint32_t options, uint32_t capacity,
            int32_t statusBefore = 0) {
  return guarded(set, capacity, statusBefore, [&](uint8_t* dst, uint32_t cap, uint32_t*) {
    return lxkToUL(dst, cap, src.data(), static_cast<uint32_t>(src.size()), options, 0xDEADBEEFu,
                   env().handle(set), env().ctx());
  });
}

Result initcap(const std::string& set, const Bytes& src, uint32_t capacity,
               int32_t statusBefore = 0) {
  return guarded(set, capacity, statusBefore, [&](uint8_t* dst, uint32_t cap, uint32_t* word) {
    return lxkInitcap(dst, cap, src.data(), static_cast<uint32_t>(src.size()), word,
                      env().handle(set), env().ctx());
  });
}

const char* const kWords[] = {"hello WORLD", "straße",  "İstanbul", "ǆungla Ǆ",
                              "Größe ÿ",     "ﬁne ΣΑΣ", "Ωmega ǰ"};

// The class decides: simple-case sets always map byte for byte; otherwise
// UPPER takes the full conversion, LOWER the simple one in single-byte sets
// and the full one elsewhere.
TEST(Case, EachClassTakesItsConversion) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const uint32_t flags = env().handle(set)->flags;
    for (const char* word : kWords) {
      if (!holds(set, word)) continue;
      const Bytes src = env().encode(set, word);
      for (const bool upper : {true, false}) {
        const bool simple = (flags & CSH_SIMPLE_CASE) || (!upper && (flags & CSH_SINGLE_BYTE));
        const std::string expected = simple ? simpleCase(set, word, upper) : fullCase(word, upper);
        if (!holds(set, expected)) continue;
        const Result out = toUL(set, src, upper ? kUpper : kLower, 64, NLS_STATUS_TRUNCATED);
        const std::string where =
            set + (upper ? " upper " : " lower ") + word + (simple ? " (simple)" : " (full)");
        EXPECT_EQ(text(set, out.bytes), expected) << where;
        if (simple) {
          EXPECT_EQ(out.bytes.size(), src.size()) << where;
        }
        EXPECT_EQ(out.status, NLS_STATUS_OK) << where << ": cleared at entry";
      }
    }
  }
}

// Raw bytes select the byte-for-byte mapping for LOWER only: UPPER tests the
// direction bit first.
TEST(Case, RawBytesOptionInMultibyteSets) {
  for (const std::string set : {"AL32UTF8", "UTF8", "GB18030", "AL16UTF16"}) {
    if (env().handle(set)->flags & (CSH_SIMPLE_CASE | CSH_SINGLE_BYTE)) continue;
    const Bytes src = env().encode(set, "İX");
    // Full lowering of İ adds a combining dot; byte for byte it cannot grow.
    EXPECT_EQ(toUL(set, src, kLower | OPT_RAW_BYTES, 64).bytes.size(), src.size()) << set;
    EXPECT_EQ(text(set, toUL(set, src, kLower, 64).bytes), fullCase("İX", false)) << set;
    // UPPER goes to the full conversion, which maps ß (no byte mapping can).
    const Result upper = toUL(set, env().encode(set, "ßx"), kUpper | OPT_RAW_BYTES, 64);
    EXPECT_EQ(text(set, upper.bytes).find("ß"), std::string::npos) << set;
  }
}

TEST(Case, NoDestinationIsATruncation) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const Bytes src = env().encode(set, "abc");
    for (const uint32_t length : {3u, 0u}) {
      const uint8_t* in = length ? src.data() : nullptr;
      // UPPER/LOWER: only when there was text to write.
      env().ctx()->status = NLS_STATUS_INVALID_DATA;
      EXPECT_EQ(lxkToUL(nullptr, 8, in, length, kUpper, 0, handle, env().ctx()), 0u) << set;
      EXPECT_EQ(env().ctx()->status, length ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK) << set;
      // INITCAP: even for no text, in both words; the result word may be absent.
      uint32_t word = kUntouched;
      env().ctx()->status = 0;
      EXPECT_EQ(lxkInitcap(nullptr, 8, in, length, &word, handle, env().ctx()), 0u) << set;
      EXPECT_EQ(word, LXK_RESULT_TRUNCATED) << set;
      EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED) << set;
      uint8_t one = 0xA5;
      env().ctx()->status = 0;
      EXPECT_EQ(lxkInitcap(&one, 0, in, length, nullptr, handle, env().ctx()), 0u) << set;
      EXPECT_EQ(one, 0xA5) << set;
      EXPECT_EQ(env().ctx()->status, NLS_STATUS_TRUNCATED) << set;
    }
  }
}

// Simple-case sets cut at the capacity with status 6; INITCAP, unlike
// UPPER/LOWER, leaves the status of an earlier call when it completes.
TEST(Case, SimpleCaseSetsCutAtTheCapacity) {
  for (const std::string& set : lxktest::stringCharsets()) {
    if (!(env().handle(set)->flags & CSH_SIMPLE_CASE)) continue;
    const Bytes src = env().encode(set, "hello");
    for (uint32_t capacity = 0; capacity < 5; ++capacity) {
      const std::string where = set + " capacity " + std::to_string(capacity);
      const Result upper = toUL(set, src, kUpper, capacity);
      EXPECT_EQ(upper.bytes, env().encode(set, std::string("HELLO", capacity))) << where;
      EXPECT_EQ(upper.status, NLS_STATUS_TRUNCATED) << where;
      const Result cap = initcap(set, src, capacity);
      EXPECT_EQ(cap.bytes, env().encode(set, std::string("Hello", capacity))) << where;
      EXPECT_EQ(cap.status, NLS_STATUS_TRUNCATED) << where;
    }
    const Result whole = initcap(set, src, 8, NLS_STATUS_INVALID_DATA);
    EXPECT_EQ(text(set, whole.bytes), "Hello") << set;
    EXPECT_EQ(whole.status, NLS_STATUS_INVALID_DATA) << set;
  }
}

TEST(Initcap, CapitalisesWordsInEverySet) {
  const std::pair<const char*, const char*> cases[] = {
      {"hello wORLD", "Hello World"},
      {"o'neil mcdonald-SMITH", "O'Neil Mcdonald-Smith"},
      {"élan ÉCOLE", "Élan École"},
      {"ωmega ΑΛΦΑ", "Ωmega Αλφα"},
  };
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const auto& [source, expected] : cases) {
      if (!holds(set, source) || !holds(set, expected)) continue;
      EXPECT_EQ(text(set, initcap(set, env().encode(set, source), 64).bytes), expected) << set;
    }
  }
}

}  // namespace
