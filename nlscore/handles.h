// Building handles inside the core.
#pragma once

#include <cstdint>

#include "lxk/nls.h"

namespace nls {

// Collations a handle can carry; kept in the handle's core bytes for the
// linguistic operations.
constexpr uint32_t kCollationBinary = 0;
constexpr uint32_t kCollationCaseInsensitive = 1;
constexpr uint32_t kCollationAccentInsensitive = 2;

// Fills a whole handle for the catalogue entry at index.
void fillHandle(CharsetHandle* handle, uint32_t index, uint32_t collation);
void setCollation(CharsetHandle* handle, uint32_t collation);
uint32_t collationOf(const CharsetHandle* handle);

}  // namespace nls
