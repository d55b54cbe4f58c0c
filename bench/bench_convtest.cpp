// The conversion test, ASCIISTR and UNISTR on 1 MiB beside anchors in the
// same run: ICU converting between the same sets (ucnv_convertEx, converters
// opened once), memchr over the same bytes, and plain loops that write the
// same escapes.  Names read <export>.<variant>/<sets>/<size>; an anchor adds
// ".anchor" before the last part of the first (ConvTest.ascii.anchor.icu).
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>

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

constexpr size_t kSize = 1u << 20;

std::string repeated(const std::string& piece) {
  std::string s;
  while (s.size() < kSize) s += piece;
  return s;
}

const CharsetDefinition* definition(const char* set) {
  return static_cast<const CharsetDefinition*>(nlsDefinition(context(), set));
}

template <typename Call>
void add(const std::string& name, const std::string& sets, size_t bytes, Call call) {
  benchmark::RegisterBenchmark((name + "/" + sets + "/1MiB").c_str(),
                               [call, bytes](benchmark::State& state) mutable {
                                 for (auto _ : state) {
                                   benchmark::DoNotOptimize(call());
                                   benchmark::ClobberMemory();
                                 }
                                 state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                                                         static_cast<int64_t>(bytes));
                               });
}

// ICU between the same sets, into a buffer large enough for the whole text.
struct IcuPair {
  UConverter* from;
  UConverter* to;
  std::vector<char> out;
  IcuPair(const char* fromName, const char* toName, size_t room) : out(room) {
    UErrorCode err = U_ZERO_ERROR;
    from = ucnv_open(fromName, &err);
    to = ucnv_open(toName, &err);
    if (U_FAILURE(err)) {
      std::fprintf(stderr, "no ICU converter %s or %s\n", fromName, toName);
      std::exit(1);
    }
  }
  size_t convert(const Bytes& text) {
    UErrorCode err = U_ZERO_ERROR;
    char* o = out.data();
    const char* in = reinterpret_cast<const char*>(text.data());
    ucnv_convertEx(to, from, &o, out.data() + out.size(), &in, in + text.size(), nullptr, nullptr,
                   nullptr, nullptr, true, true, &err);
    return static_cast<size_t>(o - out.data());
  }
};

void registerConvTest(const char* variant, const Bytes* text, const char* from, const char* to,
                      const char* icuFrom, const char* icuTo, bool withMemchr) {
  const std::string sets = std::string(from) + ">" + to;
  const CharsetDefinition* source = definition(from);
  const CharsetDefinition* target = definition(to);
  NlsContext* ctx = context();
  auto* icu = new IcuPair(icuFrom, icuTo, text->size() * 3 + 64);
  const auto run = [=] {
    return lxkCSConvTest(target, text->data(), source, static_cast<uint32_t>(text->size()), 0, ctx);
  };
  const std::string name = std::string("ConvTest.") + variant;
  add(name + ".icu", sets, text->size(), run);
  add(name + ".anchor.icu", sets, text->size(), [=] { return icu->convert(*text); });
  if (withMemchr) {
    add(name + ".memchr", sets, text->size(), run);
    add(name + ".anchor.memchr", sets, text->size(),
        [=] { return std::memchr(text->data(), 0x80, text->size()); });
  }
}

// ---- Plain escape loops ---------------------------------------------------------

constexpr char kHex[] = "0123456789ABCDEF";

inline uint8_t* escape(uint8_t* o, uint32_t unit) {
  o[0] = '\\';
  o[1] = static_cast<uint8_t>(kHex[unit >> 12 & 0xF]);
  o[2] = static_cast<uint8_t>(kHex[unit >> 8 & 0xF]);
  o[3] = static_cast<uint8_t>(kHex[unit >> 4 & 0xF]);
  o[4] = static_cast<uint8_t>(kHex[unit & 0xF]);
  return o + 5;
}

