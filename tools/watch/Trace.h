#pragma once

#include <iosfwd>
#include <vector>

#include "watch/Recording.h"

/**
 * Writes recordings as a trace for ui.perfetto.dev, in the JSON format of Chrome's traces. All times
 * are whole microseconds since the first recording's beginning.
 *
 * Vsyncs, and the notifications that a sample made, have a track each. Frames have one for each stage,
 * and one with the interval before each frame as a value. Their durations are known when they arrive,
 * not when they took place, and a sample of the source does not say which frame they belong to. So the
 * last stage of a sample ends with its arrival, and each other one where the next one begins. A stage
 * that would begin before the sample ahead of it on its track has ended is cut at its beginning; its
 * argument "ms" is its whole duration.
 */
void writeTrace(const std::vector<Recording>& recordings, std::ostream& out);
