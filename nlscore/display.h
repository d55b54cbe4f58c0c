// Display columns of text, shared by lxsCntDisp and lxoCpDisp.
#pragma once

#include <cstdint>

#include "nlscore/units.h"

namespace nls {

struct ColumnWalk {
  uint64_t columns;  // columns of the characters passed
  bool cut;          // stopped at a character cut off by the end
};

// Walks s over whole characters while the running total of their columns
// stays within budget (a character of no columns is passed at the limit
// too), stopping at the end or at a character cut off by it.  s rests after
// the last character passed, its shift bytes consumed.
ColumnWalk walkColumns(const SetInfo& set, Scan& s, uint64_t budget);

}  // namespace nls
