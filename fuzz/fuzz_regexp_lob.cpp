// The large-object REGEXP exports: random text of a fixed-width set read
// through the callbacks in random chunk sizes, with or without its length,
// and read or write callbacks that fail at a random call.  With callbacks
// that never fail the answers equal the in-memory functions'; whatever
// fails, every scratch block comes back.
#include "harness.h"

using namespace lxkfuzz;

namespace {

int64_t outstandingBlocks = 0;

const char* const kPatterns[] = {"a",         "b+",   "a*",       "(a)(b)?", "^a|b$", "(?<=a)b",
                                 "[^ ]{2,4}", "a.*b", "(a|b)\\1", "\\w+?",   "$",     "b{3}|a{5}"};

struct Lob {
  LobAccess access{};
  Bytes source, dest;
  uint32_t width = 1;
  int reads = 0, writes = 0, failReadAt = -1, failWriteAt = -1;

  static int16_t read(uint32_t lo, uint32_t hi, uint32_t* amount, void* buffer, uint32_t size,
                      void* context, uint32_t) {
    auto* self = static_cast<Lob*>(context);
    if (++self->reads == self->failReadAt) return 1;
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    LXK_CHECK("read-size", *amount <= size || *amount == 0, "asked %u into %u", *amount, size);
    const uint64_t n = std::min<uint64_t>(
        {*amount, size, at < self->source.size() ? self->source.size() - at : 0});
    if (n) std::memcpy(buffer, self->source.data() + at, n);
    *amount = static_cast<uint32_t>(n);
    return 0;
  }
  static int16_t write(uint32_t lo, uint32_t hi, uint32_t* amount, const void* buffer,
                       uint32_t size, void* context, uint32_t) {
    auto* self = static_cast<Lob*>(context);
    if (++self->writes == self->failWriteAt) return 1;
    LXK_CHECK("write-size", *amount <= size, "wrote %u from %u", *amount, size);
    const uint64_t at = static_cast<uint64_t>(hi) << 32 | lo;
    if (self->dest.size() < at + *amount) self->dest.resize(at + *amount);
    if (*amount) std::memcpy(self->dest.data() + at, buffer, *amount);
    return 0;
  }
  static void length(void* context, uint64_t* bytes, uint64_t* chars) {
    auto* self = static_cast<Lob*>(context);
    *bytes = self->source.size();
    *chars = self->source.size() / self->width;
  }
};

}  // namespace

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
  static const std::vector<const Charset*> fixed = [] {
    std::vector<const Charset*> out;
    for (const Charset& c : env().sets)
      if (c.handles[0]->flags & CSH_FIXED_WIDTH) out.push_back(&c);
    return out;
  }();
  const Charset& charset = *fixed[in.ConsumeIntegralInRange<size_t>(0, fixed.size() - 1)];
  const Picked set{&charset, charset.handles[0], false};
  trace.set = charset.info->name;
  const char* patternText =
      kPatterns[in.ConsumeIntegralInRange<size_t>(0, std::size(kPatterns) - 1)];
  Bytes pattern(strlen(patternText) * 4 + 8);
  pattern.resize(
      static_cast<size_t>(std::max(0, nlsConvert(ctx(), charset.info->name, pattern.data(),
                                                 static_cast<uint32_t>(pattern.size()), "AL32UTF8",
                                                 reinterpret_cast<const uint8_t*>(patternText),
                                                 static_cast<uint32_t>(strlen(patternText))))));
  Lob lob;
  lob.width = set.handle->maxCharWidth ? set.handle->maxCharWidth : 1;
  // Text of the pattern's letters, so that matches are common.
  std::string utf8;
  const int length = in.ConsumeIntegralInRange(0, 60);
  static const char* const kLetters[] = {"a", "b", " ", "ж"};
  for (int i = 0; i < length; ++i) utf8 += kLetters[in.ConsumeIntegralInRange(0, 3)];
  lob.source.resize(utf8.size() * 4 + 8);
  lob.source.resize(static_cast<size_t>(
      std::max(0, nlsConvert(ctx(), charset.info->name, lob.source.data(),
                             static_cast<uint32_t>(lob.source.size()), "AL32UTF8",
                             reinterpret_cast<const uint8_t*>(utf8.data()),
                             static_cast<uint32_t>(utf8.size())))));
  lob.access.chunkSize = in.ConsumeIntegralInRange<uint32_t>(1, 9);
  lob.access.read = Lob::read;
  lob.access.readContext = &lob;
  lob.access.write = Lob::write;
  lob.access.writeContext = &lob;
  const bool withLength = in.ConsumeBool();
  lob.access.getLength = withLength ? Lob::length : nullptr;
  const int failing = in.ConsumeIntegralInRange(0, 2);
  const int failAt = in.ConsumeIntegralInRange(1, 40);
  if (failing == 1) lob.failReadAt = failAt;
  if (failing == 2) lob.failWriteAt = failAt;
  const uint32_t position = in.ConsumeIntegralInRange<uint32_t>(0, 6);
  const uint32_t occurrence = in.ConsumeIntegralInRange<uint32_t>(0, 3);
  const uint16_t sub = static_cast<uint16_t>(in.ConsumeIntegralInRange(0, 2));
  trace.call = "regexp-lob";
  traceCall("/%s/ on %s chunk %u length %d fail %d at %d from %u occ %u sub %u", patternText,
            hex(lob.source).c_str(), lob.access.chunkSize, withLength, failing, failAt, position,
            occurrence, sub);

  const int64_t before = outstandingBlocks;
  RegexRecord record;
  if (lxkRegexpComp(&record, pattern.data(), static_cast<uint32_t>(pattern.size()), 0, "", 0, 0, 0,
                    set.handle, ctx()) != 0)
    return 0;
  NlsContext* c = ctx();
  const int32_t like = lxkRegexpLikeLob(&record, &lob.access, set.handle, c);
  const uint64_t count = lxkRegexpCountLob(&record, &lob.access, position, 0, set.handle, c);
  const uint64_t at = lxkRegexpInstrLobNSub(&record, &lob.access, position, 0, occurrence, 0, sub,
                                            0, set.handle, c);
  lob.dest.clear();
  const uint64_t substr =
      lxkRegexpSubstrLobNSub(&record, &lob.access, position, 0, occurrence, 0, sub, set.handle, c);
  const Bytes substrText(lob.dest.begin(),
                         lob.dest.begin() + std::min<size_t>(substr, lob.dest.size()));
  lob.dest.clear();
  const Bytes replacement = {pattern.begin(), pattern.end()};
  const int64_t replaced = static_cast<int64_t>(lxkRegexpReplaceLob(
      &record, &lob.access, replacement.data(), static_cast<uint32_t>(replacement.size()), position,
      0, 0, 0, set.handle, c));
  LXK_CHECK("replace-result", replaced >= -15, "result %lld", static_cast<long long>(replaced));

  // Position 0 on an empty object passes the large-object position check
  // (0 is not beyond 0 characters) where the in-memory position 1 does not.
  if (failing == 0 && withLength && !(position == 0 && lob.source.empty())) {
    // The same answers as the in-memory functions.
    const Bytes& t = lob.source;
    const uint32_t n = static_cast<uint32_t>(t.size());
    const uint32_t p = position == 0 ? 1 : position;
    LXK_CHECK("like", like == lxkRegexpLike(&record, t.data(), n, set.handle, c), "like %d", like);
    LXK_CHECK("count", count == lxkRegexpCount(&record, t.data(), n, p, set.handle, c),
              "count %llu", static_cast<unsigned long long>(count));
    LXK_CHECK("instr",
              at == lxkRegexpInstrNSub(&record, t.data(), n, p, occurrence, sub, 0, set.handle, c),
              "instr %llu", static_cast<unsigned long long>(at));
    uint8_t* pointer = nullptr;
    const uint32_t m =
        lxkRegexpSubstrNSub(&record, &pointer, 0, t.data(), n, p, occurrence, sub, set.handle, c);
    LXK_CHECK("substr", substr == m && (m == 0 || substrText == Bytes(pointer, pointer + m)),
              "substr %llu, in memory %u", static_cast<unsigned long long>(substr), m);
    Bytes buffer(4096);
    uint8_t* into = buffer.data();
    const uint32_t r = lxkRegexpReplace(&record, &into, 4096, t.data(), n, replacement.data(),
                                        static_cast<uint32_t>(replacement.size()), p, 0, nullptr,
                                        nullptr, set.handle, c);
    LXK_CHECK("replace", lob.dest == Bytes(buffer.begin(), buffer.begin() + r),
              "%s\n   in memory %s", hex(lob.dest).c_str(), hex(buffer.data(), r).c_str());
  }
  lxkRegexpFree(&record);
  LXK_CHECK("leak", outstandingBlocks == before, "%lld scratch blocks kept",
            static_cast<long long>(outstandingBlocks - before));
  return 0;
}
