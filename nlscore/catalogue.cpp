// The catalogue built into the core: the definition blobs written by
// tools/gencatalogue at build time, embedded as read-only data, and the
// entries that name them.
#include "nlscore/catalogue.h"

#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "nlscore/definition_private.h"

namespace {

struct CatalogueRow {
  const char* name;
  const char* description;
  const char* aliases;
  int32_t charsetId;
  uint32_t handleFlags;
  uint32_t definitionFlags;
  uint32_t maxBytesPerChar;
  int32_t conversionOnly;
  size_t offset;
};

#include "catalogue_index.inc"

}  // namespace

// The blobs, 16-byte aligned so every definition (8-aligned inside) is too.
extern "C" const uint8_t lxkCatalogueBlob[];
__asm__(
    ".section .rodata\n"
    ".balign 16\n"
    ".type lxkCatalogueBlob, @object\n"
    "lxkCatalogueBlob:\n"
    ".incbin \"" LXK_CATALOGUE_BIN
    "\"\n"
    ".previous\n");

extern "C" NLS_API const uint16_t lxcgbMaping[NLS_GB18030_RANGE_COUNT][4] = {
#include "catalogue_gbranges.inc"
};

namespace nls {
namespace {

constexpr uint32_t kSetCount = sizeof(kCatalogueRows) / sizeof(kCatalogueRows[0]);

struct Tables {
  const CharsetDefinition* definitions[kSetCount + 1];
  NlsCharsetInfo infos[kSetCount];
};

// Built once, on first use, from constant data; read-only afterwards.
const Tables& tables() {
  static const Tables built = [] {
    Tables t{};
    for (uint32_t i = 0; i < kSetCount; ++i) {
      const CatalogueRow& row = kCatalogueRows[i];
      t.definitions[i] = reinterpret_cast<const CharsetDefinition*>(lxkCatalogueBlob + row.offset);
      t.infos[i] = NlsCharsetInfo{
          row.name,        row.description,     row.aliases,         row.charsetId,
          row.handleFlags, row.definitionFlags, row.maxBytesPerChar, row.conversionOnly};
    }
    t.definitions[kSetCount] = nullptr;
    return t;
  }();
  return built;
}

bool aliasMatches(const char* aliases, const char* name) {
  const size_t n = std::char_traits<char>::length(name);
  for (const char* p = aliases; *p;) {
    const char* end = p;
    while (*end && *end != ',') ++end;
    if (static_cast<size_t>(end - p) == n && strncasecmp(p, name, n) == 0) return true;
    p = *end ? end + 1 : end;
  }
  return false;
}

}  // namespace

const CharsetDefinition* const* catalogueDefinitions() { return tables().definitions; }

uint32_t catalogueSize() { return kSetCount; }

const NlsCharsetInfo* catalogueInfo(uint32_t index) {
  return index < kSetCount ? &tables().infos[index] : nullptr;
}

int32_t catalogueFind(const char* name) {
  if (name == nullptr) return -1;
  for (uint32_t i = 0; i < kSetCount; ++i)
    if (strcasecmp(kCatalogueRows[i].name, name) == 0) return static_cast<int32_t>(i);
  for (uint32_t i = 0; i < kSetCount; ++i)
    if (aliasMatches(kCatalogueRows[i].aliases, name)) return static_cast<int32_t>(i);
  return -1;
}

int32_t catalogueFindId(int32_t charsetId) {
  for (uint32_t i = 0; i < kSetCount; ++i)
    if (kCatalogueRows[i].charsetId == charsetId) return static_cast<int32_t>(i);
  return -1;
}

}  // namespace nls
