// Benchmarks of the exports, each beside an anchor that does the least work
// that could give the same answer: memcpy for slices and concatenation, a
// UTF-8 lead-byte count for character positioning, ICU's case mapping for
// case conversion, ICU's UTF-8 macros for character codes.
//
// Every benchmark runs on a short string (about 20 bytes) and a long one
// (1 MiB) in AL32UTF8, a single-byte set, AL16UTF16 and SHIFT_JIS.  Names
// read <export>.<variant>/<set>/<size>; anchors add ".anchor" to the first
// part.  Set LXK_BENCH_QUICK to run only the long SUBSTR pairs.
#include <benchmark/benchmark.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "frame/frame.h"
#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace {

using lxkbench::Bytes;
using lxkbench::encode;

NlsContext* gContext = nullptr;

struct Sample {
  std::string set;
  std::string size;  // "short" or "long"
  const CharsetHandle* handle;
  Bytes text;                // in the set
  std::vector<UChar> utf16;  // the same text for ICU's case mapping
  uint32_t characters;       // characters of the set in text
  std::string utf8;          // the same text for ICU's UTF-8 macros
  Bytes out;                 // destination of the scalar exports and their anchors
  Bytes sliceOut;            // destination of SUBSTR and its memcpy anchor
  std::vector<UChar> out16;  // destination of ICU's case mapping
};

// The text of each set: mixed scripts where the set holds them.
std::string phraseFor(const std::string& set) {
  if (set == "ISO-8859-1")
    return "Gr\xC3\xBC\xC3\x9F"
           "e aus K\xC3\xB6ln, caf\xC3\xA9 ";
  return "Text \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x86\xE3\x82\xAD\xE3\x82"
         "\xB9\xE3\x83\x88 123 ";
}

// The UTF-8 form of a sample's text, for anchors that read UTF-8.
std::string utf8Of(const Sample& sample) {
  std::string out(sample.utf16.size() * 3 + 4, '\0');
  int32_t n = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &n, sample.utf16.data(),
              static_cast<int32_t>(sample.utf16.size()), &status);
  out.resize(static_cast<size_t>(n));
  return out;
}

Sample makeSample(const std::string& set, const std::string& size) {
  Sample sample{set, size, nlsHandleCreate(gContext, set.c_str(), nullptr), {}, {}, 0, {}, {},
                {},  {}};
  if (sample.handle == nullptr) {
    std::fprintf(stderr, "no handle for %s\n", set.c_str());
    std::exit(1);
  }
  std::string phrase = phraseFor(set);
  if (size == "short") {
    // About 20 bytes in the set: whole characters off the end.
    while (encode(set, phrase).size() > 20) {
      int32_t cut = static_cast<int32_t>(phrase.size()) - 1;
      U8_SET_CP_START(reinterpret_cast<const uint8_t*>(phrase.data()), 0, cut);
      phrase.resize(static_cast<size_t>(cut));
    }
  }
  const Bytes once = encode(set, phrase);
  const size_t copies = size == "short" ? 1 : (1u << 20) / once.size();
  std::string utf8;
  for (size_t i = 0; i < copies; ++i) {
    sample.text.insert(sample.text.end(), once.begin(), once.end());
    utf8 += phrase;
  }
  sample.utf16.resize(utf8.size() + 1);
  int32_t units = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(sample.utf16.data(), static_cast<int32_t>(sample.utf16.size()), &units, utf8.data(),
                static_cast<int32_t>(utf8.size()), &status);
  sample.utf16.resize(static_cast<size_t>(units));
  sample.characters = lxsCntChar(sample.text.data(), static_cast<uint32_t>(sample.text.size()), 0,
                                 sample.handle, gContext);
  sample.utf8 = utf8Of(sample);
  sample.out.resize(4 * sample.text.size() + 64);
  sample.sliceOut.resize(sample.text.size() + 4096 + 16);
  sample.out16.resize(4 * sample.utf16.size() + 64);
  return sample;
}

