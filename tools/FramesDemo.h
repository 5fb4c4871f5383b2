#pragma once

#include "Demo.h"

/**
 * Has frames reported at 60 Hz, by the simulated device or else through a FIFO, receives them as a
 * client of GfxEvent::getInstance() and sums up. Fails when none arrived. To be called once.
 */
int demonstrateFrames(const DemoOptions& options, Console& console);