// ASCIISTR of well-formed UTF-8.
size_t plainAsciistr(const Bytes& text, uint8_t* out) {
  const uint8_t* p = text.data();
  const uint8_t* const e = p + text.size();
  uint8_t* o = out;
  while (p < e) {
    const uint32_t b = *p;
    if (b < 0x80) {
      if (b == '\\')
        o = escape(o, b);
      else
        *o++ = static_cast<uint8_t>(b);
      ++p;
    } else if (b < 0xE0) {
      o = escape(o, (b & 0x1F) << 6 | (p[1] & 0x3F));
      p += 2;
    } else if (b < 0xF0) {
      o = escape(o, (b & 0x0F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F));
      p += 3;
    } else {
      const uint32_t c =
          ((b & 0x07) << 18 | (p[1] & 0x3F) << 12 | (p[2] & 0x3F) << 6 | (p[3] & 0x3F)) - 0x10000;
      o = escape(escape(o, 0xD800 + (c >> 10)), 0xDC00 + (c & 0x3FF));
      p += 4;
    }
  }
  return static_cast<size_t>(o - out);
}

inline uint32_t hexValue(uint8_t c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

// UNISTR of ASCII escapes into AL16UTF16.
size_t plainUnistr(const Bytes& text, uint8_t* out) {
  const uint8_t* p = text.data();
  const uint8_t* const e = p + text.size();
  uint8_t* o = out;
  while (p < e) {
    uint32_t unit = *p;
    if (unit == '\\') {
      unit = hexValue(p[1]) << 12 | hexValue(p[2]) << 8 | hexValue(p[3]) << 4 | hexValue(p[4]);
      p += 5;
    } else {
      ++p;
    }
    o[0] = static_cast<uint8_t>(unit >> 8);
    o[1] = static_cast<uint8_t>(unit);
    o += 2;
  }
  return static_cast<size_t>(o - out);
}

void check(const char* what, bool same) {
  if (!same) {
    std::fprintf(stderr, "%s: lxk and its anchor disagree\n", what);
    std::exit(1);
  }
}

const bool kRegistered = [] {
  static const Bytes ascii = encode("AL32UTF8", repeated("Plain ASCII text, line after line. "));
  static const Bytes mixed = encode(
      "AL32UTF8", repeated("Tokyo report: 東京の天気は晴れ、気温は二十度です。 Shares rose 3% "));
  registerConvTest("ascii", &ascii, "AL32UTF8", "WINDOWS-1252", "UTF-8", "ibm-5348_P100-1997",
                   true);
  registerConvTest("mixed", &mixed, "AL32UTF8", "AL16UTF16", "UTF-8", "UTF-16BE", false);
  registerConvTest("mixed", &mixed, "AL32UTF8", "SHIFT_JIS", "UTF-8", "ibm-943_P15A-2003", false);

  NlsContext* ctx = context();
  const CharsetHandle* utf8 = nlsHandleCreate(ctx, "AL32UTF8", nullptr);
  static Bytes escaped(mixed.size() * 6);
  static Bytes out(mixed.size() * 6);
  escaped.resize(plainAsciistr(mixed, escaped.data()));
  const auto capacity = static_cast<uint32_t>(out.size());
  add("Asciistr", "AL32UTF8", mixed.size(), [=] {
    return lxkAsciistr(out.data(), capacity, mixed.data(), static_cast<uint32_t>(mixed.size()), 0,
                       nullptr, utf8, ctx);
  });
  add("Asciistr.anchor", "AL32UTF8", mixed.size(),
      [=] { return plainAsciistr(mixed, out.data()); });
  add("Unistr", "AL32UTF8", escaped.size(), [=] {
    return lxkUnistr(out.data(), capacity, escaped.data(), static_cast<uint32_t>(escaped.size()),
                     CSID_AL16UTF16, nullptr, utf8, utf8, ctx);
  });
  add("Unistr.anchor", "AL32UTF8", escaped.size(),
      [=] { return plainUnistr(escaped, out.data()); });

  // The rows measure the same work as their anchors.
  Bytes mine(out.size());
  const uint32_t n = lxkAsciistr(mine.data(), capacity, mixed.data(),
                                 static_cast<uint32_t>(mixed.size()), 0, nullptr, utf8, ctx);
  check("Asciistr", n == escaped.size() && std::memcmp(mine.data(), escaped.data(), n) == 0);
  Bytes theirs(out.size());
  const size_t expected = plainUnistr(escaped, theirs.data());
  const uint32_t m =
      lxkUnistr(mine.data(), capacity, escaped.data(), static_cast<uint32_t>(escaped.size()),
                CSID_AL16UTF16, nullptr, utf8, utf8, ctx);
  check("Unistr", m == expected && std::memcmp(mine.data(), theirs.data(), m) == 0);
  return true;
}();

}  // namespace
