// ASCII and CHR across the catalogue: the round trip on a multilingual
// sample, incomplete first characters, shift states and capacity limits on
// every character; the code convention; replacement of codes that are too
// wide.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// The text ends at a guard page: reading past it faults.
uint32_t ascii(const std::string& set, const Bytes& text) {
  static lxktest::GuardedBuffer src;
  src.assign(text.data(), text.size());
  return lxkAscii(src.data(), static_cast<uint32_t>(src.size()), env().handle(set), env().ctx());
}

// CHR into a destination that ends at a guard page: writing past it faults.
Bytes chr(const std::string& set, uint32_t code, uint32_t capacity) {
  static lxktest::GuardedBuffer buffer;
  uint8_t* const out = buffer.tail(capacity);
  const uint32_t n = lxkChr(out, capacity, code, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  return Bytes(out, out + std::min(n, capacity));
}

// The first character as the set's cursor steps it: UTF8 steps a
// supplementary character as two three-byte halves.
Bytes firstStep(const std::string& set, const Bytes& text) {
  CharCursor cursor;
  const uint32_t skipped = lxmopen(text.data(), static_cast<uint32_t>(text.size()), &cursor,
                                   env().handle(set), env().ctx(), 0);
  const uint32_t width = lxmfwdx(&cursor, env().ctx());
  return Bytes(text.begin(), text.begin() + skipped + width);
}

TEST(AsciiChr, RoundTripAndIncompleteFirstCharactersInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const bool shiftSensitive = handle->flags & CSH_SHIFT_SENSITIVE;
    EXPECT_EQ(lxkAscii(nullptr, 0, handle, env().ctx()), 0u) << set;
    EXPECT_EQ(ascii(set, Bytes{}), 0u) << set;
    EXPECT_TRUE(chr(set, 0x7FFFFFFFu, 0).empty()) << set;
    uint32_t held = 0;
    for (const std::string& ch : lxktest::sampleChars()) {
      const Bytes character = env().held(set, ch);
      if (character.empty()) continue;
      // Every proper prefix of the first character is incomplete (in a
      // shift-sensitive set: a run opened without its whole character).
      const Bytes step = shiftSensitive ? character : firstStep(set, character);
      const size_t cuts =
          shiftSensitive ? std::min<size_t>(step.size(), 1 + handle->maxCharWidth) : step.size();
      for (size_t cut = 1; cut < cuts; ++cut)
        EXPECT_EQ(ascii(set, Bytes(step.begin(), step.begin() + cut)), 0u)
            << set << " " << ch << " cut to " << cut;
      // Fixed-width sets write every code in maxCharWidth bytes: a UTF-16
      // pair has no single code there.
      if ((handle->flags & CSH_FIXED_WIDTH) && character.size() > handle->maxCharWidth) continue;
      ++held;
      // Followed by more text, only the first character counts; a shifted
      // one comes back with its shift-out and shift-in bytes, and below its
      // size CHR writes nothing.
      const uint32_t code = ascii(set, env().encode(set, ch + "b\xC3\xA9"));
      EXPECT_EQ(chr(set, code, 16), step) << set << " " << ch << " code " << std::hex << code;
      for (uint32_t capacity = 0; capacity < step.size(); ++capacity)
        EXPECT_TRUE(chr(set, code, capacity).empty()) << set << " " << ch << " in " << capacity;
    }
    EXPECT_GE(held, 7u) << set << " holds too little of the sample";
  }
}

// The code convention in named sets: ASCII of the text (where there is one)
// and CHR of the code at the capacity.
TEST(AsciiChr, CodesAndBytesOfNamedSets) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t code, capacity;
    Bytes written;
  } cases[] = {
      {"GB18030", {0x81, 0x40}, 0x8140u, 2, {0x81, 0x40}},
      {"GB18030", {0x81, 0x30, 0x81, 0x30}, 0x81308130u, 4, {0x81, 0x30, 0x81, 0x30}},
      {"GB18030", {0x41, 0x81}, 0x41, 1, {0x41}},  // a cut second character
      {"AL32UTF8", {0xC3, 0xA9, 0x41}, 0xC3A9u, 2, {0xC3, 0xA9}},
      {"AL16UTF16", {}, 0x12345, 4, {0x23, 0x45}},  // fixed width: the low bytes
      {"ISO-8859-1", {}, 0x141, 1, {0x41}},         // single-byte: the low byte
      {"IBM-1047", {}, 0xFFFFFFFFu, 4, {0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.set) + " code " + std::to_string(c.code));
    if (!c.text.empty()) {
      EXPECT_EQ(ascii(c.set, c.text), c.code);
    }
    EXPECT_EQ(chr(c.set, c.code, c.capacity), c.written);
  }
  EXPECT_EQ(lxkChr(nullptr, 4, 0x41, env().handle("AL32UTF8"), env().ctx()), 0u);
}

TEST(AsciiChr, CodesWiderThanTheSetBecomeItsReplacementCharacter) {
  constexpr uint32_t kExcluded =
      CSH_SINGLE_BYTE | CSH_FIXED_WIDTH | CSH_UTF16_CODES | CSH_SHIFT_SENSITIVE;
  uint32_t tested = 0;
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetDefinition* def = env().definition(set);
    if ((env().handle(set)->flags & kExcluded) || def->maxBytesPerChar >= 4) continue;
    const uint32_t tooWide = def->maxBytesPerChar == 3 ? 0x81818181u : 0x818181u;
    Bytes replacement;
    for (uint32_t code = def->replacementChar; code != 0; code >>= 8)
      replacement.insert(replacement.begin(), static_cast<uint8_t>(code));
    if (replacement.empty()) replacement.push_back(0);
    EXPECT_EQ(chr(set, tooWide, 8), replacement) << set;
    // The capacity is checked against the replacement's own size.
    EXPECT_TRUE(chr(set, tooWide, static_cast<uint32_t>(replacement.size()) - 1).empty()) << set;
    ++tested;
  }
  EXPECT_GT(tested, 0u) << "no multibyte set narrower than four bytes";
}

}  // namespace
