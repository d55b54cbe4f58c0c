// LIKE beside anchors doing the same work in the same run: '%needle%' over
// 1 MiB of AL32UTF8 (an ASCII needle and a CJK one, present only at the end)
// beside memmem and SQLite's GLOB; 100,000 rows of 64 bytes with three
// pattern shapes beside GLOB with the equivalent pattern; CI and AI
// '%needle%' beside ICU's string search on the same text; and the pattern
// prefix on 64-byte patterns beside a plain scan for the first wildcard.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unicode/ucol.h>
#include <unicode/usearch.h>
#include <unicode/ustring.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "lxk/lxk.h"

namespace {

using lxkbench::context;

const CharsetHandle* handleFor(const char* collation) {
  static const CharsetHandle* const binary = nlsHandleCreate(context(), "AL32UTF8", nullptr);
  static const CharsetHandle* const ci = nlsHandleCreate(context(), "AL32UTF8", "CI");
  static const CharsetHandle* const ai = nlsHandleCreate(context(), "AL32UTF8", "AI");
  if (collation == nullptr) return binary;
  return std::string(collation) == "CI" ? ci : ai;
}

int32_t like(const std::string& s, const std::string& p, const CharsetHandle* h) {
  uint32_t status = 0;
  return lxkLike(s.data(), static_cast<uint32_t>(s.size()), p.data(),
                 static_cast<uint32_t>(p.size()), nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                 &status, h, context());
}

void fail(const std::string& what) {
  std::fprintf(stderr, "bench_like: %s\n", what.c_str());
  std::exit(1);
}

void add(const std::string& name, size_t bytes, std::function<int64_t()> call) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(call());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  });
}

// 1 MiB of text from the alphabet with the needle appended at the end.
std::string corpus(const std::vector<std::string>& alphabet, const std::string& needle) {
  std::mt19937 rng(7);
  std::string text;
  while (text.size() + needle.size() < (1u << 20)) text += alphabet[rng() % alphabet.size()];
  return text + needle;
}

std::u16string toUtf16(const std::string& utf8) {
  std::u16string out(utf8.size() + 1, u'\0');
  int32_t n = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &n,
                utf8.data(), static_cast<int32_t>(utf8.size()), &status);
  out.resize(static_cast<size_t>(n));
  return out;
}

void registerSearch(const std::string& label, const std::string* text, const std::string& needle) {
  const std::string rest = "/AL32UTF8/" + std::to_string(text->size());
  const std::string pattern = "%" + needle + "%";
  const std::string glob = "*" + needle + "*";
  if (like(*text, pattern, handleFor(nullptr)) != 1 ||
      sqlite3_strglob(glob.c_str(), text->c_str()) != 0)
    fail("the needle is missed in " + label);
  const CharsetHandle* h = handleFor(nullptr);
  const auto lxk = [=] { return static_cast<int64_t>(like(*text, pattern, h)); };
  add("Like.memmem." + label + rest, text->size(), lxk);
  add("Like.memmem." + label + ".anchor" + rest, text->size(), [=] {
    return reinterpret_cast<int64_t>(
        memmem(text->data(), text->size(), needle.data(), needle.size()));
  });
  add("Like.glob." + label + rest, text->size(), lxk);
  add("Like.glob." + label + ".anchor" + rest, text->size(),
      [=] { return static_cast<int64_t>(sqlite3_strglob(glob.c_str(), text->c_str())); });
  // Linguistic: the same text and needle under CI and AI beside ICU's search.
  const std::u16string* text16 = new std::u16string(toUtf16(*text));
  const std::u16string* needle16 = new std::u16string(toUtf16(needle));
  for (const char* collation : {"CI", "AI"}) {
    const CharsetHandle* hc = handleFor(collation);
    if (like(*text, pattern, hc) != 1) fail(std::string("no linguistic match in ") + label);
    UErrorCode status = U_ZERO_ERROR;
    UCollator* coll = ucol_open("", &status);
    ucol_setStrength(coll, std::string(collation) == "CI" ? UCOL_SECONDARY : UCOL_PRIMARY);
    UStringSearch* search = usearch_openFromCollator(
        reinterpret_cast<const UChar*>(needle16->data()), static_cast<int32_t>(needle16->size()),
        reinterpret_cast<const UChar*>(text16->data()), static_cast<int32_t>(text16->size()), coll,
        nullptr, &status);
    if (U_FAILURE(status) || usearch_first(search, &status) < 0)
      fail(std::string("usearch misses the needle in ") + label);
    add("Like." + std::string(collation) + "." + label + rest, text->size(),
        [=] { return static_cast<int64_t>(like(*text, pattern, hc)); });
    add("Like." + std::string(collation) + "." + label + ".anchor" + rest, text->size(), [=] {
      UErrorCode st = U_ZERO_ERROR;
      return static_cast<int64_t>(usearch_first(search, &st));
    });
  }
}

