// Handles and look-ups: building a handle for a set, the set's blank and
// EBCDIC test, and the ways from a character-set id to its definition.
#include "nlscore/handles.h"

#include <cstring>

#include "lxk/nls.h"
#include "nlscore/catalogue.h"
#include "nlscore/definition_private.h"

namespace nls {

void fillHandle(CharsetHandle* handle, uint32_t index, uint32_t collation) {
  const CharsetDefinition* def = catalogueDefinitions()[index];
  const DefinitionHeader& h = header(def);
  std::memset(handle, 0, sizeof *handle);
  handle->tableOffset = CSDEF_BASE_LEAD_TABLE_OFFSET;
  handle->flags = h.handleFlags;
  handle->definitionIndex = static_cast<uint16_t>(index);
  handle->maxCharWidth = h.handleMaxCharWidth;
  handle->shiftInByte = def->shiftInCode;
  handle->shiftOutByte = def->shiftOutCode;
  const int32_t utf16 = catalogueFindId(CSID_AL16UTF16);
  handle->fallbackDefinitionIndex = static_cast<uint16_t>(utf16 < 0 ? 0 : utf16);
  setCollation(handle, collation);
}

void setCollation(CharsetHandle* handle, uint32_t collation) {
  handle->collationFlags = 0;
  handle->collationId = 0;
  handle->coreReserved4[0] = static_cast<uint8_t>(collation);
  if (collation == kCollationCaseInsensitive) {
    handle->collationFlags = COLL_LINGUISTIC | 0x100u;
    handle->collationId = 1;
  } else if (collation == kCollationAccentInsensitive) {
    handle->collationFlags = COLL_LINGUISTIC | 0x200u;
    handle->collationId = 2;
  }
}

uint32_t collationOf(const CharsetHandle* handle) { return handle->coreReserved4[0]; }

}  // namespace nls

using namespace nls;

extern "C" {

NLS_API int32_t lxhebc(const CharsetHandle* handle, NlsContext* ctx) {
  return header(ctx->definitions->definitions[handle->definitionIndex]).ebcdic ? 1 : 0;
}

NLS_API uint32_t lxhlinfo(const CharsetHandle* handle, uint32_t item, void* buffer,
                          uint32_t bufferSize, NlsContext* ctx) {
  if (buffer == nullptr || bufferSize == 0) return 0;
  auto* out = static_cast<uint8_t*>(buffer);
  std::memset(out, 0, bufferSize);
  if (item != LXH_ITEM_BLANK) return 0;
  const CharsetDefinition* def = ctx->definitions->definitions[handle->definitionIndex];
  uint8_t blank[4];
  uint32_t n = 0;
  if (def->definitionFlags & CSD_BLANK_CODE) {
    // Written at the width of a character of a fixed-width set.
    const uint32_t width = handle->maxCharWidth ? handle->maxCharWidth : 1;
    for (uint32_t i = 0; i < width && i < 4; ++i)
      blank[n++] = static_cast<uint8_t>(def->blankCode >> (8 * (width - 1 - i)));
  } else {
    blank[n++] = (def->definitionFlags & CSD_EBCDIC_BLANK) ? 0x40 : 0x20;
  }
  const uint32_t stored = n < bufferSize ? n : bufferSize;
  std::memcpy(out, blank, stored);
  return stored;
}

NLS_API uint32_t lxhcsn(const CharsetHandle* handle, NlsContext* ctx) {
  return static_cast<uint32_t>(ctx->definitions->definitions[handle->definitionIndex]->charsetId);
}

NLS_API const CharsetDefinition* lxhci2h(uint32_t charsetId, NlsContext* /*ctx*/) {
  const int32_t index = catalogueFindId(static_cast<int32_t>(charsetId));
  return index < 0 ? nullptr : catalogueDefinitions()[index];
}

// Sets that serve conversion only get no handles, as in nlsHandleCreate.
NLS_API CharsetHandle* lxhnmod(void* handleBuffer, uint32_t charsetId, uint32_t /*mode*/,
                               uint32_t /*reserved*/, NlsContext* /*ctx*/) {
  const int32_t index = catalogueFindId(static_cast<int32_t>(charsetId));
  if (handleBuffer == nullptr || index < 0 || header(catalogueDefinitions()[index]).conversionOnly)
    return nullptr;
  auto* handle = static_cast<CharsetHandle*>(handleBuffer);
  fillHandle(handle, static_cast<uint32_t>(index), kCollationBinary);
  return handle;
}

// The global area is the null-terminated array of definition pointers.
NLS_API uint32_t lxpe2i(uint32_t externalId, const void* globalArea, uint32_t /*kind*/,
                        int32_t* error, uint32_t /*reserved*/) {
  const auto* definitions = static_cast<const CharsetDefinition* const*>(globalArea);
  for (uint32_t i = 0; definitions != nullptr && definitions[i] != nullptr; ++i) {
    if (static_cast<uint32_t>(static_cast<uint16_t>(definitions[i]->charsetId)) == externalId) {
      if (error) *error = 0;
      return i;
    }
  }
  if (error) *error = 1;
  return 0;
}

NLS_API int32_t lxpcset(uint32_t internalId, CharsetHandle* handle, NlsContext* ctx) {
  if (handle == nullptr || internalId >= ctx->definitions->count ||
      header(ctx->definitions->definitions[internalId]).conversionOnly)
    return 0;
  fillHandle(handle, internalId, collationOf(handle));
  return 1;
}

}  // extern "C"
