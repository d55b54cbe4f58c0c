// UNISTR of any source, with escapes good and bad, into AL16UTF16, UTF8 or
// the destination handle's set at any capacity: the words take their
// documented values, and a cut output is a prefix of the whole one.
#include "harness.h"

using namespace lxkfuzz;

namespace {

struct Call {
  Outcome o;
  uint32_t chars;
};

Call unistr(const Picked& set, const Picked& target, const Bytes& text, int32_t id,
            int64_t capacity) {
  static lxktest::GuardedBuffer src, buffer;
  src.assign(text.data(), text.size());
  const Destination d = destination(buffer, capacity);
  traceCall("lxkUnistr(%s, id %d, capacity %lld)", hex(text).c_str(), id,
            static_cast<long long>(capacity));
  Call c;
  ctx()->status = 3;
  c.o.bytes = written(d, lxkUnistr(d.out, d.room, src.data(), static_cast<uint32_t>(text.size()),
                                   id, &c.o.resultWord, set.handle, target.handle, ctx()));
  c.o.status = ctx()->status;
  c.chars = ctx()->convertedChars;
  return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Picked target = pickSet(in);
  Source s = pickSource(in, set, 48);
  // Escapes, some good, some cut short or with a non-digit, put in.
  static const char* const kEscapes[] = {"\\00E9", "\\\\", "\\D83D\\DE00", "\\4e2D",
                                         "\\12G4", "\\",   "\\0"};
  for (int i = in.ConsumeIntegralInRange(0, 3); i > 0; --i) {
    const char* e = kEscapes[in.ConsumeIntegralInRange<size_t>(0, std::size(kEscapes) - 1)];
    const size_t at = in.ConsumeIntegralInRange<size_t>(0, s.bytes.size());
    s.bytes.insert(s.bytes.begin() + static_cast<long>(at), e, e + std::strlen(e));
  }
  static const int32_t kIds[] = {CSID_AL16UTF16, CSID_UTF8, 0, CSID_AL32UTF8};
  const int32_t id = kIds[in.ConsumeIntegralInRange<size_t>(0, std::size(kIds) - 1)];

  const Call whole =
      unistr(set, target, s.bytes, id, 8 * static_cast<int64_t>(s.bytes.size()) + 16);
  const uint32_t w = whole.o.resultWord;
  LXK_CHECK("result-word", w == kUntouched || w == 1 || w == 16, "result word %u", w);
  LXK_CHECK("status", whole.o.status == (w == 1 ? NLS_STATUS_UNSUPPORTED_CHARSET : 0),
            "status %d, result word %u", whole.o.status, w);
  if (id == CSID_AL16UTF16) LXK_CHECK("even", whole.o.bytes.size() % 2 == 0, "odd length");

  const Call cut = unistr(set, target, s.bytes, id,
                          pickCapacity(in, static_cast<uint32_t>(whole.o.bytes.size())));
  // A shift-sensitive target closes a cut output with its own shift-in.
  const bool closes = id == 0 && target.shiftSensitive;
  LXK_CHECK("prefix",
            closes || cut.o.bytes.size() <= whole.o.bytes.size() &&
                          std::equal(cut.o.bytes.begin(), cut.o.bytes.end(), whole.o.bytes.begin()),
            "cut %s of %s", hex(cut.o.bytes).c_str(), hex(whole.o.bytes).c_str());
  LXK_CHECK("chars", cut.chars <= whole.chars || w == 1, "%u characters cut, %u whole", cut.chars,
            whole.chars);
  return 0;
}
