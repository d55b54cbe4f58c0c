// The frame is header-only (frame/frame.h); this unit makes sure the public
// headers and the frame compile together, layout asserts included.
#include "frame/frame.h"
