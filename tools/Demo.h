#pragma once

#include "Console.h"

/**
 * Notifies a real kernel node at 60 Hz, receives the events as a client of
 * VsyncEvent::getInstance() and prints what was measured. Fails when no event arrived. To be called
 * once, first thing in a process: see HostNameNode.
 */
int runDemo(double seconds, Console& console);