void setProcessed(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// A straightforward count of UTF-8 lead bytes: the yardstick for positioning
// by characters.
size_t countLeadBytes(const uint8_t* p, size_t n) {
  size_t leads = 0;
  for (size_t i = 0; i < n; ++i) leads += (p[i] & 0xC0u) != 0x80u;
  return leads;
}

// The largest byte value that the text does not hold (0 if it holds them all).
int absentByte(const uint8_t* p, size_t n) {
  int absent = 0xFF;
  while (absent > 0 && std::memchr(p, absent, n) != nullptr) --absent;
  return absent;
}

// Registers name/set/size: one call per iteration, its result kept and
// memory clobbered after it, the same loop for lxk and for its anchors;
// bytes are reported as processed per iteration.
template <typename Call>
void add(const std::string& name, const Sample& sample, size_t bytes, Call call) {
  benchmark::RegisterBenchmark((name + "/" + sample.set + "/" + sample.size).c_str(),
                               [call, bytes](benchmark::State& state) mutable {
                                 for (auto _ : state) {
                                   benchmark::DoNotOptimize(call());
                                   benchmark::ClobberMemory();
                                 }
                                 setProcessed(state, bytes);
                               });
}

void registerSubstr(Sample& s) {
  const uint32_t n = static_cast<uint32_t>(s.text.size());
  const uint8_t* src = s.text.data();
  const CharsetHandle* h = s.handle;

  // Byte semantics: the middle half of the string, copied.
  const int32_t bytePosition = static_cast<int32_t>(n / 4 + 1);
  // The destination sits half a page from the slice in the low address
  // bits: a copy to just after its source in those bits is memcpy's own slow
  // case on some processors, and would time the placement, not the export.
  const uintptr_t sliceAt = reinterpret_cast<uintptr_t>(src) + n / 4;
  const uintptr_t bufferAt = reinterpret_cast<uintptr_t>(s.sliceOut.data());
  uint8_t* out = s.sliceOut.data() + ((sliceAt + 2048 - bufferAt) % 4096);
  const int32_t byteLength = static_cast<int32_t>(n / 2);
  uint32_t expected = 0, resultWord = 0;
  lxkSubstr(&expected, out, n, src, n, bytePosition, byteLength, OPT_BYTE_UNITS, nullptr, h,
            gContext);
  add("Substr.bytes", s, expected, [=]() mutable {
    uint32_t length;
    return lxkSubstr(&length, out, n, src, n, bytePosition, byteLength, OPT_BYTE_UNITS, &resultWord,
                     h, gContext);
  });
  add("Substr.bytes.anchor", s, expected,
      [=] { return std::memcpy(out, src + bytePosition - 1, expected); });

  // Character semantics: the last few characters, so that positioning walks
  // the whole string.
  const int32_t charPosition = static_cast<int32_t>(s.characters > 4 ? s.characters - 3 : 1);
  add("Substr.chars", s, n, [=]() mutable {
    uint32_t length;
    return lxkSubstr(&length, out, n, src, n, charPosition, 3, 0, &resultWord, h, gContext);
  });
  // memchr for a byte the text lacks reads the same bytes at the machine's
  // fastest rate.
  const int absent = absentByte(src, n);
  add("Substr.chars.anchor", s, n, [=] { return std::memchr(src, absent, n); });

  // Character semantics without a destination, from the start: the take
  // walk over the first half.
  const int32_t half = static_cast<int32_t>(s.characters / 2 + 1);
  add("Substr.charsHead", s, n / 2, [=]() mutable {
    uint32_t length;
    return lxkSubstr(&length, nullptr, 0, src, n, 1, half, 0, &resultWord, h, gContext);
  });
  add("Substr.charsHead.anchor", s, n / 2, [=] { return countLeadBytes(src, n / 2); });
}

void registerScalars(Sample& s) {
  const uint32_t n = static_cast<uint32_t>(s.text.size());
  const uint8_t* src = s.text.data();
  const CharsetHandle* h = s.handle;
  const std::string* utf8 = &s.utf8;
  uint8_t* out = s.out.data();
  const uint32_t capacity = static_cast<uint32_t>(s.out.size());
  UChar* out16 = s.out16.data();
  const int32_t capacity16 = static_cast<int32_t>(s.out16.size());
  const UChar* u16 = s.utf16.data();
  const int32_t u16Length = static_cast<int32_t>(s.utf16.size());
  uint32_t resultWord = 0;

  add("Ascii", s, 0, [=] { return lxkAscii(src, n, h, gContext); });
  add("Ascii.anchor", s, 0, [=] {
    int32_t i = 0;
    UChar32 c;
    U8_NEXT(reinterpret_cast<const uint8_t*>(utf8->data()), i, static_cast<int32_t>(utf8->size()),
            c);
    return c;
  });

  const uint32_t code = lxkAscii(src, n, h, gContext);
  add("Chr", s, 0, [=] { return lxkChr(out, 8, code, h, gContext); });
  add("Chr.anchor", s, 0, [=] {
    int32_t i = 0;
    UBool error = false;
    U8_APPEND(out, i, 8, 0x65E5, error);
    return i + error;
  });

  add("Concat", s, 2 * n,
      [=]() mutable { return lxkConcat(out, 2 * n, src, n, src, n, &resultWord, h, gContext); });
  add("Concat.anchor", s, 2 * n, [=] {
    std::memcpy(out, src, n);
    return std::memcpy(out + n, src, n);
  });

  // Case conversion against ICU on the same text in UTF-16.  INITCAP has no
  // closer ICU counterpart than lowering: title casing needs a word-break
  // iterator, which is far more work than INITCAP's rule.
  const auto icuUpper = [=] {
    UErrorCode status = U_ZERO_ERROR;
    return u_strToUpper(out16, capacity16, u16, u16Length, "", &status);
  };
  const auto icuLower = [=] {
    UErrorCode status = U_ZERO_ERROR;
    return u_strToLower(out16, capacity16, u16, u16Length, "", &status);
  };
  add("ToUL.upper", s, n,
      [=] { return lxkToUL(out, capacity, src, n, CASE_DIRECTION, 0, h, gContext); });
  add("ToUL.upper.anchor", s, n, icuUpper);
  add("ToUL.lower", s, n, [=] { return lxkToUL(out, capacity, src, n, 0, 0, h, gContext); });
  add("ToUL.lower.anchor", s, n, icuLower);
  add("Initcap", s, n,
      [=]() mutable { return lxkInitcap(out, capacity, src, n, &resultWord, h, gContext); });
  add("Initcap.anchor", s, n, icuLower);
}

// The stepping kernels of every supported level over the whole long text,
// beside memchr for a byte the text lacks: Kernel.<kernel> is the level
// chosen at run time, Kernel.<kernel>.<level> each level.
void registerKernels(Sample& s) {
  const bool utf8 = s.set == "AL32UTF8";
  lxk::DoubleByteLeads leads{};
  if (!utf8 && !lxk::doubleByteLeadsOf(
                   lxk::leadTableInForce(s.handle, lxk::definitionOf(s.handle, gContext)), &leads))
    return;
  const uint8_t* src = s.text.data();
  const uint8_t* end = src + s.text.size();
  const size_t n = s.text.size();
  const int absent = absentByte(src, n);
  const std::string kernel = utf8 ? "Kernel.utf8Forward" : "Kernel.doubleByteForward";
  const auto step = [=](const lxk::Kernels* k) {
    uint32_t chars;
    return utf8 ? k->utf8Forward(src, end, ~0u, 4, &chars)
                : k->doubleByteForward(src, end, ~0u, leads, &chars);
  };
  add(kernel, s, n, [=] { return step(&lxk::kernels()); });
  add(kernel + ".anchor", s, n, [=] { return std::memchr(src, absent, n); });
  const std::pair<lxk::KernelLevel, const char*> levels[] = {{lxk::KernelLevel::Scalar, "scalar"},
                                                             {lxk::KernelLevel::Sse2, "sse2"},
                                                             {lxk::KernelLevel::Avx2, "avx2"},
                                                             {lxk::KernelLevel::Avx512, "avx512"}};
  for (const auto& [level, name] : levels)
    if (lxk::kernelLevelSupported(level)) {
      const lxk::Kernels* k = &lxk::kernelsFor(level);
      add(kernel + "." + name, s, n, [=] { return step(k); });
    }
}

}  // namespace

int main(int argc, char** argv) {
  gContext = lxkbench::context();
  if (gContext == nullptr) {
    std::fprintf(stderr, "no context\n");
    return 1;
  }
  const bool quick = std::getenv("LXK_BENCH_QUICK") != nullptr;
  static std::vector<Sample> samples;
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "AL16UTF16", "SHIFT_JIS"})
    for (const char* size : {"short", "long"}) {
      if (quick && std::string(size) == "short") continue;
      samples.push_back(makeSample(set, size));
    }
  for (Sample& s : samples) {
    registerSubstr(s);
    if (!quick) registerScalars(s);
    if (s.size == "long" && (s.set == "AL32UTF8" || s.set == "SHIFT_JIS")) registerKernels(s);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
