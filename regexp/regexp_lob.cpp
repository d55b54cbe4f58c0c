// The regular-expression functions over large objects: the text is read by
// the engine through the descriptor's callbacks; positions map to offsets by
// the fixed character width of the object's set.
#include <cstring>

#include "lxk/lxk.h"
#include "regexp/regexp_common.h"

namespace {

inline uint64_t join(uint32_t low, uint32_t high) {
  return static_cast<uint64_t>(high) << 32 | low;
}

// The object's length in bytes and characters; false without getLength.
bool lobLength(const LobAccess* lob, uint64_t& bytes, uint64_t& chars) {
  bytes = chars = 0;
  if (lob->getLength == nullptr) return false;
  lob->getLength(lob->readContext, &bytes, &chars);
  return true;
}

// The handle the object's text is in: the caller's, or a copy switched to
// the record's large-object set.  Null when that set is not fixed-width.
const CharsetHandle* lobHandle(const RegexRecord* record, const CharsetHandle* handle,
                               CharsetHandle* local, NlsContext* ctx) {
  if (record->lobCharsetId != 0) {
    std::memcpy(local, handle, sizeof *local);
    handle = lxhnmod(local, record->lobCharsetId, 0x4F, 0, ctx);
    if (handle == nullptr) return nullptr;
  }
  return (handle->flags & CSH_FIXED_WIDTH) ? handle : nullptr;
}

inline uint64_t offsetOf(uint64_t position, const CharsetHandle* handle) {
  const uint64_t width = handle->maxCharWidth ? handle->maxCharWidth : 1;
  return position > 1 ? (position - 1) * width : 0;
}

// Copies source bytes [from, from + n) to the destination at offset 0 through
// one buffer of chunkSize bytes; false when a callback fails.
bool copyRange(const LobAccess* lob, uint64_t from, uint64_t n, uint64_t* copied) {
  const uint32_t chunk = lob->chunkSize;
  auto* buffer = static_cast<uint8_t*>(lxldalc(0, chunk ? chunk : 1));
  if (buffer == nullptr) return false;
  uint64_t source = from, destination = 0;
  bool ok = true;
  uint32_t amount = chunk;
  while (ok && n > chunk && destination < n - chunk) {
    ok = lob->read(static_cast<uint32_t>(source), static_cast<uint32_t>(source >> 32), &amount,
                   buffer, chunk, lob->readContext, 0) == 0;
    if (!ok || amount == 0) break;  // a read that brings nothing ends the copy
    source += amount;
    ok = lob->write(static_cast<uint32_t>(destination), static_cast<uint32_t>(destination >> 32),
                    &amount, buffer, chunk, lob->writeContext, 0) == 0;
    destination += amount;
    amount = chunk;
  }
  if (ok) {
    amount = static_cast<uint32_t>(n - destination);
    ok = lob->read(static_cast<uint32_t>(source), static_cast<uint32_t>(source >> 32), &amount,
                   buffer, chunk, lob->readContext, 0) == 0 &&
         lob->write(static_cast<uint32_t>(destination), static_cast<uint32_t>(destination >> 32),
                    &amount, buffer, chunk, lob->writeContext, 0) == 0;
    if (ok) destination += amount;
  }
  lxldfre(0, buffer);
  if (copied) *copied = destination;
  return ok;
}

}  // namespace

using namespace lxk::regexp;

