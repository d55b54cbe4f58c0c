// The engine-facing side of the core: contexts, handles by name,
// definitions and the catalogue listing.  Conversion between sets lives with
// the converters (convert.cpp).
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "lxk/nlsenv.h"
#include "nlscore/catalogue.h"
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

NLS_API uint32_t nlsCatalogueCount(void) { return catalogueSize(); }

NLS_API const NlsCharsetInfo* nlsCatalogueEntry(uint32_t index) { return catalogueInfo(index); }

NLS_API const NlsCharsetInfo* nlsCatalogueFind(const char* name) {
  const int32_t index = catalogueFind(name);
  return index < 0 ? nullptr : catalogueInfo(static_cast<uint32_t>(index));
}

}  // extern "C"
