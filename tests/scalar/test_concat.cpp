// CONCAT at every capacity in every set: whole characters only, closed and
// merged shift runs, result word and status; plus the cases the sweep misses.
#include <cstdint>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Outcome {
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

constexpr uint32_t kUntouched = 77;
constexpr int32_t kEarlier = 3;  // a status left by an earlier call: never cleared

// Operands and destination end at guard pages: reading or writing past faults.
Outcome concat(const std::string& set, uint32_t capacity, const Bytes& firstText,
               const Bytes& secondText) {
  static lxktest::GuardedBuffer first, second, buffer;
  first.assign(firstText.data(), firstText.size());
  second.assign(secondText.data(), secondText.size());
  uint8_t* const out = buffer.tail(capacity);
  Outcome outcome{{}, kUntouched, 0};
  env().ctx()->status = kEarlier;
  const uint32_t n = lxkConcat(out, capacity, first.data(), static_cast<uint32_t>(first.size()),
                               second.data(), static_cast<uint32_t>(second.size()),
                               &outcome.resultWord, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  outcome.bytes = Bytes(out, out + (n <= capacity ? n : capacity));
  outcome.status = env().ctx()->status;
  return outcome;
}

// The sample characters the set holds, each encoded on its own (so shifted
// ones come as separate runs), joined; `ends` gets the offset after each.
Bytes joinHeld(const std::string& set, const std::vector<std::string>& sample,
               std::vector<size_t>* ends) {
  Bytes out;
  for (const std::string& ch : sample) {
    const Bytes b = env().held(set, ch);
    out.insert(out.end(), b.begin(), b.end());
    if (!b.empty()) ends->push_back(out.size());
  }
  return out;
}

size_t longestWithin(const std::vector<size_t>& ends, size_t room) {
  size_t kept = 0;
  for (size_t end : ends)
    if (end <= room) kept = end;
  return kept;
}

// BMP only: UTF-16 sets cut at even byte counts, which may split a pair.  A
// double-byte character on each side of the join tests that runs merge.
const std::vector<std::string> kFirstSample = {"a", "é", "Ж", "ｱ", "b", "€", "中"};
const std::vector<std::string> kSecondSample = {"日", "c", "한", "ß", "本", "d"};

// Each operand also alone, beside an empty one.
TEST(Concat, EveryCapacityInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    std::vector<size_t> aEnds, bEnds, noEnds;
    const Bytes a = joinHeld(set, kFirstSample, &aEnds), b = joinHeld(set, kSecondSample, &bEnds);
    const Bytes none;
    const struct {
      const Bytes &first, &second;
      const std::vector<size_t>&firstEnds, &secondEnds;
    } pairs[] = {{a, b, aEnds, bEnds}, {none, b, noEnds, bEnds}, {a, none, aEnds, noEnds}};
    for (const auto& [first, second, firstEnds, secondEnds] : pairs) {
      const uint32_t total = static_cast<uint32_t>(first.size() + second.size());
      Bytes both = first;
      both.insert(both.end(), second.begin(), second.end());
      const std::string whole = env().decode(set, both.data(), total);
      for (uint32_t capacity = 0; capacity <= total; ++capacity) {
        const Outcome out = concat(set, capacity, first, second);
        const std::string where = set + " capacity " + std::to_string(capacity) + " of " +
                                  std::to_string(first.size()) + "+" +
                                  std::to_string(second.size());
        if (!(env().handle(set)->flags & CSH_SHIFT_SENSITIVE)) {
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
          EXPECT_EQ(out.status, capacity < total ? NLS_STATUS_TRUNCATED : kEarlier) << where;
          continue;
        }
        // Shifted runs merge, so only the text is predictable: a prefix,
        // reported exactly when text was left out; merged runs when whole
        // (closed runs: fuzz_concat).
        const std::string text = env().decode(set, out.bytes.data(), out.bytes.size());
        EXPECT_EQ(whole.compare(0, text.size(), text), 0) << where << ": " << text;
        const bool cut = text != whole;
        EXPECT_EQ(out.resultWord, cut ? LXK_RESULT_TRUNCATED : LXK_RESULT_COMPLETE) << where;
        EXPECT_EQ(out.status, cut ? NLS_STATUS_TRUNCATED : kEarlier) << where;
        if (capacity == total) {
          EXPECT_EQ(out.bytes, env().encode(set, whole)) << where << ": runs not merged";
        }
      }
    }
  }
}

