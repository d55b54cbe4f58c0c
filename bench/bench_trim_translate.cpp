// TRIM and TRANSLATE beside plain loops that do the same work in the same
// run: skip the trim characters at the chosen ends and copy the rest;
// look each character up in the from-list and write its replacement.  Rows
// of about 20 bytes and of 1 MiB in ISO-8859-1 and AL32UTF8.  Names read
// <export>.<variant>/<set>/<size>; anchors add ".anchor" to the first part.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace {

using lxkbench::Bytes;
using lxkbench::context;
using lxkbench::encode;

// A row: text padded at both ends with characters of the three-character
// trim set, the sets and the lists in the row's character set.
struct Row {
  std::string set, size;
  const CharsetHandle* handle;
  Bytes text, set1, set3, from, to, out;
  bool utf8;
};

Row makeRow(const std::string& set, const std::string& size) {
  const bool utf8 = set == "AL32UTF8";
  Row r{set, size, nlsHandleCreate(context(), set.c_str(), nullptr), {}, {}, {}, {}, {}, {}, utf8};
  // Short rows are about 20 bytes in the set.
  const std::string pad =
      size == "short" ? (utf8 ? "x中" : "x·*") : (utf8 ? "x·中x中··" : "x·*x**··");
  const std::string body = utf8 ? "Text 日本 ok" : "Grüße aus Köln";
  std::string utf8Text = pad + body;
  if (size == "long")
    while (utf8Text.size() < (1u << 20)) utf8Text += " " + body;
  utf8Text += pad;
  r.text = encode(set, utf8Text);
  r.set1 = encode(set, "x");
  r.set3 = encode(set, utf8 ? "x·中" : "x·*");
  r.from = encode(set, utf8 ? "aeiouxö日" : "aeiouxöß");  // ß is deleted
  r.to = encode(set, "AEIOUXo");                          // 日 is deleted
  r.out.resize(r.text.size() + 64);
  return r;
}

