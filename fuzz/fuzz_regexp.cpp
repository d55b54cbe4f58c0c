// REGEXP compile and search exports: a random pattern (tokens of the dialect,
// random characters or raw bytes) under a random match parameter, applied to
// random text of any set and collation.  No crash, no leak, no write past a
// capacity, every scratch block returned, results within their ranges, and
// the exports agreeing with one another.
#include "harness.h"

using namespace lxkfuzz;

namespace {

int64_t outstandingBlocks = 0;

// The dialect's pieces, so that most patterns compile.
const char* const kTokens[] = {"a",   "b",     ".",  "*",           "+",   "?",    "(",   ")",
                               "|",   "[",     "]",  "^",           "$",   "\\d",  "\\w", "\\s",
                               "{2}", "{1,3}", "*?", "[[:alpha:]]", "\\1", "[^a]", "x",   " "};

Bytes pickPattern(FuzzedDataProvider& in, const Picked& set) {
  if (in.ConsumeIntegralInRange(0, 4) == 0)
    return in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 24));
  std::string utf8;
  const int count = in.ConsumeIntegralInRange(0, 12);
  for (int i = 0; i < count; ++i) {
    if (in.ConsumeBool())
      utf8 += kTokens[in.ConsumeIntegralInRange<size_t>(0, std::size(kTokens) - 1)];
    else
      appendUtf8(utf8, pickCodePoint(in));
  }
  Bytes out(utf8.size() * 4 + 16);
  const int32_t n = nlsConvert(
      ctx(), set.set->info->name, out.data(), static_cast<uint32_t>(out.size()), "AL32UTF8",
      reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<uint32_t>(utf8.size()));
  out.resize(static_cast<size_t>(std::max(n, 0)));
  return out;
}

void* allocate(void*, uint32_t size) { return std::malloc(size); }

}  // namespace

