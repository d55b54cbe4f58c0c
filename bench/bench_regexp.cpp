// The REGEXP functions beside PCRE2's JIT called directly on the same bytes
// in the same run: REGEXP_LIKE, REGEXP_COUNT, REGEXP_INSTR, REGEXP_SUBSTR and
// REGEXP_REPLACE on 1 MiB of AL32UTF8, and per call on 64-byte strings with
// the compiled record reused.
// The large-object forms, read in 4 KiB chunks from memory through the
// callbacks, are paired with the in-memory function on the same text (1 MiB
// of AL32UTF8, and 1 MiB of ASCII characters in ISO-8859-1).
// Names read <export>.<variant>/<set>/<size>; anchors add ".anchor" to the
// first part.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <benchmark/benchmark.h>
#include <pcre2.h>

#include <algorithm>
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

// Mixed text with digits, and a word found only at its very end.
std::string longText() {
  const std::string body = "Grüße aus Köln, 日本語のテキスト and plain words 2024 ";
  std::string text;
  while (text.size() < (1u << 20)) text += body;
  return text + "needle42";
}

// The pattern compiled both ways: through lxk and for PCRE2 directly.
struct Pattern {
  RegexRecord record{};
  pcre2_code* code = nullptr;
  pcre2_match_data* data = nullptr;
  const CharsetHandle* handle = nullptr;

  Pattern(const std::string& set, const std::string& pattern) {
    handle = nlsHandleCreate(context(), set.c_str(), nullptr);
    const Bytes p = encode(set, pattern);
    lxkRegexpComp(&record, p.data(), static_cast<uint32_t>(p.size()), 0, "", 0, 0, 0, handle,
                  context());
    int error;
    PCRE2_SIZE offset;
    code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                         PCRE2_UTF | PCRE2_UCP, &error, &offset, nullptr);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    data = pcre2_match_data_create_from_pattern(code, nullptr);
  }
  // The first match from start, as a caller of PCRE2 writes it: the text is
  // checked once, by the first call.
  int match(const std::string& text, size_t start, uint32_t options = 0) const {
    return pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), start, options,
                       data, nullptr);
  }
  // Non-overlapping matches, empty ones stepped over by one character.
  uint32_t count(const std::string& text) const {
    uint32_t n = 0;
    size_t at = 0;
    uint32_t options = 0;
    while (at <= text.size() && match(text, at, options) >= 0) {
      ++n;
      options = PCRE2_NO_UTF_CHECK;
      const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data);
      if (ov[1] > ov[0]) {
        at = ov[1];
      } else {
        if (ov[1] >= text.size()) break;
        at = ov[1] + 1;
        while (at < text.size() && (text[at] & 0xC0) == 0x80) ++at;
      }
    }
    return n;
  }
};

