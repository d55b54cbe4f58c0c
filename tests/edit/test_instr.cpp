// INSTR against a reference counting positions through the units of the
// call, on random text in every set, every unit option, every position in
// both directions; rows for what random text never reaches.
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "frame/frame.h"
#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

uint32_t instr(const std::string& set, const Bytes& text, const Bytes& search, int32_t position,
               uint32_t occurrence, uint32_t options, const char* collation = nullptr) {
  static lxktest::GuardedBuffer src, pattern;
  src.assign(text.data(), text.size());
  pattern.assign(search.data(), search.size());
  NlsContext* ctx = env().ctx();
  ctx->status = 77;
  const uint32_t r = lxkInstr(src.data(), static_cast<uint32_t>(text.size()), pattern.data(),
                              static_cast<uint32_t>(search.size()), position, occurrence, options,
                              env().handle(set, collation), ctx);
  EXPECT_TRUE(ctx->status == 77 || ctx->status == NLS_STATUS_INVALID_CHAR) << set;
  return r;
}

std::string trace(const std::string& set, uint32_t options, int32_t position, uint32_t occurrence) {
  return set + " options 0x" + std::to_string(options) + " position " + std::to_string(position) +
         " occurrence " + std::to_string(occurrence);
}

struct Row {
  const char* text;
  const char* search;
  int32_t position;
  uint32_t occurrence;
  uint32_t expected;
};

// Position or occurrence 0, an empty search or text, a search longer than the
// text, overlapping matches, the extremes of each argument.
const Row kRows[] = {
    {"abcabc", "bc", 0, 1, 0},         {"abcabc", "bc", 1, 0, 0},
    {"abcabc", "", 1, 1, 0},           {"", "a", 1, 1, 0},
    {"aaaa", "aa", 1, 3, 3},           {"aaaa", "aa", -1, 3, 1},
    {"abc", "abcd", 1, 1, 0},          {"abc", "abcd", -1, 1, 0},
    {"abcabc", "a", INT32_MAX, 1, 0},  {"abcabc", "a", INT32_MIN, 1, 0},
    {"abcabc", "c", 1, UINT32_MAX, 0},
};

TEST(Instr, RowsInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const Row& row : kRows) {
      const Bytes text = env().held(set, row.text), search = env().held(set, row.search);
      if ((text.empty() && *row.text) || (search.empty() && *row.search)) continue;
      // In one-byte characters the rows hold in bytes too.
      for (uint32_t options : {0u, static_cast<uint32_t>(OPT_BYTE_UNITS)}) {
        if (options != 0 && text.size() != std::string(row.text).size()) continue;
        EXPECT_EQ(instr(set, text, search, row.position, row.occurrence, options), row.expected)
            << trace(set, options, row.position, row.occurrence) << " " << row.text;
      }
    }
  }
}

