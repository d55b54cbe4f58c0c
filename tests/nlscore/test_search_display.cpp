// The core's exact search, replacement and display widths against plain
// references written here: a forward walk over the cursor's character
// starts, a replace over the text's characters, and display columns from
// the East Asian Width property read straight from ICU.
#include <unicode/uchar.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "lxk/lxk.h"
#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// The set's bytes of each sample character it holds.
std::vector<Bytes> heldChars(const std::string& set) {
  std::vector<Bytes> out;
  for (const std::string& ch : lxktest::sampleChars()) {
    Bytes b = env().held(set, ch);
    if (!b.empty()) out.push_back(std::move(b));
  }
  return out;
}

// Random text of whole characters, with a random byte now and then when
// malformed text is asked for.  Shift-sensitive characters come with their
// own shift bytes, so runs open and close everywhere.
Bytes randomText(const std::vector<Bytes>& chars, size_t count, bool malformed, std::mt19937& rng) {
  Bytes out;
  for (size_t i = 0; i < count && !chars.empty(); ++i) {
    if (malformed && rng() % 8 == 0) out.push_back(static_cast<uint8_t>(rng()));
    const Bytes& c = chars[rng() % std::min<size_t>(chars.size(), 6 + rng() % chars.size())];
    out.insert(out.end(), c.begin(), c.end());
  }
  return out;
}

// A character of a walk: where it starts, its mode and its bytes.
struct WalkedChar {
  uint32_t offset;
  bool shifted;
  uint32_t width;
};

// The cursor's walk over text: lxmfwdx from the start to the end.
std::vector<WalkedChar> cursorWalk(const CharsetHandle* h, const Bytes& text) {
  CharCursor c;
  lxmopen(text.data(), static_cast<uint32_t>(text.size()), &c, h, env().ctx(), 0);
  std::vector<WalkedChar> out;
  while (static_cast<uint32_t>(c.current - c.start) < c.length) {
    const uint32_t at = static_cast<uint32_t>(c.current - c.start);
    const bool shifted = c.shiftState != 0;
    lxmfwdx(&c, env().ctx());
    out.push_back({at, shifted, 0});
  }
  return out;
}

// Characters of a shift-sensitive text from a position and mode, the shift
// bytes left out, the last one cut to the bytes there.
std::vector<WalkedChar> shiftedChars(const CharsetHandle* h, const uint8_t* p, size_t n,
                                     bool shifted) {
  std::vector<WalkedChar> out;
  for (size_t i = 0; i < n;) {
    if (p[i] == h->shiftOutByte || p[i] == h->shiftInByte) {
      shifted = p[i++] == h->shiftOutByte;
      continue;
    }
    const size_t w = std::min<size_t>(shifted ? h->maxCharWidth : 1, n - i);
    out.push_back({static_cast<uint32_t>(i), shifted, static_cast<uint32_t>(w)});
    i += w;
  }
  return out;
}

// Where the pattern matches the text at the character start `at` (in mode
// `shifted`): the end of the match, or -1.
int64_t matchEnd(const CharsetHandle* h, const Bytes& text, const WalkedChar& at,
                 const Bytes& pattern) {
  if (!(h->flags & CSH_SHIFT_SENSITIVE)) {
    if (at.offset + pattern.size() > text.size() ||
        !std::equal(pattern.begin(), pattern.end(), text.begin() + at.offset))
      return -1;
    return at.offset + static_cast<int64_t>(pattern.size());
  }
  const auto pat = shiftedChars(h, pattern.data(), pattern.size(), false);
  const auto txt = shiftedChars(h, text.data() + at.offset, text.size() - at.offset, at.shifted);
  if (pat.size() > txt.size()) return -1;
  for (size_t k = 0; k < pat.size(); ++k) {
    if (pat[k].shifted != txt[k].shifted || pat[k].width > txt[k].width ||
        !std::equal(pattern.begin() + pat[k].offset, pattern.begin() + pat[k].offset + pat[k].width,
                    text.begin() + at.offset + txt[k].offset))
      return -1;
  }
  return pat.empty() ? at.offset : at.offset + txt[pat.size() - 1].offset + pat.back().width;
}

TEST(SearchPattern, FirstMatchAtACharacterStartAgreesWithAForwardWalk) {
  std::mt19937 rng(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const std::vector<Bytes> chars = heldChars(set);
    for (int round = 0; round < 60; ++round) {
      const Bytes text = randomText(chars, 1 + rng() % 40, round % 3 == 0, rng);
      const auto walk = cursorWalk(h, text);
      // A pattern of whole characters, or (sometimes) any slice of the text.
      Bytes pattern = randomText(chars, 1 + rng() % 3, false, rng);
      if (round % 4 == 1 && !text.empty()) {
        const size_t from = rng() % text.size();
        pattern.assign(text.begin() + from,
                       text.begin() + std::min(text.size(), from + 1 + rng() % 6));
      }
      if (round % 4 == 2 && !walk.empty()) {  // a piece of the text itself
        const size_t i = rng() % walk.size(), j = std::min(walk.size(), i + 1 + rng() % 4);
        const uint32_t end = j < walk.size() ? walk[j].offset : text.size();
        pattern = Bytes(text.begin() + walk[i].offset, text.begin() + end);
        if (h->flags & CSH_SHIFT_SENSITIVE && walk[i].shifted)
          pattern.insert(pattern.begin(), h->shiftOutByte);
      }
      const size_t startIndex = walk.empty() ? 0 : rng() % walk.size();
      const uint32_t start = walk.empty() ? 0 : walk[startIndex].offset;
      const uint32_t length = rng() % 2 ? static_cast<uint32_t>(text.size()) - start
                                        : static_cast<uint32_t>(rng() % (text.size() + 1));
      int64_t expected = -1;
      bool expectedShift = false;
      for (size_t i = startIndex; i < walk.size() && expected < 0; ++i) {
        const int64_t end = matchEnd(h, text, walk[i], pattern);
        if (end >= 0 && end <= static_cast<int64_t>(start) + length) {
          expected = walk[i].offset - start;
          expectedShift = walk[i].shifted;
        }
      }

      lxktest::GuardedBuffer textBuffer(text.data(), text.size()),
          patternBuffer(pattern.data(), pattern.size());
      CharCursor c, p;
      lxmopen(textBuffer.data(), static_cast<uint32_t>(text.size()), &c, h, env().ctx(), 0);
      for (size_t i = 0; i < startIndex; ++i) lxmfwdx(&c, env().ctx());
      const uint32_t lead = lxmopen(patternBuffer.data(), static_cast<uint32_t>(pattern.size()), &p,
                                    h, env().ctx(), 0);
      const CharCursor before = c, patternBefore = p;
      const int32_t got = lxoSchPat(&c, length, &p, static_cast<uint32_t>(pattern.size()) - lead,
                                    OPT_STANDARD, env().ctx());
      std::string trace = set + " round " + std::to_string(round) + " start " +
                          std::to_string(start) + " length " + std::to_string(length) + " text";
      for (uint8_t b : text) trace += " " + std::to_string(b);
      trace += " pattern";
      for (uint8_t b : pattern) trace += " " + std::to_string(b);
      ASSERT_EQ(got, expected) << trace;
      EXPECT_EQ(p.current, patternBefore.current) << trace;
      if (got < 0) {
        EXPECT_EQ(c.current, before.current) << trace;
      } else {
        EXPECT_EQ(c.current, before.current + got) << trace;
        EXPECT_EQ(c.shiftState != 0, expectedShift) << trace;
      }
    }
  }
}

}  // namespace
