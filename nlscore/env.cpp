// The engine-facing side of the core: contexts, handles by name,
// definitions, conversion between sets and the catalogue listing.
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "lxk/nlsenv.h"
#include "nlscore/catalogue.h"
#include "nlscore/codec.h"
#include "nlscore/definition_private.h"
#include "nlscore/handles.h"

namespace {

using namespace nls;

struct ContextBlock {
  NlsContext context;
  NlsDefinitionTable table;
};

bool parseCollation(const char* name, uint32_t* collation) {
  if (name == nullptr || strcasecmp(name, "BINARY") == 0) {
    *collation = kCollationBinary;
  } else if (strcasecmp(name, "CI") == 0) {
    *collation = kCollationCaseInsensitive;
  } else if (strcasecmp(name, "AI") == 0) {
    *collation = kCollationAccentInsensitive;
  } else {
    return false;
  }
  return true;
}

const CharsetDefinition* findDefinition(const char* name) {
  const int32_t index = catalogueFind(name);
  return index < 0 ? nullptr : catalogueDefinitions()[index];
}

// Writes bytes of the target, with the shift byte a shift-sensitive target
// needs before them.  False when the capacity is too small.
struct Writer {
  uint8_t* out;
  uint32_t capacity;
  uint32_t used = 0;
  bool shifted = false;

  bool put(const uint8_t* bytes, uint32_t n) {
    if (n > capacity - used) return false;
    std::memcpy(out + used, bytes, n);
    used += n;
    return true;
  }
  bool shiftTo(const CharsetDefinition* def, bool doubleByte) {
    if (!(def->definitionFlags & CSD_SHIFT_SENSITIVE) || doubleByte == shifted) return true;
    const uint8_t code = doubleByte ? def->shiftOutCode : def->shiftInCode;
    shifted = doubleByte;
    return put(&code, 1);
  }
};

// The target's replacement character as bytes.
uint32_t replacementBytes(const CharsetDefinition* def, uint8_t* out, bool* doubleByte) {
  *doubleByte = false;
  if (encodingOf(def) == Encoding::Utf16Be || encodingOf(def) == Encoding::Utf16Le ||
      encodingOf(def) == Encoding::Utf8 || encodingOf(def) == Encoding::Cesu8 ||
      encodingOf(def) == Encoding::UtfEbcdic)
    return encodeChar(def, 0xFFFD, out, doubleByte);
  uint32_t code = def->replacementChar, n = 0;
  uint8_t tmp[4];
  do {
    tmp[n++] = static_cast<uint8_t>(code);
    code >>= 8;
  } while (code != 0 && n < 4);
  for (uint32_t i = 0; i < n; ++i) out[i] = tmp[n - 1 - i];
  *doubleByte = (def->definitionFlags & CSD_SHIFT_SENSITIVE) && n == 2;
  return n;
}

}  // namespace

extern "C" {

NLS_API NlsContext* nlsContextCreate(void) {
  auto* block = static_cast<ContextBlock*>(std::calloc(1, sizeof(ContextBlock)));
  if (block == nullptr) return nullptr;
  block->table.definitions = catalogueDefinitions();
  block->table.count = catalogueSize();
  block->context.definitions = &block->table;
  return &block->context;
}

NLS_API void nlsContextDestroy(NlsContext* ctx) {
  // The context is the first member of its block.
  std::free(reinterpret_cast<ContextBlock*>(ctx));
}

NLS_API CharsetHandle* nlsHandleCreate(NlsContext* /*ctx*/, const char* charset,
                                       const char* collation) {
  uint32_t coll;
  const int32_t index = catalogueFind(charset);
  if (index < 0 || !parseCollation(collation, &coll)) return nullptr;
  if (header(catalogueDefinitions()[index]).conversionOnly) return nullptr;
  auto* handle = static_cast<CharsetHandle*>(std::calloc(1, sizeof(CharsetHandle)));
  if (handle == nullptr) return nullptr;
  fillHandle(handle, static_cast<uint32_t>(index), coll);
  return handle;
}

NLS_API void nlsHandleDestroy(CharsetHandle* handle) { std::free(handle); }

NLS_API const void* nlsDefinition(NlsContext* /*ctx*/, const char* charset) {
  return findDefinition(charset);
}

NLS_API int32_t nlsConvert(NlsContext* /*ctx*/, const char* toCharset, uint8_t* dst,
                           uint32_t capacity, const char* fromCharset, const uint8_t* src,
                           uint32_t length) {
  const CharsetDefinition* to = findDefinition(toCharset);
  const CharsetDefinition* from = findDefinition(fromCharset);
  if (to == nullptr || from == nullptr || (dst == nullptr && capacity != 0) ||
      (src == nullptr && length != 0))
    return -1;
  const bool shiftedSource = (from->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
  Writer writer{dst, capacity};
  bool shifted = false;
  uint32_t at = 0;
  while (at < length) {
    if (shiftedSource && (src[at] == from->shiftOutCode || src[at] == from->shiftInCode)) {
      shifted = src[at++] == from->shiftOutCode;
      continue;
    }
    const Decoded d = decodeChar(from, src + at, length - at, shifted);
    if (d.width > length - at) return -1;  // truncated
    uint8_t bytes[8];
    bool doubleByte = false;
    uint32_t n = 0;
    if (d.codePoint != kNoCodePoint) n = encodeChar(to, d.codePoint, bytes, &doubleByte);
    // Malformed, unmapped and unrepresentable characters become the
    // target's replacement character.
    if (n == 0) n = replacementBytes(to, bytes, &doubleByte);
    if (!writer.shiftTo(to, doubleByte) || !writer.put(bytes, n)) return -1;
    at += d.width;
  }
  if (!writer.shiftTo(to, false)) return -1;
  return static_cast<int32_t>(writer.used);
}

NLS_API uint32_t nlsCatalogueCount(void) { return catalogueSize(); }

NLS_API const NlsCharsetInfo* nlsCatalogueEntry(uint32_t index) { return catalogueInfo(index); }

}  // extern "C"
