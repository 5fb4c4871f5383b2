#pragma once

#include "Console.h"

/**
 * Runs lmctl with the arguments of a main function; returns its ExitStatus.
 *
 * Note: a command that watched a process-wide event source leaves its thread behind, which the
 * source's destructor would wait for: end the process with _exit.
 */
int lmctl(int argc, const char* const* argv, Console& console);