// Rows of 64 random lowercase bytes, every fourth starting with "abc", every
// third holding "abc" somewhere, and patterns of three shapes.
void registerRows() {
  constexpr size_t kRows = 100000, kWidth = 64;
  auto* rows = new std::vector<std::string>(kRows);
  std::mt19937 rng(11);
  for (size_t i = 0; i < kRows; ++i) {
    std::string& r = (*rows)[i];
    for (size_t k = 0; k < kWidth; ++k) r += static_cast<char>('a' + rng() % 26);
    if (i % 4 == 0) r.replace(0, 3, "abc");
    if (i % 3 == 0) r.replace(20 + rng() % 40, 3, "abc");
    if (i % 5 == 0) r.back() = 'x';
  }
  const struct {
    const char* name;
    const char* like;
    const char* glob;
  } shapes[] = {
      {"prefix", "abc%", "abc*"}, {"contains", "%abc%", "*abc*"}, {"underscore", "a_c%x", "a?c*x"}};
  const CharsetHandle* h = handleFor(nullptr);
  for (const auto& shape : shapes) {
    const std::string pattern = shape.like, glob = shape.glob;
    size_t a = 0, b = 0;
    for (const std::string& r : *rows) {
      a += like(r, pattern, h) == 1;
      b += sqlite3_strglob(glob.c_str(), r.c_str()) == 0;
    }
    if (a != b) fail(std::string("rows disagree on ") + shape.name);
    const std::string rest = "/AL32UTF8/" + std::to_string(kWidth);
    add(std::string("Like.rows.") + shape.name + rest, kRows * kWidth, [=] {
      int64_t n = 0;
      for (const std::string& r : *rows) n += like(r, pattern, h);
      return n;
    });
    add(std::string("Like.rows.") + shape.name + ".anchor" + rest, kRows * kWidth, [=] {
      int64_t n = 0;
      for (const std::string& r : *rows) n += sqlite3_strglob(glob.c_str(), r.c_str()) == 0;
      return n;
    });
  }
}

// The prefix of a 64-byte pattern with escapes before its first '%'.
void registerPrefix() {
  auto* pattern = new std::string("customer\\_name\\%2026-11-23 order line item number 0042%x_y");
  while (pattern->size() < 64) pattern->insert(0, "a");
  const CharsetHandle* h = handleFor(nullptr);
  add("LikPatPref/AL32UTF8/64", 64, [=] {
    uint8_t prefix[80], cls = 0;
    uint32_t length = 0, chars = 0, status = 0;
    return static_cast<int64_t>(
               lxkLikPatPref(pattern->data(), static_cast<uint32_t>(pattern->size()), "\\", 1,
                             prefix, 0, &length, &chars, &cls, &status, h, context())) +
           length;
  });
  // The plain byte version: the first wildcard found and the bytes before it
  // copied, escapes ignored.
  add("LikPatPref.anchor/AL32UTF8/64", 64, [=] {
    uint8_t prefix[80];
    const void* at = std::memchr(pattern->data(), '%', pattern->size());
    const size_t n = at ? static_cast<const char*>(at) - pattern->data() : pattern->size();
    std::memcpy(prefix, pattern->data(), n);
    benchmark::DoNotOptimize(prefix);
    return static_cast<int64_t>(n);
  });
}

const bool kRegistered = [] {
  static const std::string ascii =
      corpus({"the ", "of ",   "and ", "to ",   "in ",   "is ", "that ", "for ",
              "it ",  "as ",   "was ", "with ", "be ",   "by ", "on ",   "not ",
              "he ",  "this ", "are ", "or ",   "from ", "at ", "which "},
             "zqxjkvbw");
  static const std::string cjk = corpus({"中", "文", "日", "本", "語", "の", "字", "は", "東", "京",
                                         "大", "学", "人", "生", "年", "月", "国"},
                                        "鑫鬱鑼");
  registerSearch("ascii", &ascii, "zqxjkvbw");
  registerSearch("cjk", &cjk, "鑫鬱鑼");
  registerRows();
  registerPrefix();
  return true;
}();

}  // namespace