template <typename Call>
void add(const std::string& name, size_t bytes, Call call) {
  benchmark::RegisterBenchmark(name.c_str(), [call, bytes](benchmark::State& state) {
    for (auto _ : state) {
      auto result = call();
      benchmark::DoNotOptimize(result);
      benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
  });
}

// A large object in memory, read through the callbacks; what the functions
// write goes to a destination of fixed room.
struct MemoryLob {
  LobAccess access{};
  const Bytes* text;
  Bytes dest = Bytes(2u << 20);
  explicit MemoryLob(const Bytes* t, uint32_t chunk) : text(t) {
    access.chunkSize = chunk;
    access.read = read;
    access.readContext = this;
    access.write = write;
    access.writeContext = this;
    access.getLength = length;
  }
  static int16_t write(uint32_t lo, uint32_t hi, uint32_t* amount, const void* buffer, uint32_t,
                       void* context, uint32_t) {
    auto* self = static_cast<MemoryLob*>(context);
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    if (at + *amount > self->dest.size()) return 1;
    if (*amount) std::memcpy(self->dest.data() + at, buffer, *amount);
    return 0;
  }
  static int16_t read(uint32_t lo, uint32_t hi, uint32_t* amount, void* buffer, uint32_t size,
                      void* context, uint32_t) {
    const auto* self = static_cast<MemoryLob*>(context);
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    const uint64_t total = self->text->size();
    const uint64_t n = std::min<uint64_t>({*amount, size, at < total ? total - at : 0});
    if (n) std::memcpy(buffer, self->text->data() + at, n);
    *amount = static_cast<uint32_t>(n);
    return 0;
  }
  static void length(void* context, uint64_t* bytes, uint64_t* chars) {
    *bytes = *chars = static_cast<MemoryLob*>(context)->text->size();
  }
};

int registerAll() {
  NlsContext* ctx = context();
  static const std::string text = longText();
  static const Bytes bytes(text.begin(), text.end());
  const size_t n = bytes.size();

  // 1 MiB: a match only at the end, and a count of many matches.
  static const Pattern needle("AL32UTF8", "needle\\d+");
  static const Pattern digits("AL32UTF8", "\\d+");
  add("RegexpLike/AL32UTF8/long", n, [=] {
    return lxkRegexpLike(const_cast<RegexRecord*>(&needle.record), bytes.data(), n, needle.handle,
                         ctx);
  });
  add("RegexpLike.anchor/AL32UTF8/long", n, [=] { return needle.match(text, 0); });
  add("RegexpCount/AL32UTF8/long", n, [=] {
    return lxkRegexpCount(const_cast<RegexRecord*>(&digits.record), bytes.data(), n, 1,
                          digits.handle, ctx);
  });
  add("RegexpCount.anchor/AL32UTF8/long", n, [=] { return digits.count(text); });
  add("RegexpInstr/AL32UTF8/long", n, [=] {
    return lxkRegexpInstrNSub(const_cast<RegexRecord*>(&needle.record), bytes.data(), n, 1, 1, 0, 0,
                              needle.handle, ctx);
  });
  // INSTR answers in characters: PCRE2 finds the offset, a lead-byte count
  // turns it into a position.
  add("RegexpInstr.anchor/AL32UTF8/long", n, [=] {
    if (needle.match(text, 0) < 0) return uint32_t{0};
    const size_t at = pcre2_get_ovector_pointer(needle.data)[0];
    uint32_t chars = 1;
    for (size_t i = 0; i < at; ++i) chars += (text[i] & 0xC0) != 0x80;
    return chars;
  });

  // REGEXP_SUBSTR copies the match; REGEXP_REPLACE writes every number as
  // '#', beside pcre2_substitute with the same replacement.
  static Bytes* out = new Bytes(2u << 20);
  add("RegexpSubstr/AL32UTF8/long", n, [=] {
    uint8_t* to = out->data();
    return lxkRegexpSubstrNSub(const_cast<RegexRecord*>(&needle.record), &to, 64, bytes.data(), n,
                               1, 1, 0, needle.handle, ctx);
  });
  add("RegexpSubstr.anchor/AL32UTF8/long", n, [=] {
    if (needle.match(text, 0) < 0) return size_t{0};
    const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(needle.data);
    std::memcpy(out->data(), text.data() + ov[0], ov[1] - ov[0]);
    return static_cast<size_t>(ov[1] - ov[0]);
  });
  const auto replaceDirect = [=] {
    PCRE2_SIZE length = out->size();
    pcre2_substitute(digits.code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0,
                     PCRE2_SUBSTITUTE_GLOBAL, digits.data, nullptr,
                     reinterpret_cast<PCRE2_SPTR>("#"), 1, out->data(), &length);
    return static_cast<uint32_t>(length);
  };
  const auto replace = [=] {
    uint8_t* to = out->data();
    return lxkRegexpReplace(const_cast<RegexRecord*>(&digits.record), &to,
                            static_cast<uint32_t>(out->size()), bytes.data(), n, "#", 1, 1, 0,
                            nullptr, nullptr, digits.handle, ctx);
  };
  if (replace() != replaceDirect()) {
    std::fprintf(stderr, "bench_regexp: REGEXP_REPLACE and pcre2_substitute differ\n");
    std::exit(1);
  }
  add("RegexpReplace/AL32UTF8/long", n, replace);
  add("RegexpReplace.anchor/AL32UTF8/long", n, replaceDirect);

  // 64 bytes a call, the compiled record reused.
  static const std::string shortText = text.substr(0, 56) + "needle42";
  static const Bytes shortBytes(shortText.begin(), shortText.end());
  add("RegexpLike/AL32UTF8/64B", shortBytes.size(), [=] {
    return lxkRegexpLike(const_cast<RegexRecord*>(&needle.record), shortBytes.data(),
                         shortBytes.size(), needle.handle, ctx);
  });
  add("RegexpLike.anchor/AL32UTF8/64B", shortBytes.size(),
      [=] { return needle.match(shortText, 0); });
  add("RegexpCount/AL32UTF8/64B", shortBytes.size(), [=] {
    return lxkRegexpCount(const_cast<RegexRecord*>(&digits.record), shortBytes.data(),
                          shortBytes.size(), 1, digits.handle, ctx);
  });
  add("RegexpCount.anchor/AL32UTF8/64B", shortBytes.size(),
      [=] { return digits.count(shortText); });

  // Large objects in 4 KiB chunks beside the in-memory function.
  static const Pattern latin("ISO-8859-1", "needle\\d+");
  // Single-byte text of ASCII characters: in place on both sides.
  static const Bytes latinText = [] {
    std::string ascii;
    while (ascii.size() < (1u << 20)) ascii += "Plain words of a large object, 2024 edition. ";
    return encode("ISO-8859-1", ascii + "needle42");
  }();
  static const Pattern latinDigits("ISO-8859-1", "\\d{4}");
  static MemoryLob lob(&latinText, 4096);
  static MemoryLob utf8Lob(&bytes, 4096);
  const size_t ln = latinText.size();
  add("RegexpLob.like/AL32UTF8/long", n, [=] {
    return lxkRegexpLikeLob(const_cast<RegexRecord*>(&needle.record), &utf8Lob.access,
                            needle.handle, ctx);
  });
  add("RegexpLob.like.anchor/AL32UTF8/long", n, [=] {
    return lxkRegexpLike(const_cast<RegexRecord*>(&needle.record), bytes.data(), n, needle.handle,
                         ctx);
  });
  add("RegexpLob.instr/ISO-8859-1/long", ln, [=] {
    return lxkRegexpInstrLobNSub(const_cast<RegexRecord*>(&latin.record), &lob.access, 1, 0, 1, 0,
                                 0, 0, latin.handle, ctx);
  });
  add("RegexpLob.instr.anchor/ISO-8859-1/long", ln, [=] {
    return lxkRegexpInstrNSub(const_cast<RegexRecord*>(&latin.record), latinText.data(), ln, 1, 1,
                              0, 0, latin.handle, ctx);
  });
  add("RegexpLob.count/ISO-8859-1/long", ln, [=] {
    return lxkRegexpCountLob(const_cast<RegexRecord*>(&latinDigits.record), &lob.access, 1, 0,
                             latinDigits.handle, ctx);
  });
  add("RegexpLob.count.anchor/ISO-8859-1/long", ln, [=] {
    return lxkRegexpCount(const_cast<RegexRecord*>(&latinDigits.record), latinText.data(), ln, 1,
                          latinDigits.handle, ctx);
  });
  add("RegexpLob.substr/ISO-8859-1/long", ln, [=] {
    return lxkRegexpSubstrLobNSub(const_cast<RegexRecord*>(&latin.record), &lob.access, 1, 0, 1, 0,
                                  0, latin.handle, ctx);
  });
  add("RegexpLob.substr.anchor/ISO-8859-1/long", ln, [=] {
    uint8_t* to = out->data();
    return lxkRegexpSubstrNSub(const_cast<RegexRecord*>(&latin.record), &to, 64, latinText.data(),
                               ln, 1, 1, 0, latin.handle, ctx);
  });
  add("RegexpLob.replace/ISO-8859-1/long", ln, [=] {
    return lxkRegexpReplaceLob(const_cast<RegexRecord*>(&latinDigits.record), &lob.access, "#", 1,
                               1, 0, 0, 0, latinDigits.handle, ctx);
  });
  add("RegexpLob.replace.anchor/ISO-8859-1/long", ln, [=] {
    uint8_t* to = out->data();
    return lxkRegexpReplace(const_cast<RegexRecord*>(&latinDigits.record), &to,
                            static_cast<uint32_t>(out->size()), latinText.data(), ln, "#", 1, 1, 0,
                            nullptr, nullptr, latinDigits.handle, ctx);
  });
  return 0;
}

const int registered = registerAll();

}  // namespace
