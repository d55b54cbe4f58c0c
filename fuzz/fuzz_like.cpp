// LIKE in every set, collation and option word, with sources, patterns and
// escapes of random bytes or random text and a pattern built from its source.
// The binary matchers whose characters the bytes tell are compared with a
// slow reference: both strings cut into characters by the unit rules, the
// escape argument and the escape check as the families read them, and a
// table of which pattern suffix matches which source suffix.  Every call:
// flags cleared, verdict 0 or 1, a status only with 0, the context's status
// word untouched, nothing read outside a buffer.
#include <algorithm>

#include "frame/frame.h"
#include "harness.h"

using namespace lxkfuzz;

namespace {

enum class Unit { Byte, Utf16Unit, Utf16CodePoint, Lead, Gb18030, Utf8Char, Utf8CodePoint, None };
enum class EscapeRead { FirstByte, FirstUnit, OneByte, WholeCodePoint };

struct Family {
  Unit unit = Unit::None;
  EscapeRead escape = EscapeRead::FirstByte;
  bool units = false;  // UTF-16 wildcards
  bool utf16Checks = false;
  uint8_t percent = 0x25, underscore = 0x5F;
};

// The family lxkLike chooses, or Unit::None where the reference does not go
// (linguistic, shift-sensitive, complete characters).
Family familyOf(const CharsetHandle* h, uint32_t options) {
  Family f;
  if (lxk::linguisticInForce(h) || (options & LIKE_LINGUISTIC)) return f;
  const CharsetDefinition* def = lxk::definitionOf(h, ctx());
  if ((h->flags & CSH_SINGLE_BYTE) || (options & OPT_RAW_BYTES)) {
    f.unit = Unit::Byte;
    return f;
  }
  f.units = (h->flags & CSH_UTF16) != 0;
  if (f.units) {
    if (options & OPT_COMPLETE_CHARS) return f;
    f.unit = (options & OPT_UCS4_UNITS) ? Unit::Utf16CodePoint : Unit::Utf16Unit;
    f.escape = (options & OPT_UCS4_UNITS) ? EscapeRead::WholeCodePoint : EscapeRead::FirstUnit;
    f.utf16Checks = f.unit == Unit::Utf16Unit;
    return f;
  }
  if (def->charsetId == CSID_UTFE) f.percent = 0x6C, f.underscore = 0x6D;
  if (!lxk::isUtf8(def)) {
    if (h->flags & CSH_SHIFT_SENSITIVE) return f;
    const bool gb = (h->flags & CSH_GB18030) && !(h->flags & CSH_LEAD_BYTE_WIDTH);
    f.unit = gb ? Unit::Gb18030 : Unit::Lead;
    return f;
  }
  if (options & OPT_COMPLETE_CHARS) return f;
  f.unit = (options & OPT_UCS4_UNITS) ? Unit::Utf8CodePoint : Unit::Utf8Char;
  f.escape = EscapeRead::OneByte;
  return f;
}

struct Piece {
  const uint8_t* p;
  uint32_t w;
};

std::vector<Piece> cut(const Bytes& b, Unit unit, const uint16_t* table) {
  std::vector<Piece> out;
  for (size_t at = 0; at < b.size();) {
    const uint8_t* p = b.data() + at;
    const uint32_t left = static_cast<uint32_t>(b.size() - at);
    uint32_t w = 1;
    switch (unit) {
      case Unit::Utf16Unit:
        w = 2;
        break;
      case Unit::Utf16CodePoint:
        w = lxk::utf16CodePointWidth(p, left);
        break;
      case Unit::Lead:
      case Unit::Utf8Char:
        w = lxk::leadWidth(table, *p);
        break;
      case Unit::Gb18030:
        w = lxk::tableWidth<true>(table, p, left);
        break;
      case Unit::Utf8CodePoint:
        w = lxk::utf8CodePointWidth(p, left, table);
        break;
      default:
        break;
    }
    w = std::min(w, left);
    out.push_back({p, w});
    at += w;
  }
  return out;
}

struct Expected {
  int32_t verdict;
  uint32_t status;
};

Expected reference(const Family& f, const Bytes& s, const Bytes& p, const Bytes* e,
                   uint32_t options, const CharsetHandle* h) {
  if (s.empty() || p.empty()) return {0, 0};
  if (f.utf16Checks) {
    if (h->maxCharWidth > s.size() || p.size() < h->maxCharWidth) return {0, 0};
    if (p.size() & 1) return {0, LIKE_STATUS_BAD_ESCAPE_SEQUENCE};
  }
  const bool has = e != nullptr && !e->empty();
  const bool check = has && !(options & LIKE_SKIP_ESCAPE_CHECK);
  Bytes esc;
  if (has) {
    switch (f.escape) {
      case EscapeRead::FirstByte:
        esc = {(*e)[0]};
        break;
      case EscapeRead::FirstUnit:
        if (e->size() < 2) {
          if (check) return {0, LIKE_STATUS_BAD_ESCAPE_CHAR};
        } else {
          esc = {(*e)[0], (*e)[1]};
        }
        break;
      case EscapeRead::OneByte:
        if (e->size() != 1) {
          if (check) return {0, LIKE_STATUS_BAD_ESCAPE_CHAR};
        } else {
          esc = *e;
        }
        break;
      case EscapeRead::WholeCodePoint: {
        const uint8_t b = (*e)[0];
        const bool sur = lxk::isHighSurrogateByte(b) || lxk::isLowSurrogateByte(b);
        const bool pair =
            e->size() >= 4 && lxk::isHighSurrogateByte(b) && lxk::isLowSurrogateByte((*e)[2]);
        if (e->size() == 1 || (sur && !pair)) {
          if (check) return {0, LIKE_STATUS_BAD_ESCAPE_CHAR};
        } else {
          esc = *e;
        }
        break;
      }
    }
  }
  const uint16_t* table = lxk::leadTableInForce(h, lxk::definitionOf(h, ctx()));
  const std::vector<Piece> src = cut(s, f.unit, table), pat = cut(p, f.unit, table);
  const auto is = [&](const Piece& c, uint8_t code) {
    return f.units ? (c.w == 2 && c.p[0] == 0 && c.p[1] == code) : (c.w == 1 && *c.p == code);
  };
  const auto isEsc = [&](const Piece& c) {
    return !esc.empty() && c.w == esc.size() && std::equal(esc.begin(), esc.end(), c.p);
  };
  // Elements: 0 literal, 1 any, 2 percent.
  struct Element {
    int kind;
    Piece c;
  };
  std::vector<Element> el;
  for (size_t i = 0; i < pat.size(); ++i) {
    const Piece& c = pat[i];
    if (isEsc(c)) {
      if (i + 1 == pat.size()) return {0, check ? LIKE_STATUS_BAD_ESCAPE_SEQUENCE : 0u};
      const Piece& d = pat[++i];
      if (check && !is(d, f.percent) && !is(d, f.underscore) && !isEsc(d))
        return {0, LIKE_STATUS_BAD_ESCAPE_SEQUENCE};
      el.push_back({0, d});
    } else {
      el.push_back({is(c, f.percent) ? 2 : is(c, f.underscore) ? 1 : 0, c});
    }
  }
  // match[i][j]: elements from i match source pieces from j.
  const size_t n = el.size(), m = src.size();
  std::vector<std::vector<uint8_t>> match(n + 1, std::vector<uint8_t>(m + 1, 0));
  match[n][m] = 1;
  for (size_t i = n; i-- > 0;)
    for (size_t j = m + 1; j-- > 0;) {
      if (el[i].kind == 2)
        match[i][j] = match[i + 1][j] || (j < m && match[i][j + 1]);
      else if (j < m)
        match[i][j] = match[i + 1][j + 1] &&
                      (el[i].kind == 1 || (el[i].c.w == src[j].w &&
                                           std::equal(src[j].p, src[j].p + src[j].w, el[i].c.p)));
    }
  return {match[0][0], 0};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  static const uint32_t kBits[] = {LIKE_LINGUISTIC, OPT_RAW_BYTES, OPT_UCS4_UNITS,
                                   OPT_COMPLETE_CHARS, LIKE_SKIP_ESCAPE_CHECK};
  uint32_t options = 0;
  const uint8_t mask = in.ConsumeIntegral<uint8_t>();
  for (size_t i = 0; i < std::size(kBits); ++i)
    if (mask & (1u << i)) options |= kBits[i];
  if (mask & 0x80u) options |= in.ConsumeIntegral<uint32_t>() & ~LIKE_LINGUISTIC;
  const Source s = pickSource(in, set, 64);
  // A pattern of its own, or the source with bytes made wildcards or escapes.
  Bytes p;
  if (in.ConsumeBool()) {
    p = pickSource(in, set, 32).bytes;
  } else {
    p = s.bytes;
    const uint8_t specials[] = {0x25, 0x5F, 0x6C, 0x6D, 0x5C, 0x00};
    for (size_t k = in.ConsumeIntegralInRange<size_t>(0, 4); k > 0 && !p.empty(); --k) {
      const size_t at = in.ConsumeIntegralInRange<size_t>(0, p.size() - 1);
      const uint8_t b = specials[in.ConsumeIntegralInRange<size_t>(0, std::size(specials) - 1)];
      if (in.ConsumeBool())
        p[at] = b;
      else
        p.insert(p.begin() + static_cast<ptrdiff_t>(at), b);
    }
  }
  Bytes e;
  const int escapeKind = in.ConsumeIntegralInRange(0, 3);
  if (escapeKind == 1) e = {0x5C};
  if (escapeKind == 2) e = {0x00, 0x5C};
  if (escapeKind == 3) e = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(1, 6));
  static lxktest::GuardedBuffer src, pat, esc;
  src.assign(s.bytes.data(), s.bytes.size());
  pat.assign(p.data(), p.size());
  esc.assign(e.data(), e.size());
  traceCall("lxkLike(options 0x%08X), source %s, pattern %s, escape %s", options,
            hex(s.bytes).c_str(), hex(p).c_str(), escapeKind ? hex(e).c_str() : "none");
  uint8_t flagA = 9, flagB = 9;
  uint32_t status = kUntouched;
  ctx()->status = 55;
  const int32_t verdict =
      lxkLike(src.data(), static_cast<uint32_t>(s.bytes.size()), pat.data(),
              static_cast<uint32_t>(p.size()), escapeKind ? esc.data() : nullptr,
              static_cast<uint32_t>(e.size()), &flagA, 0, &flagB, 0, nullptr, options, &status,
              set.handle, ctx());
  LXK_CHECK("flags", flagA == 0 && flagB == 0, "flags %u %u", flagA, flagB);
  LXK_CHECK("context-status", ctx()->status == 55, "context status %d", ctx()->status);
  LXK_CHECK("verdict", verdict == 0 || verdict == 1, "verdict %d", verdict);
  LXK_CHECK("status",
            status == 0 || ((status == LIKE_STATUS_BAD_ESCAPE_SEQUENCE ||
                             status == LIKE_STATUS_BAD_ESCAPE_CHAR) &&
                            verdict == 0),
            "status %u with verdict %d", status, verdict);
  const Family f = familyOf(set.handle, options);
  if (f.unit == Unit::None) return 0;
  const Expected want = reference(f, s.bytes, p, escapeKind ? &e : nullptr, options, set.handle);
  LXK_CHECK("reference", want.verdict == verdict && want.status == status,
            "verdict %d status %u, the reference %d status %u", verdict, status, want.verdict,
            want.status);
  return 0;
}
