// Draws the edge of an area onto the screen's back surface.
#pragma once

#include <cstdint>

#include "tools/qxplay/Layout.h"

// surface: of a drawing callback of the player library, and only during that. area: on the surface; what lies
// outside of it is left out. colour: 0xRRGGBB.
void DrawOutline(void* surface, const Area& area, uint32_t colour);
