#pragma once

#include "Console.h"
#include "WatchOptions.h"

class GfxEvent;

/** As watchVsync, for frames; controlValue is what the driver takes for "on". */
int watchGfx(GfxEvent& source, int controlValue, const WatchOptions& options, Console& console);