extern "C" {

LXK_API int32_t lxkRegexpLikeLob(RegexRecord* record, LobAccess* lob, const CharsetHandle* handle,
                                 NlsContext* ctx) {
  if (lob == nullptr) return 0;
  return lxregexec(record, nullptr, 0, lob, 0, 1, nullptr, nullptr, REGEX_EXEC_OFFSETS, nullptr, 0,
                   handle, ctx) == 0;
}

LXK_API uint64_t lxkRegexpCountLob(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                   uint32_t positionHigh, const CharsetHandle* handle,
                                   NlsContext* ctx) {
  if (lob == nullptr) return 0;
  const uint64_t position = join(positionLow, positionHigh);
  uint64_t bytes, chars;
  if (lobLength(lob, bytes, chars) && position > chars) return 0;
  CharsetHandle local;
  handle = lobHandle(record, handle, &local, ctx);
  if (handle == nullptr) return 0;
  const uint32_t width = handle->maxCharWidth ? handle->maxCharWidth : 1;
  const uint32_t utf16 = (handle->flags & CSH_UTF16) >> 27;
  uint64_t next = offsetOf(position, handle), start = 0, end = 0, count = 0;
  uint32_t continuation = 0;
  int32_t r =
      lxregmatch(record, nullptr, 0, lob, next, continuation, &start, &end, 0, 0, handle, ctx);
  while (r == 0) {
    ++count;
    if (start != end) {
      next = end;
      continuation = 0;
    } else {
      next = end + width;
      if (next > bytes) return count;
      uint8_t character[10];
      uint32_t amount = width;
      continuation = 0;
      if (lob->read(static_cast<uint32_t>(end), static_cast<uint32_t>(end >> 32), &amount,
                    character, sizeof character, lob->readContext, 0) == 0 &&
          lxregmatchknl(character, amount, utf16) != 0) {
        if (next >= bytes) return count;
        continuation = 1;
      }
    }
    r = lxregmatch(record, nullptr, 0, lob, next, continuation, &start, &end, 0, 0, handle, ctx);
  }
  return count;
}

LXK_API uint64_t lxkRegexpInstrLobNSub(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                       uint32_t positionHigh, uint32_t occurrenceLow,
                                       uint32_t occurrenceHigh, uint16_t subexpression,
                                       uint16_t returnOption, const CharsetHandle* handle,
                                       NlsContext* ctx) {
  const uint64_t position = join(positionLow, positionHigh);
  const uint64_t occurrence = join(occurrenceLow, occurrenceHigh);
  if (lob == nullptr || occurrence == 0) return 0;
  uint64_t bytes, chars;
  if (lobLength(lob, bytes, chars) && position > chars) return 0;
  if (subexpression > 9 || subexpression > record->subexpressionCount) return 0;
  RegexMatch* matches = nullptr;
  if (subexpression > 0) {
    matches = static_cast<RegexMatch*>(lxldalc(0, kMatchArrayBytes));
    if (matches == nullptr) return 0;
  }
  CharsetHandle local;
  const CharsetHandle* textHandle = lobHandle(record, handle, &local, ctx);
  uint64_t result = 0, start = 0, end = 0;
  if (textHandle != nullptr && lxregexec(record, nullptr, 0, lob, offsetOf(position, textHandle),
                                         occurrence, &start, &end, REGEX_EXEC_POSITIONS, matches,
                                         matches ? REGEX_MATCH_ENTRIES : 0, textHandle, ctx) == 0) {
    if (subexpression == 0)
      result = returnOption ? end : start;
    else if (matches[subexpression].matched)
      result =
          returnOption ? matches[subexpression].endPosition : matches[subexpression].startPosition;
  }
  if (matches != nullptr) lxldfre(0, matches);
  return result;
}

LXK_API uint64_t lxkRegexpSubstrLobNSub(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                        uint32_t positionHigh, uint32_t occurrenceLow,
                                        uint32_t occurrenceHigh, uint16_t subexpression,
                                        const CharsetHandle* handle, NlsContext* ctx) {
  const uint64_t position = join(positionLow, positionHigh);
  const uint64_t occurrence = join(occurrenceLow, occurrenceHigh);
  if (lob == nullptr || occurrence == 0) return 0;
  uint64_t bytes, chars;
  if (lobLength(lob, bytes, chars) && position > chars) return 0;
  if (subexpression > 9 || subexpression > record->subexpressionCount) return 0;
  CharsetHandle local;
  handle = lobHandle(record, handle, &local, ctx);
  if (handle == nullptr) return 0;
  RegexMatch matches[REGEX_MATCH_ENTRIES];
  uint64_t start = 0, end = 0;
  const int32_t r =
      lxregexec(record, nullptr, 0, lob, offsetOf(position, handle), occurrence, &start, &end,
                REGEX_EXEC_OFFSETS, matches, REGEX_MATCH_ENTRIES, handle, ctx);
  if (r != 0 || !matches[subexpression].matched) {
    uint8_t none = 0;
    uint32_t amount = 0;
    lob->write(0, 0, &amount, &none, 0, lob->writeContext, 0);
    return 0;
  }
  const uint64_t n = matches[subexpression].endOffset - matches[subexpression].startOffset;
  return copyRange(lob, matches[subexpression].startOffset, n, nullptr) ? n : 0;
}

LXK_API uint64_t lxkRegexpReplaceLob(RegexRecord* record, LobAccess* lob, const void* replacement,
                                     uint32_t replacementLength, uint32_t positionLow,
                                     uint32_t positionHigh, uint32_t occurrenceLow,
                                     uint32_t occurrenceHigh, const CharsetHandle* handle,
                                     NlsContext* ctx) {
  if (lob == nullptr) return 0;
  const uint64_t position = join(positionLow, positionHigh);
  const uint64_t occurrence = join(occurrenceLow, occurrenceHigh);
  uint64_t bytes, chars;
  if (lobLength(lob, bytes, chars) && position > chars) {
    // Out of range: the source goes to the destination unchanged.
    const uint32_t chunk = lob->chunkSize;
    uint64_t total = bytes, source = 0, destination = 0;
    if (total == 0 || chunk == 0) return 0;
    auto* buffer = static_cast<uint8_t*>(lxldalc(0, chunk));
    if (buffer == nullptr) return 0;
    while (total != 0) {
      uint32_t amount = static_cast<uint32_t>(total < chunk ? total : chunk);
      if (lob->read(static_cast<uint32_t>(source), static_cast<uint32_t>(source >> 32), &amount,
                    buffer, chunk, lob->readContext, 0) != 0)
        break;
      source += amount;
      total = total <= chunk ? 0 : total - chunk;
      if (lob->write(static_cast<uint32_t>(destination), static_cast<uint32_t>(destination >> 32),
                     &amount, buffer, chunk, lob->writeContext, 0) != 0)
        break;
      destination += amount;
    }
    lxldfre(0, buffer);
    return destination;
  }
  CharsetHandle local;
  handle = lobHandle(record, handle, &local, ctx);
  if (handle == nullptr) return 0;
  const int32_t r =
      lxregreplace(record, nullptr, 0, nullptr, 0, lob, replacement, replacementLength,
                   offsetOf(position, handle), occurrence, 0, 0, nullptr, nullptr, handle, ctx);
  return static_cast<uint64_t>(static_cast<int64_t>(r));
}

}  // extern "C"