// Every scratch block of the library and the engine comes through here.
extern "C" void* lxldalc(uint32_t, uint32_t size) {
  ++outstandingBlocks;
  return std::malloc(size == 0 ? 1 : size);
}
extern "C" void lxldfre(uint32_t, void* block) {
  if (block == nullptr) return;
  --outstandingBlocks;
  std::free(block);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Bytes pattern = pickPattern(in, set);
  const std::string param = in.ConsumeBytesAsString(in.ConsumeIntegralInRange<size_t>(0, 3));
  const Source s = pickSource(in, set, 96);
  static lxktest::GuardedBuffer src, out;
  src.assign(s.bytes.data(), s.bytes.size());
  const uint32_t n = static_cast<uint32_t>(s.bytes.size());
  const uint8_t* text = src.data();
  const uint32_t position = static_cast<uint32_t>(in.ConsumeIntegralInRange(0, 8));
  const uint32_t occurrence = static_cast<uint32_t>(in.ConsumeIntegralInRange(0, 4));
  const uint16_t sub = static_cast<uint16_t>(in.ConsumeIntegralInRange(0, 10));
  const uint32_t capacity = static_cast<uint32_t>(in.ConsumeIntegralInRange(0, 300));
  traceCall("pattern %s param '%s' on %s from %u occ %u sub %u cap %u", hex(pattern).c_str(),
            param.c_str(), hex(s.bytes).c_str(), position, occurrence, sub, capacity);

  RegexRecord record;
  std::memset(&record, 0xA5, sizeof record);
  const int64_t blocksBefore = outstandingBlocks;
  const int32_t rc =
      lxkRegexpComp(&record, pattern.data(), static_cast<uint32_t>(pattern.size()), 0, param.data(),
                    static_cast<uint32_t>(param.size()), 0, 0, set.handle, ctx());
  LXK_CHECK("compile-code", rc <= 1 && rc >= -16, "code %d", rc);
  if (rc < 0) {
    LXK_CHECK("compile-error", lxkRegexpErr(rc) != 0, "code %d maps to 0", rc);
    LXK_CHECK("compile-leak", outstandingBlocks == blocksBefore, "%lld blocks kept",
              static_cast<long long>(outstandingBlocks - blocksBefore));
    return 0;
  }
  // The record just compiled serves the same arguments, unless 'x' asks
  // for a fresh compilation every time.
  const bool extended = param.find('x') != std::string::npos;
  const int32_t reusable =
      lxkRegexpReusable(&record, pattern.data(), static_cast<uint32_t>(pattern.size()), 0,
                        param.data(), static_cast<uint32_t>(param.size()), 0, 0, set.handle);
  LXK_CHECK("reusable", reusable == (extended ? 0 : 1), "reusable %d with param '%s'", reusable,
            param.c_str());
  const uint32_t chars = lxsCntChar(text, n, OPT_STANDARD, set.handle, ctx());
  const int32_t like = lxkRegexpLike(&record, text, n, set.handle, ctx());
  const int32_t likeCode = nlsRegexTakeResult(ctx());
  LXK_CHECK("like", like == 0 || like == 1, "like %d", like);
  const uint32_t count = lxkRegexpCount(&record, text, n, 1, set.handle, ctx());
  const int32_t countCode = nlsRegexTakeResult(ctx());
  // Malformed text may split into characters differently for the engine
  // and the core's counting: the ranges are asked of well-formed text.
  const uint32_t limit = s.wellFormed ? chars + 1 : n + 1;
  LXK_CHECK("count-range", count <= limit, "count %u of %u characters", count, chars);
  if (likeCode >= 0 && countCode >= 0)
    LXK_CHECK("like-count", (count != 0) == (like == 1) || chars == 0, "like %d count %u", like,
              count);
  const uint32_t at =
      lxkRegexpInstrNSub(&record, text, n, position, occurrence, sub, 0, set.handle, ctx());
  const uint32_t after =
      lxkRegexpInstrNSub(&record, text, n, position, occurrence, sub, 1, set.handle, ctx());
  LXK_CHECK("instr-range",
            at <= limit && after <= limit && (at == 0) == (after == 0) && after >= at,
            "instr %u..%u of %u characters", at, after, chars);

  uint8_t* pointer = nullptr;
  const uint32_t pointed = lxkRegexpSubstrNSub(&record, &pointer, 0, text, n, position, occurrence,
                                               sub, set.handle, ctx());
  LXK_CHECK("substr-pointer", pointed == 0 || (pointer >= text && pointer + pointed <= text + n),
            "pointer outside");
  uint8_t* dst = out.tail(capacity);
  const uint32_t copied = lxkRegexpSubstrNSub(&record, &dst, capacity, text, n, position,
                                              occurrence, sub, set.handle, ctx());
  // Capacity 0 asks for a pointer into the source, as with no buffer.
  LXK_CHECK("substr-capacity", capacity == 0 ? copied == pointed : copied <= capacity,
            "%u bytes into %u", copied, capacity);

  const Bytes replacement = pickPattern(in, set);
  dst = out.tail(capacity);
  const uint32_t replaced = lxkRegexpReplace(&record, &dst, capacity, text, n, replacement.data(),
                                             static_cast<uint32_t>(replacement.size()), position,
                                             occurrence, nullptr, nullptr, set.handle, ctx());
  // Capacity 0 asks for a block from the record's allocator.
  LXK_CHECK("replace-capacity", replaced <= (capacity ? capacity : 0x7FFFu), "%u bytes into %u",
            replaced, capacity);
  const Bytes inBuffer(dst, dst + replaced);
  if (capacity == 0) std::free(dst);
  uint8_t* block = nullptr;
  const uint32_t allocated = lxkRegexpReplace(&record, &block, 0, text, n, replacement.data(),
                                              static_cast<uint32_t>(replacement.size()), position,
                                              occurrence, allocate, nullptr, set.handle, ctx());
  LXK_CHECK("replace-block", block != nullptr && allocated <= 0x7FFF, "block %p, %u bytes",
            static_cast<void*>(block), allocated);
  // A result cut at the capacity is a prefix of the whole one.
  if (allocated < 0x7FFF) checkPrefix("replace", inBuffer, Bytes(block, block + allocated), set);
  std::free(block);
  lxkRegexpFree(&record);
  LXK_CHECK("leak", outstandingBlocks == blocksBefore, "%lld scratch blocks kept",
            static_cast<long long>(outstandingBlocks - blocksBefore));
  return 0;
}
