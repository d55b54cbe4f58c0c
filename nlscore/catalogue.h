// The catalogue of character sets built into the core: the definitions
// (generated at build time from ICU's converter tables), their names and
// aliases, and the catalogue entries the engine API lists.
#pragma once

#include <cstdint>

#include "lxk/nls.h"
#include "lxk/nlsenv.h"

namespace nls {

// Every definition, indexed by definitionIndex, followed by a null pointer.
const CharsetDefinition* const* catalogueDefinitions();
uint32_t catalogueSize();

// Entry i (names, id, flags); null past the end.
const NlsCharsetInfo* catalogueInfo(uint32_t index);

// Index of the set with this name or alias (case-insensitive); -1 if unknown.
int32_t catalogueFind(const char* name);

// Index of the set with this charsetId; -1 if unknown.
int32_t catalogueFindId(int32_t charsetId);

}  // namespace nls