// Two empty operands leave the result word alone; an incomplete tail of the
// first string is dropped, not reported.
TEST(Concat, EmptyOperandsAndMalformedTails) {
  const Outcome empty = concat("ISO-8859-1", 8, {}, {});
  EXPECT_TRUE(empty.bytes.empty());
  EXPECT_EQ(empty.resultWord, kUntouched);
  EXPECT_EQ(empty.status, kEarlier);
  const Outcome out = concat("AL32UTF8", 8, {'a', 0xC3}, {'b'});
  EXPECT_EQ(out.bytes, Bytes({'a', 'b'}));
  EXPECT_EQ(out.resultWord, LXK_RESULT_COMPLETE);
  EXPECT_EQ(out.status, kEarlier);
}

// A first string that ends inside a run and exactly fills the capacity: its
// last double-byte character gives way to the closing byte, and the loss is
// reported; one byte more closes the run without loss.
TEST(Concat, OpenRunThatExactlyFillsTheCapacity) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    if (!(handle->flags & CSH_SHIFT_SENSITIVE)) continue;
    const Bytes closed = env().encode(set, "中文");  // SO c c c c SI
    ASSERT_EQ(closed.back(), handle->shiftInByte) << set;
    const Bytes open(closed.begin(), closed.end() - 1);
    const Outcome exact = concat(set, static_cast<uint32_t>(open.size()), open, {});
    Bytes expected(open.begin(), open.end() - handle->maxCharWidth);
    expected.push_back(handle->shiftInByte);
    EXPECT_EQ(exact.bytes, expected) << set;
    EXPECT_EQ(exact.resultWord, LXK_RESULT_TRUNCATED) << set;
    EXPECT_EQ(exact.status, NLS_STATUS_TRUNCATED) << set;

    const Outcome roomy = concat(set, static_cast<uint32_t>(closed.size()), open, {});
    EXPECT_EQ(roomy.bytes, closed) << set;
    EXPECT_EQ(roomy.resultWord, LXK_RESULT_COMPLETE) << set;
  }
}

// Merged runs decide what fits, not the operands' lengths: a cut is
// reported whenever a character is left out, and only then.
TEST(Concat, MergedRunsInIbm930) {
  const struct {
    Bytes first, second;
    uint32_t capacity;
    Bytes expected;
    bool cut;
  } rows[] = {
      // '中文' + 'AB': the second operand needs its shift-in byte.
      {{0x0E, 0x45, 0x5C, 0x45, 0xCA, 0x0F},
       {0xC1, 0xC2},
       7,
       {0x0E, 0x45, 0x5C, 0x45, 0xCA, 0x0F, 0xC1},
       true},
      // 'A中文' + 'B'
      {{0xC1, 0x0E, 0x45, 0x5C, 0x45, 0xCA, 0x0F},
       {0xC2},
       7,
       {0xC1, 0x0E, 0x45, 0x5C, 0x45, 0xCA, 0x0F},
       true},
      // 'A中' + '文B': fits whole once the runs merge.
      {{0xC1, 0x0E, 0x45, 0x5C, 0x0F},
       {0x0E, 0x45, 0xCA, 0x0F, 0xC2},
       8,
       {0xC1, 0x0E, 0x45, 0x5C, 0x45, 0xCA, 0x0F, 0xC2},
       false},
      // Two runs merged into one that exactly fills the capacity.
      {{0x0E, 0x41, 0x83, 0x0F},
       {0x0E, 0x41, 0x84, 0x0F},
       6,
       {0x0E, 0x41, 0x83, 0x41, 0x84, 0x0F},
       false},
  };
  for (const auto& row : rows) {
    const Outcome out = concat("IBM-930", row.capacity, row.first, row.second);
    EXPECT_EQ(out.bytes, row.expected) << "capacity " << row.capacity;
    EXPECT_EQ(out.resultWord, row.cut ? LXK_RESULT_TRUNCATED : LXK_RESULT_COMPLETE);
    EXPECT_EQ(out.status, row.cut ? NLS_STATUS_TRUNCATED : kEarlier);
  }
}

// A UTF-16 part cut short never ends in a high surrogate whose pair was
// cut off.
TEST(Concat, Utf16CutKeepsSurrogatePairsWhole) {
  const Bytes a = {0x00, 0x61}, grin = {0xD8, 0x3D, 0xDE, 0x00};
  for (uint32_t capacity : {4u, 5u}) {
    const Outcome out = concat("AL16UTF16", capacity, a, grin);
    EXPECT_EQ(out.bytes, a) << "capacity " << capacity;
    EXPECT_EQ(out.resultWord, LXK_RESULT_TRUNCATED);
    EXPECT_TRUE(concat("AL16UTF16", capacity - 2, grin, a).bytes.empty()) << capacity - 2;
  }
}

}  // namespace