// Malformed text, unit rules, composed against decomposed.
TEST(Instr, ByteRows) {
  const uint32_t ucs4 = OPT_UCS4_UNITS, whole = OPT_COMPLETE_CHARS;
  const auto e = [](const char* utf8) { return env().encode("AL32UTF8", utf8); };
  const struct {
    const char* set;
    Bytes text, search;
    int32_t position;
    uint32_t options, expected;
  } rows[] = {
      // Byte units start on the next character.
      {"AL32UTF8", {0xC3, 0xA9, 0x61}, {0x61}, 2, OPT_BYTE_UNITS, 3},
      {"AL32UTF8", {0xC3, 0xA9, 0xA9}, {0xA9}, 1, OPT_BYTE_UNITS, 2},
      // A six-byte surrogate pair: one code point, two characters.
      {"AL32UTF8", {0xED, 0xA0, 0x80, 0xED, 0xB0, 0x80, 0x62}, {0x62}, 1, ucs4, 2},
      {"AL32UTF8", {0xED, 0xA0, 0x80, 0xED, 0xB0, 0x80, 0x62}, {0x62}, 1, 0, 3},
      {"AL32UTF8", {0xED, 0xA0, 0x80, 0xED, 0xB0, 0x80}, {0xED, 0xA0, 0x80}, 1, ucs4, 0},
      {"AL32UTF8", {0xED, 0xA0, 0x80, 0xED, 0xB0, 0x80}, {0xED, 0xA0, 0x80}, 1, 0, 1},
      // Truncated and stray bytes.
      {"AL32UTF8", {0x61, 0xE4, 0xB8}, {0xE4}, 1, 0, 2},
      {"AL32UTF8", {0x80, 0x80, 0x61}, {0x61}, -1, 0, 3},
      {"AL32UTF8", {0xE4, 0x61, 0x62}, {0x62}, 1, 0, 0},
      // A lone high surrogate matches half a pair in code units only.
      {"AL16UTF16", {0xD8, 0x34, 0xDD, 0x1E}, {0xD8, 0x34}, 1, 0, 1},
      {"AL16UTF16", {0xD8, 0x34, 0xDD, 0x1E}, {0xD8, 0x34}, 1, ucs4, 0},
      {"AL16UTF16", {0xD8, 0x34, 0xDD, 0x1E}, {0xDD, 0x1E}, -1, 0, 2},
      {"AL16UTF16", {0xD8, 0x34, 0xDD, 0x1E, 0, 0x62}, {0, 0x62}, 1, ucs4, 2},
      {"AL16UTF16", {0, 0x61, 0, 0x62, 0}, {0, 0x62}, 2, OPT_BYTE_UNITS, 3},
      {"AL16UTF16", {0, 0x61, 0x62, 0}, {0x61, 0x62}, 1, 0, 0},
      // Shift-JIS trail bytes in the ASCII range are not characters.
      {"SHIFT_JIS", {0x83, 0x41, 0x41}, {0x41}, 1, 0, 2},
      {"SHIFT_JIS", {0x83, 0x41, 0x41}, {0x41}, -1, 0, 2},
      {"SHIFT_JIS", {0x83, 0x41, 0x41}, {0x41}, 1, OPT_BYTE_UNITS, 3},
      {"SHIFT_JIS", {0x83, 0x41}, {0x41}, 1, OPT_RAW_BYTES, 2},
      {"AL32UTF8", e("xe\u0301y\u00E9"), e("\u00E9"), 1, whole, 2},
      {"AL32UTF8", e("xe\u0301y\u00E9"), e("e\u0301"), -1, whole, 4},
      {"AL32UTF8", e("xe\u0301y\u00E9"), e("e"), 1, whole, 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(instr(row.set, row.text, row.search, row.position, 1, row.options), row.expected)
        << trace(row.set, row.options, row.position, 1);
}

enum class Units { Bytes, RawBytes, Chars, Ucs2, CodePoints, Utf16Units, Complete };

bool isUtf8Set(const CharsetDefinition* def) {
  return (def->definitionFlags & CSD_UTF8) != 0 || def->charsetId == CSID_AL32UTF8;
}

// The units a call counts in, as INSTR's dispatch decides them.
Units unitsOf(const std::string& set, uint32_t options, bool rightward) {
  const CharsetHandle* h = env().handle(set);
  const CharsetDefinition* def = env().definition(set);
  if ((h->flags & CSH_SIMPLE_CASE) || (options & (OPT_RAW_BYTES | OPT_BYTE_SEARCH)))
    return Units::RawBytes;
  if (isUtf8Set(def) && (options & OPT_BYTE_UNITS)) return Units::Bytes;
  if (isUtf8Set(def) || (h->flags & CSH_UTF16)) {
    if (options & OPT_COMPLETE_CHARS) return Units::Complete;
    if (options & OPT_UCS4_UNITS) return Units::CodePoints;
    if (options & OPT_BYTE_UNITS) return Units::Bytes;
    return (h->flags & CSH_UTF16) ? Units::Utf16Units : Units::Chars;
  }
  if (options & OPT_BYTE_UNITS) return Units::Bytes;
  if (rightward && (options & OPT_UCS2_UNITS) && !(h->flags & CSH_SHIFT_SENSITIVE) &&
      (def->definitionFlags & CSD_SUPPLEMENTARY_MAP))
    return Units::Ucs2;
  return Units::Chars;
}

struct Text {
  std::vector<std::string> chars;  // UTF-8
  Bytes bytes;
  std::vector<uint32_t> offsets;  // byte offset of each character, then the length
};

// Shift-sensitive character starts as the core's cursor meets them.
std::vector<uint32_t> cursorOffsets(const std::string& set, const Bytes& bytes) {
  std::vector<uint32_t> offsets;
  CharCursor c;
  lxmopen(bytes.data(), static_cast<uint32_t>(bytes.size()), &c, env().handle(set), env().ctx(), 0);
  while (!lxk::atEnd(c)) {
    offsets.push_back(static_cast<uint32_t>(c.current - c.start));
    if (lxmfwdx(&c, env().ctx()) == 0) break;
  }
  offsets.push_back(static_cast<uint32_t>(bytes.size()));
  return offsets;
}

Text makeText(const std::string& set, const std::vector<std::string>& chars) {
  Text t{chars, {}, {}};
  std::string utf8;
  for (const auto& ch : chars) utf8 += ch;
  if (!utf8.empty()) t.bytes = env().encode(set, utf8);
  if (env().handle(set)->flags & CSH_SHIFT_SENSITIVE) {
    t.offsets = cursorOffsets(set, t.bytes);
    EXPECT_EQ(t.offsets.size(), chars.size() + 1) << set;
  } else {
    uint32_t at = 0;
    for (const auto& ch : chars) {
      t.offsets.push_back(at);
      at += static_cast<uint32_t>(env().encode(set, ch).size());
    }
    t.offsets.push_back(at);
  }
  return t;
}

bool isMark(const std::string& ch) { return ch == "\u0301" || ch == "\u0308"; }

std::string nfc(const std::string& utf8) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* n = icu::Normalizer2::getNFCInstance(status);
  std::string out;
  n->normalize(icu::UnicodeString::fromUTF8(utf8), status).toUTF8String(out);
  return out;
}

// The units of comparison (characters, complete characters, or bytes for
// raw searches), each with its position.
struct Cells {
  std::vector<std::string> keys;    // compared for equality
  std::vector<uint32_t> positions;  // 1-based position of each cell's first unit
  uint32_t total = 0;               // units in the text
};

Cells cellsOf(const std::string& set, const Text& t, Units units) {
  Cells c;
  if (units == Units::RawBytes) {
    for (uint8_t b : t.bytes) {
      c.keys.emplace_back(1, static_cast<char>(b));
      c.positions.push_back(++c.total);
    }
    return c;
  }
  const CharsetHandle* h = env().handle(set);
  for (size_t i = 0; i < t.chars.size(); ++i) {
    const uint8_t* p = t.bytes.data() + t.offsets[i];
    const uint32_t n = t.offsets[i + 1] - t.offsets[i];
    if (units == Units::Complete && isMark(t.chars[i]) && !c.keys.empty()) {
      c.keys.back() += t.chars[i];
      continue;
    }
    // Shift-sensitive characters are cut from their run: one each.
    const uint32_t width = units == Units::Bytes        ? n
                           : units == Units::Utf16Units ? n / 2
                           : units == Units::Ucs2
                               ? lxsCntChar(p, n, OPT_CHAR_UNIT_COUNT, h, env().ctx())
                           : units == Units::Chars && !(h->flags & CSH_SHIFT_SENSITIVE)
                               ? lxsCntChar(p, n, OPT_STANDARD, h, env().ctx())
                               : 1u;
    // Byte positions count shift bytes too: the character's own offset.
    if (units == Units::Bytes) c.total = t.offsets[i];
    c.keys.push_back(t.chars[i]);
    c.positions.push_back(c.total + 1);
    c.total += width;
  }
  if (units == Units::Bytes) c.total = static_cast<uint32_t>(t.bytes.size());
  if (units == Units::Complete)
    for (auto& key : c.keys) key = nfc(key);
  return c;
}

// Rightward: matches at cells from the one at position on; leftward: at
// cells that start no later than |position| units from the end.
uint32_t reference(const Cells& text, const Cells& search, uint32_t byteLength, int32_t position,
                   uint32_t occurrence) {
  const int64_t pos = position;
  if (pos == 0 || occurrence == 0 || search.keys.empty() || text.keys.empty()) return 0;
  if ((pos > 0 ? pos : -pos) > byteLength) return 0;
  const size_t k = search.keys.size();
  const auto matchAt = [&](size_t i) {
    if (i + k > text.keys.size()) return false;
    for (size_t j = 0; j < k; ++j)
      if (text.keys[i + j] != search.keys[j]) return false;
    return true;
  };
  uint32_t wanted = occurrence;
  const size_t cells = text.keys.size();
  for (size_t n = 0; n < cells; ++n) {
    const size_t i = pos > 0 ? n : cells - 1 - n;
    const bool candidate =
        pos > 0 ? text.positions[i] >= pos : text.positions[i] <= int64_t{text.total} + pos + 1;
    if (candidate && matchAt(i) && --wanted == 0) return text.positions[i];
  }
  return 0;
}

std::vector<std::string> heldChars(const std::string& set) {
  std::vector<std::string> held;
  for (const std::string& ch : lxktest::sampleChars())
    if (!env().held(set, ch).empty()) held.push_back(ch);
  return held;
}

// Every position from either end, occurrences 1 to 3.
template <class Expected>
void sweep(const std::string& set, const Text& text, const Text& search, uint32_t options,
           const char* collation, Expected expected) {
  const int32_t n = static_cast<int32_t>(text.bytes.size());
  for (int32_t p = 1; p <= n + 1; ++p)
    for (const int32_t position : {p, -p})
      for (uint32_t occurrence = 1; occurrence <= 3; ++occurrence)
        ASSERT_EQ(instr(set, text.bytes, search.bytes, position, occurrence, options, collation),
                  expected(position, occurrence))
            << trace(set, options, position, occurrence) << " " << (collation ? collation : "")
            << " text " << ::testing::PrintToString(text.bytes) << " search "
            << ::testing::PrintToString(search.bytes);
}

TEST(Instr, MatchesReferenceInEverySet) {
  std::mt19937 rng(20261123);
  const uint32_t optionSets[] = {0,
                                 OPT_BYTE_UNITS,
                                 OPT_UCS2_UNITS,
                                 OPT_UCS4_UNITS,
                                 OPT_COMPLETE_CHARS,
                                 OPT_RAW_BYTES,
                                 OPT_BYTE_SEARCH | OPT_BYTE_UNITS,
                                 OPT_COMPLETE_CHARS | OPT_UCS4_UNITS | OPT_BYTE_UNITS};
  for (const std::string& set : lxktest::stringCharsets()) {
    std::vector<std::string> held = heldChars(set);
    if (held.size() < 3) continue;
    const bool unicode = isUtf8Set(env().definition(set)) || (env().handle(set)->flags & CSH_UTF16);
    if (unicode) held.insert(held.end(), {"\u0301", "e", "\u00E9"});
    for (int round = 0; round < 12; ++round) {
      // A small alphabet, so that matches repeat.
      std::vector<std::string> alphabet;
      for (int i = 0; i < 3; ++i) alphabet.push_back(held[rng() % held.size()]);
      std::vector<std::string> chars(rng() % 25);
      for (auto& ch : chars) ch = alphabet[rng() % alphabet.size()];
      if (!chars.empty() && isMark(chars[0])) chars[0] = "e";
      std::vector<std::string> searchChars;
      const size_t k = 1 + rng() % 3;
      if (chars.size() >= k && rng() % 4 != 0) {
        const size_t from = rng() % (chars.size() - k + 1);
        searchChars.assign(chars.begin() + from, chars.begin() + from + k);
      } else {
        for (size_t i = 0; i < k; ++i) searchChars.push_back(alphabet[rng() % alphabet.size()]);
      }
      if (isMark(searchChars[0])) searchChars[0] = "e";
      const Text text = makeText(set, chars);
      const Text search = makeText(set, searchChars);
      const uint32_t n = static_cast<uint32_t>(text.bytes.size());
      for (uint32_t options : optionSets) {
        // Complete characters of the reference end at marks it knows.
        if ((options & OPT_COMPLETE_CHARS) && !unicode) continue;
        const Units right = unitsOf(set, options, true), left = unitsOf(set, options, false);
        const Cells textRight = cellsOf(set, text, right),
                    searchRight = cellsOf(set, search, right), textLeft = cellsOf(set, text, left),
                    searchLeft = cellsOf(set, search, left);
        sweep(set, text, search, options, nullptr, [&](int32_t position, uint32_t occurrence) {
          return position > 0 ? reference(textRight, searchRight, n, position, occurrence)
                              : reference(textLeft, searchLeft, n, position, occurrence);
        });
        if (HasFatalFailure()) return;
      }
    }
  }
}

// Long text, where the walks step in bulk: digits (which make GB18030
// characters four bytes) and supplementary characters among the others.
TEST(Instr, LongTextMatchesReference) {
  std::mt19937 rng(5);
  for (const char* set : {"AL32UTF8", "GB18030", "SHIFT_JIS", "AL16UTF16", "EUC-JP"}) {
    std::vector<std::string> held = heldChars(set);
    for (const char* extra : {"1", "9", "\U0001F600"})
      if (!env().held(set, extra).empty()) held.push_back(extra);
    for (int round = 0; round < 4; ++round) {
      // One AL32UTF8 text long enough to be searched in windows, with the
      // search string at three places only, so whole windows pass without a
      // hit; elsewhere long runs without digits, then a stretch with them.
      // Another starts with a long ASCII stretch searched for one digit,
      // which stops at the first character beyond ASCII.
      const bool windows = round == 0 && std::string(set) == "AL32UTF8";
      const bool asciiHead = round == 1 && std::string(set) == "AL32UTF8";
      std::vector<std::string> chars(windows ? 40000 : 1500 + rng() % 1500);
      for (size_t i = 0; i < chars.size(); ++i)
        chars[i] = held[rng() % (i % 700 < 600 ? held.size() - 3 : held.size())];
      const std::string kAsciiHead[] = {"a", "1"};
      if (asciiHead)
        for (size_t i = 0; i < 1200; ++i) chars[i] = kAsciiHead[rng() % 300 == 0];
      if (windows)
        for (size_t at : {1000u, 21000u, 39000u}) {
          chars[at] = "\u2603";
          chars[at + 1] = "z";
        }
      const size_t from = windows ? std::find(chars.begin(), chars.end(), "\u2603") - chars.begin()
                          : asciiHead
                              ? std::find(chars.begin() + 600, chars.end(), "1") - chars.begin()
                              : rng() % (chars.size() - 2);
      const std::vector<std::string> searchChars(chars.begin() + from,
                                                 chars.begin() + from + (asciiHead ? 1 : 2));
      const Text text = makeText(set, chars);
      const Text search = makeText(set, searchChars);
      const int32_t n = static_cast<int32_t>(text.bytes.size());
      for (uint32_t options : {0u, static_cast<uint32_t>(OPT_BYTE_UNITS)}) {
        for (int trial = 0; trial < 40; ++trial) {
          const uint32_t range = windows ? static_cast<uint32_t>(chars.size()) : n;
          const int32_t position = (trial % 2 ? -1 : 1) * static_cast<int32_t>(1 + rng() % range);
          const Cells textCells = cellsOf(set, text, unitsOf(set, options, position > 0));
          const Cells searchCells = cellsOf(set, search, unitsOf(set, options, position > 0));
          for (uint32_t occurrence = 1; occurrence <= 3; ++occurrence)
            ASSERT_EQ(instr(set, text.bytes, search.bytes, position, occurrence, options),
                      reference(textCells, searchCells, n, position, occurrence))
                << trace(set, options, position, occurrence);
        }
      }
    }
  }
}

// At each candidate character, the core's anchored matcher within the bytes
// the path lets a match use.
uint32_t linguisticReference(const std::string& set, const char* collation, const Text& text,
                             const Text& search, Units units, int32_t position,
                             uint32_t occurrence) {
  const int64_t pos = position;
  const uint32_t length = static_cast<uint32_t>(text.bytes.size());
  if (pos == 0 || occurrence == 0 || search.bytes.empty() || text.chars.empty()) return 0;
  if ((pos > 0 ? pos : -pos) > length) return 0;
  const CharsetHandle* h = env().handle(set, collation);
  const Cells cells = cellsOf(set, text, units);
  const uint32_t searchUnits = units == Units::Bytes
                                   ? static_cast<uint32_t>(search.bytes.size())
                                   : static_cast<uint32_t>(cellsOf(set, search, units).total);
  const bool lead =
      !(h->flags & (CSH_UTF16 | CSH_SHIFT_SENSITIVE)) && !isUtf8Set(env().definition(set));
  // Leftward: the last candidate's position, and the end of the bytes a match may use.
  int64_t top = int64_t{cells.total} - std::max<int64_t>(-pos, searchUnits) + 1;
  uint32_t end = length;
  if (pos < 0 && lead && units == Units::Chars) {
    if (pos == -1)
      top = cells.total;
    else if (-pos > searchUnits) {
      const int64_t kept = int64_t{cells.total} + pos + searchUnits;
      if (kept < 1) return 0;
      end = text.offsets[kept];
    }
  }
  if (pos < 0 && lead && units == Units::Bytes && -pos > searchUnits) {
    if (length + pos + searchUnits <= 0) return 0;
    end = static_cast<uint32_t>(length + pos + searchUnits);
    top = end;
  }
  uint32_t wanted = occurrence;
  const size_t n = cells.positions.size();
  for (size_t k = 0; k < n; ++k) {
    const size_t i = pos > 0 ? k : n - 1 - k;
    const int64_t at = cells.positions[i];
    if (pos > 0 ? at < pos : at > top) continue;
    const uint32_t offset = text.offsets[i];
    if (offset >= end) continue;
    uint32_t start = 0, matched = 0;
    if (lxpLinDirMatch(text.bytes.data() + offset, end - offset, search.bytes.data(),
                       static_cast<uint32_t>(search.bytes.size()), &start, &matched, 0, h,
                       env().ctx()) == 1 &&
        --wanted == 0)
      return static_cast<uint32_t>(at);
  }
  return 0;
}

// A search string that ends inside a UTF-8 character is invalid data.
TEST(Instr, LinguisticCutSearch) {
  for (const uint32_t options : {OPT_UCS4_UNITS, OPT_COMPLETE_CHARS}) {
    EXPECT_EQ(instr("AL32UTF8", env().encode("AL32UTF8", "aé"), {0x61, 0xC3}, 1, 1, options, "CI"),
              0u);
    EXPECT_EQ(env().ctx()->status, NLS_STATUS_INVALID_CHAR);
  }
}

TEST(Instr, LinguisticMatchesReference) {
  std::mt19937 rng(11);
  const std::vector<std::string> pool = lxktest::chars("aAeEéÉbBxXçÇ");
  for (const char* set :
       {"AL32UTF8", "AL16UTF16", "ISO-8859-1", "SHIFT_JIS", "GB18030", "EUC-JP", "IBM-930"}) {
    std::vector<std::string> held;
    for (const auto& ch : pool)
      if (!env().held(set, ch).empty()) held.push_back(ch);
    for (const char* collation : {"CI", "AI"}) {
      for (int round = 0; round < 6; ++round) {
        std::vector<std::string> chars(rng() % 14);
        for (auto& ch : chars) ch = held[rng() % held.size()];
        std::vector<std::string> searchChars(1 + rng() % 2);
        for (auto& ch : searchChars) ch = held[rng() % held.size()];
        const Text text = makeText(set, chars);
        const Text search = makeText(set, searchChars);
        for (uint32_t options :
             {0u, static_cast<uint32_t>(OPT_BYTE_UNITS), static_cast<uint32_t>(OPT_UCS4_UNITS),
              static_cast<uint32_t>(OPT_COMPLETE_CHARS)}) {
          sweep(set, text, search, options, collation, [&](int32_t position, uint32_t occurrence) {
            return linguisticReference(set, collation, text, search,
                                       unitsOf(set, options, position > 0), position, occurrence);
          });
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

}  // namespace
