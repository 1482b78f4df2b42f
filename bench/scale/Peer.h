// What a host would embed instead: handles of libmpv that play the same pictures.
#pragma once

// Opens so many handles on the file one after the other, lets them play, and prints what they cost beside
// bareMsPerFrame. The process ends with it. Says so when libmpv was not there at build time.
void RunPeer(const char* file, int count, double bareMsPerFrame);
