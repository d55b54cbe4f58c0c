// Exact search at character starts, shared by lxoSchPat and lxsRepStr.
#pragma once

#include <cstdint>

#include "nlscore/units.h"

namespace nls {

// The first position in [p, end) where the patternLength bytes of pattern
// start and end by end; p itself for an empty pattern; null when none.
const uint8_t* findBytes(const uint8_t* p, const uint8_t* end, const uint8_t* pattern,
                         uint32_t patternLength);

// The first character start reached by stepping text (at rest) at which the
// pattern's characters follow one by one, with equal bytes and, in
// shift-sensitive sets, the same modes; the match ends by limit.  On a
// match text rests there (its shift state that of the match), *matchEnd
// (may be null) gets the position after the match's last character with
// that character's mode, and the position is returned; otherwise null and
// text is left anywhere.
const uint8_t* searchAtCharStarts(const SetInfo& set, Scan& text, const uint8_t* limit,
                                  const Scan& pattern, Scan* matchEnd);

}  // namespace nls