void setProcessed(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

template <typename Call>
void add(const std::string& name, const Row& row, Call call) {
  const size_t bytes = row.text.size();
  benchmark::RegisterBenchmark((name + "/" + row.set + "/" + row.size).c_str(),
                               [call, bytes](benchmark::State& state) mutable {
                                 for (auto _ : state) {
                                   benchmark::DoNotOptimize(call());
                                   benchmark::ClobberMemory();
                                 }
                                 setProcessed(state, bytes);
                               });
}

// ---- Plain loops ---------------------------------------------------------------

inline uint32_t utf8Width(uint8_t b) { return b < 0xC0 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4; }

// Whether the character of width w at p is one of the set's characters.
inline bool inSet(const uint8_t* p, uint32_t w, const Bytes& set, bool utf8) {
  for (size_t i = 0; i < set.size();) {
    const uint32_t sw = utf8 ? utf8Width(set[i]) : 1;
    if (sw == w && std::memcmp(set.data() + i, p, w) == 0) return true;
    i += sw;
  }
  return false;
}

// Trim by decoding from the front and stepping back to lead bytes from the
// end, then copy.
size_t plainTrim(const Row& r, const Bytes& set, bool leading, bool trailing, uint8_t* out) {
  const uint8_t* p = r.text.data();
  const uint8_t* e = p + r.text.size();
  if (leading)
    while (p < e) {
      const uint32_t w = r.utf8 ? utf8Width(*p) : 1;
      if (!inSet(p, w, set, r.utf8)) break;
      p += w;
    }
  if (trailing)
    while (e > p) {
      const uint8_t* q = e - 1;
      if (r.utf8)
        while (q > p && (*q & 0xC0) == 0x80) --q;
      if (!inSet(q, static_cast<uint32_t>(e - q), set, r.utf8)) break;
      e = q;
    }
  std::memcpy(out, p, static_cast<size_t>(e - p));
  return static_cast<size_t>(e - p);
}

// TRANSLATE: a byte table, or for UTF-8 a table for one-byte characters
// and a search of the from-list for the others.
size_t plainTranslate(const Row& r, uint8_t* out) {
  int16_t byteMap[256];
  for (int b = 0; b < 256; ++b) byteMap[b] = static_cast<int16_t>(b);
  std::vector<std::pair<uint32_t, uint32_t>> toChars;  // offset, width
  for (size_t i = 0; i < r.to.size(); i += r.utf8 ? utf8Width(r.to[i]) : 1)
    toChars.push_back({static_cast<uint32_t>(i), r.utf8 ? utf8Width(r.to[i]) : 1u});
  std::vector<std::pair<uint32_t, uint32_t>> fromChars;
  for (size_t i = 0; i < r.from.size(); i += r.utf8 ? utf8Width(r.from[i]) : 1)
    fromChars.push_back({static_cast<uint32_t>(i), r.utf8 ? utf8Width(r.from[i]) : 1u});
  for (size_t k = fromChars.size(); k-- > 0;)
    if (fromChars[k].second == 1)
      byteMap[r.from[fromChars[k].first]] =
          k < toChars.size() ? static_cast<int16_t>(r.to[toChars[k].first]) : int16_t{-1};
  const uint8_t* p = r.text.data();
  const uint8_t* const e = p + r.text.size();
  uint8_t* o = out;
  while (p < e) {
    const uint32_t w = r.utf8 ? utf8Width(*p) : 1;
    if (w == 1) {
      const int16_t m = byteMap[*p++];
      *o = static_cast<uint8_t>(m);
      o += m >= 0;
      continue;
    }
    const uint8_t* rep = p;
    uint32_t rw = w;
    for (size_t k = 0; k < fromChars.size(); ++k)
      if (fromChars[k].second == w && std::memcmp(r.from.data() + fromChars[k].first, p, w) == 0) {
        rep = k < toChars.size() ? r.to.data() + toChars[k].first : nullptr;
        rw = k < toChars.size() ? toChars[k].second : 0;
        break;
      }
    if (rw != 0) std::memcpy(o, rep, rw);
    o += rw;
    p += w;
  }
  return static_cast<size_t>(o - out);
}

// The export and its anchor must agree, or the comparison means nothing.
void checkSame(const char* what, const Row& r, size_t lxk, const Bytes& lxkOut, size_t plain) {
  if (lxk != plain || std::memcmp(lxkOut.data(), r.out.data(), plain) != 0) {
    std::fprintf(stderr, "%s/%s/%s: export and anchor differ\n", what, r.set.c_str(),
                 r.size.c_str());
    std::exit(1);
  }
}

void registerRow(Row& r) {
  const uint32_t n = static_cast<uint32_t>(r.text.size());
  const uint32_t capacity = static_cast<uint32_t>(r.out.size());
  const uint8_t* src = r.text.data();
  uint8_t* out = r.out.data();
  const CharsetHandle* h = r.handle;
  NlsContext* ctx = context();
  const Row* row = &r;
  const struct {
    const char* name;
    uint32_t options;
  } sides[] = {{"ltrim", TRIM_LEADING}, {"rtrim", TRIM_TRAILING}, {"trim", 0x3}};
  for (const Bytes* set : {&r.set1, &r.set3}) {
    const std::string setName = set == &r.set1 ? "set1" : "set3";
    for (const auto& side : sides) {
      const uint32_t options = side.options;
      const uint8_t* setBytes = set->data();
      const uint32_t setLength = static_cast<uint32_t>(set->size());
      const std::string name = std::string("Trim.") + side.name + "." + setName;
      add(name, r, [=] {
        uint32_t length, status;
        return lxkTrim(&length, out, capacity, src, n, setBytes, setLength, options, &status, h,
                       ctx);
      });
      const bool leading = options & TRIM_LEADING, trailing = options & TRIM_TRAILING;
      add(name + ".anchor", r, [=] { return plainTrim(*row, *set, leading, trailing, out); });
      uint32_t length = 0;
      Bytes copy(r.out.size());
      lxkTrim(&length, copy.data(), capacity, src, n, setBytes, setLength, options, nullptr, h,
              ctx);
      checkSame(name.c_str(), r, length, copy, plainTrim(r, *set, leading, trailing, out));
    }
  }
  const uint8_t* from = r.from.data();
  const uint8_t* to = r.to.data();
  const uint32_t fromLength = static_cast<uint32_t>(r.from.size());
  const uint32_t toLength = static_cast<uint32_t>(r.to.size());
  add("Translate", r,
      [=] { return lxkTranslate(out, capacity, src, n, from, fromLength, to, toLength, h, ctx); });
  add("Translate.anchor", r, [=] { return plainTranslate(*row, out); });
  Bytes copy(r.out.size());
  const uint32_t translated =
      lxkTranslate(copy.data(), capacity, src, n, from, fromLength, to, toLength, h, ctx);
  checkSame("Translate", r, translated, copy, plainTranslate(r, out));
}

// Registered before main runs; the rows live as long as the process.
const bool kRegistered = [] {
  static std::vector<Row> rows;
  rows.reserve(4);
  for (const char* set : {"ISO-8859-1", "AL32UTF8"})
    for (const char* size : {"short", "long"}) rows.push_back(makeRow(set, size));
  for (Row& r : rows) registerRow(r);
  return true;
}();

}  // namespace
