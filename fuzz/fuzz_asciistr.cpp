// ASCIISTR of any source in any set, named or not, into any capacity: the
// output is ASCII, a cut one is a prefix of the whole one made of whole
// escapes, and well-formed text read back by UNISTR gives its UTF-16 form.
#include "harness.h"

using namespace lxkfuzz;

namespace {

constexpr int32_t kEarlier = 3;

Outcome asciistr(const Picked& set, const Bytes& text, int32_t id, int64_t capacity) {
  static lxktest::GuardedBuffer src, buffer;
  src.assign(text.data(), text.size());
  const Destination d = destination(buffer, capacity);
  traceCall("lxkAsciistr(%s, id %d, capacity %lld)", hex(text).c_str(), id,
            static_cast<long long>(capacity));
  Outcome o;
  ctx()->status = kEarlier;
  o.bytes = written(d, lxkAsciistr(d.out, d.room, src.data(), static_cast<uint32_t>(text.size()),
                                   id, &o.resultWord, set.handle, ctx()));
  o.status = ctx()->status;
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source s = pickSource(in, set, 64);
  static const int32_t kIds[] = {0, 0, CSID_AL16UTF16, CSID_UTF8, CSID_AL32UTF8, -1};
  const int32_t id = kIds[in.ConsumeIntegralInRange<size_t>(0, std::size(kIds) - 1)];

  const Outcome whole = asciistr(set, s.bytes, id, 16 * static_cast<int64_t>(s.bytes.size()) + 16);
  for (uint8_t b : whole.bytes) LXK_CHECK("ascii", b < 0x80, "byte %02X", b);
  const bool accepted = id == 0 || id == CSID_AL16UTF16 || id == CSID_UTF8;
  LXK_CHECK("refused", accepted == (whole.resultWord == kUntouched), "result word %u",
            whole.resultWord);
  LXK_CHECK("status",
            whole.status == (accepted ? kEarlier : NLS_STATUS_UNSUPPORTED_CHARSET) ||
                (accepted && whole.status == NLS_STATUS_UNSUPPORTED_CHARSET),
            "status %d", whole.status);

  const Outcome cut =
      asciistr(set, s.bytes, id, pickCapacity(in, static_cast<uint32_t>(whole.bytes.size())));
  LXK_CHECK("prefix",
            cut.bytes.size() <= whole.bytes.size() &&
                std::equal(cut.bytes.begin(), cut.bytes.end(), whole.bytes.begin()),
            "cut %s of %s", hex(cut.bytes).c_str(), hex(whole.bytes).c_str());
  if (!cut.bytes.empty() && cut.bytes.size() < whole.bytes.size()) {
    // A cut never splits an escape: what follows starts a character.
    const uint8_t next = whole.bytes[cut.bytes.size()];
    const size_t lastEscape = std::string(cut.bytes.begin(), cut.bytes.end()).rfind('\\');
    LXK_CHECK("whole-escapes",
              lastEscape == std::string::npos || cut.bytes.size() - lastEscape >= 5,
              "cut inside an escape before %02X", next);
  }

  // Well-formed text in the handle's set comes back through UNISTR, except
  // in sets whose bytes below 0x80 are not all ASCII though its letters
  // are (SHIFT_JIS swaps three controls): those bytes are copied as they are.
  const uint32_t flags = set.set->info->definitionFlags;
  const bool bytesAreAscii = (flags & CSD_ASCII_COMPATIBLE) || !(flags & CSD_ASCII);
  if (s.wellFormed && id == 0 && whole.status == kEarlier && bytesAreAscii) {
    Bytes utf16(s.bytes.size() * 4 + 16);
    const int32_t n =
        nlsConvert(ctx(), "AL16UTF16", utf16.data(), static_cast<uint32_t>(utf16.size()),
                   set.set->info->name, s.bytes.data(), static_cast<uint32_t>(s.bytes.size()));
    utf16.resize(static_cast<size_t>(std::max(n, 0)));
    static const CharsetHandle* ascii = nlsHandleCreate(ctx(), "US7ASCII", nullptr);
    Bytes back(utf16.size() + 16);
    uint32_t word = kUntouched;
    const uint32_t m = lxkUnistr(back.data(), static_cast<uint32_t>(back.size()),
                                 whole.bytes.data(), static_cast<uint32_t>(whole.bytes.size()),
                                 CSID_AL16UTF16, &word, ascii, ascii, ctx());
    back.resize(std::min<size_t>(m, back.size()));
    LXK_CHECK("round-trip", n >= 0 && back == utf16, "UNISTR gave %s for %s", hex(back).c_str(),
              hex(utf16).c_str());
  }
  return 0;
}
