// INSTR on 1 MiB of text whose only occurrence of the search string is at
// its end, beside an anchor that finds the same bytes and counts the same
// characters: the faster of memmem and std::string_view::find, plus the
// frame's count of the characters before the match.  Names read
// Instr.<direction>/<set>.<script>/<search bytes>; anchors add ".anchor".
// Shift-JIS and GB18030 search the same characters in their own bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench_support.h"
#include "frame/frame.h"
#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace {

using lxkbench::Bytes;
using lxkbench::context;
using lxkbench::encode;

constexpr size_t kTextBytes = 1 << 20;

struct Case {
  std::string set;
  Bytes text;  // ends with the search string, its only occurrence
  Bytes search;
  const CharsetHandle* handle;
  NlsContext* ctx;
};

std::vector<std::string> charsOf(const std::string& utf8) {
  std::vector<std::string> out;
  for (char c : utf8) {
    if ((c & 0xC0) != 0x80) out.emplace_back();
    out.back() += c;
  }
  return out;
}

// Text of characters from an alphabet, a search string of searchChars of
// them, every earlier occurrence broken by replacing its first character
// with one the search string lacks; retried with another seed until the
// set's bytes hold the search string only at the end.
Case makeCase(const std::string& set, bool cjk, uint32_t searchChars) {
  const std::vector<std::string> alphabet =
      cjk ? charsOf("日本語文字列検索漢字中国人民共和国東京大阪市場経済社会問題研究開発技術情報")
          : charsOf("etaoinshrdlucmfwyp");
  const std::string breaker = cjk ? "\u3002" : ".";
  for (uint32_t seed = 1;; ++seed) {
    std::mt19937 rng(seed);
    std::vector<std::string> search(searchChars);
    for (auto& ch : search) ch = alphabet[rng() % alphabet.size()];
    std::string needle;
    for (auto& ch : search) needle += ch;
    std::string text;
    while (text.size() < kTextBytes) {
      text += alphabet[rng() % alphabet.size()];
      if (!cjk && rng() % 6 == 0) text += ' ';
    }
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at))
      text.replace(at, search[0].size(), breaker);
    text += needle;
    Case c{set, encode(set, text), encode(set, needle),
           nlsHandleCreate(context(), set.c_str(), nullptr), context()};
    const std::string_view bytes(reinterpret_cast<const char*>(c.text.data()), c.text.size());
    const std::string_view pattern(reinterpret_cast<const char*>(c.search.data()), c.search.size());
    if (bytes.find(pattern) == bytes.size() - pattern.size()) return c;
  }
}

// Characters before the match, as the frame counts them in the set.
size_t charactersBefore(const Case& c, const uint8_t* at) {
  const uint8_t* p = c.text.data();
  if (c.set == "AL32UTF8") return lxk::kernels().utf8Count(p, at, 4);
  lxk::DoubleByteLeads leads{};
  const uint16_t* table = lxk::leadTableInForce(c.handle, lxk::definitionOf(c.handle, c.ctx));
  if (!lxk::doubleByteLeadsOf(table, &leads)) return 0;
  uint32_t chars = 0;
  lxk::kernels().doubleByteForward(p, at, ~0u, leads, &chars);
  return chars;
}

void registerCase(const std::string& scriptName, Case* c) {
  const std::string suffix =
      "/" + c->set + "." + scriptName + "/" + std::to_string(c->search.size());
  const auto run = [c](int32_t position) {
    return [c, position](benchmark::State& state) {
      const uint32_t expected =
          lxkInstr(c->text.data(), static_cast<uint32_t>(c->text.size()), c->search.data(),
                   static_cast<uint32_t>(c->search.size()), 1, 1, 0, c->handle, c->ctx);
      for (auto _ : state) {
        const uint32_t r =
            lxkInstr(c->text.data(), static_cast<uint32_t>(c->text.size()), c->search.data(),
                     static_cast<uint32_t>(c->search.size()), position, 1, 0, c->handle, c->ctx);
        if (r != expected) state.SkipWithError("wrong position");
        benchmark::DoNotOptimize(r);
      }
      state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c->text.size()));
    };
  };
  benchmark::RegisterBenchmark(("Instr.right" + suffix).c_str(), run(1));
  benchmark::RegisterBenchmark(("Instr.left" + suffix).c_str(), run(-1));
  benchmark::RegisterBenchmark(
      ("Instr.memmem.anchor" + suffix).c_str(), [c](benchmark::State& state) {
        for (auto _ : state) {
          const void* at =
              memmem(c->text.data(), c->text.size(), c->search.data(), c->search.size());
          benchmark::DoNotOptimize(charactersBefore(*c, static_cast<const uint8_t*>(at)));
        }
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c->text.size()));
      });
  benchmark::RegisterBenchmark(
      ("Instr.find.anchor" + suffix).c_str(), [c](benchmark::State& state) {
        const std::string_view text(reinterpret_cast<const char*>(c->text.data()), c->text.size());
        const std::string_view search(reinterpret_cast<const char*>(c->search.data()),
                                      c->search.size());
        for (auto _ : state) {
          const size_t at = text.find(search);
          benchmark::DoNotOptimize(charactersBefore(*c, c->text.data() + at));
        }
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c->text.size()));
      });
}

// Registered before main runs the benchmarks; the texts are made then.
[[maybe_unused]] const bool kRegistered = [] {
  static std::vector<Case> cases;
  cases.reserve(32);
  for (uint32_t n : {1u, 2u, 4u, 8u, 16u, 64u}) cases.push_back(makeCase("AL32UTF8", false, n));
  // Three bytes a character: 3, 6, 9, 15 and 63 bytes.
  for (uint32_t n : {1u, 2u, 3u, 5u, 21u}) cases.push_back(makeCase("AL32UTF8", true, n));
  for (const char* set : {"SHIFT_JIS", "GB18030"})
    for (uint32_t n : {2u, 4u, 8u, 32u}) cases.push_back(makeCase(set, true, n));
  for (size_t i = 0; i < cases.size(); ++i) registerCase(i < 6 ? "ascii" : "cjk", &cases[i]);
  return true;
}();

}  // namespace
