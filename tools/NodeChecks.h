#pragma once

#include <unistd.h>

#include <string>

#include <android-base/unique_fd.h>

/** Why this process cannot open a file at path for reading (R_OK) or writing (W_OK), or nothing. */
std::string accessProblem(const std::string& path, int access);

/** The text of a file; of standard input for "-". Throws std::runtime_error when it cannot be read. */
std::string readText(const std::string& path);

/** Why it cannot open the node that is configured for item, or nothing. */
std::string nodeProblem(int item, int access);

/** As that for reading, or why a reader of the node would never have to wait. */
std::string blockingNodeProblem(int item);

/** As that for reading, or why the node can notify nobody. */
std::string notifyingNodeProblem(int item);

/**
 * A writer of the FIFO at path, without which a reader would be at its end, again and again. None
 * when it is no FIFO.
 */
android::base::unique_fd holdOpenIfFifo(const std::string& path);
