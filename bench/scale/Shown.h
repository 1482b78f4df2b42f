// Which players' pictures have been copied to the screen.
#pragma once

#include <cstddef>
#include <cstdint>

// Takes the library's callbacks.
void CountShown();

// A player begins anew.
void ForgetShown(uint32_t player);

// Blocks until that many pictures of the player were shown; false after 20 s.
bool WaitShown(uint32_t player, size_t pictures);
