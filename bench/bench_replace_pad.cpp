// REPLACE, LPAD and RPAD beside plain loops doing the same work in the same
// run.  REPLACE: 1 MiB with one occurrence every 64 bytes, in ISO-8859-1
// (byte-wise, lstcpyr) and AL32UTF8 (the core's lxsRepStr); the anchor is a
// memmem-and-memcpy loop.  Padding: rows of about 20 bytes and of 1 MiB
// padded by ten columns; the anchor copies the row and the pad string in a
// plain loop, counting display columns in AL32UTF8 by decoding UTF-8 and
// looking each code point up in a table.
#include <benchmark/benchmark.h>
#include <unicode/uchar.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace {

using lxkbench::Bytes;
using lxkbench::context;
using lxkbench::encode;

const CharsetHandle* handleFor(const char* set) {
  const CharsetHandle* h = nlsHandleCreate(context(), set, nullptr);
  if (h == nullptr) {
    std::fprintf(stderr, "no handle for %s\n", set);
    std::exit(1);
  }
  return h;
}

// At most n bytes of UTF-8 or single-byte text, whole characters only.
Bytes wholePrefix(const Bytes& text, size_t n) {
  if (n >= text.size()) return text;
  while (n > 0 && (text[n] & 0xC0u) == 0x80u) --n;
  return Bytes(text.begin(), text.begin() + n);
}

// Operands that live as long as the benchmarks that read them.
struct Operands {
  Bytes text, search, with, out;
};
Operands& kept() {
  static std::deque<Operands> all;
  return all.emplace_back();
}

// A piece of text in the set repeated to about size bytes.
Bytes repeated(const Bytes& piece, size_t size) {
  Bytes out;
  while (out.size() + piece.size() <= size) out.insert(out.end(), piece.begin(), piece.end());
  return out;
}

void processed(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// ---- REPLACE ------------------------------------------------------------------------------

// The anchor: every occurrence found with memmem, the pieces copied.
size_t plainReplace(uint8_t* out, const uint8_t* s, size_t n, const uint8_t* search, size_t m,
                    const uint8_t* with, size_t w) {
  size_t used = 0, at = 0;
  while (n - at >= m) {
    const auto* hit = static_cast<const uint8_t*>(memmem(s + at, n - at, search, m));
    if (hit == nullptr) break;
    const size_t pos = static_cast<size_t>(hit - s);
    std::memcpy(out + used, s + at, pos - at);
    used += pos - at;
    std::memcpy(out + used, with, w);
    used += w;
    at = pos + m;
  }
  std::memcpy(out + used, s + at, n - at);
  return used + n - at;
}

void registerReplace(const char* set, const std::string& phrase) {
  // One occurrence at the end of every 64 bytes.
  Bytes piece = wholePrefix(encode(set, phrase), 61);
  piece.resize(61, ' ');
  for (uint8_t b : encode(set, "XYZ")) piece.push_back(b);
  Operands* o = &kept();
  o->text = repeated(piece, 1u << 20);
  o->search = encode(set, "XYZ");
  o->with = encode(set, "abcd");
  o->out.resize(o->text.size() * 2);
  // REPLACE switches a handle only for an explicit set; none is given here.
  CharsetHandle* handle = const_cast<CharsetHandle*>(handleFor(set));
  const std::string suffix = std::string("/") + set + "/long";
  benchmark::RegisterBenchmark(("replace" + suffix).c_str(), [o, handle](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(lxkReplace(o->out.data(), static_cast<uint32_t>(o->out.size()),
                                          o->text.data(), static_cast<uint32_t>(o->text.size()),
                                          o->search.data(), static_cast<uint32_t>(o->search.size()),
                                          o->with.data(), static_cast<uint32_t>(o->with.size()), 0,
                                          nullptr, handle, context()));
      benchmark::ClobberMemory();
    }
    processed(state, o->text.size());
  });
  benchmark::RegisterBenchmark(("replace.anchor" + suffix).c_str(), [o](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(plainReplace(o->out.data(), o->text.data(), o->text.size(),
                                            o->search.data(), o->search.size(), o->with.data(),
                                            o->with.size()));
      benchmark::ClobberMemory();
    }
    processed(state, o->text.size());
  });
}

// ---- LPAD / RPAD --------------------------------------------------------------------------

