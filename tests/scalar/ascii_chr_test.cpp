// ASCII and CHR across the catalogue: the round trip on a multilingual
// sample, incomplete first characters, shift states, replacement of codes
// that are too wide, and capacity limits.
#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// The set's bytes for the text, or empty when the set cannot hold all of it.
Bytes heldEncoding(const std::string& set, const std::string& utf8) {
  Bytes encoded = env().encode(set, utf8);
  if (encoded.empty()) return {};
  if (env().decode(set, encoded.data(), static_cast<uint32_t>(encoded.size())) != utf8) return {};
  return encoded;
}

uint32_t ascii(const std::string& set, const Bytes& text) {
  return lxkAscii(text.data(), static_cast<uint32_t>(text.size()), env().handle(set), env().ctx());
}

// CHR into a guarded buffer: fails the test if it writes past the capacity.
Bytes chr(const std::string& set, uint32_t code, uint32_t capacity) {
  Bytes buffer(capacity + 8, 0xA5);
  const uint32_t n = lxkChr(buffer.data(), capacity, code, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  for (size_t i = capacity; i < buffer.size(); ++i)
    EXPECT_EQ(buffer[i], 0xA5) << set << ": byte written past the capacity";
  buffer.resize(n);
  return buffer;
}

const char* const kSample[] = {"A", "z", "0",  " ",  "~",        "é",           "ß",  "Ж",
                               "α", "€", "中", "日", "ア",       "ｱ",           "한", "ü",
                               "ﬁ", "Ω", "𠀋", "😀",  "\xC2\x80", "\xEF\xBF\xBD"};

// The first character as the set's cursor steps it: UTF8 steps a
// supplementary character as two three-byte halves.
Bytes firstStep(const std::string& set, const Bytes& text) {
  CharCursor cursor;
  const uint32_t skipped = lxmopen(text.data(), static_cast<uint32_t>(text.size()), &cursor,
                                   env().handle(set), env().ctx(), 0);
  const uint32_t width = lxmfwdx(&cursor, env().ctx());
  return Bytes(text.begin(), text.begin() + skipped + width);
}

// Neither export touches the status word, whatever it is given.
constexpr int32_t kEarlier = 14;

TEST(AsciiChr, RoundTripAndIncompleteFirstCharactersInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const bool shiftSensitive = handle->flags & CSH_SHIFT_SENSITIVE;
    env().ctx()->status = kEarlier;
    EXPECT_EQ(lxkAscii(nullptr, 0, handle, env().ctx()), 0u) << set;
    EXPECT_EQ(ascii(set, Bytes{}), 0u) << set;
    EXPECT_TRUE(chr(set, 0x7FFFFFFFu, 0).empty()) << set;
    uint32_t held = 0;
    for (const char* ch : kSample) {
      const Bytes character = heldEncoding(set, ch);
      if (character.empty()) continue;
      // Every proper prefix of a multibyte first character is incomplete.
      const Bytes step = shiftSensitive ? character : firstStep(set, character);
      for (size_t cut = 1; cut < step.size() && !shiftSensitive; ++cut)
        EXPECT_EQ(ascii(set, Bytes(step.begin(), step.begin() + cut)), 0u)
            << set << " " << ch << " cut to " << cut;
      // Fixed-width sets write every code in maxCharWidth bytes: a UTF-16
      // pair has no single code there.
      if ((handle->flags & CSH_FIXED_WIDTH) && character.size() > handle->maxCharWidth) continue;
      ++held;
      // Followed by more text, only the first character counts; a shifted
      // one comes back with its shift-out and shift-in bytes.
      const uint32_t code = ascii(set, env().encode(set, std::string(ch) + "b\xC3\xA9"));
      EXPECT_EQ(chr(set, code, 16), step) << set << " " << ch << " code " << std::hex << code;
      EXPECT_EQ(ascii(set, character), code) << set << " " << ch;
    }
    EXPECT_GE(held, 4u) << set << " holds too little of the sample";
    EXPECT_EQ(env().ctx()->status, kEarlier) << set;
  }
  env().ctx()->status = 0;
}

TEST(AsciiChr, AsciiOfNamedSets) {
  struct Case {
    const char* set;
    Bytes text;
    uint32_t code;
  };
  const Case cases[] = {
      // A two-byte lead followed by a digit starts a four-byte character.
      {"GB18030", {0x81, 0x30, 0x81}, 0},
      {"GB18030", {0x81, 0x40}, 0x8140u},
      {"GB18030", {0x41, 0x81}, 0x41},
      {"AL32UTF8", {0xC3, 0xA9, 0x41}, 0xC3A9u},
  };
  for (const Case& c : cases) EXPECT_EQ(ascii(c.set, c.text), c.code) << c.set;
}

TEST(AsciiChr, ShiftSensitiveAsciiInsideAndOutsideARun) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    if (!(handle->flags & CSH_SHIFT_SENSITIVE)) continue;
    // Outside a run the first byte is the code.
    const Bytes single = env().encode(set, "Ab");
    ASSERT_FALSE(single.empty());
    EXPECT_EQ(ascii(set, single), single[0]) << set;
    for (const char* ch : {"中", "日", "한", "ア"}) {
      const Bytes shifted = heldEncoding(set, std::string(ch) + "b");
      if (shifted.empty()) continue;
      ASSERT_EQ(shifted[0], handle->shiftOutByte) << set;
      const uint32_t code = ascii(set, shifted);
      EXPECT_GT(code, 0xFFu) << set << " " << ch;
      // An opened run without its complete character: nothing.
      const Bytes cut(shifted.begin(), shifted.begin() + handle->maxCharWidth);
      EXPECT_EQ(ascii(set, cut), 0u) << set << " " << ch;
      // No room for shift-out, character and shift-in: nothing.
      const size_t whole = env().encode(set, ch).size();
      for (uint32_t capacity = 0; capacity < whole; ++capacity)
        EXPECT_TRUE(chr(set, code, capacity).empty()) << set << " capacity " << capacity;
    }
  }
}

TEST(AsciiChr, ChrByteLayoutAndLimits) {
  struct Case {
    const char* set;
    uint32_t code;
    uint32_t capacity;
    Bytes expected;
  };
  const Case cases[] = {
      {"AL16UTF16", 0x41, 1, {}},
      // Fixed width: two bytes whatever the code.
      {"AL16UTF16", 0x12345, 4, {0x23, 0x45}},
      {"AL32UTF8", 0x41, 1, {0x41}},
      {"AL32UTF8", 0xE282AC, 3, {0xE2, 0x82, 0xAC}},
      {"AL32UTF8", 0xE282AC, 2, {}},
      {"GB18030", 0x81308130u, 4, {0x81, 0x30, 0x81, 0x30}},
      {"GB18030", 0x81308130u, 3, {}},
      // Single-byte sets keep the low byte whatever the code.
      {"ISO-8859-1", 0x141, 1, {0x41}},
      {"IBM-1047", 0xFFFFFFFFu, 4, {0xFF}},
      {"IBM-1047", 0xC1, 0, {}},
  };
  for (const Case& c : cases)
    EXPECT_EQ(chr(c.set, c.code, c.capacity), c.expected) << c.set << " " << std::hex << c.code;
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
