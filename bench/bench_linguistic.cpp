// Linguistic search beside ICU's string search at the same strength: the
// first occurrence of a short needle that the text holds only at its end, in
// 1 MiB of AL32UTF8 text, mostly ASCII or mostly CJK.  ICU searches the same
// text in UTF-16, converted outside the timed loop; both answers are checked
// once before timing.  INSTR rows run the export's linguistic path on the
// same text.
#include <benchmark/benchmark.h>
#include <unicode/ucol.h>
#include <unicode/usearch.h>
#include <unicode/ustring.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace {

using lxkbench::context;
using lxkbench::encode;

struct Corpus {
  std::string name;
  std::string text;  // UTF-8, the needle's variant at the end
  std::string needle;
  std::u16string text16, needle16;
  // Text, needle and the text before the planted needle in the sets
  // searched unit by unit.
  std::vector<uint8_t> inSet[2][3];
};

// The sets other than AL32UTF8 whose search is timed: read unit by unit.
const char* const kUnitSets[] = {"AL16UTF16", "GB18030"};

std::u16string toUtf16(const std::string& utf8) {
  std::u16string out(utf8.size() + 1, u'\0');
  int32_t n = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &n,
                utf8.data(), static_cast<int32_t>(utf8.size()), &status);
  out.resize(static_cast<size_t>(n));
  return out;
}

// Words of Latin text, a few with accents; the needle starts with a common
// letter, so the first-character filter passes often.
Corpus asciiCorpus() {
  static const char* const kWords[] = {
      "the",       "of",         "and",         "to",          "in",         "a",          "is",
      "that",      "for",        "it",          "as",          "was",        "with",       "be",
      "by",        "on",         "not",         "he",          "this",       "are",        "or",
      "his",       "from",       "at",          "which",       "but",        "have",       "an",
      "had",       "they",       "you",         "were",        "their",      "one",        "all",
      "we",        "can",        "her",         "has",         "there",      "been",       "if",
      "more",      "when",       "will",        "would",       "who",        "so",         "report",
      "results",   "route",      "review",      "rather",      "recent",     "region",     "river",
      "caf\u00E9", "na\u00EFve", "fa\u00E7ade", "M\u00FCller", "se\u00F1or", "Z\u00FCrich"};
  std::mt19937 rng(1);
  Corpus c{"ascii", {}, "r\u00E9sum\u00E9", {}, {}, {}};
  while (c.text.size() < (1u << 20) - 16) {
    c.text += kWords[rng() % (sizeof kWords / sizeof kWords[0])];
    c.text += rng() % 12 == 0 ? ". " : " ";
  }
  c.text += "R\u00C9SUM\u00C9";
  return c;
}

// Ideographs and kana with some ASCII punctuation.
Corpus cjkCorpus() {
  std::vector<std::string> pool;
  for (uint32_t cp = 0x4E00; cp < 0x4E00 + 300; cp += 1) {
    char buf[4] = {static_cast<char>(0xE0 | cp >> 12), static_cast<char>(0x80 | ((cp >> 6) & 0x3F)),
                   static_cast<char>(0x80 | (cp & 0x3F)), 0};
    pool.push_back(buf);
  }
  for (const char* s : {"\u3042", "\u3044", "\u3046", "\u304B", "\u306E", "\u3002", "\u3001"})
    pool.push_back(s);
  std::mt19937 rng(2);
  Corpus c{"cjk", {}, "\u6771\u4EAC\u90FD", {}, {}, {}};  // none of them is in the pool
  while (c.text.size() < (1u << 20) - 16) {
    c.text += pool[rng() % pool.size()];
    if (rng() % 40 == 0) c.text += ", ";
  }
  c.text += "\u6771\u4EAC\u90FD";
  return c;
}

void run(benchmark::State& state, size_t bytes, const std::function<uint32_t()>& call) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(call());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void fail(const std::string& what) {
  std::fprintf(stderr, "bench_linguistic: %s\n", what.c_str());
  std::exit(1);
}