// Columns of the basic plane for the anchor, read from ICU up front.
const std::vector<uint8_t>& bmpColumns() {
  static const std::vector<uint8_t> table = [] {
    std::vector<uint8_t> t(0x10000);
    for (UChar32 c = 0; c < 0x10000; ++c) {
      const int8_t gc = u_charType(c);
      const int32_t ea = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
      t[c] = (gc == U_NON_SPACING_MARK || gc == U_ENCLOSING_MARK || gc == U_FORMAT_CHAR ||
              u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT))
                 ? 0
             : (ea == U_EA_WIDE || ea == U_EA_FULLWIDTH) ? 2
                                                         : 1;
    }
    return t;
  }();
  return table;
}

// Display columns of well-formed UTF-8 of the basic plane.
size_t plainColumns(const uint8_t* p, size_t n) {
  const uint8_t* columns = bmpColumns().data();
  size_t total = 0;
  for (size_t i = 0; i < n;) {
    const uint8_t b = p[i];
    if (b < 0x80) {
      total += 1;
      i += 1;
    } else if (b < 0xE0) {
      total += columns[(b & 0x1Fu) << 6 | (p[i + 1] & 0x3Fu)];
      i += 2;
    } else {
      total += columns[(b & 0x0Fu) << 12 | (p[i + 1] & 0x3Fu) << 6 | (p[i + 2] & 0x3Fu)];
      i += 3;
    }
  }
  return total;
}

// The anchor: the row's width, the row and whole pad strings copied, in
// the order LPAD or RPAD puts them (one-column pad characters).
size_t plainPad(uint8_t* out, const Bytes& row, const Bytes& pad, size_t width, bool left,
                bool utf8) {
  const size_t have = utf8 ? plainColumns(row.data(), row.size()) : row.size();
  const size_t fill = width > have ? width - have : 0;
  const size_t padColumns = utf8 ? plainColumns(pad.data(), pad.size()) : pad.size();
  uint8_t* p = out;
  if (!left) {
    std::memcpy(p, row.data(), row.size());
    p += row.size();
  }
  for (size_t done = 0; done + padColumns <= fill; done += padColumns) {
    std::memcpy(p, pad.data(), pad.size());
    p += pad.size();
  }
  if (left) {
    std::memcpy(p, row.data(), row.size());
    p += row.size();
  }
  return static_cast<size_t>(p - out);
}

void registerPad(const char* set, const std::string& phrase, const char* size) {
  const Bytes piece = encode(set, phrase);
  Operands* o = &kept();
  o->text = std::string(size) == "short" ? wholePrefix(piece, 20) : repeated(piece, 1u << 20);
  o->with = encode(set, "*-");
  o->out.resize(o->text.size() * 2 + 64);
  const Bytes& row = o->text;
  const CharsetHandle* h = handleFor(set);
  const bool utf8 = std::string(set) == "AL32UTF8";
  const uint32_t width =
      static_cast<uint32_t>((utf8 ? plainColumns(row.data(), row.size()) : row.size()) + 10);
  for (const bool left : {true, false}) {
    const std::string name = left ? "lpad" : "rpad";
    const std::string suffix = std::string("/") + set + "/" + size;
    benchmark::RegisterBenchmark(
        (name + suffix).c_str(), [o, h, width, left](benchmark::State& state) {
          for (auto _ : state) {
            benchmark::DoNotOptimize(lxkPad(o->out.data(), static_cast<uint32_t>(o->out.size()),
                                            o->text.data(), static_cast<uint32_t>(o->text.size()),
                                            o->with.data(), static_cast<uint32_t>(o->with.size()),
                                            width, left ? PAD_LEFT : 0u, nullptr, h, context()));
            benchmark::ClobberMemory();
          }
          processed(state, o->text.size());
        });
    benchmark::RegisterBenchmark(
        (name + ".anchor" + suffix).c_str(), [o, width, left, utf8](benchmark::State& state) {
          for (auto _ : state) {
            benchmark::DoNotOptimize(plainPad(o->out.data(), o->text, o->with, width, left, utf8));
            benchmark::ClobberMemory();
          }
          processed(state, o->text.size());
        });
  }
}

const bool registered = [] {
  const std::string latin = "Gr\u00fc\u00dfe aus K\u00f6ln, caf\u00e9 au lait et cr\u00e8me. ";
  const std::string mixed = "Text \u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8 123 ";
  registerReplace("ISO-8859-1", latin + latin);
  registerReplace("AL32UTF8", mixed + mixed);
  for (const char* size : {"short", "long"}) {
    registerPad("ISO-8859-1", latin, size);
    registerPad("AL32UTF8", "Text 123, caf\u00e9 \u65e5\u672c ", size);
  }
  return true;
}();

}  // namespace
