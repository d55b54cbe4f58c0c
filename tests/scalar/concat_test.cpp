// CONCAT at every capacity in every set: whole characters only, closed shift
// runs, result word and status; plus the fixed cases of each path.
#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

NlsEnv& env() {
  static NlsEnv instance;
  return instance;
}

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

// Characters of the sample that the set holds, each with its own bytes.
std::vector<std::string> heldCharacters(const std::string& set,
                                        const std::vector<std::string>& sample) {
  std::vector<std::string> held;
  for (const std::string& ch : sample) {
    Bytes b = env().encode(set, ch);
    if (!b.empty() && env().decode(set, b.data(), static_cast<uint32_t>(b.size())) == ch)
      held.push_back(ch);
  }
  return held;
}

// Shift runs of the output are balanced and it ends in single-byte mode.
bool endsInSingleByteMode(const CharsetHandle* handle, const Bytes& bytes) {
  bool shifted = false;
  for (size_t i = 0; i < bytes.size();) {
    if (bytes[i] == handle->shiftOutByte) {
      shifted = true;
      ++i;
    } else if (bytes[i] == handle->shiftInByte) {
      shifted = false;
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

TEST(Concat, EveryCapacityKeepsWholeCharactersInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const bool shiftSensitive = flagsOf(set) & CSH_SHIFT_SENSITIVE;
    const std::vector<std::string> firstChars = heldCharacters(set, kFirstSample);
    const std::vector<std::string> secondChars = heldCharacters(set, kSecondSample);
    std::string firstText, secondText;
    for (const std::string& ch : firstChars) firstText += ch;
    for (const std::string& ch : secondChars) secondText += ch;
    const Bytes first = env().encode(set, firstText);
    const Bytes second = env().encode(set, secondText);
    const std::string whole = firstText + secondText;
    const uint32_t total = static_cast<uint32_t>(first.size() + second.size());

    for (uint32_t capacity = 0; capacity <= total; ++capacity) {
      const Outcome out = concat(set, capacity, first, second);
      const std::string where = set + " capacity " + std::to_string(capacity);
      const std::string text =
          env().decode(set, out.bytes.data(), static_cast<uint32_t>(out.bytes.size()));
      // Whole characters: it decodes, and to a prefix of the full text.
      ASSERT_EQ(whole.compare(0, text.size(), text), 0) << where << ": " << text;
      if (shiftSensitive) {
        EXPECT_TRUE(endsInSingleByteMode(handle, out.bytes)) << where;
      } else {
        // The first string alone when it did not fit, else all of it.
        if (capacity < first.size())
          EXPECT_LE(text.size(), firstText.size()) << where;
        else
          EXPECT_EQ(text.compare(0, firstText.size(), firstText), 0) << where;
      }
      if (text != whole) {
        EXPECT_EQ(out.resultWord, LXK_RESULT_TRUNCATED) << where;
        EXPECT_EQ(out.status, NLS_STATUS_TRUNCATED) << where;
      }
      if (out.resultWord == LXK_RESULT_COMPLETE) {
        EXPECT_EQ(text, whole) << where;
      }
      if (capacity == total) {
        EXPECT_EQ(out.resultWord, LXK_RESULT_COMPLETE) << where;
        EXPECT_EQ(out.status, 0) << where;
        EXPECT_EQ(text, whole) << where;
      }
    }
  }
}

// Outside shift-sensitive sets the kept prefix is the longest that fits:
// character by character, the next one would overflow.
TEST(Concat, KeptPrefixIsTheLongestThatFits) {
  for (const std::string& set : lxktest::stringCharsets()) {
    if (flagsOf(set) & CSH_SHIFT_SENSITIVE) continue;
    const std::vector<std::string> firstChars = heldCharacters(set, kFirstSample);
    const std::vector<std::string> secondChars = heldCharacters(set, kSecondSample);
    Bytes first, second;
    std::vector<size_t> firstEnds, secondEnds;  // byte offsets after each character
    for (const std::string& ch : firstChars) {
      const Bytes b = env().encode(set, ch);
      first.insert(first.end(), b.begin(), b.end());
      firstEnds.push_back(first.size());
    }
    for (const std::string& ch : secondChars) {
      const Bytes b = env().encode(set, ch);
      second.insert(second.end(), b.begin(), b.end());
      secondEnds.push_back(second.size());
    }
    const uint32_t total = static_cast<uint32_t>(first.size() + second.size());
    auto longestWithin = [](const std::vector<size_t>& ends, size_t room) {
      size_t kept = 0;
      for (size_t end : ends)
        if (end <= room) kept = end;
      return kept;
    };
    for (uint32_t capacity = 0; capacity <= total; ++capacity) {
      Bytes expected;
      if (capacity < first.size()) {
        expected.assign(first.begin(), first.begin() + longestWithin(firstEnds, capacity));
      } else {
        expected = first;
        const size_t kept = longestWithin(secondEnds, capacity - first.size());
        expected.insert(expected.end(), second.begin(), second.begin() + kept);
      }
      const Outcome out = concat(set, capacity, first, second);
      EXPECT_EQ(out.bytes, expected) << set << " capacity " << capacity;
      EXPECT_EQ(out.resultWord, capacity < total ? LXK_RESULT_TRUNCATED : LXK_RESULT_COMPLETE)
          << set << " capacity " << capacity;
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
    const std::vector<std::string> wide = heldCharacters(set, {"中", "文", "字", "日", "本"});
    if (wide.size() < 3) continue;
    const Bytes first = env().encode(set, wide[0] + wide[1]);  // SO c c c c SI
    const Bytes second = env().encode(set, wide[2]);           // SO c c SI
    const Bytes merged = env().encode(set, wide[0] + wide[1] + wide[2]);
    const uint8_t so = handle->shiftOutByte, si = handle->shiftInByte;
    ASSERT_EQ(first.front(), so);
    ASSERT_EQ(first.back(), si);

    // Room for both strings as they are: one run.
    const Outcome both =
        concat(set, static_cast<uint32_t>(first.size() + second.size()), first, second);
    EXPECT_EQ(both.bytes, merged) << set;
    EXPECT_EQ(both.resultWord, LXK_RESULT_COMPLETE) << set;

    // A first string that ends inside a run and exactly fills the capacity:
    // its last double-byte character gives way to the closing byte.
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