void registerCorpus(Corpus* c) {
  c->text16 = toUtf16(c->text);
  c->needle16 = toUtf16(c->needle);
  for (int k = 0; k < 2; ++k) {
    c->inSet[k][0] = encode(kUnitSets[k], c->text);
    c->inSet[k][1] = encode(kUnitSets[k], c->needle);
    c->inSet[k][2] = encode(kUnitSets[k], c->text.substr(0, c->text.size() - c->needle.size()));
  }
  const auto* text = reinterpret_cast<const uint8_t*>(c->text.data());
  const auto* needle = reinterpret_cast<const uint8_t*>(c->needle.data());
  const auto n = static_cast<uint32_t>(c->text.size());
  const auto m = static_cast<uint32_t>(c->needle.size());
  const int32_t expected16 = static_cast<int32_t>(c->text16.size() - c->needle16.size());
  for (const char* collation : {"CI", "AI"}) {
    const CharsetHandle* h = nlsHandleCreate(context(), "AL32UTF8", collation);
    uint32_t start = 0, length = 0;
    if (lxpLinMatch(text, n, needle, m, &start, &length, LING_MATCH, h, context()) != 1 ||
        start != n - m)
      fail("lxpLinMatch misses the needle in " + c->name);

    UErrorCode status = U_ZERO_ERROR;
    UCollator* coll = ucol_open("", &status);
    ucol_setStrength(coll, std::string(collation) == "AI" ? UCOL_PRIMARY : UCOL_SECONDARY);
    UStringSearch* search = usearch_openFromCollator(
        reinterpret_cast<const UChar*>(c->needle16.data()),
        static_cast<int32_t>(c->needle16.size()), reinterpret_cast<const UChar*>(c->text16.data()),
        static_cast<int32_t>(c->text16.size()), coll, nullptr, &status);
    if (U_FAILURE(status) || usearch_first(search, &status) != expected16)
      fail("usearch misses the needle in " + c->name);

    const std::string suffix = std::string(".") + collation + "/AL32UTF8/" + c->name;
    benchmark::RegisterBenchmark(("LinMatch" + suffix).c_str(), [=](benchmark::State& state) {
      run(state, n, [=] {
        uint32_t s = 0, l = 0;
        return lxpLinMatch(text, n, needle, m, &s, &l, LING_MATCH, h, context()) + s;
      });
    });
    benchmark::RegisterBenchmark(("LinMatch.anchor" + suffix).c_str(),
                                 [=](benchmark::State& state) {
                                   run(state, n, [=] {
                                     UErrorCode st = U_ZERO_ERROR;
                                     return static_cast<uint32_t>(usearch_first(search, &st));
                                   });
                                 });
    // The match at the end (TRIM's trailing pass, LIKE's last run) beside
    // ICU's search for the last occurrence.
    if (lxpLinDirMatch(text, n, needle, m, &start, &length, 1, h, context()) != 1 ||
        start != n - m || usearch_last(search, &status) != expected16)
      fail("the match at the end is missed in " + c->name);
    benchmark::RegisterBenchmark(
        ("LinDirMatch.end" + suffix).c_str(), [=](benchmark::State& state) {
          run(state, n, [=] {
            uint32_t s = 0, l = 0;
            return lxpLinDirMatch(text, n, needle, m, &s, &l, 1, h, context()) + s;
          });
        });
    benchmark::RegisterBenchmark(("LinDirMatch.end.anchor" + suffix).c_str(),
                                 [=](benchmark::State& state) {
                                   run(state, n, [=] {
                                     UErrorCode st = U_ZERO_ERROR;
                                     return static_cast<uint32_t>(usearch_last(search, &st));
                                   });
                                 });
    // Sets searched unit by unit, on the same text.
    for (int k = 0; k < 2; ++k) {
      const std::vector<uint8_t>& t = c->inSet[k][0];
      const std::vector<uint8_t>& p = c->inSet[k][1];
      const CharsetHandle* hs = nlsHandleCreate(context(), kUnitSets[k], collation);
      const auto tn = static_cast<uint32_t>(t.size()), pn = static_cast<uint32_t>(p.size());
      if (lxpLinMatch(t.data(), tn, p.data(), pn, &start, &length, LING_MATCH, hs, context()) !=
              1 ||
          start != c->inSet[k][2].size())
        fail(std::string("lxpLinMatch misses the needle in ") + kUnitSets[k]);
      benchmark::RegisterBenchmark(
          ("LinMatch." + std::string(collation) + "/" + kUnitSets[k] + "/" + c->name).c_str(),
          [=, &t, &p](benchmark::State& state) {
            run(state, tn, [=, &t, &p] {
              uint32_t s = 0, l = 0;
              return lxpLinMatch(t.data(), tn, p.data(), pn, &s, &l, LING_MATCH, hs, context()) + s;
            });
          });
    }
    // INSTR's rightward linguistic search from the first character.
    uint32_t expectedPosition = 1;
    for (uint32_t i = 0; i < n - m; ++i) expectedPosition += (text[i] & 0xC0) != 0x80;
    if (lxkInstr(text, n, needle, m, 1, 1, 0, h, context()) != expectedPosition) {
      std::fprintf(stderr, "bench_linguistic: lxkInstr misses the needle in %s\n", c->name.c_str());
      continue;
    }
    benchmark::RegisterBenchmark(("Instr" + suffix).c_str(), [=](benchmark::State& state) {
      run(state, n, [=] { return lxkInstr(text, n, needle, m, 1, 1, 0, h, context()); });
    });
  }
}

const bool kRegistered = [] {
  static Corpus corpora[] = {asciiCorpus(), cjkCorpus()};
  for (Corpus& c : corpora) registerCorpus(&c);
  return true;
}();

}  // namespace
