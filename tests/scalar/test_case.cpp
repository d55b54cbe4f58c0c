// UPPER/LOWER and INITCAP: which conversion each class takes (simple, byte for
// byte, or full with special casing), capacity cuts and the status word.
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

constexpr uint32_t kUpper = CASE_DIRECTION;
constexpr uint32_t kLower = 0;
constexpr uint32_t kInitcap = ~0u;  // lxkInitcap rather than lxkToUL
constexpr uint32_t kUntouched = 77;

bool holds(const std::string& set, const std::string& utf8) {
  return !env().held(set, utf8).empty();
}

// Full conversion with special casing, as the root locale does it.
std::string fullCase(const std::string& utf8, bool upper) {
  icu::UnicodeString s = icu::UnicodeString::fromUTF8(utf8);
  std::string out;
  return (upper ? s.toUpper(icu::Locale::getRoot()) : s.toLower(icu::Locale::getRoot()))
      .toUTF8String(out);
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
  std::string text;
  int32_t status;
};

// UPPER/LOWER with the options, or INITCAP without a result word; source and
// destination end at guard pages, so reading or writing past either faults.
Result convert(const std::string& set, const Bytes& text, uint32_t options, uint32_t capacity,
               int32_t statusBefore = 0) {
  static lxktest::GuardedBuffer src, buffer;
  src.assign(text.data(), text.size());
  uint8_t* const out = buffer.tail(capacity);
  NlsContext* ctx = env().ctx();
  ctx->status = statusBefore;
  const uint32_t length = static_cast<uint32_t>(src.size());
  const uint32_t n = options == kInitcap ? lxkInitcap(out, capacity, src.data(), length, nullptr,
                                                      env().handle(set), ctx)
                                         : lxkToUL(out, capacity, src.data(), length, options,
                                                   0xDEADBEEFu, env().handle(set), ctx);
  EXPECT_LE(n, capacity) << set;
  const Bytes bytes(out, out + std::min(n, capacity));
  return {bytes, env().decode(set, bytes.data(), bytes.size()), ctx->status};
}

// Words, with the INITCAP form of those that test it.
const std::pair<const char*, const char*> kWords[] = {
    {"hello wORLD", "Hello World"},
    {"o'neil mcdonald-SMITH", "O'Neil Mcdonald-Smith"},
    {"élan ÉCOLE", "Élan École"},
    {"ωmega ΑΛΦΑ", "Ωmega Αλφα"},
    {"straße", nullptr},
    {"İstanbul", nullptr},
    {"ǆungla Ǆ", nullptr},
    {"Größe ÿ", nullptr},
    {"ﬁne ΣΑΣ", nullptr},
    {"Ωmega ǰ", nullptr}};

// The class decides: simple-case sets always map byte for byte; otherwise
// UPPER takes the full conversion, LOWER the simple one in single-byte sets
// or with raw bytes (UPPER tests the direction bit first) and the full one
// elsewhere.  INITCAP capitalises words in every set.
TEST(Case, EachClassTakesItsConversion) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const uint32_t flags = env().handle(set)->flags;
    for (const auto& [word, titled] : kWords) {
      if (!holds(set, word)) continue;
      const Bytes src = env().encode(set, word);
      if (titled != nullptr && holds(set, titled)) {
        EXPECT_EQ(convert(set, src, kInitcap, 64).text, titled) << set;
      }
      for (const uint32_t options :
           {kUpper, kLower, kUpper | OPT_RAW_BYTES, kLower | OPT_RAW_BYTES}) {
        const bool upper = options & kUpper, raw = options & OPT_RAW_BYTES;
        const bool simple =
            (flags & CSH_SIMPLE_CASE) || (!upper && (flags & CSH_SINGLE_BYTE || raw));
        const std::string expected = simple ? simpleCase(set, word, upper) : fullCase(word, upper);
        if (!holds(set, expected)) continue;
        const Result out = convert(set, src, options, 64, NLS_STATUS_TRUNCATED);
        const std::string where = set + (upper ? " upper " : " lower ") + (raw ? "raw " : "") +
                                  word + (simple ? " (simple)" : " (full)");
        // Byte for byte in a multibyte set only the size is predictable.
        if (!raw || upper || (flags & CSH_SINGLE_BYTE)) {
          EXPECT_EQ(out.text, expected) << where;
        }
        if (simple) {
          EXPECT_EQ(out.bytes.size(), src.size()) << where;
        }
        EXPECT_EQ(out.status, NLS_STATUS_OK) << where << ": cleared at entry";
      }
    }
  }
}

TEST(Case, NoDestinationIsATruncation) {
  NlsContext* ctx = env().ctx();
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const Bytes src = env().encode(set, "abc");
    for (const uint32_t length : {3u, 0u}) {
      const uint8_t* in = length ? src.data() : nullptr;
      // UPPER/LOWER: only when there was text to write.
      ctx->status = NLS_STATUS_INVALID_DATA;
      EXPECT_EQ(lxkToUL(nullptr, 8, in, length, kUpper, 0, handle, ctx), 0u) << set;
      EXPECT_EQ(ctx->status, length ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK) << set;
      // INITCAP: even for no text, in both words; the result word may be absent.
      uint32_t word = kUntouched;
      ctx->status = 0;
      EXPECT_EQ(lxkInitcap(nullptr, 8, in, length, &word, handle, ctx), 0u) << set;
      EXPECT_EQ(word, LXK_RESULT_TRUNCATED) << set;
      EXPECT_EQ(ctx->status, NLS_STATUS_TRUNCATED) << set;
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
      const Result upper = convert(set, src, kUpper, capacity);
      EXPECT_EQ(upper.bytes, env().encode(set, std::string("HELLO", capacity))) << where;
      EXPECT_EQ(upper.status, NLS_STATUS_TRUNCATED) << where;
      const Result titled = convert(set, src, kInitcap, capacity);
      EXPECT_EQ(titled.bytes, env().encode(set, std::string("Hello", capacity))) << where;
    }
    const Result whole = convert(set, src, kInitcap, 8, NLS_STATUS_INVALID_DATA);
    EXPECT_EQ(whole.text, "Hello") << set;
    EXPECT_EQ(whole.status, NLS_STATUS_INVALID_DATA) << set;
  }
}

}  // namespace
