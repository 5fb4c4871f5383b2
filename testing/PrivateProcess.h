#pragma once

/**
 * Gives the process mounts of its own, as root or, while it has one thread, as anybody. Returns
 * whether that worked.
 */
bool unshareMounts();

/** Does this and mounts an empty folder at path, in memory. Throws std::system_error when refused. */
void makeFolderPrivate(const char* path);
