// Keeps what a damaged stream provokes off the host's stderr.
#pragma once

extern "C" {
#include <libavutil/log.h>
}

// For a codec context's log_level_offset: it takes every message of the context out of reach of any log
// level. The level itself is one for the process and stays the host's own. Its higher bytes carry other
// marks, so the sum must fit into one.
constexpr int kLogSilence = 128;
static_assert(AV_LOG_TRACE + kLogSilence < 256);
