// INSTR in every unit and collation, at any position and occurrence, with
// source and search string ending at guard pages.  Every call: a result no
// larger than the source's length and a status left as it was (or 34).
// Text made of characters of a small alphabet, searched exactly outside
// shift-sensitive sets and complete characters, must give the answer of a
// slow reference: the text as a list of characters with the units each
// takes, a match a run of the search string's characters, positions
// counted through the units before it.
#include "harness.h"

using namespace lxkfuzz;

namespace {

enum class Units { RawBytes, Bytes, Chars, Ucs2, CodePoints, Utf16Units, Complete };

bool isUtf8Set(const Picked& set) {
  const CharsetDefinition* def =
      static_cast<const CharsetDefinition*>(nlsDefinition(ctx(), set.set->info->name));
  return (def->definitionFlags & CSD_UTF8) != 0 || def->charsetId == CSID_AL32UTF8;
}

Units unitsOf(const Picked& set, uint32_t options, bool rightward) {
  const uint32_t flags = set.handle->flags;
  const CharsetDefinition* def =
      static_cast<const CharsetDefinition*>(nlsDefinition(ctx(), set.set->info->name));
  if ((flags & CSH_SIMPLE_CASE) || (options & (OPT_RAW_BYTES | OPT_BYTE_SEARCH)))
    return Units::RawBytes;
  const bool utf8 = isUtf8Set(set);
  if (utf8 && (options & OPT_BYTE_UNITS)) return Units::Bytes;
  if (utf8 || (flags & CSH_UTF16)) {
    if (options & OPT_COMPLETE_CHARS) return Units::Complete;
    if (options & OPT_UCS4_UNITS) return Units::CodePoints;
    if (options & OPT_BYTE_UNITS) return Units::Bytes;
    return (flags & CSH_UTF16) ? Units::Utf16Units : Units::Chars;
  }
  if (options & OPT_BYTE_UNITS) return Units::Bytes;
  if (rightward && (options & OPT_UCS2_UNITS) && (def->definitionFlags & CSD_SUPPLEMENTARY_MAP))
    return Units::Ucs2;
  return Units::Chars;
}

// A text as the encodings of its characters, each with its units.
struct Cells {
  std::vector<Bytes> keys;
  std::vector<uint32_t> positions;  // 1-based position of each cell
  uint32_t total = 0;
};

Cells cellsOf(const Picked& set, const std::vector<Bytes>& chars, Units units) {
  Cells c;
  for (const Bytes& ch : chars) {
    if (units == Units::RawBytes) {
      for (uint8_t b : ch) {
        c.keys.push_back({b});
        c.positions.push_back(++c.total);
      }
      continue;
    }
    const uint32_t n = static_cast<uint32_t>(ch.size());
    uint32_t width = 1;
    if (units == Units::Bytes) width = n;
    if (units == Units::Utf16Units) width = n / 2;
    if (units == Units::Ucs2)
      width = lxsCntChar(ch.data(), n, OPT_CHAR_UNIT_COUNT, set.handle, ctx());
    if (units == Units::Chars) width = lxsCntChar(ch.data(), n, OPT_STANDARD, set.handle, ctx());
    c.keys.push_back(ch);
    c.positions.push_back(c.total + 1);
    c.total += width;
  }
  return c;
}

uint32_t reference(const Cells& text, const Cells& search, uint32_t byteLength, int32_t position,
                   uint32_t occurrence) {
  const int64_t pos = position;
  if (pos == 0 || occurrence == 0 || search.keys.empty() || text.keys.empty()) return 0;
  if ((pos > 0 ? pos : -pos) > byteLength) return 0;
  const size_t k = search.keys.size(), cells = text.keys.size();
  uint32_t wanted = occurrence;
  for (size_t n = 0; n < cells; ++n) {
    const size_t i = pos > 0 ? n : cells - 1 - n;
    const int64_t at = text.positions[i];
    if (pos > 0 ? at < pos : at > int64_t{text.total} + pos + 1) continue;
    if (i + k > cells || !std::equal(search.keys.begin(), search.keys.end(), text.keys.begin() + i))
      continue;
    if (--wanted == 0) return static_cast<uint32_t>(at);
  }
  return 0;
}

Bytes encode(const Picked& set, uint32_t codePoint) {
  std::string utf8;
  appendUtf8(utf8, codePoint);
  Bytes out(16);
  const int32_t n =
      nlsConvert(ctx(), set.set->info->name, out.data(), 16, "AL32UTF8",
                 reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<uint32_t>(utf8.size()));
  out.resize(static_cast<size_t>(std::max(n, 0)));
  return out;
}

Bytes joined(const std::vector<Bytes>& chars) {
  Bytes out;
  for (const Bytes& ch : chars) out.insert(out.end(), ch.begin(), ch.end());
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const uint32_t options = pickOptions(in);
  const bool fromAlphabet = in.ConsumeBool();
  std::vector<Bytes> sourceChars, searchChars;
  Bytes source, search;
  if (fromAlphabet) {
    // Characters of a three-letter alphabet, so that matches repeat.
    Bytes alphabet[3];
    for (Bytes& a : alphabet) {
      a = encode(set, pickCodePoint(in));
      if (a.empty()) return 0;
    }
    sourceChars.resize(in.ConsumeIntegralInRange<size_t>(0, 40));
    for (Bytes& ch : sourceChars) ch = alphabet[in.ConsumeIntegralInRange(0, 2)];
    searchChars.resize(in.ConsumeIntegralInRange<size_t>(1, 3));
    for (Bytes& ch : searchChars) ch = alphabet[in.ConsumeIntegralInRange(0, 2)];
    source = joined(sourceChars);
    search = joined(searchChars);
  } else {
    source = pickSource(in, set, 128).bytes;
    search = pickSource(in, set, 12).bytes;
  }
  const uint32_t srcLength = static_cast<uint32_t>(source.size());
  const int32_t position = pickInt(in, srcLength);
  const uint32_t occurrence =
      in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 4) : in.ConsumeIntegral<uint32_t>();

  static lxktest::GuardedBuffer src, pattern;
  src.assign(source.data(), source.size());
  pattern.assign(search.data(), search.size());
  traceCall("lxkInstr(position %d, occurrence %u, options 0x%08X), source %s, search %s", position,
            occurrence, options, hex(source).c_str(), hex(search).c_str());
  ctx()->status = static_cast<int32_t>(kUntouched);
  const uint32_t r =
      lxkInstr(src.data(), srcLength, pattern.data(), static_cast<uint32_t>(search.size()),
               position, occurrence, options, set.handle, ctx());
  const int32_t status = ctx()->status;
  LXK_CHECK("status",
            status == static_cast<int32_t>(kUntouched) || status == NLS_STATUS_INVALID_CHAR,
            "status %d", status);
  LXK_CHECK("range", r <= srcLength, "position %u beyond a source of %u bytes", r, srcLength);

  const bool binary = trace.collation == kCollations[0];
  const Units units = unitsOf(set, options, position > 0);
  if (!fromAlphabet || !binary || set.shiftSensitive || units == Units::Complete) return 0;
  const uint32_t expected =
      reference(cellsOf(set, sourceChars, units), cellsOf(set, searchChars, units), srcLength,
                position, occurrence);
  LXK_CHECK("reference", r == expected, "returned %u, the reference %u", r, expected);
  return 0;
}
