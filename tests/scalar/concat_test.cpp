// CONCAT at every capacity in every set: whole characters only, closed shift
// runs, result word and status; plus the fixed cases of each path.
#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

uint32_t flagsOf(const std::string& set) { return env().handle(set)->flags; }

struct Outcome {
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

constexpr uint8_t kGuard = 0xA5;
constexpr uint32_t kUntouched = 77;

Outcome concat(const std::string& set, uint32_t capacity, const Bytes& first, const Bytes& second,
               int32_t statusBefore = 0) {
  Bytes buffer(capacity + 8, kGuard);
  Outcome outcome{{}, kUntouched, 0};
  env().ctx()->status = statusBefore;
  const uint32_t n = lxkConcat(
      buffer.data(), capacity, first.data(), static_cast<uint32_t>(first.size()), second.data(),
      static_cast<uint32_t>(second.size()), &outcome.resultWord, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  for (size_t i = capacity; i < buffer.size(); ++i)
    EXPECT_EQ(buffer[i], kGuard) << set << ": byte written past the capacity " << capacity;
  buffer.resize(n <= capacity ? n : capacity);
  outcome.bytes = buffer;
  outcome.status = env().ctx()->status;
  return outcome;
}

// The set's bytes of each character of the sample that it holds.
std::vector<Bytes> heldCharacters(const std::string& set, const std::vector<std::string>& sample) {
  std::vector<Bytes> held;
  for (const std::string& ch : sample) {
    Bytes b = env().encode(set, ch);
    if (!b.empty() && env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == ch)
      held.push_back(b);
  }
  return held;
}

// The joined characters, and the byte offset after each.
Bytes joined(const std::vector<Bytes>& chars, std::vector<size_t>* ends) {
  Bytes out;
  for (const Bytes& b : chars) {
    out.insert(out.end(), b.begin(), b.end());
    ends->push_back(out.size());
  }
  return out;
}

size_t longestWithin(const std::vector<size_t>& ends, size_t room) {
  size_t kept = 0;
  for (size_t end : ends)
    if (end <= room) kept = end;
  return kept;
}

// Shift runs of the output are balanced and it ends in single-byte mode.
bool endsInSingleByteMode(const CharsetHandle* handle, const Bytes& bytes) {
  bool shifted = false;
  for (size_t i = 0; i < bytes.size();) {
    if (bytes[i] == handle->shiftOutByte || bytes[i] == handle->shiftInByte) {
      shifted = bytes[i] == handle->shiftOutByte;
      ++i;
    } else {
      i += shifted ? handle->maxCharWidth : 1;
    }
  }
  return !shifted;
}

// BMP only: UTF-16 sets cut at even byte counts, which may split a pair.
const std::vector<std::string> kFirstSample = {"a", "é", "中", "Ж", "ｱ", "b", "€"};
const std::vector<std::string> kSecondSample = {"日", "c", "한", "ß", "本", "d"};

TEST(Concat, EveryCapacityInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    std::vector<size_t> firstEnds, secondEnds;
    const Bytes first = joined(heldCharacters(set, kFirstSample), &firstEnds);
    const Bytes second = joined(heldCharacters(set, kSecondSample), &secondEnds);
    const uint32_t total = static_cast<uint32_t>(first.size() + second.size());
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    const std::string whole = env().decode(set, both.data(), total);

    for (uint32_t capacity = 0; capacity <= total; ++capacity) {
      const Outcome out = concat(set, capacity, first, second);
      const std::string where = set + " capacity " + std::to_string(capacity);
      if (!(handle->flags & CSH_SHIFT_SENSITIVE)) {
        // The longest whole-character prefix: of the first string alone when
        // it did not fit, else all of it and what fits of the second.
        Bytes expected(first.begin(), first.begin() + longestWithin(firstEnds, capacity));
        if (capacity >= first.size()) {
          const size_t kept = longestWithin(secondEnds, capacity - first.size());
          expected.insert(expected.end(), second.begin(), second.begin() + kept);
        }
        EXPECT_EQ(out.bytes, expected) << where;
        EXPECT_EQ(out.resultWord, capacity < total ? LXK_RESULT_TRUNCATED : LXK_RESULT_COMPLETE)
            << where;
        EXPECT_EQ(out.status, capacity < total ? NLS_STATUS_TRUNCATED : 0) << where;
        continue;
      }
      // Shifted runs merge, so only the text is predictable: a prefix of
      // whole characters, closed, and reported when anything is missing.
      const std::string text =
          env().decode(set, out.bytes.data(), static_cast<uint32_t>(out.bytes.size()));
      EXPECT_EQ(whole.compare(0, text.size(), text), 0) << where << ": " << text;
      EXPECT_TRUE(endsInSingleByteMode(handle, out.bytes)) << where;
      if (text != whole) {
        EXPECT_EQ(out.resultWord, LXK_RESULT_TRUNCATED) << where;
        EXPECT_EQ(out.status, NLS_STATUS_TRUNCATED) << where;
      }
      if (capacity == total) {
        EXPECT_EQ(out.resultWord, LXK_RESULT_COMPLETE) << where;
        EXPECT_EQ(text, whole) << where;
      }
    }
  }
}

TEST(Concat, FixedCases) {
  struct Case {
    const char* name;
    const char* set;
    uint32_t capacity;
    Bytes first, second, expected;
    uint32_t resultWord;
    int32_t status;
  };
  const Bytes abc = lxktest::bytes("abc"), def = lxktest::bytes("def");
  const Case cases[] = {
      {"both empty", "AL32UTF8", 8, {}, {}, {}, kUntouched, 3},
      {"both empty, no room", "ISO-8859-1", 0, {}, {}, {}, kUntouched, 3},
      {"single-byte cut", "ISO-8859-1", 5, abc, def, lxktest::bytes("abcde"), 2, 6},
      {"single-byte fits", "ISO-8859-1", 6, abc, def, lxktest::bytes("abcdef"), 0, 3},
      {"single-byte first cut", "ISO-8859-1", 2, abc, def, lxktest::bytes("ab"), 2, 6},
      {"second only", "ISO-8859-1", 2, {}, def, lxktest::bytes("de"), 2, 6},
      {"UTF-16 second cut to a unit",
       "AL16UTF16",
       5,
       {0, 'a', 0, 'b'},
       {0, 'c'},
       {0, 'a', 0, 'b'},
       2,
       6},
      {"UTF-16 first cut to even", "AL16UTF16", 3, {0, 'a', 0, 'b'}, {0, 'c'}, {0, 'a'}, 2, 6},
      {"UTF-8 first cut, second dropped", "AL32UTF8", 2, {'a', 0xC3, 0xA9}, {'b'}, {'a'}, 2, 6},
      {"UTF-8 incomplete tail dropped", "AL32UTF8", 8, {'a', 0xC3}, {'b'}, {'a', 'b'}, 0, 3},
      {"UTF-8 second cut",
       "AL32UTF8",
       4,
       {'a'},
       {0xE2, 0x82, 0xAC, 'b'},
       {'a', 0xE2, 0x82, 0xAC},
       2,
       6},
      {"UTF-8 second cut inside", "AL32UTF8", 3, {'a'}, {0xE2, 0x82, 0xAC}, {'a'}, 2, 6},
      {"GB18030 four-byte kept whole", "GB18030", 4, {'a'}, {0x81, 0x30, 0x81, 0x30}, {'a'}, 2, 6},
      {"GB18030 four-byte fits",
       "GB18030",
       5,
       {'a'},
       {0x81, 0x30, 0x81, 0x30},
       {'a', 0x81, 0x30, 0x81, 0x30},
       0,
       3},
      {"no room", "AL32UTF8", 0, abc, def, {}, 2, 6},
  };
  for (const Case& c : cases) {
    const Outcome out = concat(c.set, c.capacity, c.first, c.second, 3);
    EXPECT_EQ(out.bytes, c.expected) << c.name;
    EXPECT_EQ(out.resultWord, c.resultWord) << c.name;
    EXPECT_EQ(out.status, c.status) << c.name << ": the status word is never cleared";
  }
}

TEST(Concat, ShiftSensitiveRunsMergeAndClose) {
  for (const std::string& set : lxktest::stringCharsets()) {
    if (!(flagsOf(set) & CSH_SHIFT_SENSITIVE)) continue;
    const CharsetHandle* handle = env().handle(set);
    const Bytes first = env().encode(set, "中文");  // SO c c c c SI
    const Bytes second = env().encode(set, "字");   // SO c c SI
    const Bytes merged = env().encode(set, "中文字");
    const uint8_t so = handle->shiftOutByte, si = handle->shiftInByte;
    ASSERT_EQ(first.front(), so);
    ASSERT_EQ(first.back(), si);

    // Room for both strings as they are: one run.
    const Outcome both =
        concat(set, static_cast<uint32_t>(first.size() + second.size()), first, second);
    EXPECT_EQ(both.bytes, merged) << set;
    EXPECT_EQ(both.resultWord, LXK_RESULT_COMPLETE) << set;

    // A first string that ends inside a run and exactly fills the capacity:
    // its last double-byte character gives way to the closing byte, and the
    // loss is reported.  This needs a cursor copy that fills the capacity and
    // leaves closing the run to the caller.
    const Bytes open(first.begin(), first.end() - 1);  // SO c c c c
    const Outcome exact = concat(set, static_cast<uint32_t>(open.size()), open, {});
    Bytes expected(open.begin(), open.end() - handle->maxCharWidth);
    expected.push_back(si);
    EXPECT_EQ(exact.bytes, expected) << set;
    EXPECT_EQ(exact.resultWord, LXK_RESULT_TRUNCATED) << set;
    EXPECT_EQ(exact.status, NLS_STATUS_TRUNCATED) << set;

    // With one byte more the run is closed without loss.
    const Outcome roomy = concat(set, static_cast<uint32_t>(open.size() + 1), open, {});
    EXPECT_EQ(roomy.bytes, first) << set;
    EXPECT_EQ(roomy.resultWord, LXK_RESULT_COMPLETE) << set;
  }
}

}  // namespace
