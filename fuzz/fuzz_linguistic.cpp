// The core's linguistic matching on any text and pattern of any set, with
// each collation; the checks are listed in docs/fuzzing.md.
#include "harness.h"

using namespace lxkfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source text = pickSource(in, set, 512);
  const Source pattern = pickSource(in, set, 24);
  static lxktest::GuardedBuffer t, p, tail, kept;
  t.assign(text.bytes.data(), text.bytes.size());
  p.assign(pattern.bytes.data(), pattern.bytes.size());
  const auto n = static_cast<uint32_t>(t.size()), m = static_cast<uint32_t>(p.size());
  const bool binary = set.handle->collationId == 0;
  traceCall("text %s, pattern %s", hex(t.data(), n).c_str(), hex(p.data(), m).c_str());

  uint32_t start = kUntouched, length = kUntouched;
  const int32_t found =
      lxpLinMatch(t.data(), n, p.data(), m, &start, &length, LING_MATCH, set.handle, ctx());
  LXK_CHECK("match-bounds",
            (found == 0 && start == 0 && length == 0) ||
                (found == 1 && length > 0 && start <= n && length <= n - start),
            "lxpLinMatch %d, start %u, length %u", found, start, length);
  if (found == 1 && binary)
    LXK_CHECK("binary-bytes", length == m && std::memcmp(t.data() + start, p.data(), m) == 0,
              "binary match at %u of %u bytes", start, length);
  // The search and the match anchored at the found start agree (the search
  // filters bytes in UTF-8, the anchored match walks units everywhere).
  if (found == 1 && !set.shiftSensitive) {
    tail.assign(t.data() + start, n - start);
    uint32_t s = kUntouched, l = kUntouched;
    const int32_t anchored =
        lxpLinDirMatch(tail.data(), n - start, p.data(), m, &s, &l, 0, set.handle, ctx());
    LXK_CHECK("match-anchored", anchored == 1 && s == 0 && l == length,
              "found at %u (%u bytes); anchored there %d, start %u, length %u", start, length,
              anchored, s, l);
  }
  for (uint32_t direction = 0; direction < 2; ++direction) {
    uint32_t s = kUntouched, l = kUntouched;
    const int32_t r =
        lxpLinDirMatch(t.data(), n, p.data(), m, &s, &l, direction, set.handle, ctx());
    LXK_CHECK("dir-bounds",
              (r == 0 && s == 0 && l == 0) ||
                  (r == 1 && l > 0 && (direction == 0 ? s == 0 && l <= n : s + l == n)),
              "lxpLinDirMatch direction %u: %d, start %u, length %u", direction, r, s, l);
  }

  uint32_t first = kUntouched, last = kUntouched;
  const int32_t remains = lxpLinTrimPunc(t.data(), n, 0, &first, &last, set.handle, ctx());
  const uint32_t keptLength = last + 1 - first;
  LXK_CHECK("trim-bounds",
            first <= n && keptLength <= n - first && (remains == 1) == (keptLength > 0) &&
                (remains == 1 || first == n),
            "lxpLinTrimPunc %d, first %u, last %u", remains, first, last);
  LXK_CHECK("trim-binary", !binary || (first == 0 && keptLength == n), "binary cut %u..%u", first,
            last);
  // What remains has nothing left to cut.
  if (remains == 1 && !set.shiftSensitive) {
    kept.assign(t.data() + first, keptLength);
    uint32_t again = kUntouched, againLast = kUntouched;
    lxpLinTrimPunc(kept.data(), keptLength, 0, &again, &againLast, set.handle, ctx());
    LXK_CHECK("trim-stable", again == 0 && againLast + 1 == keptLength,
              "kept %u..%u, then cut to %u..%u", first, last, again, againLast);
  }
  return 0;
}
